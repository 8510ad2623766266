#include "statements/LockfileStatements.h"

#include <memory>

#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "statements/Lockfile.h"

namespace {

// The row of OxLOCKFILE in the tag table.
constexpr int kTagLockfile = 23;

}  // namespace

void lockfile(OxinVM* vm) {
    PoppedText name = vm->stack()->PopText_NS();
    if (vm->fatal()) return;
    auto lock = std::make_unique<Lockfile>(vm->oxinapplication(), vm, name.text(), name.length());
    lock->Start();
    if (!lock->Lock()) {
        vm->EncodedRuntimeError(kTagLockfile, lock->error());
        return;
    }
    vm->Push_Feature(lock.release());
}

void lockfile_end(OxinVM* vm) {
    Feature* lock = vm->Lookup_Feature(Feature::kLockfile);
    if (!lock) {
        vm->FatalError("Invalid instruction");
        return;
    }
    static_cast<Lockfile*>(lock)->End();
    vm->Pop_Feature(lock);
}
