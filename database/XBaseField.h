#pragma once

#include "base/StringClass.h"

class XBaseTable;

// The field types of a table, with the type character each is stored as.
enum XBaseFieldType {
    XBaseCharacter = 0,  // 'C'
    XBaseNumeric = 1,    // 'N'
    XBaseDate = 2,       // 'D'
    XBaseLogical = 3,    // 'L'
    XBaseMemo = 4,       // 'M'
};

// The type character of a field type, and the type of a character (-1 when
// the character names no type).
char XBaseTypeCharacter(int type);
int XBaseTypeOf(char character);

// One column of a table and its value in the current record. The value is
// held twice: the current text, which Set changes and Write stores, and the
// original text as last read or written, from which a view learns what an
// edited record held before.
class XBaseField {
  public:
    // name is NUL-terminated; at most 11 bytes of it are kept.
    XBaseField(XBaseTable* table, const char* name, int type, int length, int decimalcount);
    // name is the first namelength bytes of a descriptor.
    XBaseField(XBaseTable* table, const char* name, int namelength, int type, int length,
               int decimalcount);
    virtual ~XBaseField();
    XBaseField(const XBaseField&) = delete;
    XBaseField& operator=(const XBaseField&) = delete;

    // Takes the field's length bytes of a record into both texts, stripped as
    // the type is stored: trailing blanks of a character field, leading
    // blanks of a numeric or memo field. Returns 1.
    virtual int Read(unsigned char* bytes);
    // Stores the current text into the field's length bytes of a record,
    // blank-padded: left-justified, or right-justified for numeric and memo
    // fields. Returns 1, or 0 when nothing could be stored.
    virtual int Write(unsigned char* bytes);
    // Makes the first length bytes of value (at most the field's length) the
    // current text; the original stays.
    virtual void Set(const char* value, int length);
    virtual const char* name() { return name_; }
    virtual int type() { return type_; }
    virtual int length() { return length_; }
    virtual int decimalcount() { return decimalcount_; }
    // The current text, NUL-terminated.
    virtual const char* data() { return data_; }
    // Exchanges the current and the original text.
    virtual void SwapOriginal();
    // Makes the current text the original.
    virtual void SetOriginal();

    void Set(const String& value) { Set(value.c_str(), value.length()); }
    const char* original() { return original_; }
    XBaseTable* table() { return table_; }

  protected:
    char name_[12];
    int type_;
    int length_;
    int decimalcount_;
    char* data_;
    char* original_;
    XBaseTable* table_;
};
