#include "runtime/DatabaseView.h"

#include "runtime/OxinVM.h"

DatabaseView::DatabaseView(OxinApplication* application, OxinVM* vm, Database* database,
                           const String& name)
    : application_(application), vm_(vm), database_(database), name_(name) {}

DatabaseView::~DatabaseView() {
    Release_VM();
}

void DatabaseView::Release_VM() {
    if (filter_vm_) filter_vm_->DecRefCount();
    filter_vm_ = nullptr;
}

Variable* DatabaseView::FindField(const char* name, int length) {
    return variables_.Find(name, length);
}

void DatabaseView::SetFilter(OxinVM* vm, Segment* segment) {
    Release_VM();
    filter_ = vm ? segment : nullptr;
    filter_vm_ = vm;
    if (vm) vm->IncRefCount();
}
