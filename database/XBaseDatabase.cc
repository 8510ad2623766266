#include "database/XBaseDatabase.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>

#include "application/OxinApplication.h"
#include "base/List.h"
#include "database/XBaseDatabaseView.h"
#include "database/XBaseField.h"
#include "database/XBaseIndex.h"
#include "database/XBaseMemoField.h"
#include "database/XBaseTable.h"
#include "files/FileManager.h"
#include "runtime/BuiltinDatabase.h"
#include "runtime/ExpressionCompiler.h"
#include "runtime/OxinVM.h"

namespace {

constexpr int kReadWrite = FileOpenRead | FileOpenWrite;
constexpr int kMemoVersion = 131;

bool is_white(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The pieces of a comma-separated text, each without white space at its
// ends; the end of the text counts as one more comma.
std::vector<std::string> split_list(const char* text, int length) {
    std::vector<std::string> pieces;
    int start = 0;
    for (int i = 0; i <= length; i++) {
        if (i < length && text[i] != ',') continue;
        int first = start, last = i;
        while (first < last && is_white(text[first]))
            first++;
        while (last > first && is_white(text[last - 1]))
            last--;
        pieces.emplace_back(text + first, last - first);
        start = i + 1;
    }
    return pieces;
}

bool begins_with(const std::string& text, const char* word) {
    return strncasecmp(text.c_str(), word, strlen(word)) == 0;
}

}  // namespace

// What a Pack or Reindex has made so far.
struct XBaseDatabase::Rebuild {
    std::vector<XBaseTemporaryFile> files;  // in the order made
    std::unique_ptr<XBaseTable> table;      // Pack: the new table
    std::vector<std::unique_ptr<XBaseIndex>> indexes;
};

XBaseDatabase::XBaseDatabase(OxinApplication* application, OxinVM* vm, const StringTuple& alias)
    : Database(application, vm, alias), table_(std::make_unique<XBaseTable>(application)) {}

void XBaseDatabase::Register() {
    BuiltinDatabase::Register([](OxinApplication* application, OxinVM* vm,
                                 const StringTuple& alias) -> std::unique_ptr<Database> {
        return std::make_unique<XBaseDatabase>(application, vm, alias);
    });
}

XBaseDatabase::~XBaseDatabase() {
    DropViews();
}

int XBaseDatabase::Fail(const String& text) {
    error_ = text;
    return 0;
}

void XBaseDatabase::DropViews() {
    while (DatabaseView* view = PrimaryView())
        View_Del(view);
    view_ = nullptr;
}

void XBaseDatabase::MakeView() {
    view_ = new XBaseDatabaseView(application_, vm_, this, name_, table_.get(), &indexes_);
    SetPrimary(view_);
    View_Add(view_);
}

int XBaseDatabase::Open(const StringTuple& path, const StringTuple&, const StringTuple&,
                        const StringTuple&, const StringTuple&) {
    DropViews();
    datapath_ = path.Take();
    table_ = std::make_unique<XBaseTable>(application_);
    if (!table_->Open(OxinPathData, datapath_.c_str(), datapath_.length(), kReadWrite))
        return Fail(table_->error());
    MakeView();
    // The view stands on the first record: failing to read one that the
    // table has is the machine failing, and the open with it.
    if (table_->numrecords() > 0 && table_->recordnum() != 1) return Fail(table_->error());
    return 1;
}

int XBaseDatabase::Close() {
    indexes_.clear();
    int closed = view_ ? view_->Close() : table_->Close();
    if (!closed && view_) error_ = view_->error();
    DropViews();
    return closed;
}

bool XBaseDatabase::ParseFieldList(const char* text, int length, List<XBaseField>& fields) {
    bool named = false;
    for (const std::string& piece : split_list(text, length)) {
        if (piece.empty()) {
            Fail(String(named ? "Dangling comma in field\tspecification"
                              : "Empty field name in field specification"));
            return false;
        }
        size_t name_end = 0;
        while (name_end < piece.size() && !is_white(piece[name_end]))
            name_end++;
        std::string name = piece.substr(0, name_end);
        if (name.size() > 10) {
            Fail(String("Field name is longer than the XBase limit of 10 characters"));
            return false;
        }
        std::transform(name.begin(), name.end(), name.begin(), ::toupper);
        size_t type_start = name_end;
        while (type_start < piece.size() && is_white(piece[type_start]))
            type_start++;
        std::string type = piece.substr(type_start);
        for (XBaseField* field = fields.First(); field; field = fields.Next()) {
            if (name == field->name()) {
                Fail(String("Field name is used more than once in the field specification"));
                return false;
            }
        }
        named = true;
        if (type.empty()) {
            Fail(String("Empty field type in field specification"));
            return false;
        }
        int field_type, field_length = 0, decimals = 0;
        bool sized = begins_with(type, "CHAR") || begins_with(type, "NUMBER");
        if (begins_with(type, "CHAR")) {
            field_type = XBaseCharacter;
        } else if (begins_with(type, "NUMBER")) {
            field_type = XBaseNumeric;
            field_length = 19;
        } else if (begins_with(type, "DATE")) {
            field_type = XBaseDate;
            field_length = 8;
        } else if (begins_with(type, "BOOL")) {
            field_type = XBaseLogical;
            field_length = 1;
        } else if (begins_with(type, "MEMO")) {
            field_type = XBaseMemo;
            field_length = 10;
        } else {
            Fail(String("Unknown field type in field specification"));
            return false;
        }
        if (sized) {
            // The size between parentheses, blanks at its ends dropped, at
            // most 19 characters of it kept.
            std::string size;
            size_t open = type.find('(');
            if (open != std::string::npos) {
                size_t close = type.find(')', open);
                std::string inside = type.substr(open + 1, close == std::string::npos
                                                               ? std::string::npos
                                                               : close - open - 1);
                size_t first = inside.find_first_not_of(" \t\r\n");
                size_t last = inside.find_last_not_of(" \t\r\n");
                if (first != std::string::npos) size = inside.substr(first, last - first + 1);
                if (size.size() > 19) size.resize(19);
                if (close != std::string::npos &&
                    type.find_first_not_of(" \t\r\n", close + 1) != std::string::npos) {
                    Fail(String("Unexpected character following field declaration"));
                    return false;
                }
            }
            bool digits = !size.empty() && size[0] >= '0' && size[0] <= '9';
            if (field_type == XBaseCharacter) {
                if (!digits) {
                    Fail(String("Error in field specification: CHAR datatypes require a length"));
                    return false;
                }
                field_length = static_cast<int>(strtol(size.c_str(), nullptr, 10));
                if (field_length > 254) {
                    Fail(String("CHAR fields may\tonly be\t254 characters long, field is too long"));
                    return false;
                }
            } else if (!size.empty()) {
                char* after = nullptr;
                field_length = static_cast<int>(strtol(size.c_str(), &after, 10));
                if (*after == '.') decimals = static_cast<int>(strtol(after + 1, nullptr, 10));
                if (decimals != 0) field_length += 1 + decimals;
                if (field_length > 19) {
                    Fail(String("NUMERIC\tfields may only\tbe 19 digits, field is too many digits"));
                    return false;
                }
            }
        }
        fields.Insert(new XBaseField(nullptr, name.c_str(), field_type, field_length, decimals),
                      ListTail);
    }
    if (fields.Entries() == 0) {
        Fail(String("Field specification does not define any\tfields"));
        return false;
    }
    return true;
}

int XBaseDatabase::Create(const StringTuple& path, const StringTuple&,
                          const StringTuple& field_list) {
    DropViews();
    List<XBaseField> fields(1);
    if (!ParseFieldList(field_list.text, field_list.length, fields)) return 0;
    datapath_ = path.Take();
    table_ = std::make_unique<XBaseTable>(application_);
    if (!table_->Create(OxinPathData, datapath_, "", 0, fields)) return Fail(table_->error());
    MakeView();
    return 1;
}

int XBaseDatabase::OpenIndexes(OxinVM* vm, const StringTuple& list) {
    indexes_.clear();
    if (ExpressionCompiler::Expression_Empty(list.text, list.length)) return 1;
    // The indexes are opened under the table's header lock, which a pack
    // holds until its files are in place, so that they belong to the same
    // files as the table.
    if (!table_->LockCurrent()) return Fail(table_->error());
    for (const std::string& name : split_list(list.text, list.length)) {
        if (name.empty()) {
            table_->ReleaseTable();
            return Fail(String("Dangling comma in index list"));
        }
        if (FindIndex(name.c_str(), static_cast<int>(name.size()))) continue;
        String path(name.c_str(), static_cast<int>(name.size()));
        auto index = std::make_unique<XBaseIndex>(vm, application_, this, path);
        if (!index->Open(path)) {
            table_->ReleaseTable();
            return Fail(index->error());
        }
        indexes_.push_back(std::move(index));
    }
    table_->ReleaseTable();
    if (view_ && !view_->Go_NoFilter(-1)) return Fail(view_->error());
    return 1;
}

XBaseIndex* XBaseDatabase::FindIndex(const char* name, int length) {
    for (auto& index : indexes_) {
        if (index->name().length() == length && memcmp(index->name().c_str(), name, length) == 0)
            return index.get();
    }
    return nullptr;
}

int XBaseDatabase::SetPrimaryIndex(const StringTuple& name) {
    XBaseIndex* index = FindIndex(name.text, name.length);
    if (!index) return Fail(String("Database has no index with that name"));
    auto held = std::find_if(indexes_.begin(), indexes_.end(),
                             [index](const auto& each) { return each.get() == index; });
    std::rotate(indexes_.begin(), held, held + 1);
    if (view_ && !view_->SetPrimaryIndex(index)) return Fail(view_->error());
    return 1;
}

bool XBaseDatabase::ParseIndexFlags(const char* text, int length, unsigned int* flags) {
    *flags = 0;
    if (ExpressionCompiler::Expression_Empty(text, length)) return true;
    for (const std::string& word : split_list(text, length)) {
        if (word.empty()) {
            Fail(String("Dangling comma in field\tspecification"));
            return false;
        }
        const char* w = word.c_str();
        if (strcasecmp(w, "ASCENDING") == 0) *flags &= ~QTXDescending;
        else if (strcasecmp(w, "DESCENDING") == 0) *flags |= QTXDescending;
        else if (strcasecmp(w, "NOUNIQUE") == 0) *flags &= ~QTXUnique;
        else if (strcasecmp(w, "UNIQUE") == 0) *flags |= QTXUnique;
        else if (strcasecmp(w, "STRING") == 0) *flags |= QTXString;
        else if (strcasecmp(w, "RANGE") == 0) *flags |= QTXRange;
    }
    return true;
}

int XBaseDatabase::CreateIndex(OxinVM* vm, const StringTuple& file, const StringTuple& expression,
                               const StringTuple& flag_words) {
    unsigned int flags;
    if (!ParseIndexFlags(flag_words.text, flag_words.length, &flags)) return 0;
    String path(file.text, file.length);
    String key_expression(expression.text, expression.length);
    auto index = std::make_unique<XBaseIndex>(vm, application_, this, path);
    if (!index->Create(path, reinterpret_cast<const unsigned char*>(key_expression.c_str()), flags) ||
        !index->GetSegment())
        return Fail(index->error());
    XBaseReadingAhead ahead(table_.get());
    for (int record = 1; record <= table_->numrecords(); record++) {
        if (!table_->Goto(record)) return Fail(table_->error());
        view_->SetDirty(1);
        String key;
        if (!index->Key(&key) || !index->Insert(static_cast<unsigned int>(record), key))
            return Fail(index->error());
    }
    indexes_.insert(indexes_.begin(), std::move(index));
    if (!view_->Go_NoFilter(-1)) return Fail(view_->error());
    return 1;
}

// ---- Rebuilding

bool XBaseDatabase::StartIndexes(Rebuild& rebuild) {
    FileManager* files = application_->filemanager();
    for (auto& old : indexes_) {
        char* name = nullptr;
        File* file = files->MakeTemporaryLike(OxinPathData, old->filepath().c_str(), &name,
                                              kReadWrite);
        if (!file) {
            Fail(files->error());
            return false;
        }
        rebuild.files.push_back({old->filepath(), String(name, static_cast<int>(strlen(name)),
                                                         static_cast<int>(strlen(name)) + 1)});
        auto index = std::make_unique<XBaseIndex>(vm_, application_, this, old->name());
        bool made = index->Create(file, rebuild.files.back().temporary.c_str(),
                                  old->KeyExpression(), old->Flags());
        rebuild.indexes.push_back(std::move(index));
        if (!made) {
            Fail(rebuild.indexes.back()->error());
            return false;
        }
    }
    return true;
}

bool XBaseDatabase::InsertKeys(Rebuild& rebuild, unsigned int record) {
    for (auto& index : rebuild.indexes) {
        view_->SetDirty(1);
        String key;
        if (!index->Key(&key) || !index->Insert(record, key)) {
            Fail(index->error());
            return false;
        }
    }
    view_->SetDirty(1);
    return true;
}

bool XBaseDatabase::Install(Rebuild& rebuild, bool pack) {
    rebuild.table.reset();
    rebuild.indexes.clear();
    // The old table stays open: closing it would give up its lock.
    for (auto& index : indexes_)
        index->Deactivate();
    // The data file goes last, so that whoever opens the new one finds the
    // new memo and indexes beside it.
    FileManager* files = application_->filemanager();
    for (auto file = rebuild.files.rbegin(); file != rebuild.files.rend(); ++file) {
        if (!files->Rename(OxinPathData, file->temporary.c_str(), OxinPathData,
                           file->original.c_str())) {
            Fail(files->error());
            return false;
        }
    }
    if (pack && !table_->MarkRebuilt()) {
        Fail(table_->error());
        return false;
    }
    if (pack) {
        rebuild.table = std::make_unique<XBaseTable>(application_);
        if (!rebuild.table->Open(OxinPathData, datapath_.c_str(), datapath_.length(), kReadWrite)) {
            Fail(rebuild.table->error());
            return false;
        }
    }
    for (auto& old : indexes_) {
        auto index = std::make_unique<XBaseIndex>(vm_, application_, this, old->name());
        bool opened = index->Open(old->filepath());
        rebuild.indexes.push_back(std::move(index));
        if (!opened) {
            Fail(rebuild.indexes.back()->error());
            return false;
        }
    }
    indexes_ = std::move(rebuild.indexes);
    if (pack) {
        table_ = std::move(rebuild.table);
        view_->SetTable(table_.get());
    }
    return true;
}

int XBaseDatabase::Abandon(Rebuild& rebuild) {
    table_->ReleaseTable();
    rebuild.table.reset();
    rebuild.indexes.clear();
    FileManager* files = application_->filemanager();
    for (const XBaseTemporaryFile& file : rebuild.files)
        files->Delete(OxinPathData, file.temporary.c_str());
    view_->SetupCurrentRecord(*table_);
    return 0;
}

bool XBaseDatabase::CopyRecords(Rebuild& rebuild) {
    XBaseTable& packed = *rebuild.table;
    XBaseReadingAhead ahead(table_.get());
    for (int record = 1; record <= table_->numrecords(); record++) {
        if (!table_->Goto(record)) return Fail(table_->error());
        if (table_->deleted()) continue;
        XBaseField* to = packed.fields().First();
        for (XBaseField* from = table_->fields().First(); from && to;
             from = table_->fields().Next(), to = packed.fields().Next()) {
            const char* text = from->data();
            if (!text) return Fail(table_->error());
            int length = from->type() == XBaseMemo ? static_cast<XBaseMemoField*>(from)->textlength()
                                                    : static_cast<int>(strlen(text));
            to->Set(text, length);
        }
        if (!packed.Append()) return Fail(packed.error());
        if (!InsertKeys(rebuild, static_cast<unsigned int>(packed.recordnum()))) return false;
    }
    return true;
}

bool XBaseDatabase::IndexRecords(Rebuild& rebuild) {
    XBaseReadingAhead ahead(table_.get());
    for (int record = 1; record <= table_->numrecords(); record++) {
        if (!table_->Goto(record)) return Fail(table_->error());
        if (!InsertKeys(rebuild, static_cast<unsigned int>(record))) return false;
    }
    return true;
}

int XBaseDatabase::Pack() {
    Rebuild rebuild;
    // The table is held from the first record read to the last rename:
    // appends and rewrites wait, and then meet the old files marked.
    if (!table_->LockTable()) return Fail(table_->error());
    if (table_->rebuilt()) {
        // Another pack replaced the files while this one waited.
        table_->ReleaseTable();
        if (!view_->Reopen()) return Fail(view_->error());
        if (!table_->LockTable()) return Fail(table_->error());
    }
    FileManager* files = application_->filemanager();
    std::unique_ptr<File> data, memo;
    String data_name, memo_name;
    for (int i = 0; i < (table_->version() == kMemoVersion ? 2 : 1); i++) {
        const String& original = i == 0 ? table_->datapath() : table_->memopath();
        char* name = nullptr;
        File* file = files->MakeTemporaryLike(OxinPathData, original.c_str(), &name, kReadWrite);
        if (!file) {
            Fail(files->error());
            return Abandon(rebuild);
        }
        String temporary(name, static_cast<int>(strlen(name)), static_cast<int>(strlen(name)) + 1);
        rebuild.files.push_back({original, temporary});
        (i == 0 ? data : memo).reset(file);
        (i == 0 ? data_name : memo_name) = temporary;
    }
    rebuild.table = std::make_unique<XBaseTable>(application_);
    if (!rebuild.table->Create(std::move(data), data_name, std::move(memo), memo_name,
                               table_->fields())) {
        Fail(rebuild.table->error());
        return Abandon(rebuild);
    }
    if (!StartIndexes(rebuild)) return Abandon(rebuild);
    view_->SetupCurrentRecord(*rebuild.table);
    if (!CopyRecords(rebuild)) return Abandon(rebuild);
    if (!Install(rebuild, true)) return Abandon(rebuild);
    if (!view_->SetupCurrentRecord(*table_) || !view_->Go_NoFilter(-1))
        return Fail(view_->error());
    return 1;
}

int XBaseDatabase::Reindex() {
    Rebuild rebuild;
    if (!StartIndexes(rebuild)) return Abandon(rebuild);
    if (!IndexRecords(rebuild)) return Abandon(rebuild);
    if (!Install(rebuild, false)) return Abandon(rebuild);
    if (!view_->Go_NoFilter(-1)) return Fail(view_->error());
    return 1;
}

int XBaseDatabase::OpenView(const StringTuple&, const StringTuple&, VariableList*, int) {
    return Fail(String("OxOPENVIEW is not currently supported for databases of type 'xbase3'"));
}

int XBaseDatabase::CloseView(const StringTuple&) {
    return Fail(String("OxCLOSEVIEW is not currently supported for databases of type 'xbase3'"));
}

int XBaseDatabase::RunQuery(const StringTuple&, VariableList*, int) {
    return Fail(String("OxQUERY is not currently supported for databases of type 'xbase3'"));
}

int XBaseDatabase::Command(const StringTuple&, const StringTuple&) {
    return Fail(String("OxDBCOMMAND is not currently supported for databases of type 'xbase3'"));
}
