#include "runtime/StatementTable.h"

#include <utility>
#include <vector>

namespace {

// A few dozen entries at most, looked up only for statement instructions.
std::vector<std::pair<uint16_t, StatementHandler>>& handlers() {
    static std::vector<std::pair<uint16_t, StatementHandler>> table;
    return table;
}

}  // namespace

void StatementTable::Register(uint16_t instruction, StatementHandler handler) {
    for (auto& entry : handlers()) {
        if (entry.first == instruction) {
            entry.second = handler;
            return;
        }
    }
    handlers().emplace_back(instruction, handler);
}

StatementHandler StatementTable::Find(uint16_t instruction) {
    for (const auto& entry : handlers()) {
        if (entry.first == instruction) return entry.second;
    }
    return nullptr;
}
