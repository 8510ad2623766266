#pragma once

#include <cstring>
#include <vector>

#include "base/StringClass.h"
#include "statements/CallBuffer.h"

class Variable;
class VariableHash;

// The tolerant tag tokenizer of OxCALL. It walks the characters of a
// response as they arrive and cuts them into objects, each a run of text or
// one tag (comments, CDATA sections and declarations whole), holding no
// more than the current object. Each object is published in variables
// (callvalue, callobjecttype, callobjectelement, callobjectnumattributes
// and the counted callobjectattribute and callobjectvalue). Nothing is
// decoded: text and tags stay as they were received.
class CallScanner {
  public:
    // Results of Find_Next_Element.
    static constexpr int kObject = 0;
    static constexpr int kEnd = 2;
    static constexpr int kError = 3;

    // Reads buffer and writes variables; neither is owned.
    CallScanner(CallBuffer* buffer, VariableHash* variables);
    CallScanner(const CallScanner&) = delete;
    CallScanner& operator=(const CallScanner&) = delete;

    // Publishes the next object: kObject, kEnd at the end of the data, or
    // kError with error() set. The first call gives kObject even for an
    // empty response, with the variables as they stood.
    int Find_Next_Element();
    // Empties callvalue.
    void Reset_Variables();
    // Gives value to the plain variable name with n appended (name1, ...)
    // and to element n of the array variable name, made if needed.
    static void Set_Counted_Variable(VariableHash* variables, const char* name, int length, int n,
                                     const char* value, int value_length);

    const String& error() const { return error_; }

  private:
    // The kinds of tags whose names begin with "!".
    enum class Special { kComment, kCData, kDoctype, kDeclaration };

    // Reads one character into *c and appends it to raw unless it is the
    // end; false with error_ set when the stream fails.
    bool Next(int* c, String& raw);
    // Pushes the last character back and takes it off raw.
    void Back(String& raw);
    int GetText(String& text);
    int Read_Tag();
    // Reads blanks, tabs and line ends into raw; the next character is the
    // first other one.
    bool EatWhitespace(String& raw);
    bool GetNameValuePairs(String& raw);
    int GetNextNameValuePair(String& raw, String& name, String& value);
    // Reads the value behind "=" into value; false after an error.
    bool Read_Value(String& raw, String& value);
    // After "/" in a tag: 0 when ">" follows (left in raw, or pushed back
    // with push_back), kError otherwise.
    int Slash(String& raw, bool push_back);
    bool EatHTMLCommentEntity(String& raw, Special kind);
    void ClearAttributeVariables();
    // The variables that every object writes, by their place in slots_.
    enum Published {
        kCallValue, kObjectType, kObjectElement, kObjectNumAttributes, kAttributeArray,
        kValueArray, kPublished
    };
    // The variable of name, found by its entry number once the name was
    // looked up (entries keep their numbers), else by name and made.
    Variable* Slot(int* slot, const char* name, int length);
    void Set(Published which, const char* value, int length);
    void Set(Published which, const char* value) { Set(which, value, static_cast<int>(strlen(value))); }
    void Set(Published which, const String& value) { Set(which, value.text(), value.length()); }
    // Sets callobjectattributeN or callobjectvalueN and element n of its
    // array (array kAttributeArray or kValueArray).
    void Set_Counted(Published array, int n, const char* value, int length);
    int Fail(const char* text);

    static Special Kind_Of(const String& name);
    // Hands the buffer's run up to a stop to into and raw at once.
    void TakeRun(String& raw, String& into, const CallBuffer::Stops& stops);
    static bool Is_Whitespace(int c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

    CallBuffer* buffer_;
    VariableHash* variables_;
    bool first_ = true;
    int attribute_count_ = 0;
    String error_;
    int slots_[kPublished] = {-1, -1, -1, -1, -1, -1};
    // Entry numbers of the numbered attribute and value variables, by n.
    std::vector<int> numbered_slots_[2];
};
