#include "database/XBaseStateVariables.h"

#include <cstdio>

#include "database/XBaseTable.h"

XBaseStateVariable::XBaseStateVariable(const char* name) : XBaseVariable(name) {}

int XBaseStateVariable::SetValue(const char*, int) {
    return 0;
}

int XBaseStateVariable::SetValue(Variable&) {
    return 0;
}

int XBaseStateVariable::SetValue_Nocopy(char* buffer, int, int) {
    delete[] buffer;
    return 0;
}

int XBaseStateVariable::SetValue_Integer(int) {
    return 0;
}

int XBaseStateVariable::SetValue_Double(double) {
    return 0;
}

void XBaseStateVariable::Convert_String() {
    char text[16];
    int length = snprintf(text, sizeof text, "%d", value_integer());
    string_value_.assign(text, length);
    flags_ |= kStringValid;
}

void XBaseStateVariable::Convert_Integer() {
    integer_value_ = Read();
    primary_type_ = PrimaryInteger;
    flags_ |= kIntegerValid;
}

void XBaseStateVariable::Convert_Double() {
    double_value_ = value_integer();
    flags_ |= kDoubleValid;
}

XBaseTableStateVariable::XBaseTableStateVariable(const char* name, XBaseTable* table,
                                                 int (XBaseTable::*reader)() const)
    : XBaseStateVariable(name), table_(table), reader_(reader) {}

int XBaseTableStateVariable::Read() {
    return (table_->*reader_)();
}

XBaseTotalRecordsVariable::XBaseTotalRecordsVariable(XBaseTable* table)
    : XBaseTableStateVariable("totrec", table, &XBaseTable::numrecords) {}

XBaseRecordNumberVariable::XBaseRecordNumberVariable(XBaseTable* table)
    : XBaseTableStateVariable("recno", table, &XBaseTable::recordnum) {}

XBaseDeletedVariable::XBaseDeletedVariable(XBaseTable* table)
    : XBaseTableStateVariable("deleted", table, &XBaseTable::deleted) {}

XBaseEOFVariable::XBaseEOFVariable() : XBaseStateVariable("eof") {
    SetEOF(0);
}

void XBaseEOFVariable::SetEOF(int value) {
    eof_ = value != 0;
    integer_value_ = eof_;
    flags_ = (flags_ & ~kFormFlags) | kIntegerValid;
    primary_type_ = PrimaryInteger;
}
