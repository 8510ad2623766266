#include "database/XBaseVariable.h"

#include <cmath>
#include <cstring>

#include "base/Power.h"
#include "base/TextConversion.h"
#include "database/XBaseField.h"
#include "database/XBaseMemoField.h"
#include "variables/NULLVariable.h"

static_assert(sizeof(XBaseVariable) >= sizeof(NULLVariable),
              "a detached field variable becomes a NULLVariable in place");

namespace {

constexpr unsigned char kForms = Variable::kFormFlags;

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

int stoi_of(const char* text, int length) {
    int error;
    return TextConversion::stoi(text, length, &error);
}

double stod_of(const char* text, int length, int* error) {
    return TextConversion::stod(text, length, length + 1, error);
}

// A number's text in a String, at the default precision.
String text_of_double(double value) {
    int length, size;
    char* text = TextConversion::dtos(value, &length, &size, -1);
    return String(text, length, size);
}

String text_of_integer(int value) {
    int length, size;
    char* text = TextConversion::itos(value, &length, &size);
    return String(text, length, size);
}

}  // namespace

// ---- XBaseVariable

XBaseVariable::XBaseVariable(XBaseField* field) : Variable(field->name(), -1), field_(field) {
    plain_ = false;
}

XBaseVariable::XBaseVariable(const char* name) : Variable(name, -1) {
    plain_ = false;
}

bool XBaseVariable::IsNULL() {
    if (!(flags_ & kForms)) value();
    return Variable::IsNULL();
}

// A variable with nothing cached (after a move) reads its number first, or
// a comparison would see none and take 0.
double XBaseVariable::value_compare(int* error) {
    if (!(flags_ & kForms)) value_double();
    return Variable::value_compare(error);
}

void XBaseVariable::SetDirty() {
    flags_ &= ~kForms;
    primary_type_ = PrimaryNone;
}

void XBaseVariable::Commit() {
    changed_ = false;
}

void XBaseVariable::SetOriginal() {
    saved_.flags = flags_ & kForms;
    saved_.preferred = primary_type_;
    saved_.text = string_value_;
    saved_.integer = integer_value_;
    saved_.number = double_value_;
    flags_ &= ~kForms;
    primary_type_ = PrimaryNone;
    changed_ = false;
}

void XBaseVariable::SwapOriginal() {
    flags_ = (flags_ & ~kForms) | saved_.flags;
    primary_type_ = saved_.preferred;
    string_value_ = saved_.text;
    integer_value_ = saved_.integer;
    double_value_ = saved_.number;
}

void XBaseVariable::Convert_Integer() {
    if (flags_ & kStringValid) {
        integer_value_ = stoi_of(string_value_.c_str(), string_value_.length());
    } else if (flags_ & kDoubleValid) {
        integer_value_ = Variable::Truncate(double_value_);
    } else {
        const char* text;
        int length;
        FieldText(&text, &length);
        integer_value_ = stoi_of(text, length);
    }
    flags_ |= kIntegerValid;
}

void XBaseVariable::FieldText(const char** text, int* length) {
    if (field_->type() == XBaseMemo) {
        auto* memo = static_cast<XBaseMemoField*>(field_);
        *text = memo->data();
        *length = *text ? memo->textlength() : 0;
    } else {
        *text = field_->data();
        *length = *text ? static_cast<int>(strlen(*text)) : 0;
    }
    if (!*text) *text = "";
}

void XBaseVariable::StoreText(const char* text, int length) {
    string_value_.assign(text, length);
    flags_ = (flags_ & ~kForms) | kStringValid;
    primary_type_ = PrimaryString;
}

void XBaseVariable::StoreText_Nocopy(char* buffer, int length, int size) {
    string_value_.assign_nocopy(buffer, length, size);
    flags_ = (flags_ & ~kForms) | kStringValid;
    primary_type_ = PrimaryString;
}

// ---- XBaseStringVariable

XBaseStringVariable::XBaseStringVariable(XBaseField* field)
    : XBaseVariable(field), max_length_(field->type() == XBaseMemo ? -1 : field->length()) {}

int XBaseStringVariable::Fitted(const char* text, int length) const {
    if (length > max_length_) length = max_length_;
    while (length > 0 && is_blank(text[length - 1]))
        length--;
    return length;
}

void XBaseStringVariable::Convert_String() {
    if (flags_ & kDoubleValid) {
        string_value_ = text_of_double(double_value_);
    } else if (flags_ & kIntegerValid) {
        string_value_ = text_of_integer(integer_value_);
    } else {
        const char* text;
        int length;
        FieldText(&text, &length);
        string_value_.assign(text, length);
        primary_type_ = PrimaryString;
    }
    flags_ |= kStringValid;
}

void XBaseStringVariable::Convert_Double() {
    int error;
    if ((flags_ & kIntegerValid) && !(flags_ & kStringValid)) {
        double_value_ = integer_value_;
    } else {
        const String& text = value();
        double_value_ = stod_of(text.c_str(), text.length(), &error);
    }
    flags_ |= kDoubleValid;
}

double XBaseStringVariable::value_compare(int* error) {
    const String& text = value();
    double number = stod_of(text.c_str(), text.length(), error);
    if (*error == 0) {
        double_value_ = number;
        flags_ |= kDoubleValid;
    }
    return number;
}

int XBaseStringVariable::SetValue(const char* text, int length) {
    changed_ = true;
    if (is_memo()) return Variable::SetValue(text, length);
    StoreText(text, Fitted(text, length));
    return 1;
}

int XBaseStringVariable::SetValue_Nocopy(char* buffer, int length, int size) {
    changed_ = true;
    if (length < 0) length = static_cast<int>(strlen(buffer));
    if (is_memo()) return Variable::SetValue_Nocopy(buffer, length, size);
    length = Fitted(buffer, length);
    buffer[length] = '\0';
    StoreText_Nocopy(buffer, length, size);
    return 1;
}

int XBaseStringVariable::SetValue(Variable& source) {
    if (source.RealIdentity() == this) return 1;
    const String& text = source.value();
    return SetValue(text.c_str(), text.length());
}

int XBaseStringVariable::SetValue_Integer(int value) {
    changed_ = true;
    if (is_memo()) return Variable::SetValue_Integer(value);
    String text = text_of_integer(value);
    return SetValue(text.c_str(), text.length());
}

int XBaseStringVariable::SetValue_Double(double value) {
    changed_ = true;
    if (is_memo()) return Variable::SetValue_Double(value);
    String text = text_of_double(value);
    return SetValue(text.c_str(), text.length());
}

void XBaseStringVariable::Commit() {
    if (!changed_) return;
    changed_ = false;
    if (flags_ & kStringValid) {
        field_->Set(string_value_.c_str(), string_value_.length());
    } else if (flags_ & (kDoubleValid | kIntegerValid)) {
        Convert_String();
        field_->Set(string_value_.c_str(), string_value_.length());
    } else {
        field_->Set("", 0);
    }
}

// ---- XBaseNumberVariable

XBaseNumberVariable::XBaseNumberVariable(XBaseField* field) : XBaseVariable(field) {}

bool XBaseNumberVariable::Validate(const char* text, int length, int* before, int* after) {
    if (length < 0) length = static_cast<int>(strlen(text));
    *before = *after = 0;
    bool point = false;
    for (int i = 0; i < length; i++) {
        char c = text[i];
        if (c == '-' && i == 0) continue;
        if (c == '.' && !point) {
            point = true;
        } else if (c >= '0' && c <= '9') {
            (point ? *after : *before)++;
        } else {
            return false;
        }
    }
    return true;
}

void XBaseNumberVariable::Cleanup_String(int before, int after) {
    (void)before;
    if (string_value_.length() == 0) string_value_.assign("0", 1);
    const char* text = string_value_.c_str();
    int length = string_value_.length();
    const char* point = static_cast<const char*>(memchr(text, '.', length));
    if (after < 0) after = point ? length - static_cast<int>(point - text) - 1 : 0;
    int decimals = field_->decimalcount();
    if (decimals != 0) {
        if (after == decimals) return;
        if (after > decimals) {
            string_value_.assign(text, length - (after - decimals));
            return;
        }
        String padded(text, length);
        if (!point) padded.cat(".");
        for (int i = after; i < decimals; i++)
            padded.cat("0");
        string_value_ = padded;
        return;
    }
    if (point) string_value_.assign(text, static_cast<int>(point - text));
}

double XBaseNumberVariable::Truncate(double value) const {
    int decimals = field_->decimalcount();
    if (decimals == 0) return std::trunc(value);
    double whole;
    double fraction = Split_Fraction(value, &whole);
    double scale = Power_Of_Ten(decimals);
    return whole + std::trunc(fraction * scale) / scale;
}

int XBaseNumberVariable::SetValue(const char* text, int length) {
    if (length < 0) length = static_cast<int>(strlen(text));
    int before, after;
    if (!Validate(text, length, &before, &after)) return 0;
    changed_ = true;
    StoreText(text, length);
    Cleanup_String(before, after);
    return 1;
}

int XBaseNumberVariable::SetValue_Nocopy(char* buffer, int length, int size) {
    if (length < 0) length = static_cast<int>(strlen(buffer));
    int before, after;
    if (!Validate(buffer, length, &before, &after)) {
        delete[] buffer;
        return 0;
    }
    changed_ = true;
    StoreText_Nocopy(buffer, length, size);
    Cleanup_String(before, after);
    return 1;
}

int XBaseNumberVariable::SetValue(Variable& source) {
    if (source.RealIdentity() == this) return 1;
    const String& text = source.value();
    const char* point = static_cast<const char*>(memchr(text.c_str(), '.', text.length()));
    int whole = point ? static_cast<int>(point - text.c_str()) : text.length();
    int decimals = field_->decimalcount();
    int room = decimals == 0 ? field_->length() : field_->length() - decimals - 1;
    if (whole > room) return 0;
    changed_ = true;
    double_value_ = source.value_double();
    flags_ = (flags_ & ~kForms) | kDoubleValid;
    primary_type_ = PrimaryDouble;
    return 1;
}

int XBaseNumberVariable::SetValue_Integer(int value) {
    changed_ = true;
    integer_value_ = value;
    flags_ = (flags_ & ~kForms) | kIntegerValid;
    primary_type_ = PrimaryInteger;
    return 1;
}

int XBaseNumberVariable::SetValue_Double(double value) {
    changed_ = true;
    double_value_ = Truncate(value);
    flags_ = (flags_ & ~kForms) | kDoubleValid;
    primary_type_ = PrimaryDouble;
    return 1;
}

void XBaseNumberVariable::Convert_String() {
    if (flags_ & (kDoubleValid | kIntegerValid)) {
        string_value_ = (flags_ & kDoubleValid) ? text_of_double(double_value_)
                                                : text_of_integer(integer_value_);
        Cleanup_String(-1, -1);
    } else {
        const char* text;
        int length;
        FieldText(&text, &length);
        string_value_.assign(text, length);
    }
    flags_ |= kStringValid;
}

void XBaseNumberVariable::Convert_Double() {
    int error;
    if (flags_ & kStringValid) {
        double_value_ = stod_of(string_value_.c_str(), string_value_.length(), &error);
    } else if (flags_ & kIntegerValid) {
        double_value_ = integer_value_;
    } else {
        const char* text;
        int length;
        FieldText(&text, &length);
        double_value_ = stod_of(text, length, &error);
    }
    flags_ |= kDoubleValid;
}

double XBaseNumberVariable::value_compare(int* error) {
    *error = 0;
    if (!(flags_ & kDoubleValid)) Convert_Double();
    return double_value_;
}

void XBaseNumberVariable::Commit() {
    if (!(flags_ & kStringValid)) Convert_String();
    if (!changed_) return;
    field_->Set(string_value_.c_str(), string_value_.length());
    changed_ = false;
}

// ---- XBaseBooleanVariable

XBaseBooleanVariable::XBaseBooleanVariable(XBaseField* field) : XBaseVariable(field) {}

bool XBaseBooleanVariable::FieldTruth() {
    const char* text = field_->data();
    if (!text) return false;
    return text[0] == 'Y' || text[0] == 'y' || text[0] == 'T' || text[0] == 't';
}

void XBaseBooleanVariable::Convert_String() {
    bool truth;
    if (flags_ & (kIntegerValid | kDoubleValid)) {
        truth = (flags_ & kIntegerValid) ? integer_value_ != 0 : double_value_ != 0.0;
    } else {
        truth = FieldTruth();
        primary_type_ = PrimaryString;
    }
    string_value_.assign(truth ? "1" : "0", 1);
    flags_ |= kStringValid;
}

void XBaseBooleanVariable::Convert_Integer() {
    if (flags_ & kDoubleValid) {
        integer_value_ = double_value_ != 0.0;
    } else if (flags_ & kStringValid) {
        integer_value_ = Variable::IsTrue(string_value_);
    } else {
        integer_value_ = FieldTruth();
        primary_type_ = PrimaryInteger;
    }
    flags_ |= kIntegerValid;
}

void XBaseBooleanVariable::Convert_Double() {
    if (flags_ & kIntegerValid) {
        double_value_ = integer_value_ != 0;
    } else if (flags_ & kStringValid) {
        double_value_ = Variable::IsTrue(string_value_);
    } else {
        double_value_ = FieldTruth();
        primary_type_ = PrimaryDouble;
    }
    flags_ |= kDoubleValid;
}

int XBaseBooleanVariable::SetValue(const char* text, int length) {
    if (length < 0) length = static_cast<int>(strlen(text));
    return SetValue_Integer(Variable::IsTrue(text, length));
}

int XBaseBooleanVariable::SetValue(Variable& source) {
    return SetValue_Integer(source.IsTrue());
}

int XBaseBooleanVariable::SetValue_Nocopy(char* buffer, int length, int size) {
    (void)size;
    int result = SetValue(buffer, length);
    delete[] buffer;
    return result;
}

int XBaseBooleanVariable::SetValue_Integer(int value) {
    changed_ = true;
    integer_value_ = value != 0;
    flags_ = (flags_ & ~kForms) | kIntegerValid;
    primary_type_ = PrimaryInteger;
    return 1;
}

int XBaseBooleanVariable::SetValue_Double(double value) {
    changed_ = true;
    double_value_ = value != 0.0 ? 1.0 : 0.0;
    flags_ = (flags_ & ~kForms) | kDoubleValid;
    primary_type_ = PrimaryDouble;
    return 1;
}

void XBaseBooleanVariable::Commit() {
    if (!changed_) return;
    field_->Set(IsTrue() ? "T" : "F", 1);
    changed_ = false;
}

// ---- XBaseDateVariable

XBaseDateVariable::XBaseDateVariable(XBaseField* field) : XBaseStringVariable(field) {}

bool XBaseDateVariable::Validate(const char* text, int length) {
    if (length < 0) length = static_cast<int>(strlen(text));
    if (length != 8) return false;
    for (int i = 0; i < 8; i++) {
        if (text[i] < '0' || text[i] > '9') return false;
    }
    int month = (text[4] - '0') * 10 + (text[5] - '0');
    int day = (text[6] - '0') * 10 + (text[7] - '0');
    return month < 13 && day < 32;
}

int XBaseDateVariable::SetValue(const char* text, int length) {
    if (length < 0) length = static_cast<int>(strlen(text));
    if (!Validate(text, length)) return 0;
    changed_ = true;
    StoreText(text, length > max_length_ ? max_length_ : length);
    return 1;
}

int XBaseDateVariable::SetValue(Variable& source) {
    if (source.RealIdentity() == this) return 1;
    const String& text = source.value();
    return SetValue(text.c_str(), text.length());
}

int XBaseDateVariable::SetValue_Nocopy(char* buffer, int length, int size) {
    if (length < 0) length = static_cast<int>(strlen(buffer));
    changed_ = true;
    StoreText_Nocopy(buffer, length, size);
    return 1;
}

int XBaseDateVariable::SetValue_Integer(int value) {
    String text = text_of_integer(value);
    return SetValue(text.c_str(), text.length());
}

int XBaseDateVariable::SetValue_Double(double value) {
    String text = text_of_double(value);
    return SetValue(text.c_str(), text.length());
}
