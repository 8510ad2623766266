// Runs the database statements of a script over a damaged table, memo file
// and index: open with the index, walks both ways, searches, a filter, field
// reads and writes, add, update, delete, a structure listing, a new index,
// reindex and pack. Failures must reach the script as errors; nothing may
// crash or hang.
//
// Input: a 4-byte little-endian length of the table, a 4-byte length of the
// memo file, the table, the memo file, and the rest as the index.
#include <cstddef>
#include <cstdint>
#include <string>

#include "application/NullOutput.h"
#include "fuzz/FuzzDirectory.h"
#include "tests/support/ScriptRun.h"

namespace {

// The fields that the seeds' tables have: NAME (character, the index key),
// N (numeric), D (date), L (logical) and NOTE (memo).
const char kListing[] = R"(
.global
    0 "s"
.end
.segment 0
    tagerror 28, 0
    tagerror 29, 0
    tagerror 30, 0
    tagerror 31, 0
    tagerror 33, 0
    tagerror 35, 0
    tagerror 36, 0
    tagerror 38, 0
    tagerror 39, 0
    tagerror 40, 0
    tagerror 41, 0
    tagerror 43, 0
    tagerror 47, 0
    pushc "t"
    pushc "t.dbf"
    pushc "t.qtx"
    pushc ""
    pushc ""
    pushc ""
    dbopen
    pushc "t"
    pushc ""
    pushc "top"
    dbgo
forward:
    pushdc "t", "eof"
    jmp_ne backward
    pushdc "t", "NAME"
    pushdc "t", "N"
    cat
    pushdc "t", "NOTE"
    cat
    pushdc "t", "D"
    cat
    pushdc "t", "L"
    cat
    pop
    pushc "t"
    pushc ""
    pushi 1
    dbskip
    pushnc "OxSKIP_Error"
    jmp_ne backward
    jmp forward
backward:
    pushc "t"
    pushc ""
    pushc "bottom"
    dbgo
    pushc "t"
    pushc ""
    pushi -3
    dbskip
    pushc "t"
    pushc ""
    pushc "a"
    pushi 0
    dbfind
    pushc "t"
    pushc ""
    pushc "b"
    pushi 1
    dbfind
    pushc "t"
    pushc ""
    pushc "N GT 1"
    dbfilter
    pushc "t"
    pushc ""
    pushi 2
    dbskip
    pushc "t"
    pushc ""
    pushc "a"
    pushi 0
    dbfind
    pushc "t"
    pushc ""
    pushc ""
    dbfilter
    pushc "zz"
    popdc "t", "NAME"
    pushc "12.5"
    popdc "t", "N"
    pushi 20260101
    popdc "t", "D"
    pushc "a longer memo text than before"
    popdc "t", "NOTE"
    pushc "t"
    pushc ""
    dbupdate
    pushc "t"
    pushc ""
    dbdelete
    pushc "t"
    pushc ""
    dbadd
    pushc "t"
    pushc ""
    pushg s
    dbrevealstructureagg
    pushc "t"
    pushc ""
    pushc "s.dbf"
    dbrevealstructuredb
    pushc "t"
    pushc "n.qtx"
    pushc "N"
    pushc "DESCENDING"
    dbmakeindex
    pushc "t"
    dbreindex
    pushc "t"
    dbpack
    pushc "t"
    dbclose
.end
)";

constexpr long kInstructionBudget = 20000;

uint32_t length_at(const uint8_t* data) {
    return data[0] | data[1] << 8 | data[2] << 16 | static_cast<uint32_t>(data[3]) << 24;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static FuzzDirectory directory;
    static bool quiet = [] {
        directory.app().SetOutput(new NullOutput());
        return true;
    }();
    (void)quiet;
    FuzzDirectory::Session session;
    if (size < 8 || size > 1 << 17) return 0;
    size_t table = length_at(data), memo = length_at(data + 4);
    if (table > size - 8 || memo > size - 8 - table) return 0;
    const uint8_t* at = data + 8;
    directory.Put("t.dbf", at, table);
    directory.Put("t.dbt", at + table, memo);
    directory.Put("t.qtx", at + table + memo, size - 8 - table - memo);
    for (const char* made : {"n.qtx", "s.dbf"})
        directory.Put(made, nullptr, 0);
    directory.app().cancelled_flag = 0;
    directory.app().finished_flag = 0;
    OxinVM::instruction_budget = kInstructionBudget;
    ScriptRun run(kListing, &directory.app());
    run.Go();
    return 0;
}
