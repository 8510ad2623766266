#include "runtime/Database.h"

#include <algorithm>

#include "runtime/DatabaseView.h"
#include "runtime/OpenDatabases.h"
#include "runtime/OxinVM.h"

String StringTuple::Take() const {
    if (owner && *owner && text) {
        *owner = 0;
        return String(const_cast<char*>(text), length, capacity);
    }
    return String(text ? text : "", length);
}

const char* HashTableKey<Database>::Text(const Database* database, int* length) {
    *length = database->name().length();
    return database->name().c_str();
}

const char* HashTableKey<DatabaseView>::Text(const DatabaseView* view, int* length) {
    *length = view->name().length();
    return view->name().c_str();
}

Database::Database(OxinApplication* application, OxinVM* vm, const StringTuple& name)
    : application_(application), vm_(vm), name_(name.Take()) {
    vm_->IncRefCount();
}

Database::~Database() {
    while (!views_.empty()) {
        if (vm_) vm_->databases().Remove_View(views_.back().get());
        views_.pop_back();
    }
    if (vm_) vm_->DecRefCount();
}

void Database::Release_VM() {
    for (auto& view : views_)
        view->Release_VM();
    if (vm_) vm_->DecRefCount();
    vm_ = nullptr;
}

void Database::View_Add(DatabaseView* view) {
    if (vm_) vm_->databases().Add_View(view);
    views_hash_.Insert(view);
    views_.emplace_back(view);
}

void Database::View_Del(DatabaseView* view) {
    if (vm_) vm_->databases().Remove_View(view);
    views_hash_.Remove(view->name().c_str(), view->name().length());
    if (primary_ == view) primary_ = nullptr;
    std::erase_if(views_, [view](const auto& held) { return held.get() == view; });
}

DatabaseView* Database::PrimaryView() {
    return primary_;
}

void Database::SetPrimaryView(DatabaseView* view) {
    auto held = std::find_if(views_.begin(), views_.end(),
                             [view](const auto& each) { return each.get() == view; });
    if (held != views_.end()) std::rotate(views_.begin(), held, held + 1);
}

Variable* Database::Find(const char* name, int length) {
    for (auto& view : views_) {
        if (Variable* field = view->FindField(name, length)) return field;
    }
    return nullptr;
}

DatabaseView* Database::View(const char* name, int length) {
    return views_hash_.Find(name, length);
}
