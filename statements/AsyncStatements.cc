#include "statements/AsyncStatements.h"

#include "application/OxinApplication.h"
#include "runtime/OxinVM.h"

namespace {

constexpr int kAsynchronousTag = 75;

// The message of a task that did not start, or null.
const char* failure_text(int result) {
    switch (result) {
        case OxinApplication::kAsyncForkFailed:
            return "Unable to start asynchronous task";
        case OxinApplication::kAsyncUnsupported:
            return "Asynchronoust tasks are not supported";
        case OxinApplication::kAsyncLimit:
            return "Maximum number of asynchronous tasks exceeded";
        case OxinApplication::kAsyncNested:
            return "Asynchronous tasks may not start additional asynchronous tasks";
        default:
            return nullptr;
    }
}

}  // namespace

void async(OxinVM* vm) {
    int result = vm->oxinapplication()->BeginAsynchronousTask(vm);
    // The task has run in this process: finished_flag stops the machine.
    if (result == OxinApplication::kAsyncRan) return;
    if (const char* text = failure_text(result)) {
        vm->RuntimeError(kAsynchronousTag, String(text));
        if (vm->fatal()) return;
    }
    vm->Jump(vm->operand1());
}
