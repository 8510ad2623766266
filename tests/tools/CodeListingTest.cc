#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "files/Dictionary.h"
#include "runtime/Instructions.h"
#include "runtime/Segment.h"
#include "tools/AssemblyLexer.h"
#include "tools/AssemblyNames.h"
#include "tools/CodeAssembler.h"
#include "tools/OperandRoles.h"
#include "tools/SegmentListing.h"

namespace {

// Assembles a listing of one segment's lines into segment; "" on success,
// else the error.
std::string assemble(const std::string& text, Segment* segment, Dictionary* dictionary) {
    AssemblyLexer lexer(text.data(), text.size());
    AssemblyNames names(dictionary, nullptr, nullptr, nullptr);
    CodeAssembler code(segment, &names);
    std::vector<AssemblyToken> line;
    AssemblyToken token;
    for (;;) {
        if (!lexer.Next(&token)) return lexer.error();
        if (token.kind == AssemblyToken::Label) {
            if (!code.Label(token)) return code.error();
        } else if (token.kind == AssemblyToken::Newline || token.kind == AssemblyToken::End) {
            if (!line.empty() && !code.Line(line)) return code.error();
            line.clear();
            if (token.kind == AssemblyToken::End) break;
        } else {
            line.push_back(token);
        }
    }
    return code.Finish() ? "" : code.error();
}

std::string list(const Segment& segment, Dictionary* dictionary) {
    AssemblyNames names(dictionary, nullptr, nullptr, nullptr);
    std::string listing;
    SegmentListing(dictionary ? &names : nullptr).List(segment, &listing);
    return listing;
}

std::string bytes(const Segment& segment) {
    return std::string(reinterpret_cast<const char*>(segment.Code()), segment.Code_Length());
}

TEST(CodeListingTest, ListsWithLabelsAndDictionaryTexts) {
    Dictionary dictionary;
    Segment segment(0);
    ASSERT_EQ(assemble("top:\n    pushc \"Hello\"\n    out\n    cmpgi 3, -7\n"
                       "    jmp_ne top  ; back\n    pushf 2.5\n    jmp end\nend:\n",
                       &segment, &dictionary),
              "");
    EXPECT_EQ(list(segment, &dictionary),
              "L0:\n"
              "    pushc 0  ; \"Hello\"\n"
              "    out\n"
              "    cmpgi 3, -7\n"
              "    jmp_ne L0\n"
              "    pushf 2.5\n"
              "    jmp L40\n"
              "L40:\n");
    // jmp_ne at 18 ends at 24 and goes back to 0.
    uint32_t displacement;
    segment.Read_Dword(20, &displacement);
    EXPECT_EQ(static_cast<int32_t>(displacement), -24);
}

TEST(CodeListingTest, IllegalWordsAndCutOffBytesSurvive) {
    Segment segment(0);
    int at = segment.Write_Word(0, 0x0002);  // no such instruction
    at = segment.Write_Word(at, 0x4777);     // illegal, with a dword
    at = segment.Write_Dword(at, 99);
    at = segment.Write_Word(at, Op_pushi);  // operand cut off
    segment.Write_Byte(at, 7);
    std::string listing = list(segment, nullptr);
    EXPECT_EQ(listing,
              "    .word 0x0002\n"
              "    .word 0x4777, 99\n"
              "    .byte 2, 64, 7\n");
    Segment again(0);
    Dictionary dictionary;
    ASSERT_EQ(assemble(listing, &again, &dictionary), "");
    EXPECT_EQ(bytes(again), bytes(segment));
}

TEST(CodeListingTest, ErrorsNameLineAndColumn) {
    Dictionary dictionary;
    struct Case {
        const char* text;
        const char* error;
    } cases[] = {{"    frob 1\n", "line 1, column 5: unknown instruction frob"},
                 {"\n  pushi\n", "line 2, column 3: pushi takes 1 operand"},
                 {"  pushi 1 2\n", "line 1, column 11: expected a comma"},
                 {"  cmpgg 1,\n", "line 1, column 10: expected an operand after the comma"},
                 {"  jmp nowhere\n", "line 1, column 7: undefined label nowhere"},
                 {"x:\nx:\n", "line 2, column 1: label x defined twice"},
                 {"  pushc \"open\n", "line 1, column 9: string not closed on its line"},
                 {"  pushi 99999999999\n", "line 1, column 9: number does not fit in 32 bits"},
                 {"  pushi \"text\"\n", "line 1, column 9: expected a number"},
                 {"  pushc 12x\n", "line 1, column 9: malformed number"},
                 {"  .byte 300\n", "line 1, column 9: .byte takes numbers from 0 to 255"},
                 {"  pushi 1 @\n", "line 1, column 11: unexpected character"}};
    for (const Case& c : cases) {
        Segment segment(0);
        EXPECT_EQ(assemble(c.text, &segment, &dictionary), c.error) << c.text;
    }
}

TEST(CodeListingTest, StringsRoundTripEveryByte) {
    std::string all;
    for (int c = 0; c < 256; c++)
        all += static_cast<char>(c);
    std::string quoted = SegmentListing::Quote(all.data(), static_cast<int>(all.size()));
    AssemblyLexer lexer(quoted.data(), quoted.size());
    AssemblyToken token;
    ASSERT_TRUE(lexer.Next(&token)) << lexer.error();
    EXPECT_EQ(token.kind, AssemblyToken::Text);
    EXPECT_EQ(token.text, all);
}

// Random code, listed and assembled again, comes back byte for byte.
TEST(CodeListingTest, RandomCodeRoundTrips) {
    std::mt19937 random(17);
    int count;
    const Instruction_Info* table = Instructions::Table(&count);
    for (int round = 0; round < 200; round++) {
        Dictionary dictionary;
        for (int i = 0; i < 20; i++)
            dictionary.Entry_Add(("text" + std::to_string(i)).c_str());
        Segment segment(0);
        std::vector<int> starts, jumps;  // of instructions; of the operands of jumps
        int at = 0;
        for (int n = 0; n < 60; n++) {
            starts.push_back(at);
            const Instruction_Info& info = table[random() % count];
            at = segment.Write_Word(at, info.number);
            OperandKind kinds[2] = {Instructions::First_Operand(info.number),
                                    Instructions::Second_Operand(info.number)};
            for (int i = 0; i < 2; i++) {
                if (kinds[i] == OperandDouble) {
                    double value = std::ldexp(static_cast<double>(random()), -int(random() % 40));
                    at = segment.Write_Double(at, random() % 2 ? value : -value);
                } else if (kinds[i] == OperandDword) {
                    if (Operand_Role(info.number, i) == RoleJump) jumps.push_back(at);
                    at = segment.Write_Dword(at, random() % 40);
                }
            }
        }
        starts.push_back(at);
        for (int operand : jumps) {
            int end = operand + 4;
            int target = random() % 4 ? starts[random() % starts.size()] : end + 1;
            segment.Write_Dword(operand, static_cast<uint32_t>(target - end));
        }
        std::string listing = list(segment, &dictionary);
        Dictionary again_dictionary(dictionary);
        Segment again(0);
        ASSERT_EQ(assemble(listing, &again, &again_dictionary), "") << listing;
        ASSERT_EQ(bytes(again), bytes(segment)) << listing;
        ASSERT_EQ(again_dictionary.entries(), dictionary.entries());
    }
}

}  // namespace
