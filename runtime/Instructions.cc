#include "runtime/Instructions.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

#define OXIN_INSTRUCTION_INFO(enumerator, number, mnemonic, name, listing) \
    Instruction_Info{number, mnemonic, name, listing},

constexpr std::array kUnsorted = {OXIN_INSTRUCTION_LIST(OXIN_INSTRUCTION_INFO)};
#undef OXIN_INSTRUCTION_INFO

constexpr int kCount = static_cast<int>(kUnsorted.size());

constexpr std::array<Instruction_Info, kCount> Sorted() {
    std::array<Instruction_Info, kCount> table = kUnsorted;
    std::sort(table.begin(), table.end(), [](const Instruction_Info& a, const Instruction_Info& b) {
        return a.number < b.number;
    });
    return table;
}

constexpr std::array<Instruction_Info, kCount> kTable = Sorted();

constexpr bool NumbersAreUnique() {
    for (int i = 1; i < kCount; i++) {
        if (kTable[i - 1].number == kTable[i].number) return false;
    }
    return true;
}
static_assert(NumbersAreUnique(), "an instruction number is listed twice");

}  // namespace

const Instruction_Info* Instructions::Lookup(uint16_t word) {
    auto at = std::lower_bound(
        kTable.begin(), kTable.end(), word,
        [](const Instruction_Info& info, uint16_t number) { return info.number < number; });
    if (at == kTable.end() || at->number != word) return nullptr;
    return &*at;
}

const Instruction_Info* Instructions::Lookup(const char* mnemonic, int length) {
    if (!mnemonic) return nullptr;
    size_t n = length < 0 ? strlen(mnemonic) : static_cast<size_t>(length);
    for (const Instruction_Info& info : kTable) {
        if (strlen(info.mnemonic) == n && memcmp(info.mnemonic, mnemonic, n) == 0) return &info;
    }
    return nullptr;
}

const Instruction_Info* Instructions::Table(int* count) {
    if (count) *count = kCount;
    return kTable.data();
}
