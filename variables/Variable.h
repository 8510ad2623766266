#pragma once

#include <cassert>
#include <cstddef>

#include "base/List.h"
#include "base/StringClass.h"
#include "variables/AggregateIndex.h"

class AggregateElementTree;
class OxinApplication;

// What a variable holds besides a scalar. The type of an index decides it:
// a position makes an array, a member name a structure.
enum AggregateType {
    AggregateStructure = 0,
    AggregateArray = 1,
    AggregateNone = 2,  // a scalar
};

// The form last stored by an assignment (primary_type), and the form that a
// computed variable prefers (preferred_type).
enum VariablePrimaryType {
    PrimaryNone = 0,
    PrimaryString = 1,
    PrimaryInteger = 2,
    PrimaryDouble = 3,
};

// The one value type of scripts. A scalar keeps up to three forms of its
// value (text, integer, double), filling a missing one from the others when
// it is asked for; an aggregate is a tree of elements keyed by AggregateIndex.
//
// Variables are reference-counted: a new one has a count of 1, and the last
// DecRefCount destroys it. Nobody deletes a variable directly.
class Variable {
  public:
    // Flag bits of the forms that hold the current value.
    static constexpr unsigned char kStringValid = 1;
    static constexpr unsigned char kIntegerValid = 2;
    static constexpr unsigned char kDoubleValid = 4;
    static constexpr unsigned char kFormFlags = 7;

    // Name lengths of -1 measure the name.
    Variable() = default;
    // Unset.
    Variable(const char* name, int length);
    // A copy of the text (length -1 measures it).
    Variable(const char* name, int length, const char* value, int value_length);
    // Adopts buffer (from new[]) of the given size as the text.
    Variable(const char* name, int length, char* buffer, int buffer_length, int size);
    // The integer; the double field holds the same number but only the
    // integer form counts as valid.
    Variable(const char* name, int length, int value);
    // The double and its truncation toward zero, both valid.
    Variable(const char* name, int length, double value);
    Variable(const String& name, const String& value);
    // Takes name, text and numbers of other, then assigns other's value as
    // SetValue(Variable&) does, so that aggregates are copied deeply.
    Variable(Variable& other);
    Variable& operator=(const Variable&) = delete;

    // A new variable of the same value (deep for aggregates) with a count of 1.
    virtual Variable* Clone(OxinApplication* application);
    virtual const String& name();
    // The variable that this one stands for: itself, or a reference's target.
    virtual Variable* NextIdentity();
    // The end of the chain of references; a plain variable is its own.
    virtual Variable* RealIdentity();

    // The text of the value. An aggregate gives its serialization, rebuilt
    // at every call.
    virtual String& value();
    // 0 for an aggregate.
    virtual int value_integer();
    // 0.0 for an aggregate.
    virtual double value_double();
    // The number that comparisons use. *error becomes 1 for an aggregate
    // and for a text that is no number; the result is then 0.0 for an
    // aggregate and the text's conversion otherwise.
    virtual double value_compare(int* error);

    // The class code: 0 plain or immutable, 1 reference, 2 null, 3 and 4
    // computed through value_integer or value, 5 database field.
    virtual int type();
    virtual int primary_type();
    virtual int preferred_type();
    // Truth in the script's sense; texts by IsTrue(const char*, int).
    virtual bool IsTrue();
    // True for an unset scalar or an empty text; false for an aggregate.
    virtual bool IsNULL();
    // Unsets the value and drops any elements.
    virtual void SetNULL();

    virtual AggregateElementTree* aggregateelements();
    virtual AggregateType aggregatetype();
    virtual int refcount();

    // Renames unless the given text pointer is null.
    virtual void SetName(const String& name);

    // Assignments make the new form the only valid one and drop any
    // elements. Each returns 1.
    virtual int SetValue(const char* text, int length);
    // Copies the value of source's real identity: elements deeply,
    // scalar forms as they are valid there.
    virtual int SetValue(Variable& source);
    // Adopts buffer (from new[]) holding length bytes in size bytes.
    virtual int SetValue_Nocopy(char* buffer, int length, int size);
    virtual int SetValue_Integer(int value);
    // Appends text to the value as text, which becomes its only form. The
    // room grows by doubling, so that a text built by appending in a loop
    // is copied only a logarithmic number of times. For scalars.
    void Append_Text(const char* text, int length);
    virtual int SetValue_Double(double value);
    int SetValue(const String& text) { return SetValue(text.text(), text.length()); }

    virtual const String& error();

    // The element at index, or null. With create set, a scalar or an
    // aggregate of the other kind becomes an empty aggregate of the index's
    // kind, and a missing element is made.
    virtual Variable* Element(const AggregateIndex& index, int create);
    // Follows path from this variable; an empty or null path gives this one.
    virtual Variable* Element(List<AggregateIndex>* path, int create);
    // Stores variable at index; the element takes its own count on it.
    virtual int SetElement(const AggregateIndex& index, Variable* variable);
    // Inserts at position (pushing the elements there up), or appends for a
    // position below 1.
    virtual int InsertElement(int position, Variable* variable);
    // Removes the element; with collapse, the positions above move down by
    // one even when there was nothing at index. Returns 1 if one was removed.
    virtual int DeleteElement(const AggregateIndex& index, bool collapse);
    // Removes count positions from start (count -1: all from start on),
    // collapsing the gap if asked. Returns the number removed.
    virtual int DeleteElements(int start, int count, bool collapse);
    // Inserts count positions of source from start at dest, pushing the
    // elements there up; copy set copies the variables instead of sharing.
    virtual int MergeElements(Variable* source, int start, int count, int dest, bool copy);
    // Copies count positions of source from start over those from dest.
    virtual int CopyElements(Variable* source, int start, int count, int dest, bool copy);
    // Renumbers an array's elements 1, 2, 3, ... in order; the count, or 0.
    virtual int CollapseElements();
    // Highest and lowest position, 0 without elements (-1 on a structure).
    virtual int Max();
    virtual int Min();
    // The position after and before index (present or not); 0 when there is
    // none or no elements, -1 on a structure.
    virtual int Next(int index);
    virtual int Previous(int index);
    virtual int ElementsUsed();

    virtual void IncRefCount();
    // Destroys the variable when the count reaches 0.
    virtual void DecRefCount();

    // Whether Clear_For_Reuse may serve: a plain scalar that nothing but
    // its one holder counts.
    bool Reusable() const { return plain_ && !elements_ && reference_count_ == 1; }
    // Makes a reusable variable what a new unset variable of its name is.
    void Clear_For_Reuse();
    // Fill one form from the others and mark it valid.
    virtual void Convert_String();
    virtual void Convert_Integer();
    virtual void Convert_Double();
    // Makes this an empty aggregate of type, unless it already is one.
    virtual void Convert_Aggregate(AggregateType type);
    // Appends the value as text: an aggregate its elements' values in index
    // order, depth first; a scalar its text after a "," when out is not empty.
    virtual void Serialize(String& out);
    // Turns this variable into a reference to target in place; holders keep
    // their pointers and now reach target. The object is rebuilt as a
    // ReferenceVariable in its own storage, which fits only a plain Variable:
    // every subclass overrides this (references retarget, immutable
    // variables refuse).
    virtual void Make_Reference(Variable* target);
    // A variable may be rebuilt in place as a smaller class (see
    // Detach_As_Null), so its storage is freed without a size.
    static void* operator new(size_t size) { return ::operator new(size); }
    static void* operator new(size_t, void* place) { return place; }
    static void operator delete(void* storage) { ::operator delete(storage); }

    // Gives up one holder's count on a variable that others still hold,
    // turning it in place into an unset null variable: the other holders
    // keep their pointers and read nothing from now on. The variable's
    // class must be at least as large as NULLVariable.
    void Detach_As_Null();

    // The text rule of truth: empty, runs of "0" with at most one ".", and
    // a lone "." are false; anything else is true.
    static bool IsTrue(const char* text, int length);
    static bool IsTrue(const String& text) { return IsTrue(text.text(), text.length()); }

    unsigned char flags() const { return flags_; }

    // The interpreter's fast forms of the operations above: the same
    // results and the same changes to the variable, without the virtual call
    // when the variable is exactly of this class and a scalar; otherwise
    // they make the call.
    [[gnu::always_inline]] int Fast_Integer() {
        if (Plain_Scalar() && (flags_ & kIntegerValid)) return integer_value_;
        return value_integer();
    }
    [[gnu::always_inline]] double Fast_Double() {
        if (Plain_Scalar() && (flags_ & kDoubleValid)) return double_value_;
        return value_double();
    }
    // Whether Fast_Compare gives a number without the virtual call.
    [[gnu::always_inline]] bool Fast_Comparable() const {
        return Plain_Scalar() && !(flags_ & kStringValid) &&
               (flags_ & (kIntegerValid | kDoubleValid));
    }
    [[gnu::always_inline]] double Fast_Compare(int* error) {
        if (Fast_Comparable()) {
            if (!(flags_ & kDoubleValid)) {
                double_value_ = integer_value_;
                flags_ |= kDoubleValid;
            }
            *error = 0;
            return double_value_;
        }
        return value_compare(error);
    }
    [[gnu::always_inline]] void Fast_SetInteger(int value) {
        if (!Plain_Scalar()) {
            SetValue_Integer(value);
            return;
        }
        integer_value_ = value;
        flags_ = (flags_ & ~kFormFlags) | kIntegerValid;
        primary_type_ = PrimaryInteger;
    }
    [[gnu::always_inline]] void Fast_SetDouble(double value) {
        if (!Plain_Scalar()) {
            SetValue_Double(value);
            return;
        }
        double_value_ = value;
        flags_ = (flags_ & ~kFormFlags) | kDoubleValid;
        primary_type_ = PrimaryDouble;
    }
    [[gnu::always_inline]] void Fast_IncRefCount() {
        if (plain_) {
            reference_count_++;
        } else {
            IncRefCount();
        }
    }
    [[gnu::always_inline]] void Fast_DecRefCount() {
        if (plain_ && reference_count_ > 1) {
            reference_count_--;
        } else {
            DecRefCount();
        }
    }

  protected:
    // True for a scalar of exactly this class, whose forms the fast
    // operations may use directly.
    [[gnu::always_inline]] bool Plain_Scalar() const {
        assert(!plain_ || Exactly_Variable());
        return plain_ && !elements_;
    }
    // Whether the dynamic class is this one, for the check above.
    bool Exactly_Variable() const;

    // Only DecRefCount ends a variable. List's default disposal (which
    // VariableList replaces) must still compile against it.
    friend class List<Variable>;
    virtual ~Variable();

    // The integer of a double, truncated toward zero; INT_MIN where no
    // integer can hold it.
    static int Truncate(double value);
    // Drops the elements and makes this a scalar.
    void DropElements();
    // Copies the valid forms, the flags and the primary type of source.
    void CopyForms(Variable& source);
    // The elements' part of Element(index, create), once the tree exists.
    Variable* ElementOfTree(const AggregateIndex& index, int create);
    // Walks [start, start + count) of source in the given direction and
    // stores each element at index - start + dest.
    void TransferRange(Variable* source, int start, int count, int dest, bool copy, bool backward);

    String name_;
    String string_value_;
    int integer_value_ = 0;
    double double_value_ = 0.0;
    unsigned char flags_ = 0;
    // Exactly this class; every subclass clears it in its constructors.
    bool plain_ = true;
    int primary_type_ = PrimaryNone;
    AggregateType aggregate_type_ = AggregateNone;
    AggregateElementTree* elements_ = nullptr;
    int reference_count_ = 1;
    String error_;
    Variable* target_ = nullptr;
};
