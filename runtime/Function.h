#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/List.h"
#include "base/StringClass.h"

class Dictionary;
class VariableHash;

// One declared parameter of a script function.
class FunctionParameter {
  public:
    // Flag bit: the parameter stands for the caller's variable itself.
    static constexpr int kByReference = 1;

    // name_index is the dictionary id of the name, whose text is copied from
    // name (length -1: up to the NUL; null: empty).
    FunctionParameter(int name_index, const char* name, int length, int flags, int localvar_index);

    int name_index() const { return name_index_; }
    const String& name() const { return name_; }
    int flags() const { return flags_; }
    bool byreference() const { return (flags_ & kByReference) != 0; }
    // The parameter's entry in the function's local variables.
    int localvar_index() const { return localvar_index_; }

  private:
    int name_index_;
    String name_;
    int flags_;
    int localvar_index_;
};

// A function that code calls by number: a script function with an entry
// point (segment and offset), or an external one that a library implements.
// It keeps its parameters in declaration order and the names of its local
// variables, parameters included, as the pattern of the hash that each call
// gets.
class Function {
  public:
    // Values of flags().
    static constexpr unsigned kExternal = 1;
    static constexpr unsigned kOutputFlag = 2;      // the frame's output flags get 1
    static constexpr unsigned kErrorsOn = 4;        // the frame's error flags get 4 set
    static constexpr unsigned kErrorsOff = 8;       // ... and cleared, after kErrorsOn
    static constexpr unsigned kInheritOutput = 16;  // output flags 2 if the caller has 1 or 2
    static constexpr int kLocalBits = 8;
    static constexpr int kLocalCapacity = 64;

    // A function from the fields of a compiled file: the name is the text of
    // dictionary entry name_index (empty for an unknown id); no parameters,
    // no locals yet.
    Function(int id, Dictionary* dictionary, int name_index, unsigned flags, int segment,
             int offset);
    // source under a new id in another dictionary: its name and parameters
    // are added to dictionary again, and the locals hold the parameters
    // only. The entry point is -1; flags and text are kept.
    Function(int id, Dictionary* dictionary, Function& source);
    // A deep copy with the same id, entry point, parameters and locals, over
    // dictionary (null: source's), which must give the same ids the same
    // texts.
    Function(Function& source, Dictionary* dictionary);
    Function(const Function&) = delete;
    Function& operator=(const Function&) = delete;
    ~Function();

    // Adds name (length -1: up to the NUL) to the dictionary and to the
    // locals, and appends a parameter of flags standing for that local.
    FunctionParameter* AddParameter(int flags, const char* name, int length);
    // Appends parameter, which the function then owns.
    void AddParameter(FunctionParameter* parameter);
    // Adds the parameters of a declaration such as "a, b var, c": the text
    // (length -1: up to the NUL) is split at commas; in each piece, with
    // white space stripped, the name ends at the first white space, and a
    // rest equal to "var" in any case makes the parameter by reference. An
    // empty piece gives a parameter with an empty name; a null or empty text
    // gives none.
    void SetParameters(const char* text, int length);

    int id() const { return id_; }
    unsigned flags() const { return flags_; }
    bool external() const { return (flags_ & kExternal) != 0; }
    int name_index() const { return name_index_; }
    const String& name() const { return name_; }
    int segment() const { return segment_; }
    int offset() const { return offset_; }
    void SetEntryPoint(int segment, int offset) {
        segment_ = segment;
        offset_ = offset;
    }
    Dictionary* dictionary() const { return dictionary_; }
    // The opaque pointer that an external function library keeps here.
    void* text() const { return text_; }
    void SetText(void* text) { text_ = text; }

    List<FunctionParameter>& Parameters() { return parameters_; }
    int ParameterCount() { return parameters_.Entries(); }
    // The parameter at zero-based position i, or null.
    FunctionParameter* Parameter(int i);
    VariableHash* LocalVariables() { return locals_; }
    // Puts locals, which the function then owns, in place of the present ones.
    void SetLocalVariables(VariableHash* locals);
    // A hash of the locals' pattern with every slot empty, for a call: one
    // that an earlier call gave back, or a new copy. The caller owns it.
    VariableHash* Take_Locals();
    // Takes back the hash of a call that Take_Locals gave, to serve a later
    // call, dropping its variables as deleting it would.
    void Keep_Locals(VariableHash* locals);

  private:
    int id_;
    unsigned flags_;
    int name_index_;
    String name_;
    List<FunctionParameter> parameters_{1};
    int segment_;
    int offset_;
    Dictionary* dictionary_;
    void* text_ = nullptr;
    std::vector<std::unique_ptr<VariableHash>> spare_locals_;
    // Bit n: local entry n is a parameter passed by value (entries below 64).
    uint64_t value_parameters_ = 0;
    VariableHash* locals_;
};
