#include "statements/Commerce.h"

#include "extensions/CommerceLibrary.h"
#include "extensions/CommerceLibraryManager.h"
#include "runtime/OxinVM.h"

namespace {

// Results of a library's loop entry point; anything else ends the loop.
constexpr int kLoopAgain = 0;
constexpr int kLoopFailed = 1;

}  // namespace

Commerce::Commerce(OxinApplication* application, OxinVM* vm, CommerceLibraryManager* manager,
                   VariableHash* variables, const String& method, const String& action)
    : Feature(application, vm, kCommerce),
      manager_(manager),
      variables_(variables),
      method_(method),
      action_(action) {}

Commerce::~Commerce() {
    if (library_) library_->Clean(vm_, &data_, method_.c_str(), action_.c_str(), &fields_);
}

void Commerce::Set_Fields(const char* names, int length) {
    vm_->Lookup_VariableList(&fields_, names ? names : "", names ? length : 0);
}

bool Commerce::Start() {
    CommerceLibrary* library =
        manager_ ? manager_->Lookup_Commerce_Library(method_.c_str(), method_.length()) : nullptr;
    if (!library) {
        Error(manager_ ? manager_->Get_Error()
                       : String::Join({"Commerce method '", method_.c_str(),
                                       "' is unsupported or not configured"}));
        return false;
    }
    library_ = library;
    if (library_->Init(vm_, &data_, method_.c_str(), action_.c_str(), &fields_, variables_) == 0)
        return true;
    Error(String(library_->Error(vm_, &data_, method_.c_str(), action_.c_str(), &fields_)));
    return false;
}

int Commerce::Next() {
    int result = library_->Loop(vm_, &data_, method_.c_str(), action_.c_str(), &fields_, variables_,
                                index_++);
    if (result == kLoopAgain) return kRunBody;
    if (result == kLoopFailed)
        Error(String(library_->Error(vm_, &data_, method_.c_str(), action_.c_str(), &fields_)));
    return kEnd;
}
