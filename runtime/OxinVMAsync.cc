// The machine's side of asynchronous tasks: the deep copy that a task runs
// on, and the letting go of the request's open statements in the task's
// process.
#include <cstring>
#include <vector>

#include "application/OxinApplication.h"
#include "runtime/ClonedStores.h"
#include "runtime/Function.h"
#include "runtime/FunctionManager.h"
#include "runtime/OpenDatabases.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Frame.h"
#include "runtime/OxinVM_Stack.h"
#include "variables/ClonedVariableHash.h"

namespace {

// What a task's process inherits from the request and must neither use nor
// end: the request's open databases and statements (a lock file, a mail or
// a database connection of the parent) would be closed, or spoken to, by
// their destructors. They stay here, reachable and untouched, until the
// process ends.
struct InheritedFromRequest {
    std::vector<std::unique_ptr<OpenDatabases>> databases;
    std::vector<Feature*> features;
};
InheritedFromRequest* inherited = nullptr;

InheritedFromRequest& inherited_from_request() {
    if (!inherited) inherited = new InheritedFromRequest;
    return *inherited;
}

}  // namespace

OxinVM::OxinVM(OxinApplication* application, OxinVM& source,
               std::atomic<unsigned>* heartbeat_count, std::atomic<int>* cancelled_flag,
               std::atomic<int>* finished_flag)
    : OxinVM(std::make_unique<ClonedStores>(application, source), application, source,
             heartbeat_count, cancelled_flag, finished_flag) {}

OxinVM::OxinVM(std::unique_ptr<ClonedStores> stores, OxinApplication* application, OxinVM& source,
               std::atomic<unsigned>* heartbeat_count, std::atomic<int>* cancelled_flag,
               std::atomic<int>* finished_flag)
    : OxinVM(source.filename_.c_str(), source.filename_.length(), application, stores->dictionary(),
             stores->system(), stores->global(), stores->segments(), stores->functions(),
             stores->externalfunctions(), stores->commerce(), source.externaldbmgr_,
             stores->languages(), stores->pieces(), heartbeat_count, cancelled_flag, finished_flag,
             nullptr) {
    stores_ = std::move(stores);
    line_ = source.line_;
    last_line_traced_ = source.last_line_traced_;
    source_file_ = source.source_file_;
    error_prefix_ = source.error_prefix_;
    memcpy(tags_, source.tags_, sizeof tags_);
    log_mask_ = source.log_mask_;
    Clone_Frame(source);
    segment = source.segment;
    ip = source.ip;
}

// The clone runs in one frame with source's return position and flags.
// Outside the outermost code its locals are a copy of source's; a
// function's frame keeps its kind, with the copy of the function.
void OxinVM::Clone_Frame(const OxinVM& source) {
    OxinVM_Frame* from = source.frame_;
    OxinVM_Frame* frame = frame_;
    if (from->locals() != source.global_) {
        if (from->type() == 1) {
            const Function* function = static_cast<OxinVM_FunctionFrame*>(from)->function;
            frame = new OxinVM_FunctionFrame(functions_->Function_Get(function->id()),
                                             from->segment, from->ip, nullptr);
        } else {
            frame = new OxinVM_Frame(from->segment, from->ip, nullptr);
        }
        frame->Set_LocalVariable_Hash(
            new ClonedVariableHash(application_, dictionary_, *from->locals()), true);
        frame->Set_Stack(new OxinVM_Stack(this, kStackSize), true);
        delete frame_;
        frame_ = frame;
        stack_ = frame->stack();
    }
    frame->segment = from->segment;
    frame->ip = from->ip;
    frame->error_flags = from->error_flags;
    frame->output_flags = from->output_flags;
}

void OxinVM::ResetAsynchronousState() {
    if (parent_) parent_->ResetAsynchronousState();
    InheritedFromRequest& kept = inherited_from_request();
    databases_->Release_VM();
    kept.databases.push_back(std::move(databases_));
    databases_ = std::make_unique<OpenDatabases>();
    while (Feature* feature = features_.Top()) {
        kept.features.push_back(feature);
        features_.Pop();
    }
}

SystemLibraryManager* OxinVM::systemlibraries() const {
    if (stores_ && stores_->systemlibraries()) return stores_->systemlibraries();
    return application_->systemlibrarymanager();
}
