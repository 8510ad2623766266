#include "database/XBaseTable.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "application/OxinApplication.h"
#include "base/LittleEndian.h"
#include "database/XBaseMemoField.h"
#include "files/FileManager.h"

// The data file: a 32-byte header, one 32-byte descriptor a field, 0x0D, the
// records, and 0x1A. The memo file: 512-byte blocks, block 0 holding the
// next free block number. These constants are the whole of the byte layout.
namespace {

constexpr int kHeaderSize = 32;
constexpr int kVersionOffset = 0;
constexpr int kYearOffset = 1;
constexpr int kMonthOffset = 2;
constexpr int kDayOffset = 3;
constexpr int kRecordCountOffset = 4;
constexpr int kHeaderLengthOffset = 8;
constexpr int kRecordLengthOffset = 10;
// A reserved byte, zero in every live table; 1 in files that a rebuild has
// replaced.
constexpr int kRebuiltOffset = 12;
// How often a table whose files carry that mark is opened anew before the
// mark counts as damage.
constexpr int kReopenAttempts = 8;

constexpr int kDescriptorSize = 32;
constexpr int kNameSize = 11;
constexpr int kTypeOffset = 11;
constexpr int kFieldLengthOffset = 16;
constexpr int kDecimalCountOffset = 17;

constexpr int kVersionPlain = 3;
constexpr int kVersionMemo = 131;
constexpr unsigned char kHeaderTerminator = 0x0D;
constexpr unsigned char kEndOfFile = 0x1A;
constexpr unsigned char kDeletedFlag = '*';
constexpr unsigned char kLiveFlag = ' ';
constexpr int kMaximumFields = 2046;
constexpr int kMaximumRecordLength = 65535;

constexpr int kMemoBlockSize = 512;

const char* Text(const String& text) {
    return text.c_str();
}

}  // namespace

XBaseTable::XBaseTable(OxinApplication* app) : app_(app) {}

XBaseTable::~XBaseTable() {
    Close();
}

void XBaseTable::Error(const String& text) {
    if (text.length() > 0) error_ = text;
}

void XBaseTable::SetMemoPath(const String& datapath, String& memopath) {
    if (datapath.length() == 0) {
        memopath.assign("", 0);
        return;
    }
    const char* path = datapath.c_str();
    int stop = datapath.length() - 1;
    while (stop > 1 && path[stop] != '.' && path[stop] != '/')
        stop--;
    memopath.assign(path, path[stop] == '.' ? stop : datapath.length());
    memopath.cat(".dbt");
}

int XBaseTable::Close() {
    DropAhead();
    delete data_;
    delete memo_;
    data_ = memo_ = nullptr;
    held_known_ = 0;
    datapath_.assign("", 0);
    memopath_.assign("", 0);
    return 1;
}

int XBaseTable::Deactivate() {
    if (data_) data_->Deactivate();
    if (memo_) memo_->Deactivate();
    return 1;
}

int XBaseTable::Open(Oxin_PathType type, const char* path, int length, int flags) {
    Close();
    datapath_.assign(path, length);
    SetMemoPath(datapath_, memopath_);
    type_ = type;
    flags_ = flags;
    FileManager* files = app_->filemanager();
    data_ = files->Open(type, datapath_.c_str(), flags);
    held_known_ = 0;
    if (!data_) {
        Error(String::Join({"Error opening '", Text(datapath_), "': ", Text(files->error())}));
        return 0;
    }
    recordnum_ = 0;
    fields_.Dump();
    if (!ReadTableHeader() || !ReadTableFields()) return 0;
    return version_ == kVersionMemo ? OpenMemo(type, flags) : 1;
}

int XBaseTable::OpenMemo(Oxin_PathType type, int flags) {
    FileManager* files = app_->filemanager();
    memo_ = files->Open(type, memopath_.c_str(), flags);
    if (!memo_) {
        Error(String::Join({"Error opening '", Text(memopath_), "': ", Text(files->error())}));
        return 0;
    }
    if (!memo_->Lock(FileLockRead, 0, kMemoBlockSize)) {
        Error(String::Join(
            {"Error locking '", Text(memopath_), "' for read: ", Text(memo_->error())}));
        return 0;
    }
    int result = ReadMemoHeader();
    memo_->Release(0, kMemoBlockSize);
    return result;
}

int XBaseTable::Create(Oxin_PathType type, const String& datapath, const char* memopath,
                       int memolength, List<XBaseField>& fields) {
    String memo;
    if (memolength != 0) {
        memo.assign(memopath, memolength);
    } else {
        SetMemoPath(datapath, memo);
    }
    type_ = type;
    flags_ = FileOpenRead | FileOpenWrite;
    FileManager* files = app_->filemanager();
    const int flags = FileOpenRead | FileOpenWrite | FileOpenCreate | FileOpenTruncate;
    std::unique_ptr<File> data(files->Open(type, datapath.c_str(), flags));
    if (!data) {
        Error(String::Join({"Error creating '", Text(datapath), "': ", Text(files->error())}));
        return 0;
    }
    std::unique_ptr<File> memofile;
    for (XBaseField* field = fields.First(); field; field = fields.Next()) {
        if (field->type() != XBaseMemo) continue;
        memofile.reset(files->Open(type, memo.c_str(), flags));
        if (!memofile) {
            Error(String::Join({"Error creating '", Text(memo), "': ", Text(files->error())}));
            return 0;
        }
        break;
    }
    const File* taken = data.get();
    if (Create(std::move(data), datapath, std::move(memofile), memo, fields)) return 1;
    // A table that took the new files over, half written, lets them go.
    if (data_ == taken) Close();
    return 0;
}

int XBaseTable::Create(std::unique_ptr<File> data, const String& datapath,
                       std::unique_ptr<File> memo, const String& memopath,
                       List<XBaseField>& fields) {
    if (fields.Entries() > kMaximumFields) {
        Error(String::Join(
            {"Error creating '", Text(datapath), "': too many fields (maximum 2046)"}));
        return 0;
    }
    Close();
    datapath_ = datapath;
    memopath_ = memopath;
    version_ = kVersionPlain;
    firstfreeblock_ = 1;
    numrecords_ = recordnum_ = deleted_ = 0;
    headerlength_ = kDescriptorSize * fields.Entries() + kHeaderSize + 1;
    fields_.Dump();
    for (XBaseField* field = fields.First(); field; field = fields.Next()) {
        AddField(field->name(), static_cast<int>(strnlen(field->name(), kNameSize)), field->type(),
                 field->length(), field->decimalcount());
    }
    recordlength_ = FieldsLength();
    data_ = data.release();
    held_known_ = 0;
    if (version_ == kVersionMemo) memo_ = memo.release();
    if (!data_) {
        Error(String::Join({"Internal error opening '", Text(datapath_), "'"}));
        return 0;
    }
    if (recordlength_ > kMaximumRecordLength) {
        Error(String::Join(
            {"Error creating '", Text(datapath_), "': the record is longer than 65535 bytes"}));
        return 0;
    }
    if (!WriteTableHeader() || !WriteTableFields()) return 0;
    if (data_->Write(&kEndOfFile, 1) != 1) return WriteFailed(data_, datapath_);
    if (version_ != kVersionMemo) return 1;
    if (!memo_) {
        // The text, its spelling included, is the one scripts have always got.
        Error(String::Join({"Internal errorl opening '", Text(memopath_), "'"}));
        return 0;
    }
    if (!WriteMemoHeader()) return 0;
    if (memo_->Write(&kEndOfFile, 1) != 1) return WriteFailed(memo_, memopath_);
    return 1;
}

void XBaseTable::AddField(const char* name, int namelength, int type, int length,
                          int decimalcount) {
    XBaseField* field;
    if (type == XBaseMemo) {
        field = new XBaseMemoField(this, name, namelength, length, decimalcount);
        version_ = kVersionMemo;
    } else {
        field = new XBaseField(this, name, namelength, type, length, decimalcount);
    }
    fields_.Insert(field, ListTail);
}

int XBaseTable::ReadFailed(File* file, const String& path) {
    Error(String::Join({"Error reading from '", Text(path), "': ", Text(file->error())}));
    return 0;
}

int XBaseTable::WriteFailed(File* file, const String& path) {
    Error(String::Join({"Error writing to '", Text(path), "': ", Text(file->error())}));
    return 0;
}

int XBaseTable::SeekTo(File* file, long position) {
    return file->Seek(position) == position;
}

int XBaseTable::LockOrFail(File* file, const String& path, FileLockType type, long start,
                           long length) {
    if (file->Lock(type, start, length)) return 1;
    const char* kind = type == FileLockWrite ? "' for write: " : "' for read: ";
    Error(String::Join({"Error locking '", Text(path), kind, Text(file->error())}));
    return 0;
}

int XBaseTable::ReadTableHeader() {
    unsigned char header[kHeaderSize];
    if (!data_ || !SeekTo(data_, 0) || !data_->ReadExactly(header, kHeaderSize)) {
        return data_ ? ReadFailed(data_, datapath_) : 0;
    }
    int version = header[kVersionOffset];
    if (version != kVersionPlain && version != kVersionMemo) {
        char hex[8];
        snprintf(hex, sizeof hex, "0x%02X", version);
        Error(
            String::Join({"'", Text(datapath_), "': Unsupported xBase file version (", hex, ")"}));
        return 0;
    }
    version_ = version;
    lastupdate_year_ = header[kYearOffset];
    lastupdate_month_ = header[kMonthOffset];
    lastupdate_day_ = header[kDayOffset];
    int recordlength = get_u16(header + kRecordLengthOffset);
    // Records are at least their deletion flag long; once the fields are
    // known, they must fit in a record.
    if (recordlength < 1 || (fields_.Entries() > 0 && recordlength < FieldsLength())) {
        return Corrupt();
    }
    uint32_t count = get_u32(header + kRecordCountOffset);
    if (count > INT_MAX) {
        Error(String::Join({"'", Text(datapath_), "' is corrupt (its header counts ",
                            std::to_string(count).c_str(), " records)"}));
        return 0;
    }
    numrecords_ = static_cast<int>(count);
    rebuilt_ = header[kRebuiltOffset] != 0;
    headerlength_ = get_u16(header + kHeaderLengthOffset);
    recordlength_ = recordlength;
    return 1;
}

int XBaseTable::FieldsLength() {
    int length = 1;
    for (XBaseField* field = fields_.First(); field; field = fields_.Next())
        length += field->length();
    return length;
}

// How a header that counts more records than the file holds is told.
String XBaseTable::Miscount(int held) const {
    return String::Join({"its header counts ", std::to_string(numrecords_).c_str(),
                         " records, the file holds ", std::to_string(held).c_str()});
}

int XBaseTable::RecordsHeld() {
    if (!data_) return -1;
    long size = data_->Length();
    if (size < 0) {
        ReadFailed(data_, datapath_);
        return -1;
    }
    long held = size > headerlength_ ? (size - headerlength_) / recordlength_ : 0;
    return held > INT_MAX ? INT_MAX : static_cast<int>(held);
}

int XBaseTable::CheckRecordsHeld() {
    if (held_opening_ == data_->openings() && numrecords_ <= held_known_) return 1;
    int held = RecordsHeld();
    if (held < 0) return 0;
    if (held < numrecords_) {
        Error(String::Join({"Error writing to '", Text(datapath_), "': ", Miscount(held).c_str()}));
        return 0;
    }
    held_known_ = held;
    held_opening_ = data_->openings();
    return 1;
}

int XBaseTable::Corrupt() {
    Error(String::Join(
        {"'", Text(datapath_), "' is corrupt (its fields are longer than its records)"}));
    return 0;
}

int XBaseTable::ReadTableFields() {
    if (headerlength_ <= kHeaderSize) return ReadFailed(data_, datapath_);
    fields_.Dump();
    std::vector<unsigned char> descriptors(headerlength_ - kHeaderSize);
    if (!SeekTo(data_, kHeaderSize) ||
        !data_->ReadExactly(descriptors.data(), static_cast<int>(descriptors.size()))) {
        return ReadFailed(data_, datapath_);
    }
    int count = (headerlength_ - kHeaderSize - 1) / kDescriptorSize;
    int recordlength = recordlength_;
    for (int i = 0; i < count; i++) {
        const unsigned char* descriptor = &descriptors[i * kDescriptorSize];
        const char* name = reinterpret_cast<const char*>(descriptor);
        char typechar = static_cast<char>(descriptor[kTypeOffset]);
        int type = XBaseTypeOf(typechar);
        if (type < 0) {
            char shown[2] = {typechar, '\0'};
            Error(String::Join({"'", Text(datapath_), "' contains an unsupported field (",
                                String(name, static_cast<int>(strnlen(name, kNameSize))).c_str(),
                                ") of type '", shown, "'"}));
            return 0;
        }
        AddField(name, static_cast<int>(strnlen(name, kNameSize)), type,
                 descriptor[kFieldLengthOffset], descriptor[kDecimalCountOffset]);
    }
    // Fields are read out of a record buffer of the stored record length, so
    // they must fit in it.
    recordlength_ = recordlength;
    return recordlength < FieldsLength() ? Corrupt() : 1;
}

int XBaseTable::WriteTableHeader() {
    time_t now = time(nullptr);
    struct tm utc;
    gmtime_r(&now, &utc);
    lastupdate_year_ = utc.tm_year & 0xFF;
    lastupdate_month_ = utc.tm_mon + 1;
    lastupdate_day_ = utc.tm_mday;

    unsigned char header[kHeaderSize] = {};
    header[kVersionOffset] = static_cast<unsigned char>(version_);
    header[kYearOffset] = static_cast<unsigned char>(lastupdate_year_);
    header[kMonthOffset] = static_cast<unsigned char>(lastupdate_month_);
    header[kDayOffset] = static_cast<unsigned char>(lastupdate_day_);
    put_u32(header + kRecordCountOffset, static_cast<uint32_t>(numrecords_));
    put_u16(header + kHeaderLengthOffset, static_cast<uint16_t>(headerlength_));
    put_u16(header + kRecordLengthOffset, static_cast<uint16_t>(recordlength_));
    if (!SeekTo(data_, 0) || data_->Write(header, kHeaderSize) != kHeaderSize) {
        return WriteFailed(data_, datapath_);
    }
    return 1;
}

int XBaseTable::WriteTableFields() {
    std::vector<unsigned char> descriptors(headerlength_ - kHeaderSize, 0);
    int i = 0;
    for (XBaseField* field = fields_.First(); field; field = fields_.Next(), i++) {
        unsigned char* descriptor = &descriptors[i * kDescriptorSize];
        memcpy(descriptor, field->name(), strnlen(field->name(), kNameSize));
        descriptor[kTypeOffset] = static_cast<unsigned char>(XBaseTypeCharacter(field->type()));
        descriptor[kFieldLengthOffset] = static_cast<unsigned char>(field->length());
        descriptor[kDecimalCountOffset] = static_cast<unsigned char>(field->decimalcount());
    }
    descriptors.back() = kHeaderTerminator;
    int size = static_cast<int>(descriptors.size());
    if (!SeekTo(data_, kHeaderSize) || data_->Write(descriptors.data(), size) != size) {
        return WriteFailed(data_, datapath_);
    }
    return 1;
}

int XBaseTable::ReadMemoHeader() {
    unsigned char header[4];
    if (!SeekTo(memo_, 0) || !memo_->ReadExactly(header, sizeof header)) {
        return ReadFailed(memo_, memopath_);
    }
    firstfreeblock_ = static_cast<int>(get_u32(header));
    return 1;
}

int XBaseTable::WriteMemoHeader() {
    unsigned char header[kMemoBlockSize] = {};
    put_u32(header, static_cast<uint32_t>(firstfreeblock_));
    if (!SeekTo(memo_, 0) || memo_->Write(header, kMemoBlockSize) != kMemoBlockSize) {
        return WriteFailed(memo_, memopath_);
    }
    return 1;
}

long XBaseTable::RecordOffset(int record) const {
    return headerlength_ + static_cast<long>(record - 1) * recordlength_;
}

int XBaseTable::Goto(int record) {
    if (record < 1) {
        Error(String("Invalid record number"));
        return 0;
    }
    if (!data_) {
        Error(String("The table is not open"));
        return 0;
    }
    if (record > numrecords_) {
        // Another process may have appended it; the write lock orders this
        // read after a running append.
        if (!RefreshHeader(false)) return 0;
        if (record > numrecords_) {
            Error(String("Invalid record number"));
            return 0;
        }
    }
    unsigned char* ahead = Ahead(record);
    if (!ahead && read_ahead_ && record == recordnum_ + 1) {
        if (!ReadAhead(record)) return ReadFailed(data_, datapath_);
        ahead = Ahead(record);
    }
    unsigned char* bytes = ahead;
    if (!bytes) {
        record_.resize(recordlength_);
        bytes = record_.data();
    }
    if (!ahead && (!SeekTo(data_, RecordOffset(record)) ||
                   !data_->ReadExactly(record_.data(), recordlength_))) {
        int held = RecordsHeld();
        if (held >= 0 && held < record) {
            Error(String::Join({"Error reading from '", Text(datapath_), "': record ",
                                std::to_string(record).c_str(), " is not in the file (",
                                Miscount(held).c_str(), ")"}));
            return 0;
        }
        return ReadFailed(data_, datapath_);
    }
    deleted_ = bytes[0] == kDeletedFlag;
    int offset = 1;
    for (XBaseField* field = fields_.First(); field; field = fields_.Next()) {
        field->Read(bytes + offset);
        offset += field->length();
    }
    recordnum_ = record;
    return 1;
}

unsigned char* XBaseTable::Ahead(int record) {
    if (record < ahead_first_ || record >= ahead_first_ + ahead_count_) return nullptr;
    return ahead_.data() + static_cast<size_t>(record - ahead_first_) * recordlength_;
}

// A walk often ends after a few records: the first read of a walk is small,
// and each further one doubles.
constexpr int kFirstAheadBytes = 2048;
constexpr int kMostAheadBytes = 65536;

bool XBaseTable::ReadAhead(int record) {
    DropAhead();
    int length = std::max(recordlength_, 1);
    int count = std::min(ahead_bytes_ / length, numrecords_ - record + 1);
    ahead_bytes_ = std::min(ahead_bytes_ * 2, kMostAheadBytes);
    // Nothing to read ahead: the record itself is read, or found missing, alone.
    if (count < 2) return true;
    ahead_.resize(static_cast<size_t>(count) * length);
    if (!SeekTo(data_, RecordOffset(record))) return false;
    int got = data_->Read(ahead_.data(), count * length);
    if (got < 0) return false;
    // A file shorter than its header says ends the records read ahead; the
    // record read alone tells what is missing.
    ahead_first_ = record;
    ahead_count_ = got / length;
    return true;
}

void XBaseTable::SetReadAhead(bool on) {
    read_ahead_ = on;
    ahead_bytes_ = kFirstAheadBytes;
    DropAhead();
}

// Reads the header under its lock, keeping another process's record count,
// and with rewrite stores it back with today's date.
int XBaseTable::RefreshHeader(bool rewrite) {
    if (!LockOrFail(data_, datapath_, FileLockWrite, 0, headerlength_)) return 0;
    long locked = headerlength_;
    // A replaced file keeps its mark: nothing is written to it any more.
    int result = ReadTableHeader() && (!rewrite || rebuilt_ || WriteTableHeader());
    data_->Release(0, locked);
    return result;
}

int XBaseTable::LockTable() {
    if (!data_) {
        Error(String("The table is not open"));
        return 0;
    }
    if (!LockOrFail(data_, datapath_, FileLockWrite, 0, headerlength_)) return 0;
    lockedlength_ = headerlength_;
    if (!ReadTableHeader()) {
        ReleaseTable();
        return 0;
    }
    long records = static_cast<long>(numrecords_) * recordlength_;
    if (records > 0 && !LockOrFail(data_, datapath_, FileLockWrite, lockedlength_, records)) {
        ReleaseTable();
        return 0;
    }
    lockedlength_ += records;
    return 1;
}

void XBaseTable::ReleaseTable() {
    if (data_ && lockedlength_ > 0) data_->Release(0, lockedlength_);
    lockedlength_ = 0;
}

int XBaseTable::MarkRebuilt() {
    const unsigned char mark = 1;
    if (!data_ || !SeekTo(data_, kRebuiltOffset) || data_->Write(&mark, 1) != 1)
        return data_ ? WriteFailed(data_, datapath_) : 0;
    return 1;
}

int XBaseTable::ReadMark() {
    unsigned char mark;
    if (!SeekTo(data_, kRebuiltOffset) || !data_->ReadExactly(&mark, 1))
        return ReadFailed(data_, datapath_);
    rebuilt_ = mark != 0;
    return Live();
}

int XBaseTable::Live() {
    if (!rebuilt_) return 1;
    Error(String::Join(
        {"'", Text(datapath_), "' has been rebuilt by another process: open it again"}));
    return 0;
}

int XBaseTable::Reopen() {
    FileManager* files = app_->filemanager();
    std::unique_ptr<File> data(files->Open(type_, datapath_.c_str(), flags_));
    std::unique_ptr<File> memo;
    if (data && memo_) memo.reset(files->Open(type_, memopath_.c_str(), flags_));
    if (!data || (memo_ && !memo)) {
        Error(String::Join(
            {"Error opening '", Text(data ? memopath_ : datapath_), "': ", Text(files->error())}));
        return 0;
    }
    ReleaseTable();
    delete data_;
    delete memo_;
    data_ = data.release();
    held_known_ = 0;
    memo_ = memo.release();
    recordnum_ = 0;
    return ReadTableHeader();
}

int XBaseTable::LockCurrent() {
    // A live table never carries the mark; files that keep showing it after
    // a reopen are damaged, not replaced again and again.
    for (int attempt = 0; attempt < kReopenAttempts; attempt++) {
        if (!data_) {
            Error(String("The table is not open"));
            return 0;
        }
        if (!LockOrFail(data_, datapath_, FileLockRead, 0, headerlength_)) return 0;
        lockedlength_ = headerlength_;
        if (!ReadTableHeader()) {
            ReleaseTable();
            return 0;
        }
        if (!rebuilt_) return 1;
        ReleaseTable();
        if (!Reopen()) return 0;
    }
    return Live();
}

// The current record as stored: the deletion flag, then each field. Memo
// fields write their texts to the memo file on the way; false, with the
// error set, when one could not.
bool XBaseTable::BuildRecord(unsigned char* bytes) {
    bytes[0] = deleted_ ? kDeletedFlag : kLiveFlag;
    int position = 1;
    for (XBaseField* field = fields_.First(); field; field = fields_.Next()) {
        if (!field->Write(&bytes[position])) return false;
        position += field->length();
    }
    assert(position <= recordlength_);  // the header's length holds the fields
    return true;
}

int XBaseTable::Update() {
    DropAhead();
    if (!data_ || recordnum_ < 1) {
        Error(String("Invalid record number"));
        return 0;
    }
    long offset = RecordOffset(recordnum_);
    if (!LockOrFail(data_, datapath_, FileLockWrite, offset, recordlength_)) return 0;
    // Read under the lock, which a rebuild holds until it has set the mark.
    if (!ReadMark()) {
        data_->Release(offset, recordlength_);
        return 0;
    }
    std::vector<unsigned char> bytes(recordlength_);
    int result = BuildRecord(bytes.data());
    if (result) {
        result =
            SeekTo(data_, offset) && data_->Write(bytes.data(), recordlength_) == recordlength_;
        if (result) {
            SetOriginal();
        } else {
            WriteFailed(data_, datapath_);
        }
    }
    data_->Release(offset, recordlength_);
    return result && RefreshHeader(true);
}

int XBaseTable::Append() {
    DropAhead();
    if (!data_) {
        Error(String("The table is not open"));
        return 0;
    }
    if (!LockOrFail(data_, datapath_, FileLockWrite, 0, headerlength_)) return 0;
    long locked = headerlength_;
    int result = ReadTableHeader() && Live();
    if (result && numrecords_ == INT_MAX) {
        Error(String::Join({"Error writing to '", Text(datapath_), "': the table is full"}));
        result = 0;
    }
    // A header that counts more records than the file holds would put the
    // new record far beyond the end of the file.
    if (result) result = CheckRecordsHeld();
    if (result) {
        deleted_ = 0;
        std::vector<unsigned char> bytes(recordlength_ + 1);
        result = BuildRecord(bytes.data());
        bytes[recordlength_] = kEndOfFile;
        int size = recordlength_ + 1;
        if (result) {
            result = SeekTo(data_, RecordOffset(numrecords_ + 1)) &&
                     data_->Write(bytes.data(), size) == size;
            if (!result) WriteFailed(data_, datapath_);
        }
    }
    if (result) {
        numrecords_++;
        held_known_ = numrecords_;
        result = WriteTableHeader();
        recordnum_ = numrecords_;
    }
    data_->Release(0, locked);
    return result;
}

int XBaseTable::UpdateDeleted(int deleted) {
    DropAhead();
    if (!data_ || recordnum_ < 1) {
        Error(String("Invalid record number"));
        return 0;
    }
    long offset = RecordOffset(recordnum_);
    if (!LockOrFail(data_, datapath_, FileLockWrite, offset, recordlength_)) return 0;
    // Read under the lock, which a rebuild holds until it has set the mark.
    if (!ReadMark()) {
        data_->Release(offset, recordlength_);
        return 0;
    }
    deleted_ = deleted;
    unsigned char flag = deleted ? kDeletedFlag : kLiveFlag;
    int result = SeekTo(data_, offset) && data_->Write(&flag, 1) == 1;
    if (!result) WriteFailed(data_, datapath_);
    data_->Release(offset, recordlength_);
    return result && RefreshHeader(true);
}

void XBaseTable::SwapOriginal() {
    for (XBaseField* field = fields_.First(); field; field = fields_.Next())
        field->SwapOriginal();
}

void XBaseTable::SetOriginal() {
    for (XBaseField* field = fields_.First(); field; field = fields_.Next())
        field->SetOriginal();
}

// Doubles the memo buffer, keeping its used bytes; null when it would
// outgrow an int.
char* XBaseTable::GrowMemo(char* buffer, int used, int* capacity) {
    if (*capacity > INT_MAX / 2) {
        delete[] buffer;
        return nullptr;
    }
    char* larger = new char[*capacity * 2];
    memcpy(larger, buffer, used);
    delete[] buffer;
    *capacity *= 2;
    return larger;
}

int XBaseTable::ReadMemoBlock(long block, char** text, int* length) {
    *text = nullptr;
    *length = 0;
    if (!memo_) return 0;
    long size = memo_->Length();
    if (size < 0) return ReadFailed(memo_, memopath_);
    // Block 0 is the header; a text can only begin inside the file.
    if (block < 1 || block >= (size + kMemoBlockSize - 1) / kMemoBlockSize) {
        Error(String::Join({"Error reading from '", Text(memopath_), "': memo block ",
                            std::to_string(block).c_str(), " is not in the file"}));
        return 0;
    }
    if (!SeekTo(memo_, block * kMemoBlockSize)) return ReadFailed(memo_, memopath_);
    int capacity = kMemoBlockSize;
    char* buffer = new char[capacity];
    int used = 0;
    char piece[kMemoBlockSize];
    bool ended = false;
    while (!ended) {
        int got = memo_->Read(piece, kMemoBlockSize);
        if (got < 0) {
            delete[] buffer;
            return ReadFailed(memo_, memopath_);
        }
        ended = got < kMemoBlockSize;
        for (int i = 0; i < got; i++) {
            if (static_cast<unsigned char>(piece[i]) == kEndOfFile) {
                ended = true;
                break;
            }
            if (used >= capacity - 2 && !(buffer = GrowMemo(buffer, used, &capacity))) {
                Error(String::Join(
                    {"Error reading from '", Text(memopath_), "': the memo is too long"}));
                return 0;
            }
            buffer[used++] = piece[i];
        }
    }
    buffer[used] = '\0';
    *text = buffer;
    *length = used;
    return 1;
}

int XBaseTable::WriteMemoBlock(char* text) {
    if (!memo_) return -1;
    int length = static_cast<int>(strlen(text));
    std::vector<char> bytes(text, text + length);
    bytes.push_back(static_cast<char>(kEndOfFile));
    bytes.push_back(static_cast<char>(kEndOfFile));
    int size = length + 2;
    if (!LockOrFail(memo_, memopath_, FileLockWrite, 0, kMemoBlockSize)) return -1;
    int block = -1;
    if (ReadMemoHeader()) {
        long next = firstfreeblock_ + (size + kMemoBlockSize - 1L) / kMemoBlockSize;
        if (firstfreeblock_ < 1 || next > INT_MAX) {
            Error(String::Join({"Error writing to '", Text(memopath_),
                                "': the memo file has no room for more blocks"}));
        } else if (SeekTo(memo_, static_cast<long>(firstfreeblock_) * kMemoBlockSize) &&
                   memo_->Write(bytes.data(), size) == size) {
            block = firstfreeblock_;
            firstfreeblock_ = static_cast<int>(next);
            if (!WriteMemoHeader()) block = -1;
        } else {
            WriteFailed(memo_, memopath_);
        }
    }
    memo_->Release(0, kMemoBlockSize);
    return block;
}
