#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/CompiledFileFixture.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestApplication.h"
#include "tools/Assembler.h"
#include "tools/Disassembler.h"

namespace {

class AssemblerTest : public ::testing::Test {
  protected:
    // Assembles text into the file name; "" or the error.
    std::string assemble(const std::string& text, const std::string& name) {
        Assembler assembler;
        if (!assembler.Assemble(text.data(), text.size())) return assembler.error();
        if (!assembler.Write(app_.filemanager(), path(name).c_str())) return assembler.error();
        return "";
    }
    std::string list(const std::string& name) {
        std::string listing;
        Disassembler disassembler;
        if (!disassembler.List(app_.filemanager(), path(name).c_str(), &listing))
            return "error: " + disassembler.error();
        return listing;
    }
    std::string bytes(const std::string& name) {
        std::ifstream in(path(name), std::ios::binary);
        std::stringstream content;
        content << in.rdbuf();
        return content.str();
    }
    std::string path(const std::string& name) { return directory_.Path(name); }
    // Assembles text, lists it and assembles the listing: the same bytes and
    // the same listing again. Returns the listing.
    std::string RoundTrip(const std::string& text) {
        EXPECT_EQ(assemble(text, "first.oxc"), "");
        std::string listing = list("first.oxc");
        EXPECT_EQ(assemble(listing, "second.oxc"), "") << listing;
        EXPECT_EQ(bytes("second.oxc"), bytes("first.oxc"));
        EXPECT_EQ(list("second.oxc"), listing);
        return listing;
    }

    TempDirectory directory_;
    TestApplication app_;
};

TEST_F(AssemblerTest, HelloIsTheWorkedExampleByteForByte) {
    ASSERT_EQ(assemble(".segment 0\n    pushc \"Hello\"\n    out\n.end\n", "hello.oxc"), "");
    Bytes expected = hello_file_bytes();
    EXPECT_EQ(bytes("hello.oxc"), std::string(expected.begin(), expected.end()));
}

TEST_F(AssemblerTest, ListingsAssembleToTheSameBytes) {
    std::string listing = RoundTrip(
        ".file version 0x10007 flags 1 signature 1 2 0xFFFFFFFF 4\n"
        ".dictionary\n    0 \"counter\"\n    1 \"line\\n\\x01\"\n.end\n"
        ".system bits 0\n    0 \"script_name\"\n.end\n"
        ".global bits 4\n    0 0\n    1 \"total\"\n    2 \"TOTAL\"\n.end\n"
        ".segments start 1\n.segment 0\n.end\n"
        ".segment 1\nagain:\n    incg 0, 1\n    cmpgi 0, 10\n    jmp_lt again\n"
        "    pushf -0.25\n    pushc \"done\"\n    cat\n    out\n.end\n");
    for (const char* line : {"    jmp_lt L0\n", "    1 3  ; \"total\"\n", ".segments start 1\n"})
        EXPECT_NE(listing.find(line), std::string::npos) << line << listing;
}

// Functions, localized texts and operands by name, as written by hand.
const char* kProgram =
    ".file version 0x1000B\n"
    ".global bits 4\n    0 \"total\"\n.end\n"
    ".functions bits 2\n"
    ".function 0 \"add\" segment 1 bits 3\n    param \"a\"\n    param & \"b\"\n"
    "    local \"sum\"\n.end\n"
    ".function 1 \"twice\" segment 1 offset 20\n    param \"x\"\n.end\n"
    ".function 2 \"mail\" segment -1 offset -1 flags 1\n.end\n"
    ".languages bits 2\n"
    ".language 0 \"en\" bits 3\n"
    "    \"greet\" text \"Hello, \" var \"name\" text \"!\"\n    \"empty\"\n.end\n"
    ".language 1 \"de\"\n    \"greet\" text \"Hallo \" var \"name\"\n    \"GREET\" 0\n.end\n"
    ".pieces\n    5 kind 7 \"odd\" next 0\n.end\n"
    ".segments start 0\n"
    ".segment 0\n    pushi 2\n    pushg total\n    call add\n    popg \"count\"\n"
    "    pushs script_name\n    localize \"greet\"\n    exit\n.end\n"
    ".segment 1\n    pushl a\n    pushl \"b\"\n    add\n    popl sum\n    retn\n    noop\n"
    "    noop\n    pushl x\n    call \"ADD\"\n    retn\n.end\n";

TEST_F(AssemblerTest, FunctionsTextsAndNamesRoundTrip) {
    std::string listing = RoundTrip(kProgram);
    for (const char* line :
         {".functions bits 2\n", "    param 2  ; \"a\"\n", "    param &3  ; \"b\"\n",
          "    local 4  ; \"sum\"\n",
          ".function 2 7 segment -1 offset -1 flags 1 bits 8  ; \"mail\"\n", ".languages bits 2\n",
          "    0 text 10 next 1  ; \"Hello, \"\n", "    1 var 11 next 2  ; \"name\"\n",
          "    5 kind 7 19 next 0  ; \"odd\"\n", ".language 0 8 bits 3  ; \"en\"\n",
          "    13 -1  ; \"empty\"\n", "    pushg 0  ; \"total\"\n", "    call 0  ; \"add\"\n",
          "    popg 1  ; \"count\"\n", "    pushs 0  ; \"script_name\"\n", "    pushl 1  ; \"b\"\n",
          "    popl 2  ; \"sum\"\n", "    pushl 0  ; \"x\"\n"})
        EXPECT_NE(listing.find(line), std::string::npos) << line << listing;
    // An old file: every language lists the one index, the first language's.
    std::string program = kProgram;
    program.replace(program.find("0x1000B"), 7, "0x10007");
    listing = RoundTrip(program);
    EXPECT_NE(listing.find("bits 3  ; \"de\"\n    9 0  ; \"greet\"\n"), std::string::npos)
        << listing;
}

TEST_F(AssemblerTest, MistakesNameTheirLine) {
    struct Case {
        const char* text;
        const char* error;
    } cases[] = {
        {"pushc 1\n", "line 1, column 1: expected a directive such as .dictionary or .segment"},
        {".segment 1\n.end\n", "line 1, column 1: expected .segment 0"},
        {".segment 0\n  out\n", "line 1, column 1: missing .end of .segment"},
        {".dictionary\n  1 \"x\"\n.end\n", "line 2, column 3: expected dictionary id 0"},
        {".global bits 3\n  0 7\n.end\n", "line 2, column 5: no such dictionary id"},
        {".file version\n", "line 1, column 7: version needs a number"},
        {".file colour 3\n", "line 1, column 7: unknown option of .file"},
        {".segment 0\n  12\n.end\n", "line 2, column 3: expected an instruction"},
        {".segment 0\n  call nothing\n.end\n", "line 2, column 8: unknown function nothing"},
        {".segment 0\n  pushl x\n.end\n",
         "line 2, column 9: local x is not in the code of a function"},
        {".segment 0\n  pushi x\n.end\n", "line 2, column 9: expected a number"},
        {".function 1 \"f\"\n.end\n", "line 1, column 1: expected .function 0 and a name"},
        {".function 0 \"f\"\n  param\n.end\n", "line 2, column 3: expected a name"},
        {".function 0 \"f\"\n  local \"x\" 3\n.end\n",
         "line 2, column 13: a local takes only its name"},
        {".language 0 \"en\"\n  \"t\" say \"x\"\n.end\n",
         "line 2, column 7: expected a piece: text, var or kind"},
        {".language 0 \"en\"\n.end\n.language 1 \"EN\"\n.end\n",
         "line 3, column 13: language named twice"},
        {".pieces\n  1 text \"x\"\n.end\n", "line 2, column 3: expected piece 0"},
        {".global\n 0 \"a\"\n.end\n.global\n.end\n",
         "line 4, column 1: .global must come once, before its variables are named"}};
    for (const Case& c : cases)
        EXPECT_EQ(assemble(c.text, "bad.oxc"), c.error) << c.text;
}

TEST_F(AssemblerTest, TheDisassemblerRefusesBrokenFiles) {
    std::ofstream(path("short.oxc")) << "Oxin";
    EXPECT_EQ(list("short.oxc"),
              "error: " + path("short.oxc") +
                  ": header at offset 0: File is either corrupt or not a valid compiled Oxin "
                  "Script file");
    ASSERT_EQ(assemble(".segment 0\n  out\n.end\n", "good.oxc"), "");
    std::string good = bytes("good.oxc");
    std::ofstream(path("cut.oxc"), std::ios::binary) << good.substr(0, good.size() - 5);
    EXPECT_EQ(list("cut.oxc").rfind("error: ", 0), 0u);
    // The "segs" entry of the directory claims 4 bytes fewer.
    good[good.find("segs") + 8] -= 4;
    std::ofstream(path("short-segs.oxc"), std::ios::binary) << good;
    EXPECT_EQ(list("short-segs.oxc")
                  .rfind("error: " + path("short-segs.oxc") + ": \"segs\" at offset 69: ", 0),
              0u)
        << list("short-segs.oxc");
}

}  // namespace
