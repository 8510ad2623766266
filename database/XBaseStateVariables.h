#pragma once

#include "database/XBaseVariable.h"

class XBaseTable;

// The read-only variables of a view's state: "totrec", "recno", "deleted"
// and "eof". Every assignment is refused (result 0, value unchanged).
class XBaseStateVariable : public XBaseVariable {
  public:
    explicit XBaseStateVariable(const char* name);

    int preferred_type() override { return PrimaryInteger; }
    int SetValue(const char* text, int length) override;
    int SetValue(Variable& source) override;
    // Frees buffer and refuses it.
    int SetValue_Nocopy(char* buffer, int length, int size) override;
    int SetValue_Integer(int value) override;
    int SetValue_Double(double value) override;
    void Convert_String() override;
    void Convert_Integer() override;
    void Convert_Double() override;

  protected:
    ~XBaseStateVariable() override = default;
    // The state's current value.
    virtual int Read() = 0;
};

// A value of the table's state, read anew after each SetDirty.
class XBaseTableStateVariable : public XBaseStateVariable {
  public:
    XBaseTableStateVariable(const char* name, XBaseTable* table, int (XBaseTable::*reader)() const);
    void SetTable(XBaseTable* table) { table_ = table; }

  protected:
    int Read() override;

  private:
    XBaseTable* table_;
    int (XBaseTable::*reader_)() const;
};

// "totrec": the record count that the table last read.
class XBaseTotalRecordsVariable : public XBaseTableStateVariable {
  public:
    explicit XBaseTotalRecordsVariable(XBaseTable* table);
};

// "recno": the current record's number.
class XBaseRecordNumberVariable : public XBaseTableStateVariable {
  public:
    explicit XBaseRecordNumberVariable(XBaseTable* table);
};

// "deleted": 1 when the current record is marked deleted.
class XBaseDeletedVariable : public XBaseTableStateVariable {
  public:
    explicit XBaseDeletedVariable(XBaseTable* table);
};

// "eof": 1 once a move ran off the records; set by the view alone, and kept
// through SetDirty.
class XBaseEOFVariable : public XBaseStateVariable {
  public:
    XBaseEOFVariable();
    void SetEOF(int value);
    void SetDirty() override {}

  protected:
    int Read() override { return eof_; }

  private:
    int eof_ = 0;
};
