#include "database/QTXIndexFile.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "application/OxinApplication.h"
#include "base/LittleEndian.h"
#include "files/FileManager.h"

// The header, 427 bytes at offset 0. These constants are its whole layout;
// QTXIndexPage holds the layout of a page.
namespace {

constexpr int kIdentifierOffset = 0;
constexpr int kVersionOffset = 4;
constexpr int kUpdateCountOffset = 5;
constexpr int kNumPagesOffset = 9;
constexpr int kStartingPageOffset = 13;
constexpr int kOrderOffset = 17;
constexpr int kPageSizeOffset = 19;
constexpr int kKeyRecordSizeOffset = 21;
constexpr int kFlagsOffset = 23;
constexpr int kExpressionOffset = 27;

constexpr unsigned char kMagic[4] = {'Q', 'T', 'X', 'I'};
constexpr int kCurrentVersion = 3;
constexpr unsigned short kNewOrder = 8;
constexpr unsigned short kNewPageSize = 1024;
constexpr unsigned short kNewKeyRecordSize = 108;

// No sound tree of order 2 or more is this deep over 32-bit page numbers; a
// deeper walk can only be a cycle in a damaged file.
constexpr int kMaximumDepth = 64;

const char* Text(const String& text) {
    return text.c_str();
}

}  // namespace

// A search key cut to the index's key size and terminated.
class QTXIndexFile::Cut {
  public:
    Cut(const unsigned char* key, int length, int keysize) : bytes_(keysize > 0 ? keysize : 1) {
        if (length >= keysize) length = keysize - 1;
        if (length < 0) length = 0;
        memcpy(bytes_.data(), key, length);
        bytes_[length] = '\0';
    }
    unsigned char* get() { return bytes_.data(); }

  private:
    std::vector<unsigned char> bytes_;
};

QTXIndexFile::QTXIndexFile(OxinApplication* app) : app_(app) {
    memset(header_, 0, kHeaderSize);
}

QTXIndexFile::~QTXIndexFile() {
    Close();
}

// Header accessors.

int QTXIndexFile::version() const {
    return header_[kVersionOffset];
}
unsigned int QTXIndexFile::updatecount() const {
    return get_u32(header_ + kUpdateCountOffset);
}
unsigned int QTXIndexFile::numpages() const {
    return get_u32(header_ + kNumPagesOffset);
}
unsigned int QTXIndexFile::startingpage() const {
    return get_u32(header_ + kStartingPageOffset);
}
unsigned short QTXIndexFile::order() const {
    return get_u16(header_ + kOrderOffset);
}
unsigned short QTXIndexFile::pagesize() const {
    return get_u16(header_ + kPageSizeOffset);
}
unsigned short QTXIndexFile::keyrecordsize() const {
    return get_u16(header_ + kKeyRecordSizeOffset);
}
unsigned int QTXIndexFile::flags() const {
    return get_u32(header_ + kFlagsOffset);
}
const unsigned char* QTXIndexFile::keyexpression() const {
    return header_ + kExpressionOffset;
}

void QTXIndexFile::Setversion(int version) {
    header_[kVersionOffset] = static_cast<unsigned char>(version);
}
void QTXIndexFile::Setupdatecount(unsigned int count) {
    put_u32(header_ + kUpdateCountOffset, count);
}
void QTXIndexFile::Setnumpages(unsigned int count) {
    put_u32(header_ + kNumPagesOffset, count);
}
void QTXIndexFile::Setstartingpage(unsigned int page) {
    put_u32(header_ + kStartingPageOffset, page);
}
void QTXIndexFile::Setorder(unsigned short order) {
    put_u16(header_ + kOrderOffset, order);
}
void QTXIndexFile::Setpagesize(unsigned short size) {
    put_u16(header_ + kPageSizeOffset, size);
}
void QTXIndexFile::Setkeyrecordsize(unsigned short size) {
    put_u16(header_ + kKeyRecordSizeOffset, size);
}
void QTXIndexFile::Setflags(unsigned int flags) {
    put_u32(header_ + kFlagsOffset, flags);
}
void QTXIndexFile::Setkeyexpression(const unsigned char* expression) {
    memset(header_ + kExpressionOffset, 0, kExpressionSize);
    size_t length = strnlen(reinterpret_cast<const char*>(expression), kExpressionSize - 1);
    memcpy(header_ + kExpressionOffset, expression, length);
}

// Errors.

int QTXIndexFile::Fail(const String& text) {
    error_ = text;
    cache_.Clear();
    return 0;
}

int QTXIndexFile::ReadFailed() {
    return Fail(
        String::Join({"Error reading from '", Text(filename_), "': ", Text(file_->error())}));
}

int QTXIndexFile::WriteFailed() {
    return Fail(String::Join({"Error writing to '", Text(filename_), "': ", Text(file_->error())}));
}

int QTXIndexFile::CorruptTree() {
    return Fail(String::Join({"Error reading from '", Text(filename_), "': File is corrupt"}));
}

// Opening and creating.

int QTXIndexFile::Close() {
    stack_.Dump();
    cache_.Clear();
    delete file_;
    file_ = nullptr;
    return 1;
}

int QTXIndexFile::Deactivate() {
    if (file_) file_->Deactivate();
    return 1;
}

int QTXIndexFile::Open(Oxin_PathType type, const char* path, int flags) {
    Close();
    filename_.assign(path);
    FileManager* files = app_->filemanager();
    file_ = files->Open(type, path, flags);
    if (!file_) {
        return Fail(String::Join({"Error opening '", path, "': ", Text(files->error())}));
    }
    return ReadHeader();
}

int QTXIndexFile::Create(Oxin_PathType type, const char* path, const unsigned char* keyexpression,
                         unsigned int flags) {
    Close();
    FileManager* files = app_->filemanager();
    const int openflags = FileOpenRead | FileOpenWrite | FileOpenCreate | FileOpenTruncate;
    File* file = files->Open(type, path, openflags);
    if (!file) {
        filename_.assign(path);
        return Fail(String::Join({"Error creating '", path, "': ", Text(files->error())}));
    }
    if (Create(file, path, keyexpression, flags)) return 1;
    Close();
    return 0;
}

int QTXIndexFile::Create(File* file, const char* path, const unsigned char* keyexpression,
                         unsigned int flags) {
    Close();
    filename_.assign(path);
    if (!file) return Fail(String::Join({"Internal error opening '", path, "'"}));
    file_ = file;
    memset(header_, 0, kHeaderSize);
    memcpy(header_ + kIdentifierOffset, kMagic, sizeof kMagic);
    Setversion(kCurrentVersion);
    Setupdatecount(0);
    Setnumpages(2);
    Setstartingpage(1);
    Setorder(kNewOrder);
    Setpagesize(kNewPageSize);
    Setkeyrecordsize(kNewKeyRecordSize);
    Setflags(flags);
    Setkeyexpression(keyexpression);
    QTXIndexPage root(1, kNewKeyRecordSize, kNewPageSize);
    return WriteHeader() && WritePage(&root);
}

// The header. Besides its magic and version, the geometry must describe
// pages that can hold a full page's entries, or no page could be read safely.
int QTXIndexFile::ReadHeader() {
    if (file_->Seek(0) != 0 || !file_->ReadExactly(header_, kHeaderSize)) return ReadFailed();
    bool sound = memcmp(header_ + kIdentifierOffset, kMagic, sizeof kMagic) == 0 &&
                 keyrecordsize() > 8 && order() >= 2 &&
                 4 + (order() + 1L) * keyrecordsize() <= pagesize();
    if (!sound) {
        return Fail(String::Join(
            {"'", Text(filename_), "' is either corrupt or is not a valid index file"}));
    }
    if (version() > kCurrentVersion) {
        return Fail(String::Join(
            {"'", Text(filename_), "' was created by a newer version of the software"}));
    }
    cache_.Validate(updatecount(), file_->openings());
    return 1;
}

int QTXIndexFile::WriteHeader() {
    if (file_->Seek(0) != 0 || file_->Write(header_, kHeaderSize) != kHeaderSize) {
        return WriteFailed();
    }
    cache_.Advance(updatecount(), file_->openings());
    return 1;
}

int QTXIndexFile::LockHeader(FileLockType type) {
    if (file_ && file_->Lock(type, 0, kHeaderSize)) return 1;
    const char* kind = type == FileLockWrite ? "' for write" : "' for read";
    return Fail(String::Join({"Error locking '", Text(filename_), kind}));
}

void QTXIndexFile::ReleaseHeader() {
    file_->Release(0, kHeaderSize);
}

// Pages.

int QTXIndexFile::ReadPage(QTXIndexPage* page) {
    if (page->pagenum() > numpages()) {
        return Fail(String::Join({"Error '", Text(filename_), "' is corrupt ", Text(file_->error()),
                                  "(the page number is larger than the total pages )"}));
    }
    if (cache_.Fetch(page->pagenum(), page->bytes(), pagesize())) return 1;
    long offset = static_cast<long>(page->pagenum()) * pagesize();
    if (file_->Seek(offset) != offset || !page->ReadPage(file_)) return ReadFailed();
    cache_.Store(page->pagenum(), page->bytes(), pagesize(), page->childpage(0) == 0);
    return 1;
}

int QTXIndexFile::WritePage(QTXIndexPage* page) {
    long offset = static_cast<long>(page->pagenum()) * page->pagesize();
    if (file_->Seek(offset) != offset || !page->WritePage(file_)) return WriteFailed();
    cache_.Store(page->pagenum(), page->bytes(), page->pagesize(), page->childpage(0) == 0);
    return 1;
}

QTXIndexPage* QTXIndexFile::LoadPage(unsigned int pagenum) {
    auto page = std::make_unique<QTXIndexPage>(pagenum, keyrecordsize(), pagesize());
    return ReadPage(page.get()) ? page.release() : nullptr;
}

int QTXIndexFile::PushPage(unsigned int pagenum) {
    if (stack_.CheckForRecursion(pagenum)) return CorruptTree();
    QTXIndexPage* page = LoadPage(pagenum);
    if (!page) return 0;
    stack_.Push(page);
    return 1;
}

// Comparing keys.

int QTXIndexFile::NumberCompare(const unsigned char* left, const unsigned char* right) {
    char* end;
    double first = strtod(reinterpret_cast<const char*>(left), &end);
    if (*end) return -2;
    if ((first == HUGE_VAL || first == -HUGE_VAL) && errno == ERANGE) return -2;
    double second = strtod(reinterpret_cast<const char*>(right), &end);
    if (*end) return -2;
    // The overflow test looks at the first value again: that is how keys
    // have always been ordered, and existing files depend on it.
    if ((first == HUGE_VAL || first == -HUGE_VAL) && errno == ERANGE) return -2;
    if (first == second) return 0;
    return first < second ? -1 : 1;
}

int QTXIndexFile::Compare(const unsigned char* left, const unsigned char* right, int whole,
                          unsigned int flags) {
    const char* l = reinterpret_cast<const char*>(left);
    const char* r = reinterpret_cast<const char*>(right);
    int result;
    if (!whole) {
        result = strncmp(l, r, strlen(l));
    } else {
        result = (flags & QTXString) ? -2 : NumberCompare(left, right);
        if (result == -2) result = strcmp(l, r);
    }
    return (flags & QTXDescending) ? -result : result;
}

// Searching.

int QTXIndexFile::_Find(const unsigned char* key, int length, int whole, unsigned int* record,
                        int* found, int lock) {
    *record = 0;
    *found = 0;
    stack_.Dump();
    if (lock && !LockHeader(FileLockRead)) return 0;
    int result = ReadHeader();
    Cut search(key, length, keysize());
    QTXIndexPage* match = nullptr;
    unsigned int next = startingpage();
    bool searching = result != 0;
    while (searching) {
        if (!PushPage(next)) {
            result = 0;
            break;
        }
        QTXIndexPage* page = stack_.Top();
        next = 0;
        int n = page->numentries();
        for (page->position = 0; page->position < n; page->position++) {
            int position = page->position;
            int compared = Compare(search.get(), page->key(position), whole, flags());
            if (compared > 0) {
                if (!*found) {
                    match = page;
                    *record = page->recordnum(position);
                }
                continue;
            }
            if (compared == 0) {
                *found = 1;
                match = page;
                *record = page->recordnum(position);
                if (whole && (flags() & QTXUnique)) break;
            }
            next = page->childpage(position);
            break;
        }
        if (page->position == n) next = page->childpage(n);
        searching = next != 0 && !(*found && whole && (flags() & QTXUnique));
    }
    if (lock) ReleaseHeader();
    if (result && match) {
        // Drop the pages below the match, so that the cursor stands on it.
        QTXIndexPage* page = stack_.Top();
        while (page && page != match)
            page = stack_.Peek();
        if (page) stack_.Push(stack_.Pop());
    }
    return result;
}

int QTXIndexFile::_Seek(const unsigned char* key, int length, unsigned int record, int lock) {
    unsigned int found_record;
    int found;
    if (!_Find(key, length, 1, &found_record, &found, lock)) return 0;
    if (found) {
        while (found_record != record && found_record != 0) {
            if (!_Next(&found_record, nullptr, lock)) break;
        }
    }
    if (found && found_record == record) return 1;
    return Fail(String("Record is not in index"));
}

void QTXIndexFile::Take(QTXIndexPage* page, unsigned int* record, const unsigned char** key) {
    *record = page->recordnum(page->position);
    if (key) *key = page->key(page->position);
}

// Goes down the leftmost path below the top page's position and takes the
// first entry there.
int QTXIndexFile::DescendLeft(unsigned int* record, const unsigned char** key) {
    QTXIndexPage* page = stack_.Top();
    while (unsigned int child = page->childpage(page->position)) {
        if (!PushPage(child)) return 0;
        page = stack_.Top();
        page->position = 0;
    }
    if (page->position < page->numentries()) Take(page, record, key);
    return 1;
}

// Goes down the rightmost path from the top page, which is already pushed,
// and takes the last entry there.
int QTXIndexFile::DescendRight(unsigned int* record, const unsigned char** key) {
    QTXIndexPage* page = stack_.Top();
    for (;;) {
        page->position = page->numentries();
        unsigned int child = page->childpage(page->position);
        if (!child) break;
        if (!PushPage(child)) return 0;
        page = stack_.Top();
    }
    page->position = page->numentries() - 1;
    if (page->position >= 0) Take(page, record, key);
    return 1;
}

int QTXIndexFile::_First(unsigned int* record, int lock) {
    *record = 0;
    stack_.Dump();
    if (lock && !LockHeader(FileLockRead)) return 0;
    int result = ReadHeader() && PushPage(startingpage());
    if (result) {
        stack_.Top()->position = 0;
        if (stack_.Top()->numentries() > 0) result = DescendLeft(record, nullptr);
    }
    if (lock) ReleaseHeader();
    if (!result) *record = 0;
    return result;
}

int QTXIndexFile::_Last(unsigned int* record, int lock) {
    *record = 0;
    stack_.Dump();
    if (lock && !LockHeader(FileLockRead)) return 0;
    int result = ReadHeader() && PushPage(startingpage()) && DescendRight(record, nullptr);
    if (lock) ReleaseHeader();
    if (!result) *record = 0;
    return result;
}

// The start of a cursor step: reads the header and, when another process
// changed the tree since the cursor was set, finds the current entry again.
// Returns 0 when the cursor is lost.
int QTXIndexFile::Refind() {
    QTXIndexPage* top = stack_.Top();
    unsigned int noted = updatecount();
    if (!ReadHeader()) return 0;
    if (updatecount() == noted) return 1;
    int position = top->position;
    if (position < 0 || position > top->numentries()) return 0;
    unsigned int record = top->recordnum(position);
    Cut key(top->key(position), top->keysize() - 1, top->keysize());
    int length = static_cast<int>(strlen(reinterpret_cast<const char*>(key.get())));
    return _Seek(key.get(), length, record, 0);
}

int QTXIndexFile::_Next(unsigned int* record, const unsigned char** key, int lock) {
    return Step(record, key, lock, &QTXIndexFile::StepForward);
}

int QTXIndexFile::_Prev(unsigned int* record, const unsigned char** key, int lock) {
    return Step(record, key, lock, &QTXIndexFile::StepBackward);
}

// A cursor step under the read lock, after finding the cursor's place again
// if the tree changed. A lost cursor ends the step with record 0.
int QTXIndexFile::Step(unsigned int* record, const unsigned char** key, int lock,
                       int (QTXIndexFile::*move)(QTXIndexPage*, unsigned int*,
                                                 const unsigned char**)) {
    *record = 0;
    if (!stack_.Top()) return 1;
    if (lock && !LockHeader(FileLockRead)) {
        stack_.Dump();
        return 1;
    }
    int result = 1;
    QTXIndexPage* page = Refind() ? stack_.Top() : nullptr;
    if (!page || page->position < 0 || page->position > page->numentries()) {
        stack_.Dump();
    } else {
        result = (this->*move)(page, record, key);
    }
    if (lock) ReleaseHeader();
    if (!result) *record = 0;
    return result;
}

int QTXIndexFile::StepForward(QTXIndexPage* page, unsigned int* record, const unsigned char** key) {
    page->position++;
    if (page->position <= page->numentries() && page->childpage(page->position)) {
        return DescendLeft(record, key);
    }
    if (page->position < page->numentries()) {
        Take(page, record, key);
        return 1;
    }
    delete stack_.Pop();
    while ((page = stack_.Top()) && page->position >= page->numentries())
        delete stack_.Pop();
    if (page) Take(page, record, key);
    return 1;
}

int QTXIndexFile::StepBackward(QTXIndexPage* page, unsigned int* record,
                               const unsigned char** key) {
    if (unsigned int child = page->childpage(page->position)) {
        return PushPage(child) && DescendRight(record, key);
    }
    if (--page->position >= 0) {
        Take(page, record, key);
        return 1;
    }
    delete stack_.Pop();
    while ((page = stack_.Top()) && page->position <= 0)
        delete stack_.Pop();
    if (page) {
        page->position--;
        Take(page, record, key);
    }
    return 1;
}

// Inserting.

int QTXIndexFile::Insert(unsigned int record, const unsigned char* key, int length) {
    if (!LockHeader(FileLockWrite)) return 0;
    int result = ReadHeader();
    if (result) {
        Cut risen(key, length, keysize());
        unsigned int risenrecord = record;
        unsigned int risenchild = 0;
        unsigned int oldroot = startingpage();
        int outcome = DoInsert(oldroot, &risenrecord, risen.get(), &risenchild, 0);
        if (outcome == kRises) {
            QTXIndexPage root(numpages(), keyrecordsize(), pagesize());
            root.Setchildpage(0, oldroot);
            root.Insert(0, risenchild, risenrecord, risen.get());
            Setnumpages(numpages() + 1);
            Setstartingpage(root.pagenum());
            outcome = WritePage(&root) ? kInserted : kInsertFailed;
        }
        if (outcome == kInserted) {
            Setupdatecount(updatecount() + 1);
            result = WriteHeader();
        } else {
            result = 0;
        }
    }
    ReleaseHeader();
    return result;
}

int QTXIndexFile::Clear() {
    stack_.Dump();
    if (!LockHeader(FileLockWrite)) return 0;
    int result = ReadHeader();
    if (result) {
        QTXIndexPage root(1, keyrecordsize(), pagesize());
        Setnumpages(2);
        Setstartingpage(1);
        Setupdatecount(updatecount() + 1);
        result = WritePage(&root) && WriteHeader();
    }
    ReleaseHeader();
    return result;
}

// Inserts into the subtree at pagenum. On kRises, *record, key and *child
// hold the entry that rises to the caller, with child as its right
// neighbour.
int QTXIndexFile::DoInsert(unsigned int pagenum, unsigned int* record, unsigned char* key,
                           unsigned int* child, int depth) {
    if (pagenum == 0) {
        *child = 0;
        return kRises;
    }
    if (depth > kMaximumDepth) {
        CorruptTree();
        return kInsertFailed;
    }
    QTXIndexPage page(pagenum, keyrecordsize(), pagesize());
    if (!ReadPage(&page)) return kInsertFailed;
    int n = page.numentries();
    int position = 0;
    int compared = 1;
    while (position < n && (compared = Compare(key, page.key(position), 1, flags())) > 0)
        position++;
    if (position < n && compared == 0 && (flags() & QTXUnique)) {
        Fail(String::Join(
            {"Index '", Text(filename_), "' was created with the UNIQUE flag and the key '",
             reinterpret_cast<const char*>(key), "' already exists in the index file"}));
        return kInsertFailed;
    }
    int outcome = DoInsert(page.childpage(position), record, key, child, depth + 1);
    if (outcome != kRises) return outcome;
    if (n < order()) {
        page.Insert(position, *child, *record, key);
        return WritePage(&page) ? kInserted : kInsertFailed;
    }
    QTXIndexPage newpage(numpages(), keyrecordsize(), pagesize());
    Setnumpages(numpages() + 1);
    if (!WriteHeader()) return kInsertFailed;
    Split(position, &page, &newpage, *child, record, key);
    if (!WritePage(&page) || !WritePage(&newpage)) return kInsertFailed;
    *child = newpage.pagenum();
    return kRises;
}

// Splits a full page that must take one more entry: the lower half stays,
// the middle entry rises through *record and key, the upper half goes to
// newpage.
void QTXIndexFile::Split(int position, QTXIndexPage* page, QTXIndexPage* newpage,
                         unsigned int child, unsigned int* record, unsigned char* key) {
    int n = page->numentries();
    QTXIndexPage scratch(0, keyrecordsize(), pagesize());
    for (int i = 0; i < n; i++)
        scratch.CopyEntry(i, *page, i);
    scratch.Setchildpage(n, page->childpage(n));
    scratch.Setnumentries(n);
    scratch.Insert(position, child, *record, key);
    n++;
    int middle = n - (n / 2) - 1;

    for (int i = 0; i < middle; i++)
        page->CopyEntry(i, scratch, i);
    page->Setchildpage(middle, scratch.childpage(middle));
    page->Setnumentries(middle);

    for (int i = middle + 1; i < n; i++)
        newpage->CopyEntry(i - middle - 1, scratch, i);
    newpage->Setchildpage(n - middle - 1, scratch.childpage(n));
    newpage->Setnumentries(n - middle - 1);

    *record = scratch.recordnum(middle);
    memcpy(key, scratch.key(middle),
           strlen(reinterpret_cast<const char*>(scratch.key(middle))) + 1);
}

// Deleting.

int QTXIndexFile::Delete(unsigned int record, const unsigned char* key, int length) {
    if (!LockHeader(FileLockWrite)) return 0;
    int result = ReadHeader();
    if (result) {
        Cut search(key, length, keysize());
        std::unique_ptr<QTXIndexPage> root(LoadPage(startingpage()));
        int outcome =
            root ? DoDelete(kSearch, nullptr, root.get(), record, search.get(), 0) : kDeleteFailed;
        if (outcome == kNotFound) Fail(String("Record is not in index"));
        if (outcome == kDone || outcome == kUnderflow) {
            Setupdatecount(updatecount() + 1);
            result = WriteHeader();
        } else {
            result = 0;
        }
    }
    ReleaseHeader();
    return result;
}

int QTXIndexFile::Delete_Current(unsigned int record) {
    if (!stack_.Top()) return Fail(String("Record is not in index"));
    if (!LockHeader(FileLockWrite)) return 0;
    int outcome = Refind() ? kDone : kDeleteFailed;
    QTXIndexPage* page = stack_.Top();
    if (outcome == kDone && (page->position < 0 || page->position >= page->numentries() ||
                             page->recordnum(page->position) != record)) {
        Fail(String("Record is not in index"));
        outcome = kDeleteFailed;
    }
    if (outcome == kDone) {
        std::unique_ptr<QTXIndexPage> current(stack_.Pop());
        outcome = DoDelete(kAtPosition, nullptr, current.get(), record, nullptr, 0);
        while (outcome == kUnderflow && stack_.Top()) {
            std::unique_ptr<QTXIndexPage> parent(stack_.Pop());
            outcome = HandleUnderflow(parent.get(), current.get());
            current = std::move(parent);
        }
    }
    stack_.Dump();
    ReleaseHeader();
    return outcome == kDone || outcome == kUnderflow;
}

int QTXIndexFile::DoDelete(DeleteState state, QTXIndexPage* holder, QTXIndexPage* page,
                           unsigned int record, const unsigned char* key, int depth) {
    if (depth > kMaximumDepth) {
        CorruptTree();
        return kDeleteFailed;
    }
    switch (state) {
        case kSearch:
            return SearchAndDelete(page, record, key, depth);
        case kAtPosition:
            return DeleteAt(page, depth);
        case kSuccessor:
            return ReplaceBySuccessor(holder, page, depth);
    }
    return kDeleteFailed;
}

// Reads the child page childnum of page, deletes in it, and mends an
// underflow of the child.
int QTXIndexFile::DeleteInChild(QTXIndexPage* page, unsigned int childnum, DeleteState state,
                                QTXIndexPage* holder, unsigned int record, const unsigned char* key,
                                int depth) {
    std::unique_ptr<QTXIndexPage> child(LoadPage(childnum));
    if (!child) return kDeleteFailed;
    int outcome = DoDelete(state, holder, child.get(), record, key, depth + 1);
    if (outcome == kUnderflow) outcome = HandleUnderflow(page, child.get());
    return outcome;
}

// Looks through the whole subtree for the entry with key and record. Equal
// keys may lie in neighbouring subtrees, so the walk goes on through the
// later entries and children of each page.
int QTXIndexFile::SearchAndDelete(QTXIndexPage* page, unsigned int record, const unsigned char* key,
                                  int depth) {
    int n = page->numentries();
    for (page->position = 0; page->position <= n; page->position++) {
        while (page->position < n) {
            int compared = Compare(key, page->key(page->position), 1, flags());
            if (compared > 0) {
                page->position++;
                continue;
            }
            if (compared == 0 && page->recordnum(page->position) == record) {
                return DeleteAt(page, depth);
            }
            break;
        }
        if (unsigned int child = page->childpage(page->position)) {
            int outcome = DeleteInChild(page, child, kSearch, nullptr, record, key, depth);
            if (outcome != kNotFound) return outcome;
        }
    }
    return kNotFound;
}

// Removes the entry at the page's position: in a leaf directly, in an inner
// page by moving its successor up into its place.
int QTXIndexFile::DeleteAt(QTXIndexPage* page, int depth) {
    int position = page->position;
    if (position < 0 || position >= page->numentries()) {
        CorruptTree();
        return kDeleteFailed;
    }
    unsigned int right = page->childpage(position + 1);
    if (!right) {
        page->Delete(position);
        return EndTest(page);
    }
    return DeleteInChild(page, right, kSuccessor, page, 0, nullptr, depth);
}

int QTXIndexFile::ReplaceBySuccessor(QTXIndexPage* holder, QTXIndexPage* page, int depth) {
    page->position = 0;
    if (unsigned int child = page->childpage(0)) {
        return DeleteInChild(page, child, kSuccessor, holder, 0, nullptr, depth);
    }
    if (page->numentries() == 0) {
        CorruptTree();
        return kDeleteFailed;
    }
    holder->Setkey(holder->position, page->key(0));
    holder->Setrecordnum(holder->position, page->recordnum(0));
    if (!WritePage(holder)) return kDeleteFailed;
    page->Delete(0);
    return EndTest(page);
}

// After a page lost an entry: the root and any page with enough entries are
// written; a page below the minimum is left to the caller, which mends it.
int QTXIndexFile::EndTest(QTXIndexPage* page) {
    if (page->pagenum() != startingpage() && page->numentries() < minimum()) return kUnderflow;
    return WritePage(page) ? kDone : kDeleteFailed;
}

int QTXIndexFile::SlotOf(QTXIndexPage* parent, unsigned int pagenum) {
    int n = parent->numentries();
    if (parent->position >= 0 && parent->position <= n &&
        parent->childpage(parent->position) == pagenum) {
        return parent->position;
    }
    for (int slot = 0; slot <= n; slot++) {
        if (parent->childpage(slot) == pagenum) return slot;
    }
    return -1;
}

// Mends a page that fell below the minimum: it borrows from a sibling with
// entries to spare, the left one first, or else merges with one.
int QTXIndexFile::HandleUnderflow(QTXIndexPage* parent, QTXIndexPage* page) {
    int slot = SlotOf(parent, page->pagenum());
    if (slot < 0) {
        CorruptTree();
        return kDeleteFailed;
    }
    std::unique_ptr<QTXIndexPage> left, right;
    if (slot > 0) {
        left.reset(LoadPage(parent->childpage(slot - 1)));
        if (!left) return kDeleteFailed;
    }
    if (slot < parent->numentries()) {
        right.reset(LoadPage(parent->childpage(slot + 1)));
        if (!right) return kDeleteFailed;
    }
    if (left && left->numentries() > minimum()) {
        return Redistribute(left.get(), parent, page) ? kDone : kDeleteFailed;
    }
    if (right && right->numentries() > minimum()) {
        return Redistribute(page, parent, right.get()) ? kDone : kDeleteFailed;
    }
    if (!left && !right) {
        CorruptTree();
        return kDeleteFailed;
    }
    QTXIndexPage* merged = left ? left.get() : page;
    if (!Concatenate(merged, parent, left ? page : right.get())) return kDeleteFailed;
    if (parent->numentries() >= minimum()) return WritePage(parent) ? kDone : kDeleteFailed;
    if (parent->pagenum() != startingpage()) return kUnderflow;
    if (!WritePage(parent)) return kDeleteFailed;
    if (parent->numentries() == 0) Setstartingpage(merged->pagenum());
    return kDone;
}

int QTXIndexFile::Redistribute(QTXIndexPage* left, QTXIndexPage* parent, QTXIndexPage* right) {
    int i = SlotOf(parent, left->pagenum());
    if (i < 0 || i >= parent->numentries()) return CorruptTree();
    int l = left->numentries();
    int r = right->numentries();
    if (l <= r) {
        int d = r - (l + r) / 2 - 1;
        left->Insert(l, right->childpage(d), parent->recordnum(i), parent->key(i));
        parent->Setrecordnum(i, right->recordnum(d));
        parent->Setkey(i, right->key(d));
        right->Delete(d);
        for (int moved = 0; moved < d; moved++) {
            left->InsertBefore(left->numentries(), right->childpage(0), right->recordnum(0),
                               right->key(0));
            right->Delete(0);
        }
    } else {
        int d = l - (l + r) / 2 - 1;
        if (!WritePage(right)) return 0;
        right->InsertBefore(0, left->childpage(l), parent->recordnum(i), parent->key(i));
        int e = l - d - 1;
        parent->Setrecordnum(i, left->recordnum(e));
        parent->Setkey(i, left->key(e));
        left->Setchildpage(l, left->childpage(e));
        left->Delete(e);
        for (int moved = 0; moved < d; moved++) {
            int last = left->numentries() - 1;
            right->InsertBefore(0, left->childpage(last), left->recordnum(last), left->key(last));
            left->Delete(last);
        }
    }
    return WritePage(left) && WritePage(right) && WritePage(parent);
}

int QTXIndexFile::Concatenate(QTXIndexPage* left, QTXIndexPage* parent, QTXIndexPage* right) {
    int i = SlotOf(parent, left->pagenum());
    if (i < 0 || i >= parent->numentries()) return CorruptTree();
    int l = left->numentries();
    left->Insert(l, left->childpage(l), parent->recordnum(i), parent->key(i));
    parent->Delete(i);
    parent->Setchildpage(i, left->pagenum());
    while (right->numentries() > 0) {
        left->InsertBefore(left->numentries(), right->childpage(0), right->recordnum(0),
                           right->key(0));
        right->Delete(0);
    }
    left->Setchildpage(left->numentries(), right->childpage(0));
    return WritePage(left) && WritePage(right);
}
