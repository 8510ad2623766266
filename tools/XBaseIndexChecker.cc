#include "tools/XBaseIndexChecker.h"

#include <algorithm>
#include <memory>

#include "database/QTXIndexFile.h"
#include "database/XBaseTable.h"

namespace {

constexpr int kDeepestSound = 64;

}  // namespace

void XBaseIndexChecker::Problem(const std::string& text) {
    // A badly damaged file could produce a problem per entry; the first ones
    // tell the story.
    if (problems_.size() < 100) problems_.push_back(text);
}

bool XBaseIndexChecker::Check() {
    comparekeys_ =
        table_ && expression_.Parse(reinterpret_cast<const char*>(index_->keyexpression()), table_);
    if (table_) numrecords_ = std::min(table_->numrecords(), std::max(table_->RecordsHeld(), 0));
    if (!index_->file()->Lock(FileLockRead, 0, QTXIndexFile::kHeaderSize)) {
        Problem("cannot lock the index header for reading: " +
                std::string(index_->file()->error().c_str()));
        return false;
    }
    if (!index_->ReadHeader()) {
        Problem(index_->error().c_str());
    } else {
        Walk(index_->startingpage(), 0);
        if (table_) CheckRecords();
    }
    index_->file()->Release(0, QTXIndexFile::kHeaderSize);
    if (problems_.empty()) CheckCursor();
    summary_ = std::to_string(entries_) + " entries in " + std::to_string(visited_.size()) +
               " pages, " + std::to_string(deepest_ + 1) + " levels; keys " +
               (comparekeys_ ? "compared with the table"
                : table_     ? "not compared (the key expression is not a list of fields)"
                             : "not compared (no table)");
    return problems_.empty();
}

std::string XBaseIndexChecker::KeyOf(int record) {
    if (!table_->Goto(record)) {
        Problem("record " + std::to_string(record) + ": " + table_->error().c_str());
        return "";
    }
    return expression_.Key(index_->keysize());
}

void XBaseIndexChecker::Walk(unsigned int pagenum, int depth) {
    std::string where = "page " + std::to_string(pagenum);
    if (depth > kDeepestSound) {
        Problem(where + ": the tree is deeper than " + std::to_string(kDeepestSound) + " levels");
        return;
    }
    if (!visited_.insert(pagenum).second) {
        Problem(where + ": reached twice");
        return;
    }
    if (pagenum >= index_->numpages()) {
        Problem(where + ": beyond the " + std::to_string(index_->numpages()) + " pages");
        return;
    }
    std::unique_ptr<QTXIndexPage> page(index_->LoadPage(pagenum));
    if (!page) {
        Problem(where + ": " + index_->error().c_str());
        return;
    }
    deepest_ = depth > deepest_ ? depth : deepest_;
    int n = page->numentries();
    bool root = pagenum == index_->startingpage();
    if (n > index_->order()) Problem(where + ": " + std::to_string(n) + " entries");
    if (!root && n < index_->order() / 2 - 1) {
        Problem(where + ": only " + std::to_string(n) + " entries");
    }
    int children = 0;
    for (int i = 0; i <= n; i++)
        children += page->childpage(i) != 0;
    if (children != 0 && children != n + 1) {
        Problem(where + ": some of its child slots are empty");
    }
    if (children == 0) {
        if (leafdepth_ < 0) leafdepth_ = depth;
        if (leafdepth_ != depth) Problem(where + ": a leaf at another depth than the others");
    }
    for (int i = 0; i <= n; i++) {
        if (page->childpage(i)) Walk(page->childpage(i), depth + 1);
        if (i < n) CheckEntry(page->key(i), page->recordnum(i), pagenum);
    }
}

void XBaseIndexChecker::CheckEntry(const unsigned char* key, unsigned int record,
                                   unsigned int pagenum) {
    entries_++;
    std::string text = reinterpret_cast<const char*>(key);
    std::string where = "page " + std::to_string(pagenum) + ", record " + std::to_string(record);
    if (haveprevious_ &&
        QTXIndexFile::Compare(reinterpret_cast<const unsigned char*>(previous_.c_str()), key, 1,
                              index_->flags()) > 0) {
        Problem(where + ": key '" + text + "' is out of order after '" + previous_ + "'");
    }
    previous_ = text;
    haveprevious_ = true;
    if (!table_) return;
    if (record == 0 || record > static_cast<unsigned int>(numrecords_)) {
        Problem(where + ": no such record in the table");
        return;
    }
    records_[record]++;
    if (comparekeys_) {
        std::string expected = KeyOf(static_cast<int>(record));
        if (expected != text) {
            Problem(where + ": key '" + text + "' but the record's key is '" + expected + "'");
        }
    }
}

void XBaseIndexChecker::CheckRecords() {
    for (int record = 1; record <= numrecords_; record++) {
        auto found = records_.find(static_cast<unsigned int>(record));
        int count = found == records_.end() ? 0 : found->second;
        if (count != 1) {
            Problem("record " + std::to_string(record) + ": in the index " + std::to_string(count) +
                    " times");
        }
    }
}

// The cursor must visit exactly the entries that the walk found.
void XBaseIndexChecker::CheckCursor() {
    unsigned int record = 0;
    long visited = 0;
    if (!index_->_First(&record, 1)) Problem(std::string("cursor: ") + index_->error().c_str());
    while (record != 0 && visited <= entries_) {
        visited++;
        if (!index_->_Next(&record, nullptr, 1)) {
            Problem(std::string("cursor: ") + index_->error().c_str());
            break;
        }
    }
    if (visited != entries_) {
        Problem("the cursor visits " + std::to_string(visited) + " entries, the tree holds " +
                std::to_string(entries_));
    }
}
