#include "statements/DoStatements.h"

#include <memory>

#include "application/Config.h"
#include "application/OxinApplication.h"
#include "files/FileManager.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Frame.h"
#include "runtime/OxinVM_Stack.h"
#include "runtime/TagLookup.h"
#include "statements/DoContext.h"
#include "statements/DoContextCache.h"
#include "variables/NULLVariable.h"

namespace {

DoContextCache* cache_of(OxinVM* vm) {
    auto* cache = static_cast<DoContextCache*>(vm->statement_state(StatementState::kDoContexts));
    if (cache) return cache;
    vm->Set_Statement_State(StatementState::kDoContexts, std::make_unique<DoContextCache>());
    return static_cast<DoContextCache*>(vm->statement_state(StatementState::kDoContexts));
}

// The contained path of file, relative to the calling file's directory
// unless absolute; false after a runtime error.
bool normalized_path(OxinVM* vm, const PoppedText& file, String* filepath) {
    FileManager* files = vm->oxinapplication()->filemanager();
    String path;
    bool absolute =
        file.length() > 0 && (file.text()[0] == '/' || file.text()[0] == files->pathseparator()[0]);
    if (!absolute) path = vm->basescriptdir();
    path.cat(file.text(), file.length());
    int length = 0, capacity = 0;
    char* key = files->NormalizeContainedPath(OxinPathScript, path.c_str(), &length, &capacity);
    if (!key) {
        vm->EncodedRuntimeError(kTagDo, files->error());
        return false;
    }
    *filepath = String(key, length, capacity);
    return true;
}

// The context of file, from the cache or loaded now; null after a runtime
// error of the OxDO tag.
DoContext* find_context(OxinVM* vm, const PoppedText& file) {
    String filepath;
    if (!normalized_path(vm, file, &filepath)) return nullptr;
    DoContextCache* cache = cache_of(vm);
    if (DoContext* context = cache->Find(filepath)) return context;
    OxinApplication* application = vm->oxinapplication();
    Config* config = application->config();
    cache->Evict(config ? config->value_integer(kConfigMaxDocache) : 0);
    FileManager* files = application->filemanager();
    std::unique_ptr<File> opened(files->Open(OxinPathScript, filepath.c_str(), FileOpenRead));
    if (!opened) {
        vm->EncodedRuntimeError(kTagDo, files->error());
        return nullptr;
    }
    // The top machine is the parent: it owns the cache, so it outlives the
    // context, whichever machine's OxDO loaded it.
    auto context = std::make_unique<DoContext>(vm->systemvar_hash(), vm->globalvar_hash(),
                                               application, vm->top(), vm->externalfunctions(),
                                               vm->commerce(), vm->externaldbmgr());
    if (!context->Open(filepath, std::move(opened))) {
        vm->EncodedRuntimeError(kTagDo, context->Error());
        return nullptr;
    }
    return cache->Insert(std::move(context));
}

// The compiled expression of the context, compiled now at the first need;
// null after a runtime error.
Segment* expression_of(OxinVM* vm, DoContext* context, const PoppedText& expression) {
    Segment* code = context->Find_Expression(expression.text(), expression.length());
    if (code) return code;
    String error;
    int source_length;
    const char* source = vm->Current_SourceFile(&source_length);
    code = context->VM()->Compile_Dynamic_Expression(
        expression.text(), expression.length(), nullptr, vm, &error,
        source_length ? source : nullptr, source_length, vm->Current_LineNumber());
    if (code) {
        context->Add_Expression(expression.text(), expression.length(), code);
    } else {
        vm->EncodedRuntimeError(kTagDo, error);
    }
    return code;
}

}  // namespace

void op_do_file(OxinVM* vm) {
    PoppedText file = vm->stack()->PopText_NS();
    if (vm->fatal()) return;
    DoContext* context = find_context(vm, file);
    if (!context) return;
    LogParameter name = LogParameter::Text(file.text(), file.length());
    if (vm->Logging(kLogDoEnter)) vm->Log_Record(kLogDoEnter, {name});
    int result;
    {
        DoContext::InUse running(context);
        result = context->VM()->Go_Recursive();
    }
    vm->Finish_Nested_Run(context->VM(), result);
    if (result && vm->Logging(kLogDoExit)) vm->Log_Record(kLogDoExit, {name});
}

void op_do_function(OxinVM* vm) {
    PoppedText expression = vm->stack()->PopText();
    PoppedText file = vm->stack()->PopText_NS();
    DoContext* context = vm->fatal() ? nullptr : find_context(vm, file);
    Segment* code = context ? expression_of(vm, context, expression) : nullptr;
    if (vm->fatal()) return;
    if (!code) {
        vm->stack()->PushV(vm->nullvariable(), 1, 1);
        return;
    }
    int result;
    {
        DoContext::InUse running(context);
        result =
            context->VM()->Execute_Dynamic_Expression(code, vm->stack(), vm->Frame()->locals());
    }
    vm->Finish_Nested_Run(context->VM(), result);
    if (!result) vm->stack()->PushV(vm->nullvariable(), 1, 1);
}
