#include "tools/CodeAssembler.h"

#include "runtime/ExpressionCompiler.h"
#include "runtime/Instructions.h"
#include "runtime/Segment.h"
#include "tools/AssemblyNames.h"
#include "tools/OperandRoles.h"

CodeAssembler::CodeAssembler(Segment* segment, AssemblyNames* names)
    : segment_(segment), names_(names), offset_(segment->Code_Length()) {}

bool CodeAssembler::Fail(const AssemblyToken& token, const std::string& what) {
    error_ = "line " + std::to_string(token.line) + ", column " + std::to_string(token.column) +
             ": " + what;
    return false;
}

bool CodeAssembler::Label(const AssemblyToken& label) {
    if (!labels_.emplace(label.text, offset_).second)
        return Fail(label, "label " + label.text + " defined twice");
    return true;
}

bool CodeAssembler::Line(const std::vector<AssemblyToken>& tokens) {
    const AssemblyToken& head = tokens[0];
    if (head.text == ".byte") return Bytes(tokens);
    if (head.text == ".word") {
        if (tokens.size() < 2 || tokens[1].kind != AssemblyToken::Integer ||
            tokens[1].integer < 0 || tokens[1].integer > 0xFFFF)
            return Fail(head, ".word needs a number from 0 to 0xFFFF");
        size_t first = 2;
        if (tokens.size() > 2) {
            if (tokens[2].kind != AssemblyToken::Comma) return Fail(tokens[2], "expected a comma");
            first = 3;
        }
        return Instruction(static_cast<uint16_t>(tokens[1].integer), tokens, first, false);
    }
    if (head.text == "expr") return Expression(tokens);
    const Instruction_Info* info = Instructions::Lookup(head.text.c_str(), -1);
    if (!info) return Fail(head, "unknown instruction " + head.text);
    return Instruction(info->number, tokens, 1, true);
}

// expr "text": the instructions of an expression, compiled as at run time.
bool CodeAssembler::Expression(const std::vector<AssemblyToken>& tokens) {
    if (tokens.size() != 2 || tokens[1].kind != AssemblyToken::Text)
        return Fail(tokens[0], "expr takes one string");
    const std::string& text = tokens[1].text;
    ExpressionCompiler compiler(nullptr, nullptr, names_->dictionary(), names_->functions(),
                                nullptr, text.data(), static_cast<int>(text.size()), nullptr,
                                segment_, offset_, nullptr, 0, 0, 0x1000B);
    if (!compiler.Run()) return Fail(tokens[1], compiler.error().c_str());
    offset_ = compiler.offset();
    return true;
}

bool CodeAssembler::Bytes(const std::vector<AssemblyToken>& tokens) {
    for (size_t i = 1; i < tokens.size(); i++) {
        const AssemblyToken& token = tokens[i];
        if (token.kind == AssemblyToken::Comma) continue;
        if (token.kind != AssemblyToken::Integer || token.integer < 0 || token.integer > 255)
            return Fail(token, ".byte takes numbers from 0 to 255");
        offset_ = segment_->Write_Byte(offset_, static_cast<uint8_t>(token.integer));
    }
    return true;
}

// Operands follow the mnemonic, separated by commas; their number and kinds
// come from the instruction's word.
bool CodeAssembler::Instruction(uint16_t word, const std::vector<AssemblyToken>& tokens,
                                size_t first, bool known) {
    OperandKind kinds[2] = {Instructions::First_Operand(word), Instructions::Second_Operand(word)};
    std::vector<const AssemblyToken*> operands;
    for (size_t i = first; i < tokens.size(); i++) {
        bool want_operand = (i - first) % 2 == 0;
        if (want_operand == (tokens[i].kind == AssemblyToken::Comma))
            return Fail(tokens[i], want_operand ? "expected an operand" : "expected a comma");
        if (want_operand) operands.push_back(&tokens[i]);
    }
    if (tokens.size() > first && tokens.back().kind == AssemblyToken::Comma)
        return Fail(tokens.back(), "expected an operand after the comma");
    size_t wanted = (kinds[0] != OperandNone) + (kinds[1] != OperandNone);
    if (operands.size() != wanted)
        return Fail(tokens[0], tokens[0].text + " takes " + std::to_string(wanted) + " operand" +
                                   (wanted == 1 ? "" : "s"));
    int end = offset_ + Instructions::Length(word);
    int at = segment_->Write_Word(offset_, word);
    for (size_t i = 0; i < operands.size(); i++) {
        const AssemblyToken& token = *operands[i];
        if (kinds[i] == OperandDouble) {
            double value;
            if (token.kind == AssemblyToken::Double) {
                value = token.number;
            } else if (token.kind == AssemblyToken::Integer) {
                value = static_cast<double>(token.integer);
            } else {
                return Fail(token, "expected a number");
            }
            at = segment_->Write_Double(at, value);
        } else {
            if (!Dword(known ? word : 0, static_cast<int>(i), token, at, end)) return false;
            at += Instructions::kDwordSize;
        }
    }
    offset_ = end;
    return true;
}

bool CodeAssembler::Dword(uint16_t word, int which, const AssemblyToken& token, int at, int end) {
    OperandRole role = word ? Operand_Role(word, which) : RoleValue;
    bool named = role != RoleValue && role != RoleJump;
    int64_t value = 0;
    if (token.kind == AssemblyToken::Integer) {
        if (token.integer < INT32_MIN || token.integer > UINT32_MAX)
            return Fail(token, "number does not fit in 32 bits");
        value = token.integer;
    } else if (named && (token.kind == AssemblyToken::Text ||
                         (token.kind == AssemblyToken::Name && role != RoleDictionary))) {
        value = names_->Number(role, token.text, offset_);
        if (value < 0) return Fail(token, names_->error());
    } else if (token.kind == AssemblyToken::Name && role == RoleJump) {
        fixups_.push_back({at, end, token});
    } else {
        return Fail(token, role == RoleJump         ? "expected a label or a number"
                           : role == RoleDictionary ? "expected a string or a number"
                           : named                  ? "expected a name or a number"
                                                    : "expected a number");
    }
    segment_->Write_Dword(at, static_cast<uint32_t>(value));
    return true;
}

bool CodeAssembler::Finish() {
    for (const Fixup& fixup : fixups_) {
        auto found = labels_.find(fixup.label.text);
        if (found == labels_.end()) return Fail(fixup.label, "undefined label " + fixup.label.text);
        segment_->Write_Dword(fixup.operand_offset,
                              static_cast<uint32_t>(found->second - fixup.end));
    }
    fixups_.clear();
    return true;
}
