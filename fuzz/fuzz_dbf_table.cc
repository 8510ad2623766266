// Opens arbitrary bytes as a table and its memo file, reads every record and
// memo, and then writes to it: an append, an update and a deletion mark.
// The first two bytes give the length of the data file's part; the rest is
// the memo file.
#include <cstddef>
#include <cstdint>

#include "database/XBaseTable.h"
#include "fuzz/FuzzDirectory.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static FuzzDirectory directory;
    FuzzDirectory::Session session;
    if (size < 2 || size > 1 << 16) return 0;
    size_t split = (data[0] | (data[1] << 8)) % (size - 1);
    directory.Put("t.dbf", data + 2, split);
    directory.Put("t.dbt", data + 2 + split, size - 2 - split);

    XBaseTable table(&directory.app());
    if (!table.Open(OxinPathData, "t.dbf", 5, 3)) return 0;
    int records = table.numrecords() < 200 ? table.numrecords() : 200;
    for (int record = 1; record <= records; record++) {
        if (!table.Goto(record)) continue;
        for (XBaseField* field = table.fields().First(); field; field = table.fields().Next())
            field->data();
    }
    for (XBaseField* field = table.fields().First(); field; field = table.fields().Next())
        field->Set(String("12345678901234567890"));
    if (table.Append()) {
        table.Update();
        table.UpdateDeleted(1);
        table.Goto(table.recordnum());
    }
    return 0;
}
