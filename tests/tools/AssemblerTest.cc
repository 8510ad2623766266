#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/TestApplication.h"
#include "tools/Assembler.h"
#include "tools/Disassembler.h"

namespace {

class AssemblerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/oxin-asm-XXXXXX";
        directory_ = mkdtemp(pattern);
    }
    void TearDown() override {
        std::string command = "rm -rf " + directory_;
        ASSERT_EQ(system(command.c_str()), 0);
    }
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
    std::string path(const std::string& name) { return directory_ + "/" + name; }

    std::string directory_;
    TestApplication app_;
};

std::string from_hex(const char* text) {
    std::string out;
    for (const char* p = text; *p;) {
        if (*p == ' ') {
            p++;
            continue;
        }
        out += static_cast<char>(std::stoi(std::string(p, 2), nullptr, 16));
        p += 2;
    }
    return out;
}

TEST_F(AssemblerTest, HelloIsTheWorkedExampleByteForByte) {
    ASSERT_EQ(assemble(".segment 0\n    pushc \"Hello\"\n    out\n.end\n", "hello.oxc"), "");
    std::string expected = from_hex(
        "4F78696E 0B000100 00000000000000000000000000000000 71000000 07000000"
        "01000000 05000000 00000000 00000000 05000000 48656C6C6F"
        "0000 08 00000000"
        "0000 08 00000000"
        "0000 08 00000000"
        "00000000"
        "01000000 00000000 00000000 08000000 0140000000001500"
        "0000 08 00000000"
        "64696374 20000000 19000000"
        "73797374 39000000 07000000"
        "676C626C 40000000 07000000"
        "6C6F636C 47000000 07000000"
        "6C6F6364 4E000000 04000000"
        "73656773 52000000 18000000"
        "66756E63 6A000000 07000000");
    EXPECT_EQ(expected.size(), 197u);
    EXPECT_EQ(bytes("hello.oxc"), expected);
}

TEST_F(AssemblerTest, ListingsAssembleToTheSameBytes) {
    const char* source =
        ".file version 0x10007 flags 1 signature 1 2 0xFFFFFFFF 4\n"
        ".dictionary\n"
        "    0 \"counter\"\n"
        "    1 \"line\\n\\x01\"\n"
        ".end\n"
        ".system bits 0\n"
        "    0 \"script_name\"\n"
        ".end\n"
        ".global bits 4\n"
        "    0 0\n"
        "    1 \"total\"\n"
        "    2 \"TOTAL\"\n"
        ".end\n"
        ".segments start 1\n"
        ".segment 0\n"
        ".end\n"
        ".segment 1\n"
        "again:\n"
        "    incg 0, 1\n"
        "    cmpgi 0, 10\n"
        "    jmp_lt again\n"
        "    pushf -0.25\n"
        "    pushc \"done\"\n"
        "    cat\n"
        "    out\n"
        ".end\n";
    ASSERT_EQ(assemble(source, "first.oxc"), "");
    std::string listing = list("first.oxc");
    ASSERT_EQ(assemble(listing, "second.oxc"), "") << listing;
    EXPECT_EQ(bytes("second.oxc"), bytes("first.oxc"));
    EXPECT_EQ(list("second.oxc"), listing);
    EXPECT_NE(listing.find("    jmp_lt L0\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find("    1 3  ; \"total\"\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find(".segments start 1\n"), std::string::npos) << listing;
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
    };
    for (const Case& c : cases)
        EXPECT_EQ(assemble(c.text, "bad.oxc"), c.error) << c.text;
}

TEST_F(AssemblerTest, TheDisassemblerRefusesBrokenFiles) {
    std::ofstream(path("short.oxc")) << "Oxin";
    EXPECT_EQ(list("short.oxc"), "error: " + path("short.oxc") +
                                     ": header: File is either corrupt or not a valid compiled "
                                     "Oxin Script file");
    ASSERT_EQ(assemble(".segment 0\n  out\n.end\n", "good.oxc"), "");
    std::string good = bytes("good.oxc");
    std::ofstream(path("cut.oxc"), std::ios::binary) << good.substr(0, good.size() - 5);
    EXPECT_EQ(list("cut.oxc").rfind("error: ", 0), 0u);
}

}  // namespace
