#include "database/ExternalDatabaseVariable.h"

#include "variables/NULLVariable.h"

static_assert(sizeof(ExternalDatabaseVariable) >= sizeof(NULLVariable),
              "a detached field variable becomes a NULLVariable in place");

namespace {
// The version from which a library tells a field's preferred form.
constexpr int kPreferredTypeVersion = 4;
}  // namespace

ExternalDatabaseVariable::ExternalDatabaseVariable(ExternalDatabaseView* view,
                                                   const _OX_EL_Database* descriptor,
                                                   const char* name, int length, void* data)
    : Variable(name, length), view_(view), descriptor_(descriptor), data_(data) {
    plain_ = false;
}

ExternalDatabaseVariable::~ExternalDatabaseVariable() {
    if (descriptor_->Variable_Release) descriptor_->Variable_Release(this);
}

int ExternalDatabaseVariable::preferred_type() {
    if (descriptor_->version < kPreferredTypeVersion || !descriptor_->Variable_PreferredType)
        return PrimaryString;
    int type = descriptor_->Variable_PreferredType(this);
    return type == PrimaryInteger || type == PrimaryDouble ? type : PrimaryString;
}

bool ExternalDatabaseVariable::Get_Integer() {
    int value = 0;
    if (!descriptor_->Variable_Get_Integer || !descriptor_->Variable_Get_Integer(this, &value))
        return false;
    integer_value_ = value;
    flags_ |= kIntegerValid;
    return true;
}

bool ExternalDatabaseVariable::Get_Double() {
    double value = 0.0;
    if (!descriptor_->Variable_Get_Double || !descriptor_->Variable_Get_Double(this, &value))
        return false;
    double_value_ = value;
    flags_ |= kDoubleValid;
    return true;
}

bool ExternalDatabaseVariable::Get_String() {
    char* text = nullptr;
    int length = 0, owned = 0;
    if (!descriptor_->Variable_Get_String ||
        !descriptor_->Variable_Get_String(this, &text, &length, &owned))
        return false;
    if (!text || length < 0) length = 0;
    if (owned && text) {
        string_value_.assign_nocopy(text, length, length + 1);
    } else {
        string_value_.assign(text ? text : "", length);
    }
    flags_ |= kStringValid;
    return true;
}

// Each conversion asks the library for the form first, then derives it from
// a form already read, then reads the other forms to derive it from.
void ExternalDatabaseVariable::Convert_String() {
    if (reads_library() && !Get_String() && !(flags_ & (kDoubleValid | kIntegerValid)))
        Get_Double() || Get_Integer();
    if (!(flags_ & kStringValid)) Variable::Convert_String();
}

void ExternalDatabaseVariable::Convert_Integer() {
    if (reads_library() && !Get_Integer() && !(flags_ & (kStringValid | kDoubleValid)))
        Get_String() || Get_Double();
    if (!(flags_ & kIntegerValid)) Variable::Convert_Integer();
}

void ExternalDatabaseVariable::Convert_Double() {
    if (reads_library() && !Get_Double() && !(flags_ & (kStringValid | kIntegerValid)))
        Get_String() || Get_Integer();
    if (!(flags_ & kDoubleValid)) Variable::Convert_Double();
}

double ExternalDatabaseVariable::value_compare(int* error) {
    if (reads_library() && !(flags_ & kFormFlags)) Get_Double() || Get_String() || Get_Integer();
    return Variable::value_compare(error);
}

bool ExternalDatabaseVariable::IsNULL() {
    if (elements_) return false;
    return value().length() == 0;
}

int ExternalDatabaseVariable::SetValue(const char* text, int length) {
    changed_ = true;
    return Variable::SetValue(text, length);
}

int ExternalDatabaseVariable::SetValue(Variable& source) {
    if (source.RealIdentity() == this) return 1;
    changed_ = true;
    return Variable::SetValue(source);
}

int ExternalDatabaseVariable::SetValue_Nocopy(char* buffer, int length, int size) {
    changed_ = true;
    return Variable::SetValue_Nocopy(buffer, length, size);
}

int ExternalDatabaseVariable::SetValue_Integer(int value) {
    changed_ = true;
    return Variable::SetValue_Integer(value);
}

int ExternalDatabaseVariable::SetValue_Double(double value) {
    changed_ = true;
    return Variable::SetValue_Double(value);
}

void ExternalDatabaseVariable::SetDirty() {
    flags_ &= ~kFormFlags;
    primary_type_ = PrimaryNone;
    preferred_ = PrimaryNone;
    changed_ = false;
}

void ExternalDatabaseVariable::Commit() {
    if (elements_) {
        if (!descriptor_->Variable_Set_String) return;
        String text;
        Serialize(text);
        descriptor_->Variable_Set_String(this, text.c_str(), text.length());
        return;
    }
    if (!changed_) return;
    if (preferred_ == PrimaryNone) preferred_ = preferred_type();
    int type = preferred_;
    if (type == PrimaryInteger) {
        int number = value_integer();
        if (descriptor_->Variable_Set_Integer) descriptor_->Variable_Set_Integer(this, number);
    } else if (type == PrimaryDouble) {
        double number = value_double();
        if (descriptor_->Variable_Set_Double) descriptor_->Variable_Set_Double(this, number);
    } else {
        const String& text = value();
        if (descriptor_->Variable_Set_String)
            descriptor_->Variable_Set_String(this, text.c_str(), text.length());
    }
}
