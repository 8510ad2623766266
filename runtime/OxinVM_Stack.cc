#include "runtime/OxinVM_Stack.h"

#include <strings.h>

#include <cassert>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/LinkBuffer.h"
#include "base/TextConversion.h"
#include "runtime/OxinVM.h"
#include "variables/Variable.h"

namespace {

// The bytes of an entry as text, without consuming it. Numbers are written
// into made, which the caller deletes.
struct EntryText {
    const char* text = nullptr;
    int length = 0;
    char* made = nullptr;

    explicit EntryText(OxinVM_Stack::Stack_Entry* entry) {
        int size;
        switch (entry->type) {
            case OxinVM_Stack::kInteger:
                text = made = TextConversion::itos(entry->value.integer, &length, &size);
                break;
            case OxinVM_Stack::kDouble:
                text = made = TextConversion::dtos(entry->value.number, &length, &size, -1);
                break;
            case OxinVM_Stack::kString:
                text = entry->value.text;
                length = entry->length;
                break;
            case OxinVM_Stack::kVariable: {
                String& value = entry->value.variable->value();
                text = value.c_str();
                length = value.length();
                break;
            }
            default:
                text = entry->value.buffer->data(&length);
                break;
        }
    }
    ~EntryText() { delete[] made; }
    EntryText(const EntryText&) = delete;
    EntryText& operator=(const EntryText&) = delete;
};

// Truncation toward zero; what has no 32-bit value gives INT_MIN, as the
// processor's own conversion does.
int truncated(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return INT_MIN;
    return static_cast<int>(value);
}

int text_to_integer(const char* text, int length) {
    int error;
    return TextConversion::stoi(text, length, &error);
}

double text_to_double(const char* text, int length, int* error) {
    return TextConversion::stod(text, length, length, error);
}

// The false texts are the empty one and zeros with at most one dot.
bool text_truth(const char* text, int length) {
    bool dot = false;
    for (int i = 0; i < length; i++) {
        if (text[i] == '.') {
            if (dot) return true;
            dot = true;
        } else if (text[i] != '0') {
            return true;
        }
    }
    return false;
}

int text_position(const char* text, int length) {
    if (length == 3 && strncasecmp(text, "top", 3) == 0) return -1;
    if (length == 6 && strncasecmp(text, "bottom", 6) == 0) return -2;
    return text_to_integer(text, length);
}

}  // namespace

int OxinVM_Stack::CompareTexts(const char* left, int left_length, const char* right,
                               int right_length) {
    int shorter = left_length < right_length ? left_length : right_length;
    int order = shorter > 0 ? memcmp(left, right, shorter) : 0;
    if (order != 0) return order < 0 ? -1 : 1;
    if (left_length == right_length) return 0;
    return left_length < right_length ? -1 : 1;
}

OxinVM_Stack::OxinVM_Stack(OxinVM* vm, int capacity)
    : vm_(vm), entries_(new Stack_Entry[capacity > 0 ? capacity : 1]), capacity_(capacity) {}

OxinVM_Stack::~OxinVM_Stack() {
    Clear();
    delete[] entries_;
}

void OxinVM_Stack::Clear() {
    while (sp_ > 0)
        Release(&entries_[--sp_]);
}

bool OxinVM_Stack::Fault(const char* message) {
    vm_->FatalError(message);
    return false;
}

OxinVM_Stack::Stack_Entry* OxinVM_Stack::Overflow() {
    Fault("Stack overflow");
    return nullptr;
}

OxinVM_Stack::Stack_Entry* OxinVM_Stack::Take() {
    if (sp_ <= 0) {
        Fault("Stack underflow");
        return nullptr;
    }
    return &entries_[--sp_];
}

void OxinVM_Stack::Release_Owned(Stack_Entry* entry) {
    switch (entry->type) {
        case kString:
            delete[] entry->value.text;
            break;
        case kLinkBuffer:
            delete entry->value.buffer;
            break;
    }
}

void OxinVM_Stack::PushS(const char* text, int length, int size, int deletable) {
    Stack_Entry* entry = Claim();
    if (!entry) {
        if (deletable) delete[] text;
        return;
    }
    entry->type = kString;
    entry->flags = deletable ? kDeletable : 0;
    entry->value.text = text;
    entry->length = length;
    entry->size = size;
}

void OxinVM_Stack::PushLinkBuffer(LinkBuffer* buffer, int deletable) {
    Stack_Entry* entry = Claim();
    if (!entry) {
        if (deletable) delete buffer;
        return;
    }
    entry->type = kLinkBuffer;
    entry->flags = deletable ? kDeletable : 0;
    entry->value.buffer = buffer;
    entry->length = entry->size = 4;
}

void OxinVM_Stack::PushV_Fault(Variable* variable) {
    Fault(variable ? "Stack overflow" : "Invalid variable reference");
}

void OxinVM_Stack::Push(OxinVM_Stack* other, int count) {
    if (count + sp_ - 1 >= capacity_) {
        Fault("Stack overflow");
        return;
    }
    if (other->sp_ < count) {
        Fault("Stack underflow");
        return;
    }
    for (int i = 0; i < count; i++) {
        Stack_Entry entry = other->entries_[--other->sp_];
        if (entry.type == kVariable && !entry.deletable()) {
            entry.value.variable->IncRefCount();
            entry.flags |= kDeletable;
        }
        entries_[sp_++] = entry;
    }
}

void OxinVM_Stack::Pop() {
    if (Stack_Entry* entry = Take()) Release(entry);
}

int OxinVM_Stack::PopI_Converted() {
    Stack_Entry* entry = Take();
    if (!entry) return 0;
    int value;
    switch (entry->type) {
        case kInteger:
            value = entry->value.integer;
            break;
        case kDouble:
            value = truncated(entry->value.number);
            break;
        case kVariable:
            value = entry->value.variable->value_integer();
            break;
        default: {
            EntryText text(entry);
            value = text_to_integer(text.text, text.length);
            break;
        }
    }
    Release(entry);
    return value;
}

double OxinVM_Stack::PopD_Converted() {
    Stack_Entry* entry = Take();
    if (!entry) return 0;
    double value;
    switch (entry->type) {
        case kInteger:
            value = entry->value.integer;
            break;
        case kDouble:
            value = entry->value.number;
            break;
        case kVariable:
            value = entry->value.variable->value_double();
            break;
        default: {
            EntryText text(entry);
            int error;
            value = text_to_double(text.text, text.length, &error);
            break;
        }
    }
    Release(entry);
    return value;
}

char* OxinVM_Stack::ConvertEntryToString(Stack_Entry* entry, int* length, int* size,
                                         int* deletable) {
    switch (entry->type) {
        case kInteger:
            *deletable = 1;
            return TextConversion::itos(entry->value.integer, length, size);
        case kDouble:
            *deletable = 1;
            return TextConversion::dtos(entry->value.number, length, size, -1);
        case kString:
            *length = entry->length;
            *size = entry->size;
            *deletable = entry->deletable();
            return const_cast<char*>(entry->value.text);
        case kVariable: {
            Variable* variable = entry->value.variable;
            String& value = variable->value();
            *length = value.length();
            *size = *length;
            // Someone else keeps a counted variable alive: its bytes serve.
            if (!entry->deletable() || variable->refcount() > 1) {
                *deletable = 0;
                char* text = const_cast<char*>(value.c_str());
                if (entry->deletable()) variable->DecRefCount();
                return text;
            }
            char* copy = new char[*length + 1];
            if (*length > 0) memcpy(copy, value.text(), *length);
            copy[*length] = '\0';
            *size = *length + 1;
            *deletable = 1;
            variable->DecRefCount();
            return copy;
        }
        default: {
            LinkBuffer* buffer = entry->value.buffer;
            *deletable = 1;
            if (entry->deletable()) {
                char* text = buffer->release(length, size, 1);
                text[*length] = '\0';
                delete buffer;
                return text;
            }
            *length = buffer->length();
            *size = *length + 1;
            char* text = new char[*size];
            buffer->append_to(text);
            text[*length] = '\0';
            return text;
        }
    }
}

char* OxinVM_Stack::PopS(int* length, int* size, int* deletable) {
    Stack_Entry* entry = Take();
    if (!entry) {
        *length = *size = *deletable = 0;
        return nullptr;
    }
    return ConvertEntryToString(entry, length, size, deletable);
}

char* OxinVM_Stack::PopS_NS(int* length, int* size, int* deletable) {
    int text_length, text_size, text_deletable;
    char* text = PopS(&text_length, &text_size, &text_deletable);
    *deletable = text ? 1 : 0;
    if (!text) {
        *length = *size = 0;
        return nullptr;
    }
    char* stripped = TextConversion::StripNULLs(text, text_length, length, size);
    if (text_deletable) delete[] text;
    return stripped;
}

bool OxinVM_Stack::PopV_Converted(Variable* target) {
    if (sp_ <= 0) return Fault("Stack underflow");
    if (!target) return Fault("Invalid variable reference");
    Stack_Entry* entry = &entries_[--sp_];
    switch (entry->type) {
        case kInteger:
            target->SetValue_Integer(entry->value.integer);
            break;
        case kDouble:
            target->SetValue_Double(entry->value.number);
            break;
        case kString:
            target->SetValue(entry->value.text, entry->length);
            break;
        case kVariable:
            target->SetValue(*entry->value.variable);
            break;
        default:
            if (entry->deletable()) {
                int length, size;
                char* text = entry->value.buffer->release(&length, &size, 1);
                text[length] = '\0';
                target->SetValue_Nocopy(text, length, size);
            } else {
                int length;
                const char* text = entry->value.buffer->data(&length);
                target->SetValue(text, length);
            }
            break;
    }
    Release(entry);
    return true;
}

bool OxinVM_Stack::PopV(Variable** out, int* deletable) {
    *out = nullptr;
    *deletable = 0;
    Stack_Entry* entry = Take();
    if (!entry) return false;
    if (entry->type != kVariable) {
        Release(entry);
        return Fault("Expected variable, found constant");
    }
    *out = entry->value.variable;
    *deletable = entry->deletable();
    return true;
}

bool OxinVM_Stack::PopBool() {
    Stack_Entry* entry = Take();
    if (!entry) return false;
    bool truth;
    switch (entry->type) {
        case kInteger:
            truth = entry->value.integer != 0;
            break;
        case kDouble:
            truth = entry->value.number != 0.0;
            break;
        case kVariable:
            truth = entry->value.variable->IsTrue();
            break;
        default: {
            EntryText text(entry);
            truth = text_truth(text.text, text.length);
            break;
        }
    }
    Release(entry);
    return truth;
}

bool OxinVM_Stack::PopNull() {
    Stack_Entry* entry = Take();
    if (!entry) return false;
    bool null;
    switch (entry->type) {
        case kString:
            null = entry->length == 0;
            break;
        case kVariable:
            null = entry->value.variable->IsNULL();
            break;
        case kLinkBuffer:
            null = entry->value.buffer->length() == 0;
            break;
        default:
            null = false;
            break;
    }
    Release(entry);
    return null;
}

int OxinVM_Stack::PopDBPosition() {
    Stack_Entry* entry = Take();
    if (!entry) return 0;
    int position;
    switch (entry->type) {
        case kInteger:
            position = entry->value.integer;
            break;
        case kDouble:
            position = truncated(entry->value.number);
            break;
        case kVariable: {
            // The variable's text as a C string, up to its first NUL.
            const char* text = entry->value.variable->value().c_str();
            position = text_position(text, static_cast<int>(strlen(text)));
            break;
        }
        default: {
            EntryText text(entry);
            position = text_position(text.text, text.length);
            break;
        }
    }
    Release(entry);
    return position;
}

// An entry as a number for comparison; false when it is no number.
static bool compare_number(OxinVM_Stack::Stack_Entry* entry, double* number) {
    int error = 0;
    switch (entry->type) {
        case OxinVM_Stack::kInteger:
            *number = entry->value.integer;
            return true;
        case OxinVM_Stack::kDouble:
            *number = entry->value.number;
            return true;
        case OxinVM_Stack::kVariable:
            *number = entry->value.variable->Fast_Compare(&error);
            return !error;
        default: {
            EntryText text(entry);
            *number = text_to_double(text.text, text.length, &error);
            return !error;
        }
    }
}

int OxinVM_Stack::Compare_Converted() {
    if (sp_ < 2) {
        Fault("Stack underflow");
        return 0;
    }
    sp_ -= 2;
    Stack_Entry* left = &entries_[sp_];
    Stack_Entry* right = &entries_[sp_ + 1];
    double left_number, right_number;
    int order;
    if (compare_number(left, &left_number) && compare_number(right, &right_number)) {
        order = CompareNumbers(left_number, right_number);
    } else {
        EntryText left_text(left), right_text(right);
        order = CompareTexts(left_text.text, left_text.length, right_text.text, right_text.length);
    }
    Release(left);
    Release(right);
    return order;
}

LinkBuffer* OxinVM_Stack::ConvertEntryToDeletableLinkBuffer(Stack_Entry* entry) {
    if (entry->type == kLinkBuffer && entry->deletable()) return entry->value.buffer;
    auto* buffer = new LinkBuffer(512, 4096);
    switch (entry->type) {
        case kInteger:
            buffer->cat(static_cast<int>(entry->value.integer));
            break;
        case kDouble:
            buffer->cat(entry->value.number);
            break;
        case kString:
            if (entry->deletable()) {
                buffer->cat_nocopy(entry->value.text, entry->length, entry->size);
            } else {
                buffer->cat(entry->value.text, entry->length);
            }
            break;
        case kVariable: {
            String& value = entry->value.variable->value();
            buffer->cat(value.c_str(), value.length());
            if (entry->deletable()) entry->value.variable->DecRefCount();
            break;
        }
        default:
            buffer->cat(entry->value.buffer);
            break;
    }
    return buffer;
}

// Appends entry (the right operand) to buffer, consuming it.
static void append_entry(LinkBuffer* buffer, OxinVM_Stack::Stack_Entry* entry) {
    bool deletable = entry->deletable();
    switch (entry->type) {
        case OxinVM_Stack::kInteger:
            buffer->cat(static_cast<int>(entry->value.integer));
            break;
        case OxinVM_Stack::kDouble:
            buffer->cat(entry->value.number);
            break;
        case OxinVM_Stack::kString:
            if (deletable) {
                buffer->cat_nocopy(entry->value.text, entry->length, entry->size);
            } else {
                buffer->cat(entry->value.text, entry->length);
            }
            break;
        case OxinVM_Stack::kVariable: {
            String& value = entry->value.variable->value();
            buffer->cat(value.c_str(), value.length());
            if (deletable) entry->value.variable->DecRefCount();
            break;
        }
        default:
            if (deletable) {
                buffer->cat_destroy(entry->value.buffer);
            } else {
                buffer->cat(entry->value.buffer);
            }
            break;
    }
}

// Puts entry (the left operand) in front of buffer, consuming it.
static void prepend_entry(LinkBuffer* buffer, OxinVM_Stack::Stack_Entry* entry) {
    bool deletable = entry->deletable();
    switch (entry->type) {
        case OxinVM_Stack::kInteger:
            buffer->prepend(static_cast<int>(entry->value.integer));
            break;
        case OxinVM_Stack::kDouble:
            buffer->prepend(entry->value.number);
            break;
        case OxinVM_Stack::kString:
            if (deletable) {
                buffer->prepend_nocopy(entry->value.text, entry->length, entry->size);
            } else {
                buffer->prepend(entry->value.text, entry->length);
            }
            break;
        case OxinVM_Stack::kVariable: {
            String& value = entry->value.variable->value();
            buffer->prepend(value.c_str(), value.length());
            if (deletable) entry->value.variable->DecRefCount();
            break;
        }
        default:
            if (deletable) {
                buffer->prepend_destroy(entry->value.buffer);
            } else {
                buffer->prepend(entry->value.buffer);
            }
            break;
    }
}

// Two plain operands make one flat text.
void OxinVM_Stack::Concatenate() {
    if (sp_ < 2) {
        Fault("Stack underflow");
        return;
    }
    sp_ -= 2;
    Stack_Entry left = entries_[sp_];
    Stack_Entry right = entries_[sp_ + 1];
    bool left_deletable = left.deletable(), right_deletable = right.deletable();
    if (left.type == kLinkBuffer && right.type == kLinkBuffer &&
        (left_deletable || right_deletable)) {
        if (left_deletable) {
            append_entry(left.value.buffer, &right);
            PushLinkBuffer(left.value.buffer, 1);
        } else {
            prepend_entry(right.value.buffer, &left);
            PushLinkBuffer(right.value.buffer, 1);
        }
        return;
    }
    if (left_deletable && !(right.type == kLinkBuffer && right_deletable)) {
        LinkBuffer* buffer = ConvertEntryToDeletableLinkBuffer(&left);
        append_entry(buffer, &right);
        PushLinkBuffer(buffer, 1);
        return;
    }
    if (!left_deletable && !right_deletable) {
        int left_length, left_size, left_owned, right_length, right_size, right_owned;
        char* left_text = ConvertEntryToString(&left, &left_length, &left_size, &left_owned);
        char* right_text = ConvertEntryToString(&right, &right_length, &right_size, &right_owned);
        int length = left_length + right_length;
        char* joined = new char[length + 1];
        if (left_length > 0) memcpy(joined, left_text, left_length);
        if (right_length > 0) memcpy(joined + left_length, right_text, right_length);
        joined[length] = '\0';
        if (left_owned) delete[] left_text;
        if (right_owned) delete[] right_text;
        PushS(joined, length, length + 1, 1);
        return;
    }
    LinkBuffer* buffer = ConvertEntryToDeletableLinkBuffer(&right);
    prepend_entry(buffer, &left);
    PushLinkBuffer(buffer, 1);
}

void OxinVM_Stack::Dupe() {
    if (sp_ <= 0) {
        Fault("Stack underflow");
        return;
    }
    Stack_Entry copy = entries_[sp_ - 1];
    copy.flags &= static_cast<unsigned char>(~kDeletable);
    if (Stack_Entry* entry = Claim()) *entry = copy;
}

void OxinVM_Stack::Swap(int a, int b) {
    if (a < 0 || a >= sp_ || b < 0 || b >= sp_) {
        Fault("Invalid stack reference");
        return;
    }
    if (a == b) return;
    Stack_Entry saved = entries_[sp_ - 1 - a];
    entries_[sp_ - 1 - a] = entries_[sp_ - 1 - b];
    entries_[sp_ - 1 - b] = saved;
}

void OxinVM_Stack::Dump_Stack() {
    static const char* kNames[] = {"Integer", "Double", "String", "Variable", "LinkBuffer"};
    printf("SP = %d, SS = %d\n", sp_, capacity_);
    printf("#   Type       D Data                                               Size\n");
    for (int i = 0; i < sp_; i++) {
        Stack_Entry& entry = entries_[i];
        const char* name = entry.type >= 0 && entry.type <= 4 ? kNames[entry.type] : "?";
        char d = entry.deletable() ? 'Y' : 'n';
        switch (entry.type) {
            case kInteger:
                printf("%-3d %-10s %c %-50d %d %d\n", i, name, d, entry.value.integer, entry.length,
                       entry.size);
                break;
            case kDouble:
                printf("%-3d %-10s %c %-50f %d %d\n", i, name, d, entry.value.number, entry.length,
                       entry.size);
                break;
            case kString:
                printf("%-3d %-10s %c %.*s%*s %d %d\n", i, name, d, entry.size, entry.value.text,
                       50 - entry.size, "", entry.length, entry.size);
                break;
            case kVariable: {
                Variable* variable = entry.value.variable;
                const String& variable_name = variable->name();
                String& value = variable->value();
                printf("%-3d %-10s %c %lx %.*s=%.*s%*s %d %d\n", i, name, d,
                       reinterpret_cast<unsigned long>(variable), variable_name.length(),
                       variable_name.c_str(), value.length(), value.c_str(),
                       40 - variable_name.length() - value.length(), "", entry.length, entry.size);
                break;
            }
            default: {
                // The row of a link buffer shows the buffer in the slot at sp.
                Stack_Entry& slot = entries_[sp_ < capacity_ ? sp_ : i];
                int length = 0;
                const char* text = slot.type == kLinkBuffer ? slot.value.buffer->data(&length) : "";
                printf("%-3d %-10s %c %.*s%*s %d %d\n", i, name, d, length, text, 50 - length, "",
                       entry.length, entry.size);
                break;
            }
        }
    }
    printf("\n");
}
