#include "statements/LocalizedStatements.h"

#include "application/Output.h"
#include "application/OxinApplication.h"
#include "files/Dictionary.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedLanguages.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"

namespace {

// Walks the pieces of the operand's message, handing each text to take:
// literal pieces as they stand, a variable piece as the value of the bound
// parameter of its name (nothing when unbound). A piece whose text the
// dictionary lacks is the fatal "Invalid dictionary reference"; print stops
// there, while a text result goes on without it. The parameters are
// unbound at the end either way.
template <class Take>
void Walk_Message(OxinVM* vm, bool stop_at_bad_piece, Take take) {
    VariableHash* parameters = vm->localization_parameters();
    LocalizedLanguages* languages = vm->LF();
    LocalizedIndex_Entry* entry = languages ? languages->Get_Entry(vm->operand1()) : nullptr;
    int piece = entry ? entry->value : -1;
    while (piece != -1) {
        const LocalizedPiece* at = vm->pieces() ? vm->pieces()->Entry(piece) : nullptr;
        if (!at) break;
        int length = 0;
        const char* text = vm->dictionary()->Entry(at->text, &length);
        if (!text) {
            vm->FatalError("Invalid dictionary reference");
            if (stop_at_bad_piece) break;
        } else if (at->kind) {
            take(text, length);
        } else {
            Variable* value = nullptr;
            if (parameters->Find(&value, text, length, 0) && value) {
                const String& bound = value->value();
                take(bound.c_str(), bound.length());
            }
        }
        piece = at->next;
    }
    parameters->Dump();
}

}  // namespace

void poplvnc(OxinVM* vm) {
    int length = 0;
    const char* name = vm->dictionary()->Entry(vm->operand1(), &length);
    PoppedText value = vm->stack()->PopText();
    if (!name) {
        vm->FatalError("Invalid dictionary reference");
        return;
    }
    if (vm->fatal()) return;
    Variable* parameter;
    int owned = 0;
    int size = value.size();
    int value_length = value.length();
    char* text = value.release(&owned);
    if (owned)
        parameter = new Variable(name, length, text, value_length, size);
    else
        parameter = new Variable(name, length, text ? text : "", text ? value_length : 0);
    vm->localization_parameters()->SetVariable(parameter);
}

void localize(OxinVM* vm) {
    Output* output = vm->oxinapplication()->output();
    Walk_Message(vm, true, [output](const char* text, int length) {
        if (output && length > 0) output->Write(text, length);
    });
}

void localizev(OxinVM* vm) {
    String message("");
    Walk_Message(vm, false, [&message](const char* text, int length) { message.cat(text, length); });
    int length = message.length();
    char* text = message.release();
    if (!text) text = new char[1]{0};
    vm->stack()->PushS(text, length, length + 1, 1);
}
