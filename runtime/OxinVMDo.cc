// OxDO: running another compiled file, whole or by one expression, in a
// context loaded once per request and kept in the top machine's cache.

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "files/FileManager.h"
#include "host/Config.h"
#include "host/Output.h"
#include "host/OxinApplication.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Frame.h"
#include "runtime/OxinVM_Stack.h"
#include "statements/DoContext.h"
#include "variables/NULLVariable.h"

namespace {

void release(char* text, int deletable) {
    if (deletable && text) delete[] text;
}

}  // namespace

DoContext* OxinVM::DoContextFind(const char* file, int length) {
    FileManager* files = application_->filemanager();
    const char* separator = files->pathseparator();
    String path;
    bool absolute = length > 0 && (file[0] == '/' || file[0] == separator[0]);
    if (!absolute) path = basescriptdir_;
    path.cat(file, length);
    int key_length = 0, capacity = 0;
    char* key = files->NormalizeContainedPath(OxinPathScript, path.c_str(), &key_length, &capacity);
    if (!key) {
        EncodedRuntimeError(kTagDo, files->error());
        return nullptr;
    }
    String filepath(key, key_length, capacity);
    if (DoContext* context = Find_DoContext(filepath)) return context;
    Config* config = application_->config();
    Evict_DoContexts(config ? config->value_integer(kConfigMaxDocache) : 0);
    File* opened = files->Open(OxinPathScript, filepath.c_str(), FileOpenRead);
    if (!opened) {
        EncodedRuntimeError(kTagDo, files->error());
        return nullptr;
    }
    // The top machine is the parent: it owns the cache, so it outlives the
    // context, whichever machine's OxDO loaded it.
    OxinVM* top = parent_ ? parent_ : this;
    auto context = std::make_unique<DoContext>(system_, global_, application_, top,
                                               externalfunctions_, commerce_, externaldbmgr_);
    if (!context->Open(filepath, opened)) {
        EncodedRuntimeError(kTagDo, context->Error());
        return nullptr;
    }
    do_contexts_->insert(do_contexts_->begin(), std::move(context));
    return do_contexts_->front().get();
}

// The cached context of a normalized path, moved to the front of the list.
DoContext* OxinVM::Find_DoContext(const String& filepath) {
    DoContextList& contexts = *do_contexts_;
    for (auto at = contexts.begin(); at != contexts.end(); ++at) {
        const String& path = (*at)->filepath();
        if (path.length() == filepath.length() &&
            strncasecmp(path.c_str(), filepath.c_str(), filepath.length()) == 0) {
            std::rotate(contexts.begin(), at, at + 1);
            return contexts.front().get();
        }
    }
    return nullptr;
}

// Makes room for one more context under a limit of most (0: none): the
// least recently used go first. Contexts with runs in progress stay, so the
// limit may be passed.
void OxinVM::Evict_DoContexts(int most) {
    DoContextList& contexts = *do_contexts_;
    for (size_t i = contexts.size();
         most > 0 && contexts.size() >= static_cast<size_t>(most) && i-- > 0;) {
        if (contexts[i]->RefCount() != 0) continue;
        // Out of the list before it goes, so the list is whole then.
        std::unique_ptr<DoContext> gone = std::move(contexts[i]);
        contexts.erase(contexts.begin() + static_cast<long>(i));
    }
}

void OxinVM::op_do_file() {
    int length, size, deletable;
    char* file = stack_->PopS_NS(&length, &size, &deletable);
    if (fatal_) {
        release(file, deletable);
        return;
    }
    DoContext* context = DoContextFind(file, length);
    release(file, deletable);
    if (!context) return;
    int result;
    {
        DoContext::InUse running(context);
        result = context->VM()->Go_Recursive();
    }
    Finish_Do(context, result);
}

void OxinVM::op_do_function() {
    int expression_length, expression_size, expression_deletable;
    char* expression = stack_->PopS(&expression_length, &expression_size, &expression_deletable);
    int length, size, deletable;
    char* file = stack_->PopS_NS(&length, &size, &deletable);
    DoContext* context = fatal_ ? nullptr : DoContextFind(file, length);
    release(file, deletable);
    Segment* code = nullptr;
    if (context) {
        code = context->Find_Expression(expression, expression_length);
        if (!code) {
            String error;
            int source_length;
            const char* source = Current_SourceFile(&source_length);
            code = context->VM()->Compile_Dynamic_Expression(
                expression, expression_length, nullptr, this, &error,
                source_length ? source : nullptr, source_length, line_);
            if (code) {
                context->Add_Expression(expression, expression_length, code);
            } else {
                EncodedRuntimeError(kTagDo, error);
            }
        }
    }
    release(expression, expression_deletable);
    if (fatal_) return;
    if (!code) {
        stack_->PushV(null_variable_, 1, 1);
        return;
    }
    int result;
    {
        DoContext::InUse running(context);
        result = context->VM()->Execute_Dynamic_Expression(code, stack_, frame_->locals());
    }
    Finish_Do(context, result);
    if (!result) stack_->PushV(null_variable_, 1, 1);
}

// After the target ran: its output flags end, and a fatal end there (shown
// there) ends this machine too.
void OxinVM::Finish_Do(DoContext* context, int result) {
    if (result) {
        SetOutputFlags(frame_->output_flags);
        last_line_traced_ = 0;
        return;
    }
    error_ = context->VM()->error();
    fatal_ = 1;
}
