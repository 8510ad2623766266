#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/StringClass.h"
#include "runtime/Feature.h"

class File;
class Segment;
class Variable;
class VariableList;

// The state of one OxIMPORT loop: a delimited text file of the data
// directory read record by record, each record's fields assigned as text to
// the statement's variables. A record ends at LF, CR or CR LF; inside it a
// backslash escapes the next byte ("\n" is LF, "\r" CR). Deleting it closes
// the file.
class Import : public Feature {
  public:
    Import(OxinApplication* application, OxinVM* vm);
    ~Import() override;

    // The bytes that separate the fields (may be empty: one field).
    void SetDelimiter(const char* text, int length);
    // The comma-separated names of the variables that take the fields, and
    // the global recno that counts the records.
    void SetFields(const char* names, int length);
    // Opens file in the data directory and reads its first block of size
    // bytes; false with the reason in error().
    bool Start(const String& file, int size);
    // Reads the next record and assigns its fields: 0, or 1 at the end of
    // the file. A read error counts as the end, its text left in error().
    int Next();
    // Decodes the next record into the record buffer: 1 when a line end
    // ended it, 0 when the file ended (what was gathered is a last record).
    int ReadRecord();
    // Counts a record that the filter accepted in recno.
    void Count_Record();

    // One OxEXPORT record: the values of the variables with LF, CR and
    // backslash escaped, joined by the delimiter, ended by LF.
    static std::string Export_Record(VariableList* values, const char* delimiter, int length);

    // The compiled filter (owned by the segment manager), or null.
    void SetFilter(Segment* filter) { filter_ = filter; }
    Segment* filter() const { return filter_; }

  private:
    // Refills the read buffer: false at the end of the file or on an error.
    bool Fill();
    void Store(char byte);
    // Where the delimiter next occurs at or after from, or -1.
    int Find_Delimiter(int from) const;
    void Assign_Fields();

    int record_counter_ = 0;
    Variable* recno_ = nullptr;
    std::unique_ptr<VariableList> fields_;
    String name_;
    std::string delimiter_;
    std::vector<char> buffer_;
    int filled_ = 0;
    int position_ = 0;
    bool ended_ = false;
    std::vector<char> record_;
    int record_length_ = 0;
    Segment* filter_ = nullptr;
    std::unique_ptr<File> file_;
};
