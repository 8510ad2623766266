#pragma once

#include "base/StringClass.h"
#include "variables/Variable.h"

class XBaseField;

// A field of the current record as a script variable. It reads the field's
// text lazily, converting it to the form asked for, and holds an assigned
// value (marked changed) until Commit writes it into the field. The cached
// forms use Variable's valid bits; primary_type_ is the preferred form.
class XBaseVariable : public Variable {
  public:
    explicit XBaseVariable(XBaseField* field);
    // A variable of no field, named name (the table's state variables).
    explicit XBaseVariable(const char* name);

    int type() override { return 5; }
    int preferred_type() override { return primary_type_; }
    // True for an empty field text (read now if not yet cached).
    bool IsNULL() override;
    // From the text, else the double cut toward zero, else the field's text.
    void Convert_Integer() override;
    double value_compare(int* error) override;

    // Forgets the cached value, so that the next read goes to the field.
    virtual void SetDirty();
    // Writes a changed value into the field's text.
    virtual void Commit();
    // Keeps the cached state aside and forgets it (to read the record's
    // original texts); SwapOriginal brings the kept state back.
    virtual void SetOriginal();
    virtual void SwapOriginal();

    bool changed() const { return changed_; }

  protected:
    ~XBaseVariable() override = default;
    // The field's current text and its length; memo texts are loaded here.
    void FieldText(const char** text, int* length);
    // Makes text the only valid form, preferred.
    void StoreText(const char* text, int length);
    void StoreText_Nocopy(char* buffer, int length, int size);

    bool changed_ = false;
    XBaseField* field_ = nullptr;

  private:
    struct Saved {
        unsigned char flags = 0;
        int preferred = PrimaryNone;
        String text;
        int integer = 0;
        double number = 0.0;
    } saved_;
};

// A character, memo or (after a plain open) date field: the field's text. A
// stored text is cut to the field's length and loses trailing blanks; memo
// texts are kept whole.
class XBaseStringVariable : public XBaseVariable {
  public:
    explicit XBaseStringVariable(XBaseField* field);

    double value_compare(int* error) override;
    int SetValue(const char* text, int length) override;
    int SetValue(Variable& source) override;
    int SetValue_Nocopy(char* buffer, int length, int size) override;
    int SetValue_Integer(int value) override;
    int SetValue_Double(double value) override;
    void Convert_String() override;
    void Convert_Double() override;
    void Commit() override;

  protected:
    ~XBaseStringVariable() override = default;
    bool is_memo() const { return max_length_ < 0; }
    // The length that a stored text keeps: cut to the field, trailing blanks
    // dropped.
    int Fitted(const char* text, int length) const;

    int max_length_;  // -1 for a memo
};

// A numeric field. Texts must be numbers; every value is cut (never rounded)
// to the field's decimals.
class XBaseNumberVariable : public XBaseVariable {
  public:
    explicit XBaseNumberVariable(XBaseField* field);

    // Whether text (length -1: up to the NUL) is an optional "-", digits and
    // at most one ".": the digits before and after the point come back.
    static bool Validate(const char* text, int length, int* before, int* after);

    double value_compare(int* error) override;
    int SetValue(const char* text, int length) override;
    int SetValue(Variable& source) override;
    int SetValue_Nocopy(char* buffer, int length, int size) override;
    int SetValue_Integer(int value) override;
    int SetValue_Double(double value) override;
    void Convert_String() override;
    void Convert_Double() override;
    void Commit() override;

  protected:
    ~XBaseNumberVariable() override = default;

  private:
    // Brings the text to the field's decimals; -1 counts the text's own
    // decimals.
    void Cleanup_String(int before, int after);
    double Truncate(double value) const;
};

// A logical field: "T", "t", "Y" or "y" is true, anything else false.
class XBaseBooleanVariable : public XBaseVariable {
  public:
    explicit XBaseBooleanVariable(XBaseField* field);

    int SetValue(const char* text, int length) override;
    int SetValue(Variable& source) override;
    int SetValue_Nocopy(char* buffer, int length, int size) override;
    int SetValue_Integer(int value) override;
    int SetValue_Double(double value) override;
    void Convert_String() override;
    void Convert_Integer() override;
    void Convert_Double() override;
    void Commit() override;

  protected:
    ~XBaseBooleanVariable() override = default;

  private:
    bool FieldTruth();
};

// A date field after a rebuild: texts must be eight digits YYYYMMDD with a
// month below 13 and a day below 32.
class XBaseDateVariable : public XBaseStringVariable {
  public:
    explicit XBaseDateVariable(XBaseField* field);

    static bool Validate(const char* text, int length);

    int SetValue(const char* text, int length) override;
    int SetValue(Variable& source) override;
    int SetValue_Nocopy(char* buffer, int length, int size) override;
    int SetValue_Integer(int value) override;
    int SetValue_Double(double value) override;

  protected:
    ~XBaseDateVariable() override = default;
};
