#include "database/QTXIndexPage.h"

#include <cassert>
#include <cstring>

#include "base/LittleEndian.h"
#include "base/StringClass.h"
#include "files/File.h"

// Page layout: numentries (4 bytes), then entries of keyrecordsize bytes:
// child page (4), record number (4), key (keyrecordsize - 8, NUL-terminated).
namespace {

constexpr int kCountSize = 4;
constexpr int kChildOffset = 0;
constexpr int kRecordOffset = 4;
constexpr int kKeyOffset = 8;

}  // namespace

QTXIndexPage::QTXIndexPage(unsigned int pagenum, unsigned short keyrecordsize,
                           unsigned short pagesize)
    : pagenum_(pagenum), keyrecordsize_(keyrecordsize), pagesize_(pagesize) {
    // One spare entry and slot for the page that is about to split.
    page_ = new unsigned char[pagesize_ + keyrecordsize_ + kCountSize]();
}

QTXIndexPage::~QTXIndexPage() {
    delete[] page_;
}

bool QTXIndexPage::ReadPage(File* file) {
    if (!file->ReadExactly(page_, pagesize_)) return false;
    if (numentries() < 0 || numentries() > (pagesize_ - kCountSize) / keyrecordsize_) {
        file->Error(
            String("File is corrupt (the number of entries is larger than the maximum entries "
                   "possible)."));
        return false;
    }
    // Keys are read as C strings; a damaged page must not let one run on.
    for (int i = 0; i < numentries(); i++)
        Entry(i)[keyrecordsize_ - 1] = '\0';
    return true;
}

bool QTXIndexPage::WritePage(File* file) {
    // A page is written only after a split brought it back within its size.
    assert(numentries() >= 0 && numentries() <= (pagesize_ - kCountSize) / keyrecordsize_);
    return file->Write(page_, pagesize_) == pagesize_;
}

int QTXIndexPage::numentries() const {
    return static_cast<int>(get_u32(page_));
}

void QTXIndexPage::Setnumentries(int count) {
    put_u32(page_, static_cast<uint32_t>(count));
}

unsigned int QTXIndexPage::childpage(int i) const {
    return get_u32(Entry(i) + kChildOffset);
}

unsigned int QTXIndexPage::recordnum(int i) const {
    return get_u32(Entry(i) + kRecordOffset);
}

const unsigned char* QTXIndexPage::key(int i) const {
    return Entry(i) + kKeyOffset;
}

void QTXIndexPage::Setchildpage(int i, unsigned int page) {
    put_u32(Entry(i) + kChildOffset, page);
}

void QTXIndexPage::Setrecordnum(int i, unsigned int record) {
    put_u32(Entry(i) + kRecordOffset, record);
}

void QTXIndexPage::Setkey(int i, const unsigned char* key) {
    size_t length = strnlen(reinterpret_cast<const char*>(key), keysize() - 1);
    memcpy(Entry(i) + kKeyOffset, key, length);
    Entry(i)[kKeyOffset + length] = '\0';
}

// Moves count whole entries (child, record, key) from index from to index to.
void QTXIndexPage::MoveEntries(int from, int to, int count) {
    if (count > 0) memmove(Entry(to), Entry(from), static_cast<size_t>(count) * keyrecordsize_);
}

// Opens a gap at position: entries from there move up by one, and the last
// child slot moves along.
void QTXIndexPage::OpenGap(int position) {
    int count = numentries();
    unsigned int last = childpage(count);
    MoveEntries(position, position + 1, count - position);
    Setchildpage(count + 1, last);
    Setnumentries(count + 1);
}

void QTXIndexPage::Insert(int position, unsigned int child, unsigned int record,
                          const unsigned char* key) {
    OpenGap(position);
    Setrecordnum(position, record);
    Setkey(position, key);
    Setchildpage(position + 1, child);
}

void QTXIndexPage::InsertBefore(int position, unsigned int child, unsigned int record,
                                const unsigned char* key) {
    OpenGap(position);
    Setchildpage(position, child);
    Setrecordnum(position, record);
    Setkey(position, key);
}

void QTXIndexPage::Delete(int position) {
    int count = numentries();
    unsigned int last = childpage(count);
    MoveEntries(position + 1, position, count - position - 1);
    Setchildpage(count - 1, last);
    Setnumentries(count - 1);
}

void QTXIndexPage::CopyEntry(int to, const QTXIndexPage& source, int from) {
    memcpy(Entry(to), source.Entry(from), keyrecordsize_);
}
