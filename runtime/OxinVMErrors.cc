// Fatal and runtime errors: the message layout and the tag table.

#include <cstdio>

#include "application/OxinApplication.h"
#include "files/Dictionary.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Frame.h"
#include "variables/VariableHash.h"

const char* OxinVM::Current_SourceFile(int* length) {
    const char* name = source_file_ >= 0 ? dictionary_->Entry(source_file_, length) : nullptr;
    if (!name) {
        *length = 0;
        return "";
    }
    return name;
}

// "<prefix><kind> in <file> @ [segment:offset]: <source>: Line <n>: <tag>: "
// where the source, line and tag parts appear only when known.
String OxinVM::ErrorText(const char* kind, int tag) {
    String text(error_prefix_.c_str(), error_prefix_.length());
    text.cat(kind);
    text.cat(" in ");
    text.cat(filename_.c_str(), filename_.length());
    char position[32];
    snprintf(position, sizeof position, " @ [%08x:%08x]: ", static_cast<unsigned>(segment),
             static_cast<unsigned>(instruction_start_));
    text.cat(position);
    int length;
    const char* source = Current_SourceFile(&length);
    if (length > 0) {
        text.cat(source, length);
        text.cat(": ");
    }
    if (line_ != 0) {
        char line[32];
        snprintf(line, sizeof line, "Line %d: ", line_);
        text.cat(line);
    }
    if (tag >= 0 && tag < kTagRows && tags_[tag].name) {
        text.cat(tags_[tag].name);
        text.cat(": ");
    }
    return text;
}

void OxinVM::FatalError(const String& message) {
    error_ = ErrorText("Fatal error", -1);
    error_.cat(message.c_str(), message.length());
    error_.cat('\n');
    fatal_ = 1;
    application_->Error(error_);
    if (Logging(kLogFatalError))
        Log_Record(kLogFatalError, {LogParameter::Text(error_.c_str(), error_.length())});
}

void OxinVM::FatalError(const char* message) {
    FatalError(String(message));
}

void OxinVM::RuntimeError(int tag, const String& message) {
    bool has_row = tag >= 0 && tag < kTagRows;
    error_ = ErrorText("Runtime error", has_row ? tag : -1);
    error_.cat(message.c_str(), message.length());
    error_.cat('\n');
    // A tag without a row is fatal, shown, and has no variable.
    unsigned flags =
        has_row ? tags_[tag].flags : TagErrorSetting::kDisplay | TagErrorSetting::kFatal;
    fatal_ = (flags & TagErrorSetting::kFatal) ? 1 : 0;
    if ((flags & TagErrorSetting::kDisplay) && (frame_->error_flags & kErrorsReachApplication))
        application_->Error(error_);
    if (has_row && tags_[tag].variable)
        global_->SetVariable(tags_[tag].variable, -1, message.c_str(), message.length());
    if (Logging(kLogRuntimeError))
        Log_Record(kLogRuntimeError, {LogParameter::Text(error_.c_str(), error_.length())});
}

void OxinVM::EncodedRuntimeError(int tag, const String& message) {
    int length, size;
    char* encoded =
        TextConversion::EncodeEntities(message.c_str(), message.length(), &length, &size);
    RuntimeError(tag, String(encoded, length, size));
}

void OxinVM::ClearErrorVariable(int tag) {
    if (tag >= 0 && tag < kTagRows && tags_[tag].variable)
        global_->ClearVariable(tags_[tag].variable, -1);
}
