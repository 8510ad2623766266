#include <gtest/gtest.h>

#include <climits>
#include <fstream>
#include <sstream>
#include <string>

#include "application/Config.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"
#include "tests/support/TempDirectory.h"
#include "tools/Assembler.h"

namespace {

// A script directory holding a library file; the main script runs there.
class DoContextTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(
            application_.files().InitializeScriptDirectory(directory_.path().c_str(), nullptr));
        application_.SetOutput(&output_);
        Compile("lib.oxc",
                ".global\n 0 \"shared\"\n.end\n"
                ".functions\n.function 0 \"greet\" segment 1\n param \"who\"\n.end\n"
                ".segment 0\n    pushc \"lib ran; \"\n    out\n    incg shared, 1\n.end\n"
                ".segment 1\n    pushc \"hello, \"\n    pushl who\n    cat\n    ret\n.end\n");
        Compile("leave.oxc", ".segment 0\n    pushc \"leaving\"\n    out\n    exit\n.end\n");
    }

    void Compile(const std::string& name, const std::string& listing) {
        Assembler assembler;
        ASSERT_TRUE(assembler.Assemble(listing.data(), listing.size())) << assembler.error();
        ASSERT_TRUE(assembler.Write(application_.filemanager(), directory_.Path(name).c_str()));
    }

    // The listing of scripts/name.oxs, with "offset 0" made "offset " and
    // the offset given.
    static std::string Script(const std::string& name, long offset = 0) {
        std::ifstream in(OXIN_SOURCE_DIR "/tests/statements/scripts/" + name + ".oxs");
        std::stringstream listing;
        listing << in.rdbuf();
        std::string text = listing.str();
        size_t at = text.find("offset 0");
        if (at != std::string::npos) text.replace(at + 7, 1, std::to_string(offset));
        return text;
    }

    // Runs listing as main.oxc, with the max_docache limit unless it is
    // negative: the run's result and its output, as "1:output".
    std::string Run(const std::string& listing, int limit = -1) {
        if (limit >= 0) application_.config()->SetValue_Integer(kConfigMaxDocache, limit);
        StringOutput output;
        application_.SetOutput(&output);
        int result;
        {
            ScriptRun run(listing, &application_, nullptr, directory_.path(), "main.oxc");
            EXPECT_EQ(run.error(), "");
            result = run.Go();
        }
        application_.SetOutput(&output_);
        return std::to_string(result) + ":" + output.text();
    }

    TempDirectory directory_;
    TestApplication application_;
    StringOutput output_;
};

TEST_F(DoContextTest, FilesAndFunctionsOfAnotherFileShareTheGlobals) {
    EXPECT_EQ(
        Run(".global\n 0 \"shared\"\n.end\n"
            ".segment 0\n"
            "    storegi shared, 10\n"
            "    pushc \"lib.oxc\"\n    op_do_file\n"
            "    pushc \"./lib.oxc\"\n    op_do_file\n"
            "    pushg shared\n    out\n    pushc \" \"\n    out\n"
            "    pushc \"lib.oxc\"\n    pushc \"greet('Ann') $ '!'\"\n    op_do_function\n    out\n"
            "    pushc \"lib.oxc\"\n    pushc \"greet('Bo') $ '!'\"\n    op_do_function\n    out\n"
            // An exit in the target file ends the request.
            "    pushc \"leave.oxc\"\n    op_do_file\n    pushc \" not here\"\n    out\n"
            ".end\n"),
        "1:lib ran; lib ran; 12 hello, Ann!hello, Bo!leaving");
}

TEST_F(DoContextTest, FailuresBelongToTheOxDOTag) {
    EXPECT_EQ(Run(".segment 0\n"
                  "    tagerror 22, 0\n"
                  "    pushc \"missing.oxc\"\n    op_do_file\n"
                  "    pushnc \"OxDO_Error\"\n    isnull\n    out\n"
                  "    pushc \"lib.oxc\"\n    pushc \"nothing(1)\"\n    op_do_function\n    "
                  "isnull\n    out\n"
                  "    pushnc \"OxDO_Error\"\n    out\n"
                  "    tagerror 22, 3\n"
                  "    pushc \"lib.oxc\"\n    pushc \"greet(\"\n    op_do_function\n"
                  "    pushc \"never\"\n    out\n"
                  ".end\n"),
              "0:01Unable to find function 'nothing'"
              "Runtime error in main.oxc @ [00000000:0000004c]: OxDO: "
              "Mismatched Parentheses found in Expression\n");
}

TEST_F(DoContextTest, ReferencesReachTheCallersVariables) {
    Compile("refs.oxc",
            ".functions\n.function 0 \"bump\" segment 1\n param & \"n\"\n.end\n"
            ".segment 0\n.end\n"
            ".segment 1\n    pushl n\n    pushi 1\n    add\n    popl n\n    retn\n.end\n");
    std::ofstream(directory_.Path("broken.oxc")) << "Oxin and nothing more";
    EXPECT_EQ(Run(".global\n 0 \"v\"\n.end\n"
                  ".segment 0\n"
                  "    storegi v, 41\n"
                  "    pushc \"refs.oxc\"\n    pushc \"bump(g.v)\"\n    op_do_function\n    pop\n"
                  "    pushg v\n    out\n"
                  "    tagerror 22, 0\n"
                  "    pushc \"broken.oxc\"\n    op_do_file\n"
                  "    pushc \" \"\n    out\n    pushnc \"OxDO_Error\"\n    out\n"
                  ".end\n"),
              "1:42 Unable to open 'broken.oxc': File is either corrupt or not a "
              "valid compiled Oxin Script file");
}

TEST_F(DoContextTest, NestedFilesAndTheCacheLimit) {
    // a.oxc runs b.oxc, which runs lib.oxc: three files deep.
    for (std::string name : {"a", "b"}) {
        Compile(name + ".oxc", ".segment 0\n    pushc \"" + name + "; \"\n    out\n    pushc \"" +
                                   (name == "a" ? "b" : "lib") + ".oxc\"\n    op_do_file\n.end\n");
    }
    // The running contexts are kept while their nested calls load others;
    // with one context allowed, each later OxDO loads again.
    EXPECT_EQ(Run(".global\n 0 \"shared\"\n.end\n"
                  ".segment 0\n    pushc \"a.oxc\"\n    op_do_file\n"
                  "    pushc \"a.oxc\"\n    op_do_file\n    pushg shared\n    out\n.end\n",
                  1),
              "1:a; b; lib ran; a; b; lib ran; 2");
}

TEST_F(DoContextTest, EvictionKeepsWhatNestedRunsStillUse) {
    for (const char* file : {"do-a", "do-b", "do-c"})
        Compile(std::string(file) + ".oxc", Script(file));
    // File a loads b while it runs, so that b's machine was made during a's
    // run; evicting a must leave b whole, at every cache size.
    for (int limit = 1; limit <= 3; limit++)
        EXPECT_EQ(Run(Script("do-main"), limit), "1:a(b)ca(b)xxcv") << "max_docache " << limit;
}

TEST_F(DoContextTest, FunctionEntriesOutsideTheirSegmentRefuseTheFile) {
    const long bad[] = {-1, -4096, -1000000, INT_MIN, INT_MAX, 9};
    for (long offset : bad) {
        Compile("do-entry.oxc", Script("do-entry", offset));
        EXPECT_EQ(Run(Script("do-entry-main"), 0), "1:1") << "offset " << offset;
    }
    Compile("do-entry.oxc", Script("do-entry", 0));
    EXPECT_EQ(Run(Script("do-entry-main"), 0), "1:0");
}

}  // namespace
