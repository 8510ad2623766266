#include "statements/ImportStatements.h"

#include <memory>

#include "application/Config.h"
#include "application/OxinApplication.h"
#include "files/File.h"
#include "files/FileManager.h"
#include "runtime/ExpressionCompiler.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "runtime/Segment.h"
#include "statements/Import.h"
#include "variables/VariableList.h"

namespace {

// The rows of OxIMPORT and OxEXPORT in the tag table.
constexpr int kTagImport = 2;
constexpr int kTagExport = 4;

String Text(const PoppedText& popped) {
    return String(popped.text() ? popped.text() : "", popped.text() ? popped.length() : 0);
}

Import* Current_Import(OxinVM* vm) {
    Feature* feature = vm->Lookup_Feature(Feature::kImport);
    if (!feature) vm->FatalError("Invalid instruction");
    return static_cast<Import*>(feature);
}

// The target of the instruction's jump, leaving the position as it is; -1
// after the fatal error of a target outside the segment.
int Jump_Target(OxinVM* vm) {
    int here = vm->ip;
    vm->Jump(vm->operand1());
    if (vm->fatal()) return -1;
    int target = vm->ip;
    vm->ip = here;
    return target;
}

// Opens the file and reads the first record: the body follows with the
// statement open, or the position goes past the body.
void Begin(OxinVM* vm, Segment* filter, const PoppedText& file, const PoppedText& delimiter,
           const PoppedText& fields) {
    auto reader = std::make_unique<Import>(vm->oxinapplication(), vm);
    reader->SetDelimiter(delimiter.text(), delimiter.length());
    reader->SetFields(fields.text(), fields.length());
    Config* config = vm->oxinapplication()->config();
    int size = config ? config->value_integer(kConfigBufszImport) : 0;
    if (!reader->Start(Text(file), size)) {
        vm->EncodedRuntimeError(kTagImport, reader->error());
        vm->Jump(vm->operand1());
        return;
    }
    vm->ClearErrorVariable(kTagImport);
    reader->SetFilter(filter);
    int body = vm->ip;
    int end = Jump_Target(vm);
    if (end < 0) return;
    if (reader->Next() == 1) {
        vm->ip = end;
        return;
    }
    vm->Push_Feature(reader.release());
    if (filter) vm->Enter_Filter_Frame(filter->id(), body, end);
}

}  // namespace

void import(OxinVM* vm) {
    PoppedText fields = vm->stack()->PopText_NS();
    PoppedText delimiter = vm->stack()->PopText_NS();
    PoppedText file = vm->stack()->PopText_NS();
    if (vm->fatal()) return;
    Begin(vm, nullptr, file, delimiter, fields);
}

void importf(OxinVM* vm) {
    PoppedText expression = vm->stack()->PopText_NS();
    PoppedText fields = vm->stack()->PopText_NS();
    PoppedText delimiter = vm->stack()->PopText_NS();
    PoppedText file = vm->stack()->PopText_NS();
    if (vm->fatal()) return;
    Segment* filter = nullptr;
    if (!ExpressionCompiler::Expression_Empty(expression.text(), expression.length())) {
        String error;
        filter = vm->Compile_Dynamic_Expression(expression.text(), expression.length(), nullptr,
                                                nullptr, &error, nullptr, 0, 1);
        if (!filter) {
            vm->EncodedRuntimeError(kTagImport,
                                    String::Join({"Syntax error in filter: ", error.c_str()}));
            vm->Jump(vm->operand1());
            return;
        }
    }
    Begin(vm, filter, file, delimiter, fields);
}

void import_loop(OxinVM* vm) {
    Import* reader = Current_Import(vm);
    if (!reader) return;
    if (reader->Next() == 1) {
        vm->Pop_Feature(reader);
        return;
    }
    if (!reader->filter()) {
        vm->Jump(vm->operand1());
        return;
    }
    int end = vm->ip;
    int body = Jump_Target(vm);
    if (body < 0) return;
    vm->Enter_Filter_Frame(reader->filter()->id(), body, end);
}

void import_filter(OxinVM* vm, bool pass) {
    Import* reader = Current_Import(vm);
    if (!reader) return;
    if (pass) {
        reader->Count_Record();
        vm->Leave_Filter_Frame(true);
    } else if (reader->Next() == 1) {
        vm->Leave_Filter_Frame(false);
        vm->Pop_Feature(reader);
    } else {
        vm->ip = 0;
    }
}

void import_stop(OxinVM* vm) {
    Import* reader = Current_Import(vm);
    if (!reader) return;
    vm->Pop_Feature(reader);
    vm->Jump(vm->operand1());
}

void op_export(OxinVM* vm) {
    PoppedText fields = vm->stack()->PopText_NS();
    PoppedText delimiter = vm->stack()->PopText_NS();
    PoppedText file = vm->stack()->PopText_NS();
    if (vm->fatal()) return;
    String name = Text(file);
    FileManager* files = vm->oxinapplication()->filemanager();
    std::unique_ptr<File> out(
        files->Open(OxinPathData, name.c_str(), FileOpenWrite | FileOpenCreate | FileOpenAppend));
    if (!out) {
        vm->EncodedRuntimeError(kTagExport, String::Join({"Unable to create file '", name.c_str(),
                                                          "': ", files->error().c_str()}));
        return;
    }
    VariableList values;
    vm->Lookup_VariableList(&values, fields.text() ? fields.text() : "",
                            fields.text() ? fields.length() : 0);
    std::string record = Import::Export_Record(&values, delimiter.text(), delimiter.length());
    long before = out->Length();
    int size = static_cast<int>(record.size());
    if (out->Write(record.data(), size) != size) {
        // A torn write is taken back, so that the file holds whole records.
        if (before >= 0) out->Truncate(before);
        vm->EncodedRuntimeError(kTagExport,
                                String::Join({"Unable to write to file '", name.c_str(), "'."}));
        return;
    }
    vm->ClearErrorVariable(kTagExport);
}
