#include "tools/SegmentListing.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <set>

#include "runtime/Instructions.h"
#include "runtime/Segment.h"
#include "tools/AssemblyNames.h"
#include "tools/OperandRoles.h"

namespace {

struct Decoded {
    uint16_t word = 0;
    int length = 0;  // 0: cut off by the end of the code
    int32_t dword[2] = {0, 0};
    double number[2] = {0, 0};
};

Decoded decode(const Segment& segment, int offset) {
    Decoded decoded;
    int at = segment.Read_Word(offset, &decoded.word);
    if (at < 0) return decoded;
    OperandKind kinds[2] = {Instructions::First_Operand(decoded.word),
                            Instructions::Second_Operand(decoded.word)};
    for (int i = 0; i < 2 && at >= 0; i++) {
        if (kinds[i] == OperandDword) {
            uint32_t value;
            at = segment.Read_Dword(at, &value);
            decoded.dword[i] = static_cast<int32_t>(value);
        } else if (kinds[i] == OperandDouble) {
            at = segment.Read_Double(at, &decoded.number[i]);
        }
    }
    if (at >= 0) decoded.length = at - offset;
    return decoded;
}

std::string label(long offset) {
    return "L" + std::to_string(offset);
}

}  // namespace

std::string SegmentListing::Quote(const char* text, int length) {
    std::string quoted = "\"";
    for (int i = 0; i < length; i++) {
        unsigned char c = text[i];
        switch (c) {
            case '"':
                quoted += "\\\"";
                break;
            case '\\':
                quoted += "\\\\";
                break;
            case '\n':
                quoted += "\\n";
                break;
            case '\r':
                quoted += "\\r";
                break;
            case '\t':
                quoted += "\\t";
                break;
            default:
                if (c >= 0x20 && c < 0x7F) {
                    quoted += static_cast<char>(c);
                } else {
                    char escape[5];
                    snprintf(escape, sizeof escape, "\\x%02X", c);
                    quoted += escape;
                }
        }
    }
    return quoted + "\"";
}

std::string SegmentListing::FormatDouble(double value) {
    if (std::isnan(value)) return std::signbit(value) ? "-nan" : "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    char text[64];
    auto result = std::to_chars(text, text + sizeof text, value);
    std::string formatted(text, result.ptr);
    // Keep doubles recognisable as such when they print as integers.
    if (formatted.find_first_of(".e") == std::string::npos) formatted += ".0";
    return formatted;
}

void SegmentListing::List(const Segment& segment, std::string* out) const {
    std::set<long> starts, targets;
    for (int offset = 0; offset < segment.Code_Length();) {
        Decoded decoded = decode(segment, offset);
        if (decoded.length == 0) break;
        starts.insert(offset);
        offset += decoded.length;
        if (offset == segment.Code_Length()) starts.insert(offset);
        for (int i = 0; i < 2; i++) {
            OperandKind kind = i == 0 ? Instructions::First_Operand(decoded.word)
                                      : Instructions::Second_Operand(decoded.word);
            if (kind == OperandDword && Operand_Role(decoded.word, i) == RoleJump)
                targets.insert(static_cast<long>(offset) + decoded.dword[i]);
        }
    }
    int offset = 0;
    while (offset < segment.Code_Length()) {
        Decoded decoded = decode(segment, offset);
        if (decoded.length == 0) break;
        if (targets.count(offset)) *out += label(offset) + ":\n";
        const Instruction_Info* info = Instructions::Lookup(decoded.word);
        std::string line = "    ";
        if (info) {
            line += info->mnemonic;
        } else {
            char word[16];
            snprintf(word, sizeof word, ".word 0x%04X", decoded.word);
            line += word;
        }
        std::string comment;
        OperandKind kinds[2] = {Instructions::First_Operand(decoded.word),
                                Instructions::Second_Operand(decoded.word)};
        for (int i = 0; i < 2 && kinds[i] != OperandNone; i++) {
            line += i == 0 ? (info ? " " : ", ") : ", ";
            if (kinds[i] == OperandDouble) {
                line += FormatDouble(decoded.number[i]);
                continue;
            }
            long end = offset + decoded.length;
            OperandRole role = info ? Operand_Role(decoded.word, i) : RoleValue;
            if (role == RoleJump && starts.count(end + decoded.dword[i])) {
                line += label(end + decoded.dword[i]);
                continue;
            }
            line += std::to_string(decoded.dword[i]);
            int length;
            const char* text =
                names_ ? names_->Name(role, decoded.dword[i], offset, &length) : nullptr;
            if (text) comment += (comment.empty() ? "" : " ") + Quote(text, length);
        }
        *out += line + (comment.empty() ? "" : "  ; " + comment) + "\n";
        offset += decoded.length;
    }
    if (offset == segment.Code_Length() && targets.count(offset)) *out += label(offset) + ":\n";
    if (offset < segment.Code_Length()) {
        *out += "    .byte";
        for (int i = offset; i < segment.Code_Length(); i++) {
            uint8_t byte;
            segment.Read_Byte(i, &byte);
            *out += (i == offset ? " " : ", ") + std::to_string(byte);
        }
        *out += "\n";
    }
}
