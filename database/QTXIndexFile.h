#pragma once

#include "base/StringClass.h"
#include "database/QTXIndexPageCache.h"
#include "database/QTXIndexPageStack.h"
#include "files/File.h"

class OxinApplication;

// The bits of an index's flags.
enum QTXIndexFlag {
    QTXUnique = 1,      // a key may appear once
    QTXDescending = 2,  // every comparison is reversed
    QTXString = 4,      // keys never compare as numbers
    QTXRange = 8,       // a failed search may stand on the nearest key below
};

// An index file: a B-tree of fixed-size pages that maps NUL-terminated keys
// to record numbers, with the index expression kept in its header. Keys and
// records live in inner pages as well as in leaves; pages link only
// downward and are never freed.
//
// Several processes may share the file. The header (bytes 0 to 426) is its
// one lock: a read lock for each search or cursor step, a write lock for
// each insert or delete. Every operation reads the header anew; its update
// counter tells an open cursor that another process changed the tree, and
// the cursor then finds its entry again.
//
// Operations return 1 on success and 0 on failure with the text in error().
// A record number of 0 as a result means that nothing was found or the
// cursor ran off an end, which is a success. With lock 1 an operation takes
// and releases the read lock itself; with 0 the caller holds one.
class QTXIndexFile {
  public:
    static constexpr int kHeaderSize = 427;
    static constexpr int kExpressionSize = 400;

    explicit QTXIndexFile(OxinApplication* app);
    virtual ~QTXIndexFile();
    QTXIndexFile(const QTXIndexFile&) = delete;
    QTXIndexFile& operator=(const QTXIndexFile&) = delete;

    int Open(Oxin_PathType type, const char* path, int flags);
    // Creates an empty index, replacing any file of that name.
    int Create(Oxin_PathType type, const char* path, const unsigned char* keyexpression,
               unsigned int flags);
    // Writes an empty index into a file already open, which the index takes
    // over.
    int Create(File* file, const char* path, const unsigned char* keyexpression,
               unsigned int flags);
    int Close();
    int Deactivate();

    // Searches for key (length bytes); whole 1 asks for an equal entry, 0 for
    // one that key is a prefix of. *found tells whether one was; *record is
    // its record, the leftmost among equal keys, or when none matched, the
    // nearest entry below. The cursor stands there afterwards.
    int _Find(const unsigned char* key, int length, int whole, unsigned int* record, int* found,
              int lock);
    // Puts the cursor on the entry with this key and record; 0 when there is
    // none.
    int _Seek(const unsigned char* key, int length, unsigned int record, int lock);
    int _First(unsigned int* record, int lock);
    int _Last(unsigned int* record, int lock);
    // Steps the cursor. *key, when asked for, points into the cursor's page
    // and stays valid until the next cursor operation.
    int _Prev(unsigned int* record, const unsigned char** key, int lock);
    int _Next(unsigned int* record, const unsigned char** key, int lock);

    // Adds an entry. A key longer than keysize() - 1 bytes is cut.
    int Insert(unsigned int record, const unsigned char* key, int length);
    // Removes the entry with this key and record.
    int Delete(unsigned int record, const unsigned char* key, int length);
    // Removes the entry under the cursor, which must hold record.
    int Delete_Current(unsigned int record);
    // Empties the index in place to rebuild it: one empty root, with the key
    // expression, flags and page geometry kept. The update counter moves on,
    // so cursors elsewhere notice. The pages of the old tree stay in the
    // file, unused, until new ones overwrite them.
    int Clear();

    // Orders two keys: whole 0 compares left as a prefix of right, whole 1
    // compares whole keys, as numbers when both are numbers and flags allow.
    static int Compare(const unsigned char* left, const unsigned char* right, int whole,
                       unsigned int flags);
    // -1, 0 or 1 when both texts are whole numbers; -2 otherwise.
    static int NumberCompare(const unsigned char* left, const unsigned char* right);

    const unsigned char* identifier() const { return header_; }
    int version() const;
    unsigned int updatecount() const;
    unsigned int numpages() const;
    unsigned int startingpage() const;
    unsigned short order() const;
    unsigned short pagesize() const;
    unsigned short keyrecordsize() const;
    unsigned int flags() const;
    const unsigned char* keyexpression() const;
    int keysize() const { return keyrecordsize() - 8; }
    void Setversion(int version);
    void Setupdatecount(unsigned int count);
    void Setnumpages(unsigned int count);
    void Setstartingpage(unsigned int page);
    void Setorder(unsigned short order);
    void Setpagesize(unsigned short size);
    void Setkeyrecordsize(unsigned short size);
    void Setflags(unsigned int flags);
    void Setkeyexpression(const unsigned char* expression);

    const String& error() const { return error_; }
    const String& filename() const { return filename_; }
    File* file() { return file_; }
    QTXIndexPageStack& stack() { return stack_; }

    // The page at pagenum, read anew; null on failure.
    QTXIndexPage* LoadPage(unsigned int pagenum);
    // Reads the header into memory.
    int ReadHeader();

  private:
    class Cut;
    enum DeleteState { kSearch = 0, kAtPosition = 1, kSuccessor = 2 };
    enum InsertOutcome { kRises = 0, kInsertFailed = 1, kInserted = 2 };
    enum DeleteOutcome { kDone = 0, kUnderflow = 1, kNotFound = 2, kDeleteFailed = 3 };

    int Fail(const String& text);
    int ReadFailed();
    int WriteFailed();
    int CorruptTree();
    int LockHeader(FileLockType type);
    void ReleaseHeader();
    int WriteHeader();
    int ReadPage(QTXIndexPage* page);
    int WritePage(QTXIndexPage* page);
    int PushPage(unsigned int pagenum);
    int Refind();
    void Take(QTXIndexPage* page, unsigned int* record, const unsigned char** key);
    int Step(unsigned int* record, const unsigned char** key, int lock,
             int (QTXIndexFile::*move)(QTXIndexPage*, unsigned int*, const unsigned char**));
    int StepForward(QTXIndexPage* page, unsigned int* record, const unsigned char** key);
    int StepBackward(QTXIndexPage* page, unsigned int* record, const unsigned char** key);
    int DescendLeft(unsigned int* record, const unsigned char** key);
    int DescendRight(unsigned int* record, const unsigned char** key);

    int DoInsert(unsigned int pagenum, unsigned int* record, unsigned char* key,
                 unsigned int* child, int depth);
    void Split(int position, QTXIndexPage* page, QTXIndexPage* newpage, unsigned int child,
               unsigned int* record, unsigned char* key);
    int DoDelete(DeleteState state, QTXIndexPage* holder, QTXIndexPage* page, unsigned int record,
                 const unsigned char* key, int depth);
    int SearchAndDelete(QTXIndexPage* page, unsigned int record, const unsigned char* key,
                        int depth);
    int DeleteAt(QTXIndexPage* page, int depth);
    int ReplaceBySuccessor(QTXIndexPage* holder, QTXIndexPage* page, int depth);
    int DeleteInChild(QTXIndexPage* page, unsigned int childnum, DeleteState state,
                      QTXIndexPage* holder, unsigned int record, const unsigned char* key,
                      int depth);
    int EndTest(QTXIndexPage* page);
    int HandleUnderflow(QTXIndexPage* parent, QTXIndexPage* page);
    int SlotOf(QTXIndexPage* parent, unsigned int pagenum);
    int Redistribute(QTXIndexPage* left, QTXIndexPage* parent, QTXIndexPage* right);
    int Concatenate(QTXIndexPage* left, QTXIndexPage* parent, QTXIndexPage* right);
    int minimum() const { return order() / 2 - 1; }

    OxinApplication* app_;
    File* file_ = nullptr;
    unsigned char header_[kHeaderSize];
    QTXIndexPageStack stack_;
    QTXIndexPageCache cache_;
    String filename_;
    String error_;
};
