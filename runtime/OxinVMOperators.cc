// The instructions of arithmetic, text, output and the combined forms.

#include <climits>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <typeinfo>

#include "application/Output.h"
#include "application/OxinApplication.h"
#include "base/Dtoa.h"
#include "base/LinkBuffer.h"
#include "base/LittleEndian.h"
#include "base/Power.h"
#include "base/StringSearch.h"
#include "files/Dictionary.h"
#include "runtime/Instructions.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Frame.h"
#include "runtime/OxinVM_Stack.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"

namespace {

// Haystacks from this length on are searched with Boyer-Moore.
constexpr int kBoyerMooreFrom = 300;

// The rounding of rounds and roundf on the shortest digits of value:
// exact halves go to the even neighbour.
double round_decimal(double value, int places, const char* digits, int count, int point, int sign) {
    if (places == 0 || count - point <= places) return value;
    uint64_t n = 0;
    int at = 0;
    for (; at < point + places; at++)
        n = n * 10 + static_cast<uint64_t>(digits[at] - '0');
    char next = digits[at];
    if (next >= '6') {
        n++;
    } else if (next == '5') {
        int rest = at + 1;
        while (rest < count && digits[rest] == '0')
            rest++;
        if (rest < count || (n & 1)) n++;
    }
    double rounded = static_cast<double>(n) / Power_Of_Ten(places);
    return sign ? -rounded : rounded;
}

}  // namespace

void OxinVM::pushc() {
    const char* text;
    int length;
    if (Dictionary_Text(dword1_, &text, &length)) stack_->PushS(text, length, length, 0);
}

// The accumulating loop "s = s . x" compiles to: push s, push x, cat, pop
// into s. Concatenation would copy the whole of s into a new buffer each
// time; when the instruction after cat stores into the very variable that
// is the left operand, x is appended to that variable in place instead,
// with the same result, and the store is skipped.
bool OxinVM::append_in_place() {
    OxinVM_Stack::Stack_Entry* left = stack_->Peek(1);
    OxinVM_Stack::Stack_Entry* right = stack_->Peek(0);
    if (!left || left->type != OxinVM_Stack::kVariable || ip + 6 > code_length_) return false;
    Variable* variable = left->value.variable;
    if (typeid(*variable) != typeid(Variable) || variable->aggregatetype() != AggregateNone)
        return false;
    if (right->type == OxinVM_Stack::kVariable && right->value.variable == variable) return false;
    uint16_t next = get_u16(code_ + ip);
    if (next != Op_popg && next != Op_popl) return false;
    int index = static_cast<int>(get_u32(code_ + ip + 2));
    VariableHash* hash = next == Op_popg ? global_ : frame_->locals();
    if (hash->Index(index, 0) != variable) return false;
    {
        PoppedText text = stack_->PopText();
        variable->Append_Text(text.text(), text.length());
    }
    stack_->Pop();
    ip += 6;
    return true;
}

void OxinVM::div() {
    double right = stack_->PopD(), left = stack_->PopD();
    if (fatal_) return;
    // The test is on the dividend: 0 divided by anything, 0 included, is 0.
    stack_->PushD(left == 0 ? 0.0 : left / right);
}

void OxinVM::mod() {
    int right = stack_->PopI(), left = stack_->PopI();
    if (fatal_) return;
    if (right == 0 || (right == -1 && left == INT_MIN)) {
        stack_->PushI(0);
    } else {
        stack_->PushI(left % right);
    }
}

void OxinVM::power() {
    double exponent = stack_->PopD(), base = stack_->PopD();
    if (!fatal_) stack_->PushD(Power(base, exponent));
}

void OxinVM::shift(bool left) {
    int count = stack_->PopI() & 31;
    int value = stack_->PopI();
    if (fatal_) return;
    uint32_t bits = static_cast<uint32_t>(value);
    // Right shifts copy the sign bit.
    stack_->PushI(left ? static_cast<int>(bits << count) : value >> count);
}

void OxinVM::search(bool ignore_case, bool end) {
    PoppedText haystack = stack_->PopText();
    PoppedText needle = stack_->PopText();
    if (fatal_) return;
    int result;
    if (needle.length() == 0) {
        result = end ? 0 : 1;
    } else if (needle.length() > haystack.length()) {
        result = 0;
    } else {
        bool brute = haystack.length() < kBoyerMooreFrom;
        auto find =
            ignore_case ? (brute ? bf_searchi : bm_searchi) : (brute ? bf_search : bm_search);
        int found = find(needle.text(), needle.length(), haystack.text(), haystack.length());
        result = found < 0 ? 0 : end ? found + needle.length() : found + 1;
    }
    stack_->PushI(result);
}

void OxinVM::crypt() {
    static const char kSaltCharacters[] =
        "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    PoppedText salt = stack_->PopText();
    PoppedText key = stack_->PopText();
    if (fatal_) return;
    char two[3] = {};
    if (salt.length() == 0) {
        two[0] = kSaltCharacters[rand() % 63];
        two[1] = kSaltCharacters[rand() % 63];
    } else {
        two[0] = salt.text()[0];
        two[1] = salt.text()[salt.length() == 1 ? 0 : 1];
    }
    int length, size;
    char* hashed = application_->Crypt(key.text(), key.length(), two, &length, &size);
    stack_->PushS(hashed, length, size, 1);
}

void OxinVM::rounds(bool as_text) {
    int places = stack_->PopI();
    double value = stack_->PopD();
    if (fatal_) return;
    if (places < 0) places = 0;
    if (!Within_Budget(places)) return;  // a fuzz build pays for the digits
    char digits[512];
    int point, sign;
    int count = ox_dtoa(digits, sizeof digits, value, 5, 20, &point, &sign);
    if (point == 9999) {
        if (!as_text) {
            stack_->PushD(INFINITY);
        } else if (digits[0] == 'N') {
            stack_->PushS("NaN", 3, 3, 0);
        } else {
            stack_->PushS("Infinity", 8, 8, 0);
        }
        return;
    }
    value = round_decimal(value, places, digits, count, point, sign);
    if (!as_text) {
        stack_->PushD(value);
        return;
    }
    int length, size;
    char* text = TextConversion::dtos(value, &length, &size, places);
    stack_->PushS(text, length, size, 1);
}

void OxinVM::out() {
    Output* output = application_->output();
    LinkBuffer* buffer = stack_->Top_LinkBuffer();
    if (buffer) {
        if (output) {
            for (const LinkBuffer_Block* block = buffer->first(); block; block = block->next)
                output->Write(block->data, block->used);
        }
        stack_->Pop();
        return;
    }
    PoppedText text = stack_->PopText();
    if (!fatal_ && output && text.length() > 0) output->Write(text.text(), text.length());
}

void OxinVM::out_comp() {
    PoppedText text = stack_->PopText();
    Output* output = application_->output();
    if (!fatal_ && output && text.length() > 0)
        output->Write_Compressed(text.text(), text.length());
}

void OxinVM::op_errmsg() {
    PoppedText text = stack_->PopText();
    if (!fatal_) error_prefix_ = String(text.text(), text.length());
}

void OxinVM::SetOutputFlags(unsigned flags) {
    if (Output* output = application_->output()) output->SetFlags(static_cast<int>(flags));
}

void OxinVM::unavailable(uint16_t word) {
    const Instruction_Info* info = Instructions::Lookup(word);
    String message("Instruction not available in this engine: ");
    message.cat(info ? info->name : "?");
    FatalError(message);
}
