#pragma once

#include <cassert>
#include <cstdint>
#include <utility>

#include "variables/Variable.h"

class LinkBuffer;
class OxinVM;

// A text popped from the stack. It frees the text when it goes, if the pop
// handed the text over; release() passes it on instead.
class PoppedText {
  public:
    PoppedText() = default;
    PoppedText(PoppedText&& other) noexcept { *this = std::move(other); }
    PoppedText& operator=(PoppedText&& other) noexcept {
        std::swap(text_, other.text_);
        std::swap(length_, other.length_);
        std::swap(size_, other.size_);
        std::swap(deletable_, other.deletable_);
        return *this;
    }
    ~PoppedText() {
        if (deletable_) delete[] text_;
    }

    const char* text() const { return text_; }
    int length() const { return length_; }
    int size() const { return size_; }
    // Gives up the text: *deletable says whether the caller now owns it.
    char* release(int* deletable) {
        *deletable = deletable_;
        deletable_ = 0;
        return text_;
    }

  private:
    friend class OxinVM_Stack;
    char* text_ = nullptr;
    int length_ = 0;
    int size_ = 0;
    int deletable_ = 0;
};

// The operand stack of a frame, and with it the language's value coercions:
// an operand is an integer, a double, a text, a variable or a link buffer,
// and each consumer pops it in the form it wants. Faults ("Stack overflow",
// "Stack underflow", ...) are fatal errors of the machine; the operation
// then gives a neutral result. The stack never grows.
class OxinVM_Stack {
  public:
    enum EntryType { kInteger = 0, kDouble = 1, kString = 2, kVariable = 3, kLinkBuffer = 4 };
    static constexpr unsigned char kDeletable = 1;

    // One operand. A deletable entry owns its value: a text from new[], a
    // count on the variable, or the link buffer.
    struct Stack_Entry {
        int type;
        unsigned char flags;
        union {
            int32_t integer;
            double number;
            const char* text;
            Variable* variable;
            LinkBuffer* buffer;
        } value;
        int length;
        int size;

        bool deletable() const { return (flags & kDeletable) != 0; }
    };

    OxinVM_Stack(OxinVM* vm, int capacity);
    OxinVM_Stack(const OxinVM_Stack&) = delete;
    OxinVM_Stack& operator=(const OxinVM_Stack&) = delete;
    // Releases every deletable value.
    virtual ~OxinVM_Stack();

    // Releases every entry, as the destructor does, leaving the stack empty.
    void Clear();

    int Entries() const { return sp_; }
    int capacity() const { return capacity_; }
    // The top entry, which stays; null on an empty stack.
    Stack_Entry* Peek() { return sp_ > 0 ? &entries_[sp_ - 1] : nullptr; }
    // The entry at depth (0 the top), which stays; null below the bottom.
    Stack_Entry* Peek(int depth) {
        return depth >= 0 && depth < sp_ ? &entries_[sp_ - 1 - depth] : nullptr;
    }
    // The link buffer of the top entry when it is one, else null.
    LinkBuffer* Top_LinkBuffer() {
        return sp_ > 0 && entries_[sp_ - 1].type == kLinkBuffer ? entries_[sp_ - 1].value.buffer
                                                                : nullptr;
    }

    [[gnu::always_inline]] void PushI(int value) {
        if (Stack_Entry* entry = Claim()) {
            entry->type = kInteger;
            entry->flags = 0;
            entry->value.integer = value;
            entry->length = entry->size = 4;
        }
    }
    [[gnu::always_inline]] void PushD(double value) {
        if (Stack_Entry* entry = Claim()) {
            entry->type = kDouble;
            entry->flags = 0;
            entry->value.number = value;
            entry->length = entry->size = 8;
        }
    }
    // A deletable text is owned by the stack from here on, even when the
    // push fails.
    void PushS(const char* text, int length, int size, int deletable);
    void PushLinkBuffer(LinkBuffer* buffer, int deletable);
    // increment: take a count on variable; deletable: the entry holds one.
    [[gnu::always_inline]] void PushV(Variable* variable, int increment, int deletable) {
        if (!variable || sp_ >= capacity_) {
            PushV_Fault(variable);
            return;
        }
        if (increment) variable->Fast_IncRefCount();
        Stack_Entry* entry = &entries_[sp_++];
        entry->type = kVariable;
        entry->flags = deletable ? kDeletable : 0;
        entry->value.variable = variable;
        entry->length = entry->size = static_cast<int>(sizeof(Variable));
    }
    // Moves the top count entries of other here, the top first, so that
    // their order is reversed. A variable that leaves another stack gets a
    // count of its own.
    void Push(OxinVM_Stack* other, int count);

    void Pop();
    [[gnu::always_inline]] int PopI() {
        if (sp_ > 0) {
            Stack_Entry& top = entries_[sp_ - 1];
            if (top.type == kInteger) return entries_[--sp_].value.integer;
            if (top.type == kVariable) {
                sp_--;
                int value = top.value.variable->Fast_Integer();
                Release(&top);
                return value;
            }
        }
        return PopI_Converted();
    }
    [[gnu::always_inline]] double PopD() {
        if (sp_ > 0) {
            Stack_Entry& top = entries_[sp_ - 1];
            if (top.type == kDouble) return entries_[--sp_].value.number;
            if (top.type == kInteger) return entries_[--sp_].value.integer;
            if (top.type == kVariable) {
                sp_--;
                double value = top.value.variable->Fast_Double();
                Release(&top);
                return value;
            }
        }
        return PopD_Converted();
    }
    // The text of the top entry with its length and size; when *deletable
    // comes back 1 the caller deletes it with delete[].
    char* PopS(int* length, int* size, int* deletable);
    // The same with NUL bytes removed; always a new text.
    char* PopS_NS(int* length, int* size, int* deletable);
    // PopS and PopS_NS with the text held until the holder goes.
    PoppedText PopText() {
        PoppedText popped;
        popped.text_ = PopS(&popped.length_, &popped.size_, &popped.deletable_);
        return popped;
    }
    PoppedText PopText_NS() {
        PoppedText popped;
        popped.text_ = PopS_NS(&popped.length_, &popped.size_, &popped.deletable_);
        return popped;
    }
    // Assigns the top entry to target. Returns false on a fault.
    [[gnu::always_inline]] bool PopV(Variable* target) {
        if (sp_ > 0 && target) {
            Stack_Entry& top = entries_[sp_ - 1];
            if (top.type == kInteger) {
                sp_--;
                target->Fast_SetInteger(top.value.integer);
                return true;
            }
            if (top.type == kDouble) {
                sp_--;
                target->Fast_SetDouble(top.value.number);
                return true;
            }
        }
        return PopV_Converted(target);
    }
    // Hands over the variable of the top entry and whether it holds a count;
    // anything else is "Expected variable, found constant".
    bool PopV(Variable** out, int* deletable);
    bool PopBool();
    bool PopNull();
    // A record position: "top" -1, "bottom" -2, else a number.
    int PopDBPosition();

    // Pops the right operand, then the left; -1, 0 or 1.
    [[gnu::always_inline]] int Compare() {
        double l, r;
        if (sp_ >= 2 && Fast_Number(&entries_[sp_ - 2], &l) && Fast_Number(&entries_[sp_ - 1], &r)) {
            sp_ -= 2;
            Release(&entries_[sp_]);
            Release(&entries_[sp_ + 1]);
            return CompareNumbers(l, r);
        }
        return Compare_Converted();
    }
    // Pops two operands and pushes their concatenation.
    void Concatenate();
    // Pushes a borrowed copy of the top entry, not deletable.
    void Dupe();
    // Exchanges the entries at depths a and b (0 the top).
    void Swap(int a, int b);
    // Prints the stack to standard output, for debugging.
    void Dump_Stack();

    // The order of numbers: -1, 0 or 1; a NaN on either side gives 1.
    static int CompareNumbers(double left, double right) {
        return left == right ? 0 : left < right ? -1 : 1;
    }
    // The language's order of texts: bytes compared unsigned, then the
    // shorter first. -1, 0 or 1.
    static int CompareTexts(const char* left, int left_length, const char* right, int right_length);

    // The value of entry as text (see PopS); the entry's ownership passes.
    char* ConvertEntryToString(Stack_Entry* entry, int* length, int* size, int* deletable);
    // The value of entry as a deletable link buffer: its own when it is one.
    LinkBuffer* ConvertEntryToDeletableLinkBuffer(Stack_Entry* entry);

  private:
    [[gnu::always_inline]] Stack_Entry* Claim() {
        assert(sp_ >= 0 && sp_ <= capacity_);  // every push and pop goes through the bounds
        if (sp_ >= capacity_) return Overflow();
        return &entries_[sp_++];
    }
    Stack_Entry* Overflow();
    // The number that comparisons use, for the entries that have one
    // without conversion from text.
    [[gnu::always_inline]] static bool Fast_Number(Stack_Entry* entry, double* number) {
        switch (entry->type) {
            case kInteger:
                *number = entry->value.integer;
                return true;
            case kDouble:
                *number = entry->value.number;
                return true;
            case kVariable: {
                Variable* variable = entry->value.variable;
                if (!variable->Fast_Comparable()) return false;
                int error;
                *number = variable->Fast_Compare(&error);
                return true;
            }
            default:
                return false;
        }
    }
    // The top entry, removed; null after "Stack underflow".
    Stack_Entry* Take();
    // Gives up what a popped entry owns.
    [[gnu::always_inline]] void Release(Stack_Entry* entry) {
        if (!entry->deletable()) return;
        if (entry->type == kVariable) {
            entry->value.variable->Fast_DecRefCount();
        } else {
            Release_Owned(entry);
        }
    }
    void Release_Owned(Stack_Entry* entry);
    void PushV_Fault(Variable* variable);
    bool PopV_Converted(Variable* target);
    int Compare_Converted();
    int PopI_Converted();
    double PopD_Converted();
    bool Fault(const char* message);

    OxinVM* vm_;
    Stack_Entry* entries_;
    int sp_ = 0;
    int capacity_;
};
