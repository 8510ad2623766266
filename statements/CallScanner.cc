#include "statements/CallScanner.h"

#include <cstring>

#include "statements/CallBuffer.h"
#include "variables/AggregateIndex.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"

namespace {

constexpr int kEndOfData = -1;

// Appends c, doubling the room when it runs out, so that long runs of text
// grow in few steps.
void Append(String& text, int c) {
    if (text.length() + 2 >= text.capacity()) text.reserve(text.capacity() * 2 + 32);
    text.cat(static_cast<char>(c));
}

Variable* Variable_Of(VariableHash* variables, const char* name, int length) {
    Variable* variable = nullptr;
    if (!variables->Find(&variable, name, length, 1) || !variable) {
        variables->SetVariable(name, length, "", 0);
        variables->Find(&variable, name, length, 1);
    }
    return variable;
}

// Stop sets of the runs that the buffer hands over whole: they end where
// the character loops below would look at a character.
constexpr CallBuffer::Stops Stops_Of(const char* stops) {
    CallBuffer::Stops set{};
    for (const char* c = stops; *c; c++) set[static_cast<unsigned char>(*c)] = true;
    return set;
}
constexpr CallBuffer::Stops kTextStops = Stops_Of("<");
constexpr CallBuffer::Stops kElementStops = Stops_Of(" \t\r\n>");
constexpr CallBuffer::Stops kAttributeStops = Stops_Of(" \t\r\n>=");
constexpr CallBuffer::Stops kQuotationStops = Stops_Of("\"");
constexpr CallBuffer::Stops kApostropheStops = Stops_Of("'");

struct Name {
    const char* text;
    int length;
};
// By CallScanner::Published.
constexpr Name kNames[] = {
    {"callvalue", 9},          {"callobjecttype", 14},      {"callobjectelement", 17},
    {"callobjectnumattributes", 23}, {"callobjectattribute", 19}, {"callobjectvalue", 15},
};

// name with the decimal n behind it, into out; its length.
int Numbered(char* out, const char* name, int length, int n) {
    memcpy(out, name, length);
    char digits[12];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + n % 10);
        n /= 10;
    } while (n > 0);
    for (int i = 0; i < count; i++) out[length + i] = digits[count - 1 - i];
    return length + count;
}

}  // namespace

CallScanner::CallScanner(CallBuffer* buffer, VariableHash* variables)
    : buffer_(buffer), variables_(variables) {}

Variable* CallScanner::Slot(int* slot, const char* name, int length) {
    if (*slot >= 0) {
        if (Variable* variable = variables_->Index(*slot, 0)) return variable;
    }
    Variable* variable = Variable_Of(variables_, name, length);
    *slot = variables_->Seek(-1, name, length);
    return variable;
}

void CallScanner::Set(Published which, const char* value, int length) {
    if (Variable* variable = Slot(&slots_[which], kNames[which].text, kNames[which].length))
        variable->SetValue(value ? value : "", value ? length : 0);
}

void CallScanner::Set_Counted(Published array, int n, const char* value, int length) {
    std::vector<int>& slots = numbered_slots_[array == kValueArray];
    if (static_cast<int>(slots.size()) <= n) slots.resize(n + 1, -1);
    char numbered[64];
    int numbered_length = Numbered(numbered, kNames[array].text, kNames[array].length, n);
    if (Variable* variable = Slot(&slots[n], numbered, numbered_length))
        variable->SetValue(value ? value : "", value ? length : 0);
    Variable* whole = Slot(&slots_[array], kNames[array].text, kNames[array].length);
    Variable* element = whole ? whole->Element(AggregateIndex(n), 1) : nullptr;
    if (element) element->SetValue(value ? value : "", value ? length : 0);
}

void CallScanner::Set_Counted_Variable(VariableHash* variables, const char* name, int length,
                                       int n, const char* value, int value_length) {
    char numbered[128];
    if (length > 100) return;
    variables->SetVariable(numbered, Numbered(numbered, name, length, n), value, value_length);
    Variable* array = Variable_Of(variables, name, length);
    Variable* element = array ? array->Element(AggregateIndex(n), 1) : nullptr;
    if (element) element->SetValue(value, value_length);
}

void CallScanner::Reset_Variables() { Set(kCallValue, ""); }

int CallScanner::Fail(const char* text) {
    error_ = text;
    return kError;
}

bool CallScanner::Next(int* c, String& raw) {
    if (!buffer_->GetNextChar(c)) {
        error_ = buffer_->error();
        return false;
    }
    if (*c != kEndOfData) Append(raw, *c);
    return true;
}

void CallScanner::TakeRun(String& raw, String& into, const CallBuffer::Stops& stops) {
    int before = into.length();
    buffer_->TakeRun(into, stops);
    if (into.length() > before) raw.cat(into.text() + before, into.length() - before);
}

void CallScanner::Back(String& raw) {
    buffer_->UnGetChar();
    raw.chop(1);
}

int CallScanner::Find_Next_Element() {
    String text;
    int result = GetText(text);
    if (first_) {
        first_ = false;
        // An empty response still runs the body once.
        if (result == kEnd) return kObject;
    }
    if (result != kObject) return result;
    if (text.length() == 0) return Read_Tag();
    ClearAttributeVariables();
    Set(kObjectType, "text");
    Set(kCallValue, text);
    Set(kObjectNumAttributes, "0");
    Set(kObjectElement, "");
    return kObject;
}

int CallScanner::GetText(String& text) {
    for (;;) {
        buffer_->TakeRun(text, kTextStops);
        int c;
        if (!buffer_->GetNextChar(&c)) return Fail(buffer_->error().c_str());
        if (c == kEndOfData) break;
        if (c == '<') {
            buffer_->UnGetChar();
            return kObject;
        }
        Append(text, c);
    }
    return text.length() > 0 ? kObject : kEnd;
}

int CallScanner::Read_Tag() {
    String raw, name;
    int c;
    if (!Next(&c, raw)) return kError;
    if (c == kEndOfData) return kEnd;
    if (!EatWhitespace(raw)) return kError;
    for (;;) {
        TakeRun(raw, name, kElementStops);
        if (!Next(&c, raw)) return kError;
        if (c == kEndOfData) return Fail("Unexpected EOF in tag");
        if (Is_Whitespace(c) || c == '>') break;
        Append(name, c);
    }
    bool done;
    if (name.length() == 0 || name.text()[0] != '!') {
        Back(raw);
        done = GetNameValuePairs(raw);
    } else {
        Set(kObjectNumAttributes, "0");
        Special kind = Kind_Of(name);
        if (c == '>') {
            done = true;
        } else {
            Back(raw);
            done = EatHTMLCommentEntity(raw, kind);
        }
    }
    Set(kObjectType, "tag");
    Set(kCallValue, raw);
    Set(kObjectElement, name);
    return done ? kObject : kError;
}

bool CallScanner::EatWhitespace(String& raw) {
    int c;
    do {
        if (!Next(&c, raw)) return false;
    } while (Is_Whitespace(c));
    if (c != kEndOfData) Back(raw);
    return true;
}

CallScanner::Special CallScanner::Kind_Of(const String& name) {
    const char* text = name.text();
    int length = name.length();
    if (length >= 3 && memcmp(text, "!--", 3) == 0) return Special::kComment;
    if (length >= 8 && memcmp(text, "![CDATA[", 8) == 0) return Special::kCData;
    // The doctype test compares with a digit zero in third place, so a real
    // doctype is read as a declaration, which nests in the same way.
    if (length >= 8 && memcmp(text, "!D0CTYPE", 8) == 0) return Special::kDoctype;
    return Special::kDeclaration;
}

bool CallScanner::EatHTMLCommentEntity(String& raw, Special kind) {
    int c;
    if (kind == Special::kComment || kind == Special::kCData) {
        int dashes = 0, brackets = 0;
        for (;;) {
            if (!Next(&c, raw)) return false;
            if (c == kEndOfData) {
                Fail("Unexpected EOF in HTML comment or CDATA section");
                return false;
            }
            if (c == '-') {
                dashes++;
            } else if (c == ']') {
                brackets++;
            } else if (c == '>' && (kind == Special::kComment ? dashes : brackets) > 1) {
                return true;
            } else {
                dashes = brackets = 0;
            }
        }
    }
    int depth = 1;
    for (;;) {
        if (!Next(&c, raw)) return false;
        if (c == kEndOfData) {
            Fail("Unexpected EOF in DOCTYPE or other XML tag");
            return false;
        }
        if (c == '<') depth++;
        if (c == '>' && --depth == 0) return true;
    }
}

void CallScanner::ClearAttributeVariables() {
    for (int n = 1; n <= attribute_count_; n++) {
        Set_Counted(kAttributeArray, n, "", 0);
        Set_Counted(kValueArray, n, "", 0);
    }
    Set(kAttributeArray, "");
    Set(kValueArray, "");
    attribute_count_ = 0;
}

bool CallScanner::GetNameValuePairs(String& raw) {
    ClearAttributeVariables();
    String name, value;
    int result;
    while ((result = GetNextNameValuePair(raw, name, value)) == 1) {
        attribute_count_++;
        Set_Counted(kAttributeArray, attribute_count_, name.text(), name.length());
        Set_Counted(kValueArray, attribute_count_, value.text(), value.length());
    }
    int* slot = &slots_[kObjectNumAttributes];
    if (Variable* count = Slot(slot, kNames[kObjectNumAttributes].text, 23))
        count->SetValue_Integer(attribute_count_);
    return result != kError;
}

int CallScanner::Slash(String& raw, bool push_back) {
    int c;
    if (!Next(&c, raw)) return kError;
    if (c == '>') {
        if (push_back) Back(raw);
        return 0;
    }
    if (c == kEndOfData) return Fail("Unexpected EOF in tag");
    error_ = "Found &quot;";
    error_.cat(static_cast<char>(c));
    error_.cat("&quot; in tag following /");
    return kError;
}

int CallScanner::GetNextNameValuePair(String& raw, String& name, String& value) {
    name = String();
    value = String();
    int c;
    if (!EatWhitespace(raw) || !Next(&c, raw)) return kError;
    if (c == kEndOfData) return Fail("Unexpected EOF in tag");
    if (c == '/') return Slash(raw, false);
    if (c == '>') return 0;
    while (c != kEndOfData && c != '>' && c != '=' && !Is_Whitespace(c)) {
        Append(name, c);
        TakeRun(raw, name, kAttributeStops);
        if (!Next(&c, raw)) return kError;
    }
    if (Is_Whitespace(c) && (!EatWhitespace(raw) || !Next(&c, raw))) return kError;
    if (c == kEndOfData) return Fail("Unexpected EOF in tag");
    if (c == '=') return Read_Value(raw, value) ? 1 : kError;
    if (c == '/') {
        if (Slash(raw, true) == kError) return kError;
    } else {
        Back(raw);
    }
    // An attribute without a value has its name as its value.
    value = name;
    return 1;
}

bool CallScanner::Read_Value(String& raw, String& value) {
    if (!EatWhitespace(raw)) return false;
    int quote = 0;
    for (;;) {
        if (quote) TakeRun(raw, value, quote == '"' ? kQuotationStops : kApostropheStops);
        int c;
        if (!Next(&c, raw)) return false;
        if (c == kEndOfData) {
            Fail("Unexpected EOF in tag");
            return false;
        }
        if (quote) {
            if (c == quote) quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            Back(raw);
            break;
        } else if (Is_Whitespace(c)) {
            break;
        }
        Append(value, c);
    }
    if (value.length() >= 2 && (value.text()[0] == '"' || value.text()[0] == '\''))
        value = value.at(1, value.length() - 1);
    return true;
}
