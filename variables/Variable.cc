#include "variables/Variable.h"

#include <cassert>
#include <climits>
#include <cmath>
#include <cstring>
#include <new>
#include <typeinfo>

#include "base/TextConversion.h"
#include "variables/AggregateElementTree.h"
#include "variables/NULLVariable.h"
#include "variables/ReferenceVariable.h"

Variable::Variable(const char* name, int length) : name_(name, length) {}

Variable::Variable(const char* name, int length, const char* value, int value_length)
    : name_(name, length),
      string_value_(value, value_length),
      flags_(kStringValid),
      primary_type_(PrimaryString) {}

Variable::Variable(const char* name, int length, char* buffer, int buffer_length, int size)
    : name_(name, length), flags_(kStringValid), primary_type_(PrimaryString) {
    if (buffer_length < 0) buffer_length = static_cast<int>(strlen(buffer));
    string_value_.assign_nocopy(buffer, buffer_length, size);
}

Variable::Variable(const char* name, int length, int value)
    : name_(name, length),
      integer_value_(value),
      double_value_(value),
      flags_(kIntegerValid),
      primary_type_(PrimaryInteger) {}

Variable::Variable(const char* name, int length, double value)
    : name_(name, length),
      integer_value_(Truncate(value)),
      double_value_(value),
      flags_(kIntegerValid | kDoubleValid),
      primary_type_(PrimaryDouble) {}

Variable::Variable(const String& name, const String& value)
    : name_(name), string_value_(value), flags_(kStringValid), primary_type_(PrimaryString) {}

Variable::Variable(Variable& other)
    : name_(other.name_),
      string_value_(other.string_value_),
      integer_value_(other.integer_value_),
      double_value_(other.double_value_),
      aggregate_type_(other.aggregate_type_) {
    SetValue(other);
}

Variable::~Variable() {
    delete elements_;
}

int Variable::Truncate(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return INT_MIN;
    return static_cast<int>(value);
}

Variable* Variable::Clone(OxinApplication*) {
    return new Variable(*this);
}

const String& Variable::name() {
    return name_;
}

Variable* Variable::NextIdentity() {
    return this;
}

Variable* Variable::RealIdentity() {
    return this;
}

String& Variable::value() {
    if (elements_) {
        string_value_.assign("", 0);
        Serialize(string_value_);
    } else if (!(flags_ & kStringValid)) {
        Convert_String();
    }
    return string_value_;
}

int Variable::value_integer() {
    if (elements_) return 0;
    if (!(flags_ & kIntegerValid)) Convert_Integer();
    return integer_value_;
}

double Variable::value_double() {
    if (elements_) return 0.0;
    if (!(flags_ & kDoubleValid)) Convert_Double();
    return double_value_;
}

double Variable::value_compare(int* error) {
    *error = 0;
    if (elements_) {
        *error = 1;
        return 0.0;
    }
    if (flags_ & kStringValid) {
        double_value_ = TextConversion::stod(string_value_.c_str(), string_value_.length(),
                                             string_value_.capacity(), error);
        if (*error == 0) flags_ |= kDoubleValid;
        return double_value_;
    }
    if (!(flags_ & kDoubleValid) && (flags_ & kIntegerValid)) {
        double_value_ = integer_value_;
        flags_ |= kDoubleValid;
    }
    return (flags_ & kDoubleValid) ? double_value_ : 0.0;
}

void Variable::Clear_For_Reuse() {
    assert(Reusable());
    string_value_ = String();
    integer_value_ = 0;
    double_value_ = 0.0;
    flags_ = 0;
    primary_type_ = PrimaryNone;
    aggregate_type_ = AggregateNone;
    error_ = String();
    target_ = nullptr;
}

bool Variable::Exactly_Variable() const {
    return typeid(*this) == typeid(Variable);
}

int Variable::type() {
    return 0;
}

int Variable::primary_type() {
    return primary_type_;
}

int Variable::preferred_type() {
    return PrimaryString;
}

bool Variable::IsTrue(const char* text, int length) {
    if (!text || length == 0) return false;
    if (length < 0) length = static_cast<int>(strlen(text));
    bool point_seen = false;
    for (int i = 0; i < length; i++) {
        if (text[i] == '0') continue;
        if (text[i] != '.' || point_seen) return true;
        point_seen = true;
    }
    return false;
}

bool Variable::IsTrue() {
    if (flags_ & kStringValid) return IsTrue(string_value_);
    if (flags_ & kDoubleValid) return double_value_ != 0.0;
    if (flags_ & kIntegerValid) return integer_value_ != 0;
    Convert_String();
    return IsTrue(value());
}

bool Variable::IsNULL() {
    if (elements_) return false;
    if (flags_ & kStringValid) return string_value_.length() == 0;
    return !(flags_ & (kIntegerValid | kDoubleValid));
}

void Variable::DropElements() {
    delete elements_;
    elements_ = nullptr;
    aggregate_type_ = AggregateNone;
}

void Variable::SetNULL() {
    if (flags_ & kStringValid) string_value_.assign("", 0);
    DropElements();
    flags_ &= ~kFormFlags;
    primary_type_ = PrimaryNone;
}

AggregateElementTree* Variable::aggregateelements() {
    return elements_;
}

AggregateType Variable::aggregatetype() {
    return aggregate_type_;
}

int Variable::refcount() {
    return reference_count_;
}

void Variable::SetName(const String& name) {
    if (name.text()) name_ = name;
}

// Each assignment stores its form before dropping the elements, since the
// new value may be the text of one of them.
int Variable::SetValue(const char* text, int length) {
    string_value_.assign(text, length);
    flags_ = (flags_ & ~kFormFlags) | kStringValid;
    primary_type_ = PrimaryString;
    DropElements();
    return 1;
}

int Variable::SetValue_Nocopy(char* buffer, int length, int size) {
    if (length < 0) length = static_cast<int>(strlen(buffer));
    string_value_.assign_nocopy(buffer, length, size);
    flags_ = (flags_ & ~kFormFlags) | kStringValid;
    primary_type_ = PrimaryString;
    DropElements();
    return 1;
}

void Variable::Append_Text(const char* text, int length) {
    value();
    int needed = string_value_.length() + length + 1;
    if (needed > string_value_.capacity()) {
        int doubled = string_value_.capacity() * 2;
        string_value_.reserve(needed > doubled ? needed : doubled);
    }
    string_value_.cat(text, length);
    flags_ = (flags_ & ~kFormFlags) | kStringValid;
    primary_type_ = PrimaryString;
}

int Variable::SetValue_Integer(int value) {
    integer_value_ = value;
    flags_ = (flags_ & ~kFormFlags) | kIntegerValid;
    primary_type_ = PrimaryInteger;
    DropElements();
    return 1;
}

int Variable::SetValue_Double(double value) {
    double_value_ = value;
    flags_ = (flags_ & ~kFormFlags) | kDoubleValid;
    primary_type_ = PrimaryDouble;
    DropElements();
    return 1;
}

void Variable::CopyForms(Variable& source) {
    flags_ = (flags_ & ~kFormFlags) | (source.flags_ & kFormFlags);
    primary_type_ = source.primary_type_;
    if (source.flags_ & kStringValid)
        string_value_.assign(source.string_value_.text(), source.string_value_.length());
    if (source.flags_ & kIntegerValid) integer_value_ = source.integer_value_;
    if (source.flags_ & kDoubleValid) double_value_ = source.double_value_;
}

int Variable::SetValue(Variable& from) {
    AggregateElementTree* old_elements = elements_;
    Variable& source = *from.RealIdentity();
    if (source.elements_) {
        elements_ = new AggregateElementTree(*source.elements_);
        aggregate_type_ = source.aggregate_type_;
        flags_ &= ~kFormFlags;
        primary_type_ = PrimaryNone;
        delete old_elements;
        return 1;
    }
    if (&source == this) return 1;
    elements_ = nullptr;
    aggregate_type_ = AggregateNone;
    switch (source.type()) {
        case 2:
            flags_ &= ~kFormFlags;
            primary_type_ = PrimaryNone;
            break;
        case 3:
            integer_value_ = source.value_integer();
            flags_ = (flags_ & ~kFormFlags) | kIntegerValid;
            primary_type_ = PrimaryInteger;
            break;
        case 4: {
            const String& text = source.value();
            if (text.text()) string_value_.assign(text.text(), text.length());
            flags_ = (flags_ & ~kFormFlags) | kStringValid;
            primary_type_ = PrimaryString;
            break;
        }
        case 5:
            CopyForms(source);
            if (primary_type_ == PrimaryNone || !(flags_ & kFormFlags)) {
                switch (source.preferred_type()) {
                    case PrimaryInteger:
                        SetValue_Integer(source.value_integer());
                        break;
                    case PrimaryDouble:
                        SetValue_Double(source.value_double());
                        break;
                    default:
                        SetValue(source.value());
                        break;
                }
            }
            break;
        default:
            if (!(source.flags_ & kFormFlags)) source.value();
            CopyForms(source);
            break;
    }
    delete old_elements;
    return 1;
}

const String& Variable::error() {
    return error_;
}

void Variable::IncRefCount() {
    reference_count_++;
}

void Variable::DecRefCount() {
    if (--reference_count_ == 0) delete this;
}

void Variable::Convert_String() {
    if (elements_) {
        string_value_.assign("", 0);
        flags_ |= kStringValid;
        Serialize(string_value_);
        return;
    }
    int length, size;
    if (flags_ & kDoubleValid) {
        char* text = TextConversion::dtos(double_value_, &length, &size, -1);
        string_value_.assign_nocopy(text, length, size);
    } else if (flags_ & kIntegerValid) {
        char* text = TextConversion::itos(integer_value_, &length, &size);
        string_value_.assign_nocopy(text, length, size);
    } else {
        string_value_.assign("", 0);
    }
    flags_ |= kStringValid;
}

void Variable::Convert_Integer() {
    if (elements_) {
        integer_value_ = 0;
    } else if (flags_ & kDoubleValid) {
        integer_value_ = Truncate(double_value_);
    } else if (flags_ & kStringValid) {
        int error;
        integer_value_ =
            TextConversion::stoi(string_value_.c_str(), string_value_.length(), &error);
        if (error != 0) {
            Convert_Double();
            integer_value_ = Truncate(double_value_);
        }
    } else {
        integer_value_ = 0;
    }
    flags_ |= kIntegerValid;
}

void Variable::Convert_Double() {
    if (elements_) {
        double_value_ = 0.0;
    } else if (flags_ & kStringValid) {
        int ignored;
        double_value_ = TextConversion::stod(string_value_.c_str(), string_value_.length(),
                                             string_value_.capacity(), &ignored);
    } else if (flags_ & kIntegerValid) {
        double_value_ = integer_value_;
    } else {
        double_value_ = 0.0;
    }
    flags_ |= kDoubleValid;
}

void Variable::Serialize(String& out) {
    if (elements_) {
        elements_->InOrder([&out](AggregateElement* element) { element->var()->Serialize(out); });
        return;
    }
    if (out.length() > 0) out.cat(",", 1);
    const String& text = value();
    if (text.text()) out.cat(text.text(), text.length());
}

void Variable::Detach_As_Null() {
    assert(reference_count_ > 1);
    int count = reference_count_ - 1;
    this->~Variable();
    Variable* detached = std::launder(new (this) NULLVariable());
    detached->reference_count_ = count;
}

void Variable::Make_Reference(Variable* target) {
    if (target == this || target->RealIdentity() == this) return;
    assert(typeid(*this) == typeid(Variable));
    String name(std::move(name_));
    string_value_.destroy();
    error_.destroy();
    target->IncRefCount();
    DropElements();
    int count = reference_count_;
    this->~Variable();
    Variable* reference = std::launder(new (this) ReferenceVariable(std::move(name), target));
    reference->reference_count_ = count;
    if (count == 1) {
        target->DecRefCount();
    } else {
        for (int i = 2; i < count; i++)
            target->IncRefCount();
    }
}
