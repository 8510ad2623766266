#pragma once

#include <memory>
#include <vector>

#include "base/List.h"
#include "base/StringClass.h"
#include "database/XBaseField.h"
#include "files/File.h"

class OxinApplication;

// One open xBase table: the data file, its memo file when it has memo fields,
// the header values and fields, and the one current record.
//
// Several processes may work on one table at once. The header range of the
// data file (0 to headerlength) is locked to append and to change the record
// count, a record's own bytes to rewrite it, and the memo file's first block
// to allocate memo blocks; no two locks are ever held together. Reading a
// record takes no lock.
//
// Operations return 1 on success and 0 on failure with the text in error(),
// unless said otherwise.
class XBaseTable {
  public:
    explicit XBaseTable(OxinApplication* app);
    virtual ~XBaseTable();
    XBaseTable(const XBaseTable&) = delete;
    XBaseTable& operator=(const XBaseTable&) = delete;

    // Opens an existing table (and its memo file, when the table has memo
    // fields) with the file manager's open flags.
    int Open(Oxin_PathType type, const char* path, int length, int flags);
    // Creates a table with copies of fields, replacing any file of that name;
    // memopath (memolength bytes) or, when empty, the data path with ".dbt"
    // names the memo file, made only when a field is a memo.
    int Create(Oxin_PathType type, const String& datapath, const char* memopath, int memolength,
               List<XBaseField>& fields);
    // Writes a new table into files already open (memo may be null when no
    // field is a memo). The files are the table's from here on, or are
    // closed when it refuses them.
    int Create(std::unique_ptr<File> data, const String& datapath, std::unique_ptr<File> memo,
               const String& memopath, List<XBaseField>& fields);
    // Closes both files. The record count and the fields stay until the next
    // open.
    int Close();
    // Lets the file manager close the descriptors until the next use.
    int Deactivate();

    // Reads record number record (from 1) into the fields. A number beyond the
    // known count is looked for in the header, which another process may have
    // moved on. A record the header counts but the file does not hold (a
    // damaged table) fails with a text that says so.
    int Goto(int record);
    // Writes the current record back from the fields.
    int Update();
    // Adds the fields' values as a new last record, which becomes current.
    // Refused when the file holds fewer records than its header counts,
    // since the new record would land beyond the end of the file.
    int Append();
    // Marks the current record deleted (1) or not (0), changing that byte
    // alone.
    int UpdateDeleted(int deleted);
    void SwapOriginal();
    void SetOriginal();
    // While on, reading records one after another fetches the following
    // ones with the same read and serves them from memory: for a walk within
    // one statement, which may then miss a change another process makes
    // meanwhile. Turning it off drops what was read ahead.
    void SetReadAhead(bool on);

    // The number of whole records the data file holds behind its header;
    // below numrecords() only in a damaged table. -1 when the size cannot be
    // read.
    int RecordsHeld();
    // Holds the whole table for a maintenance run: the header range with a
    // write lock, which stops appends and the header step of rewrites, and
    // the records with a write lock, which stops rewrites. The record count
    // is read anew under the lock. ReleaseTable() ends it.
    int LockTable();
    void ReleaseTable();
    // A rebuild (Pack) renames new files over a table's while it holds it by
    // LockTable(); a process that opened the old ones keeps them. Once its
    // files are in place, the rebuild marks the old data file's header:
    // writers then refuse it, since their changes would be lost, and openers
    // take the new files. rebuilt() tells whether the header read last had
    // the mark.
    int MarkRebuilt();
    bool rebuilt() const { return rebuilt_; }
    // Opens the files at the table's paths anew. The fields stay: a rebuild
    // keeps them.
    int Reopen();
    // A read lock on the header of the files now at the table's paths, which
    // holds off rebuilds: files that a rebuild has marked are left for the
    // new ones first. ReleaseTable() ends it.
    int LockCurrent();

    int ReadTableHeader();
    int WriteTableHeader();
    int ReadTableFields();
    int WriteTableFields();
    int ReadMemoHeader();
    int WriteMemoHeader();
    // Reads the memo text that begins at block; *text is new[] and the
    // caller's. A block outside the memo file fails.
    int ReadMemoBlock(long block, char** text, int* length);
    // Appends text as a new memo; returns its first block, or -1.
    int WriteMemoBlock(char* text);
    // The memo path that belongs to datapath: its last extension replaced by
    // ".dbt", or ".dbt" added when it has none.
    static void SetMemoPath(const String& datapath, String& memopath);
    // Keeps text as the error unless it is empty.
    void Error(const String& text);

    int version() const { return version_; }
    int lastupdate_year() const { return lastupdate_year_; }
    int lastupdate_month() const { return lastupdate_month_; }
    int lastupdate_day() const { return lastupdate_day_; }
    int numrecords() const { return numrecords_; }
    int headerlength() const { return headerlength_; }
    int recordlength() const { return recordlength_; }
    int recordnum() const { return recordnum_; }
    int deleted() const { return deleted_; }
    List<XBaseField>& fields() { return fields_; }
    int firstfreeblock() const { return firstfreeblock_; }
    const String& error() const { return error_; }
    const String& datapath() const { return datapath_; }
    const String& memopath() const { return memopath_; }

  private:
    int OpenMemo(Oxin_PathType type, int flags);
    int LockOrFail(File* file, const String& path, FileLockType type, long start, long length);
    int ReadFailed(File* file, const String& path);
    int WriteFailed(File* file, const String& path);
    int SeekTo(File* file, long position);
    long RecordOffset(int record) const;
    int RefreshHeader(bool rewrite);
    bool BuildRecord(unsigned char* bytes);
    int FieldsLength();
    int Corrupt();
    // Fails, with the text for it, when the header read last had the mark
    // of a rebuild; ReadMark() reads the mark afresh first.
    int Live();
    int ReadMark();
    String Miscount(int held) const;
    // Whether the file holds the numrecords() records that its header
    // counts; fails with the text for it when not.
    int CheckRecordsHeld();
    static char* GrowMemo(char* buffer, int used, int* capacity);
    // The bytes of record when they were read ahead, else null.
    unsigned char* Ahead(int record);
    // Reads record and as many following ones as the file holds and the
    // read-ahead room takes; false on a failed read.
    bool ReadAhead(int record);
    void DropAhead() { ahead_count_ = 0; }
    void AddField(const char* name, int namelength, int type, int length, int decimalcount);

    OxinApplication* app_;
    File* data_ = nullptr;
    File* memo_ = nullptr;
    Oxin_PathType type_ = OxinPathData;  // how Open found the files
    int flags_ = 0;
    String datapath_;
    String memopath_;
    String error_;
    int version_ = 3;
    int lastupdate_year_ = 0;
    int lastupdate_month_ = 0;
    int lastupdate_day_ = 0;
    int numrecords_ = 0;
    int headerlength_ = 0;
    int recordlength_ = 0;
    int recordnum_ = 0;
    int deleted_ = 0;
    bool rebuilt_ = false;
    List<XBaseField> fields_{1};
    int firstfreeblock_ = 1;
    long lockedlength_ = 0;  // the range LockTable() holds
    // Records this process last saw the file hold (through data_'s opening
    // held_opening_): a header counting no more needs no look at the length.
    int held_known_ = 0;
    unsigned long held_opening_ = 0;
    std::vector<unsigned char> record_;  // the record read last, when not read ahead
    bool read_ahead_ = false;
    int ahead_bytes_ = 0;  // the room of the next read ahead
    std::vector<unsigned char> ahead_;  // records ahead_first_ on, ahead_count_ of them
    int ahead_first_ = 0;
    int ahead_count_ = 0;
};

// Reads records ahead for the length of one walk over a table.
class XBaseReadingAhead {
  public:
    explicit XBaseReadingAhead(XBaseTable* table) : table_(table) { table_->SetReadAhead(true); }
    ~XBaseReadingAhead() { table_->SetReadAhead(false); }
    XBaseReadingAhead(const XBaseReadingAhead&) = delete;
    XBaseReadingAhead& operator=(const XBaseReadingAhead&) = delete;

  private:
    XBaseTable* table_;
};
