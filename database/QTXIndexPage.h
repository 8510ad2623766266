#pragma once

class File;

// One page of an index file in memory, with accessors for its layout: the
// entry count, then one entry of keyrecordsize bytes after another, each a
// child page number, a record number and a NUL-terminated key. A page of n
// entries uses n + 1 child slots; slot i holds the keys below entry i and
// slot n those above the last entry. position is the cursor within the page.
//
// The buffer has room for one entry beyond a full page, so that a page can
// take the entry that makes it split.
class QTXIndexPage {
  public:
    QTXIndexPage(unsigned int pagenum, unsigned short keyrecordsize, unsigned short pagesize);
    ~QTXIndexPage();
    QTXIndexPage(const QTXIndexPage&) = delete;
    QTXIndexPage& operator=(const QTXIndexPage&) = delete;

    // Reads the page at the file's current position; false on a short read
    // or when the entry count is more than a page can hold (the file's error
    // then says so).
    bool ReadPage(File* file);
    // Writes the page at the file's current position.
    bool WritePage(File* file);

    int numentries() const;
    void Setnumentries(int count);
    unsigned int childpage(int i) const;
    unsigned int recordnum(int i) const;
    const unsigned char* key(int i) const;
    void Setchildpage(int i, unsigned int page);
    void Setrecordnum(int i, unsigned int record);
    // Copies key with its NUL; the caller keeps it within the key size.
    void Setkey(int i, const unsigned char* key);

    // Places an entry at position, moving the later entries up; child becomes
    // the slot behind the new entry.
    void Insert(int position, unsigned int child, unsigned int record, const unsigned char* key);
    // As Insert, but child becomes the slot in front of the new entry.
    void InsertBefore(int position, unsigned int child, unsigned int record,
                      const unsigned char* key);
    // Removes the entry at position, moving the later entries and the last
    // slot down.
    void Delete(int position);
    // Copies entry from of source, with its child slot, to entry to.
    void CopyEntry(int to, const QTXIndexPage& source, int from);

    // The page's bytes as the file holds them (pagesize() of them).
    const unsigned char* bytes() const { return page_; }
    unsigned char* bytes() { return page_; }
    unsigned int pagenum() const { return pagenum_; }
    unsigned short keyrecordsize() const { return keyrecordsize_; }
    unsigned short pagesize() const { return pagesize_; }
    int keysize() const { return keyrecordsize_ - 8; }
    int position = 0;

  private:
    unsigned char* Entry(int i) const { return page_ + 4 + i * keyrecordsize_; }
    void MoveEntries(int from, int to, int count);
    void OpenGap(int position);

    unsigned int pagenum_;
    unsigned short keyrecordsize_;
    unsigned short pagesize_;
    unsigned char* page_;
};
