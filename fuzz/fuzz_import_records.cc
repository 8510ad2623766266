// Feeds arbitrary bytes to OxIMPORT's record reader as a file of the data
// directory: line ends of every kind cut across read blocks, escapes at the
// ends of blocks and of the file, records far longer than a block. The first
// byte picks the read block's size, the second the delimiter's length,
// taken from the bytes after them.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>

#include "fuzz/FuzzDirectory.h"
#include "statements/Import.h"
#include "tests/support/ScriptRun.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || size > 1 << 16) return 0;
    // The file manager moves the working directory; libFuzzer's paths are
    // relative to the one it started in.
    FuzzDirectory::Session session;
    static FuzzDirectory* directory = new FuzzDirectory();
    static ScriptRun* run = new ScriptRun(".segment 0\n.end\n", &directory->app());
    int block = data[0] % 64 + 1;
    size_t delimiter = data[1] % 4;
    if (delimiter > size - 2) return 0;
    directory->Put("in.txt", data + 2 + delimiter, size - 2 - delimiter);

    Import reader(&directory->app(), run->vm());
    reader.SetDelimiter(reinterpret_cast<const char*>(data + 2), static_cast<int>(delimiter));
    reader.SetFields("a, b, c", 7);
    if (!reader.Start(String("in.txt"), block)) abort();
    int records = 0;
    while (reader.Next() == 0) {
        // Every record takes at least one byte of the file.
        if (++records > static_cast<int>(size)) abort();
    }
    Variable* recno = run->vm()->Lookup_Global("recno", 5);
    if (records > 0 && recno->value_integer() != records) abort();
    return 0;
}
