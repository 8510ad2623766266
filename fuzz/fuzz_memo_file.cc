// Gives a sound table a memo file of arbitrary bytes: every record's memo is
// read, one is changed and a record with a new memo is appended.
#include <cstddef>
#include <cstdint>
#include <string>

#include "database/XBaseTable.h"
#include "fuzz/FuzzDirectory.h"

namespace {

// A table of two fields, ID N(4) and TEXT M(10), whose records point at
// memo blocks near the start, in the middle and far beyond any small file.
std::string TableBytes() {
    const int blocks[] = {1, 2, 3, 5, 8, 0, 100, 4000000};
    const int count = sizeof blocks / sizeof blocks[0];
    std::string header(32, '\0');
    header[0] = '\x83';
    header[1] = 126, header[2] = 11, header[3] = 22;
    header[4] = static_cast<char>(count);
    header[8] = 33 + 64;
    header[10] = 15;
    std::string id(32, '\0'), text(32, '\0');
    id.replace(0, 2, "ID");
    id[11] = 'N', id[16] = 4;
    text.replace(0, 4, "TEXT");
    text[11] = 'M', text[16] = 10;
    std::string bytes = header + id + text + "\x0D";
    for (int i = 0; i < count; i++) {
        std::string block = blocks[i] ? std::to_string(blocks[i]) : "";
        std::string number = std::to_string(i + 1);
        bytes += " " + std::string(4 - number.size(), ' ') + number +
                 std::string(10 - block.size(), ' ') + block;
    }
    return bytes + "\x1A";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static FuzzDirectory directory;
    static const std::string table_bytes = TableBytes();
    FuzzDirectory::Session session;
    if (size > 1 << 16) return 0;
    directory.Put("t.dbf", reinterpret_cast<const unsigned char*>(table_bytes.data()),
                  table_bytes.size());
    directory.Put("t.dbt", data, size);

    XBaseTable table(&directory.app());
    if (!table.Open(OxinPathData, "t.dbf", 5, 3)) return 0;
    for (int record = 1; record <= table.numrecords(); record++) {
        if (table.Goto(record)) table.fields().Last()->data();
    }
    if (table.Goto(1)) {
        table.fields().Last()->Set(String("a changed memo"));
        table.Update();
    }
    table.fields().Last()->Set(String("an appended memo"));
    table.Append();
    return 0;
}
