#include "runtime/OpenDatabases.h"

#include <algorithm>

#include "runtime/DatabaseView.h"

void OpenDatabases::Delete_All() {
    while (!list_.empty()) {
        std::unique_ptr<Database> database = std::move(list_.front());
        list_.erase(list_.begin());
        by_alias_.Remove(database->name().c_str(), database->name().length());
    }
}

void OpenDatabases::Release_VM() {
    for (auto& database : list_)
        database->Release_VM();
}

Database* OpenDatabases::Find(const char* alias, int length) {
    return by_alias_.Find(alias, length);
}

DatabaseView* OpenDatabases::View(const char* name, int length) {
    return views_.Find(name, length);
}

void OpenDatabases::Add(std::unique_ptr<Database> database) {
    by_alias_.Insert(database.get());
    list_.insert(list_.begin(), std::move(database));
}

std::unique_ptr<Database> OpenDatabases::Remove(Database* database) {
    by_alias_.Remove(database->name().c_str(), database->name().length());
    auto held = std::find_if(list_.begin(), list_.end(),
                             [database](const auto& each) { return each.get() == database; });
    if (held == list_.end()) return nullptr;
    std::unique_ptr<Database> taken = std::move(*held);
    list_.erase(held);
    return taken;
}

void OpenDatabases::MoveToHead(Database* database) {
    auto held = std::find_if(list_.begin(), list_.end(),
                             [database](const auto& each) { return each.get() == database; });
    if (held != list_.end()) std::rotate(list_.begin(), held, held + 1);
}

void OpenDatabases::Add_View(DatabaseView* view) {
    views_.Insert(view);
}

void OpenDatabases::Remove_View(DatabaseView* view) {
    for (int i = 0; i < views_.count(); i++) {
        if (views_.Index(i) != view) continue;
        views_.Remove(view->name().c_str(), view->name().length());
        return;
    }
}

Variable* OpenDatabases::FindField(const char* name, int length) {
    for (auto& database : list_) {
        if (Variable* field = database->Find(name, length)) return field;
    }
    return nullptr;
}
