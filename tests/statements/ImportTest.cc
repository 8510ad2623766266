// OxIMPORT and OxEXPORT through listings over a data directory of the
// test's: records at every kind of line end read in blocks of any size,
// filters and stops, failing files and a failing machine, and a round trip
// through a python3 reader and writer made from the format's rules.
#include <gtest/gtest.h>
#include <stdio.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ScriptFiles.h"
#include "tests/support/TempDirectory.h"

namespace {

using Places = std::vector<std::pair<std::string, std::string>>;

// Prints the records of out.txt as the engine's listing prints them, and
// writes them to py.txt twice, ending them with LF, CR, CR LF and nothing.
const char* const kPythonFormat = R"PY(import sys, re
data, records = open(sys.argv[1] + "/out.txt", "rb").read(), []
for line in re.split(rb"\r\n|\r|\n", data)[:-1]:
    unescaped = re.sub(rb"\\(.)", lambda m: {b"n": b"\n", b"r": b"\r"}.get(m[1], m[1]), line, flags=re.S)
    records.append(unescaped.split(b"<>"))
    sys.stdout.buffer.write(b"[" + b"|".join(records[-1]) + b"]")
escape = lambda v: v.replace(b"\\", b"\\\\").replace(b"\n", b"\\n").replace(b"\r", b"\\r")
lines = [b"<>".join(escape(v) for v in record) for record in records]
open(sys.argv[1] + "/py.txt", "wb").write(b"\n".join(lines) + b"\r" + b"\r\n".join(lines))
)PY";

class ImportTest : public ::testing::Test {
  protected:
    void SetUp() override { app_.files().InitializeDataDirectory(data_.path().c_str()); }

    // The output of a listing with its places filled; arm runs once it is
    // loaded.
    std::string Run(
        const std::string& name, const Places& places = {}, int result = 1,
        const std::function<void()>& arm = [] {}) {
        std::string listing =
            read_file(OXIN_SOURCE_DIR "/tests/statements/scripts-import/" + name + ".oxs");
        for (const auto& [from, to] : places)
            for (size_t at; (at = listing.find(from)) != std::string::npos;)
                listing.replace(at, from.size(), to);
        StringOutput output;
        app_.SetOutput(&output);
        ScriptRun run(listing, &app_);
        EXPECT_EQ(run.error(), "");
        arm();
        EXPECT_EQ(run.Go(), result) << name;
        app_.files().faults().Clear();
        app_.SetOutput(nullptr);
        return output.text();
    }

    // Prints the records of the bytes as [recno:a|b|c], then {the error}.
    std::string Records(const std::string& input, const std::string& delimiter = ",",
                        const std::string& file = "in.txt") {
        std::ofstream(data_.Path("in.txt"), std::ios::binary) << input;
        return Run("records", {{"$FILE", file}, {"$DELIMITER", delimiter}});
    }

    TempDirectory data_;
    TestApplication app_;
};

TEST_F(ImportTest, RecordsSplitAtEveryLineEndInBlocksOfAnySize) {
    struct Row {
        const char *input, *delimiter, *output;
    } rows[] = {
        {"", ",", "{}"},
        {"x,y\nz", ",", "[1:x|y|][2:z||]{}"},
        {"a\rb\r\nc\n\r\n", ",", "[1:a||][2:b||][3:c||][4:||]{}"},
        {"a\n\nb\r", ",", "[1:a||][2:||][3:b||]{}"},
        {"p\tq\t\tr\t\t", "\\t\\t", "[1:p\tq|r|]{}"},
        {"1,2,3,4,5\n6\n", ",", "[1:1|2|3][2:6||]{}"},
        {"x\\ny\\\\z\\q\\r,\\,\\", ",", "[1:x\ny\\zq\r||]{}"},
        {"aab<a<<>c", "ab", "[1:a|<a<<>c|]{}"},
        {"a,b", "", "[1:a,b||]{}"},
    };
    for (int size : {8192, 1, 2, 3}) {
        app_.config()->SetValue_Integer(kConfigBufszImport, size);
        for (const Row& row : rows)
            EXPECT_EQ(Records(row.input, row.delimiter), row.output) << size << ": " << row.input;
    }
    std::string value(50000, 'v'), escaped;
    for (size_t i = 0; i < value.size(); i += 997)
        value[i] = "\n\r\\"[i % 3];
    for (char byte : value)
        escaped += byte == '\n'   ? "\\n"
                   : byte == '\r' ? "\\r"
                   : byte == '\\' ? "\\\\"
                                  : std::string(1, byte);
    EXPECT_EQ(Records(escaped + ";tail\r\nnext", ";"), "[1:" + value + "|tail|][2:next||]{}");
}

TEST_F(ImportTest, FiltersAndStops) {
    std::ofstream(data_.Path("in.txt")) << "1\n2\nx\n3\nstop\n4\n";
    struct Row {
        const char *filter, *output;
    } rows[] = {
        {"", "[1:1][2:2][3:x][4:3][5:stop]{5:}6"},
        {"  ", "[1:1][2:2][3:x][4:3][5:stop]{5:}6"},
        {"a GT 1 AND a NE 'x'", "[1:2][2:3][3:stop]{3:}6"},
        {"a EQ '4'", "[1:4]{1:}6"},
        {"a eq 'none'", "{0:}6"},
        {"a GT (", "{0:Syntax error in filter: "},
    };
    for (const Row& row : rows) {
        std::string output = Run("filter", {{"$FILTER", row.filter}});
        EXPECT_EQ(output.substr(0, strlen(row.output)), row.output) << row.filter;
        EXPECT_EQ(output.back(), '6') << row.filter;
    }
    std::string output = Run("filter-local", {}, 0);
    EXPECT_EQ(output.substr(0, 16), "2x32x3stop|stop|");
    EXPECT_NE(output.find("Invalid instruction"), std::string::npos) << output;
}

TEST_F(ImportTest, FailuresReachTheScript) {
    EXPECT_EQ(Records("", ",", "no.txt").substr(0, 24), "{Error opening 'no.txt':");
    EXPECT_EQ(Records("", ",", "../in.txt").substr(0, 16), "{Error opening '");
    EXPECT_EQ(Records("one\n"), "[1:one||]{}");
    remove(data_.Path("in.txt").c_str());
    EXPECT_EQ(Run("records", {{"$FILE", "in.txt"}, {"$DELIMITER", ","}}).substr(0, 24),
              "{Error opening 'in.txt':");

    // A read that fails first is the statement's error; one that fails in
    // mid-file ends the file quietly after what was gathered.
    app_.config()->SetValue_Integer(kConfigBufszImport, 4);
    std::ofstream(data_.Path("in.txt")) << "ab\ncd\nef\n";
    for (auto [nth, output] :
         {std::pair{1, "{Error reading from 'in.txt': "}, std::pair{2, "[1:ab||][2:c||]{}"}}) {
        std::string text = Run("records", {{"$FILE", "in.txt"}, {"$DELIMITER", ","}}, 1,
                               [&] { app_.files().faults().FailNth(FileFault::kRead, nth); });
        EXPECT_EQ(text.substr(0, strlen(output)), output) << nth;
    }

    // A failed open or a torn write of an export leaves the other records
    // whole.
    for (auto [kind, text] :
         {std::pair{FileFault::kOpen, "[Unable to create file 'out.txt': "},
          std::pair{FileFault::kWrite, "[Unable to write to file 'out.txt'.]"}}) {
        for (int nth = 1; nth <= 3; nth++) {
            remove(data_.Path("out.txt").c_str());
            std::string output =
                Run("export-three", {}, 1, [&] { app_.files().faults().FailNth(kind, nth); });
            std::string file = "1,1\n2,2\n3,3\n", n = std::to_string(nth);
            EXPECT_EQ(read_file(data_.Path("out.txt")), file.erase(file.find(n + "," + n), 4));
            EXPECT_EQ(output.find(text), static_cast<size_t>(2 * (nth - 1))) << output;
            EXPECT_EQ(std::count(output.begin(), output.end(), '['), 3) << output;
        }
    }
}

TEST_F(ImportTest, ExportedValuesReadBackEqualHereAndInPython) {
    std::string record = "[a<|>b|back\\slash\\|line\nfeed|car\rriage|crlf\r\n|\xe9\xff\x80||\\n]";
    EXPECT_EQ(Run("export-import", {{"$READ", "out.txt"}}), record + record);
    std::ofstream(data_.Path("format.py")) << kPythonFormat;
    std::string command = "/usr/bin/python3 " + data_.Path("format.py") + " " + data_.path();
    FILE* python = popen(command.c_str(), "r");
    std::string printed(4096, '\0');
    printed.resize(python ? fread(printed.data(), 1, printed.size(), python) : 0);
    ASSERT_TRUE(python && pclose(python) == 0) << "python3 (Debian package python3) failed";
    EXPECT_EQ(printed, record + record);
    EXPECT_EQ(Run("export-import", {{"$READ", "py.txt"}}), record + record + record + record);
}

}  // namespace
