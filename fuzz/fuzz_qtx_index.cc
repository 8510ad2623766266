// Opens arbitrary bytes as an index file and walks it every way a view
// would: both ends and cursor steps in both directions, searches, inserts
// and deletes, then checks it as oxin-dbf does.
#include <cstddef>
#include <cstdint>
#include <string>

#include "database/QTXIndexFile.h"
#include "fuzz/FuzzDirectory.h"
#include "tools/XBaseIndexChecker.h"

namespace {

const unsigned char* Raw(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

void Walk(QTXIndexFile& index, bool forward) {
    unsigned int record = 0;
    const unsigned char* key = nullptr;
    if (!(forward ? index._First(&record, 1) : index._Last(&record, 1))) return;
    for (int step = 0; record != 0 && step < 2000; step++) {
        bool ok = forward ? index._Next(&record, &key, 1) : index._Prev(&record, &key, 1);
        if (!ok) return;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static FuzzDirectory directory;
    FuzzDirectory::Session session;
    if (size > 1 << 17) return 0;
    directory.Put("i.qtx", data, size);
    QTXIndexFile index(&directory.app());
    if (!index.Open(OxinPathData, "i.qtx", 3)) return 0;
    Walk(index, true);
    Walk(index, false);
    unsigned int record = 0;
    int found = 0;
    for (const char* key : {"", "1", "k5", "zzzz"}) {
        int length = static_cast<int>(std::char_traits<char>::length(key));
        if (index._Find(Raw(key), length, 1, &record, &found, 1) && found)
            index._Seek(Raw(key), length, record, 1);
        index._Find(Raw(key), length, 0, &record, &found, 1);
    }
    XBaseIndexChecker(&index, nullptr).Check();
    for (unsigned int i = 1; i <= 12; i++) {
        std::string key = "k" + std::to_string(i * 7 % 10);
        index.Insert(i, Raw(key.c_str()), static_cast<int>(key.size()));
    }
    for (unsigned int i = 1; i <= 12; i += 2) {
        std::string key = "k" + std::to_string(i * 7 % 10);
        index.Delete(i, Raw(key.c_str()), static_cast<int>(key.size()));
    }
    Walk(index, true);
    return 0;
}
