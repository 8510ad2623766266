#include "statements/CaptureStatements.h"

#include <cstdio>
#include <memory>

#include "application/Output.h"
#include "application/OxinApplication.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "statements/Capture.h"
#include "variables/AggregateElementTree.h"
#include "variables/Variable.h"
#include "variables/VariableList.h"

namespace {

// Writes text entity-encoded.
void WriteEncoded(Output* output, const char* text, int length) {
    int encoded_length = 0, size = 0;
    std::unique_ptr<char[]> encoded(TextConversion::EncodeEntities(
        text ? text : "", text ? length : 0, &encoded_length, &size));
    output->Write(encoded.get(), encoded_length);
}

// One hidden field for a scalar; for an aggregate, one for each scalar in
// it, the name growing by "[n]" for an array position and ":name" for a
// member at each level.
void HideVar(Output* output, const String& name, Variable* variable) {
    AggregateElementTree* elements = variable->aggregateelements();
    if (!elements || elements->Entries() == 0) {
        const String& value = variable->value();
        output->Write("<input type=\"hidden\" name=\"", -1);
        WriteEncoded(output, name.text(), name.length());
        output->Write("\" value=\"", -1);
        WriteEncoded(output, value.text(), value.length());
        output->Write("\">", -1);
        return;
    }
    elements->InOrder([&](AggregateElement* element) {
        const AggregateIndex& key = element->index();
        String inner = name;
        if (key.index() >= 0) {
            char position[24];
            snprintf(position, sizeof position, "[%d]", key.index());
            inner.cat(position, -1);
        } else {
            inner.cat(":", 1);
            inner.cat(key.name().text(), key.name().length());
        }
        HideVar(output, inner, element->var());
    });
}

}  // namespace

void capture(OxinVM* vm) {
    Variable* variable = nullptr;
    int deletable = 0;
    if (!vm->stack()->PopV(&variable, &deletable)) return;
    if (!vm->fatal()) {
        auto capturing = std::make_unique<Capture>(vm->oxinapplication(), vm, variable);
        capturing->Start();
        vm->Push_Feature(capturing.release());
    }
    if (deletable) variable->DecRefCount();
}

void capture_end(OxinVM* vm) {
    Feature* capturing = vm->Lookup_Feature(Feature::kCapture);
    if (!capturing) {
        vm->FatalError("Invalid instruction");
        return;
    }
    static_cast<Capture*>(capturing)->End();
    vm->Pop_Feature(capturing);
}

void hide(OxinVM* vm) {
    PoppedText names = vm->stack()->PopText();
    if (vm->fatal() || !names.text()) return;
    Output* output = vm->oxinapplication()->output();
    if (!output) return;
    VariableList list;
    vm->Lookup_VariableList(&list, names.text(), names.length());
    for (Variable* entry = list.First(); entry; entry = list.Next())
        HideVar(output, entry->name(), entry);
}
