// OxIMPORT and OxEXPORT through listings over a data directory of the
// test's: records split at every kind of line end and read in blocks of any
// size, filters, stops, failures of the file and of the machine under it,
// and round trips with a reader and a writer in python3 made from the
// format's rules.
#include <gtest/gtest.h>
#include <stdio.h>

#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ScriptFiles.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestApplication.h"

namespace {

const std::string kScripts = OXIN_SOURCE_DIR "/tests/statements/scripts-import/";
using Places = std::vector<std::pair<std::string, std::string>>;

// The delimited text format as its rules say, apart from the engine: "read
// FILE DELIMITER" prints each record's fields in hex, comma-separated;
// "write FILE DELIMITER HEX..." writes one record of those values for each
// line end that a file can have, the last without one.
const char* const kPythonFormat = R"(import sys
mode, path, delimiter = sys.argv[1], sys.argv[2], sys.argv[3].encode()
if mode == "read":
    data, records, record, at = open(path, "rb").read(), [], bytearray(), 0
    while at < len(data):
        byte = data[at]; at += 1
        if byte in b"\r\n":
            if byte == 13 and data[at:at + 1] == b"\n": at += 1
            records.append(bytes(record)); record = bytearray()
        elif byte == 92 and at < len(data):
            following = data[at]; at += 1
            record += {110: b"\n", 114: b"\r"}.get(following, bytes([following]))
        elif byte != 92:
            record.append(byte)
    if record: records.append(bytes(record))
    for record in records:
        print(",".join(field.hex() for field in record.split(delimiter)))
else:
    escape = lambda value: value.replace(b"\\", b"\\\\").replace(b"\n", b"\\n").replace(b"\r", b"\\r")
    line = delimiter.join(escape(bytes.fromhex(value)) for value in sys.argv[4:])
    open(path, "wb").write(line + b"\n" + line + b"\r" + line + b"\r\n" + line)
)";

std::string Hex(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char byte : bytes)
        hex += std::string{digits[byte >> 4], digits[byte & 15]};
    return hex;
}

// bytes as a string of the assembly text.
std::string Quoted(const std::string& bytes) {
    std::string text;
    for (unsigned char byte : bytes) {
        if (byte < 32 || byte > 126 || byte == '"' || byte == '\\') {
            char escape[8];
            snprintf(escape, sizeof escape, "\\x%02x", byte);
            text += escape;
        } else {
            text += static_cast<char>(byte);
        }
    }
    return text;
}

class ImportTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.files().InitializeDataDirectory(data_.path().c_str()));
    }

    // The output of a listing with its places filled; arm runs once the
    // script is loaded.
    std::string Run(const std::string& name, const Places& places, int result = 1,
                    const std::function<void()>& arm = [] {}) {
        std::string listing = read_file(kScripts + name + ".oxs");
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

    std::string Records(const std::string& input, const std::string& delimiter) {
        Put("in.txt", input);
        return Run("records", {{"$FILE", "in.txt"}, {"$DELIMITER", Quoted(delimiter)}});
    }

    void Put(const std::string& name, const std::string& bytes) {
        std::ofstream(data_.Path(name), std::ios::binary) << bytes;
    }

    // What python3 prints for the format's arguments.
    std::string Python(const std::string& arguments) {
        std::ofstream(data_.Path("format.py")) << kPythonFormat;
        std::string command = "/usr/bin/python3 " + data_.Path("format.py") + " " + arguments;
        FILE* pipe = popen(command.c_str(), "r");
        std::string text;
        char block[4096];
        for (size_t n; pipe && (n = fread(block, 1, sizeof block, pipe)) > 0;)
            text.append(block, n);
        EXPECT_TRUE(pipe && pclose(pipe) == 0) << "python3 (Debian package python3) failed";
        return text;
    }

    TempDirectory data_;
    TestApplication app_;
};

TEST_F(ImportTest, RecordsSplitAtEveryLineEndInBlocksOfAnySize) {
    struct Row {
        const char* input;
        const char* delimiter;
        const char* output;
    } rows[] = {
        {"", ",", "{}"},
        {"x,y\nz", ",", "[1:x|y|][2:z||]{}"},
        {"a\rb\r\nc\n\r\n", ",", "[1:a||][2:b||][3:c||][4:||]{}"},
        {"a\n\nb\r", ",", "[1:a||][2:||][3:b||]{}"},
        {"p\tq\t\tr\t\t", "\t\t", "[1:p\tq|r|]{}"},
        {"1,2,3,4,5\n6\n", ",", "[1:1|2|3][2:6||]{}"},
        {"x\\ny\\\\z\\q\\r,\\,\\", ",", "[1:x\ny\\zq\r||]{}"},
        {"aab<a<<>c", "ab", "[1:a|<a<<>c|]{}"},
        {"a,b", "", "[1:a,b||]{}"},
    };
    for (int size : {8192, 1, 2, 3}) {
        app_.config()->SetValue_Integer(kConfigBufszImport, size);
        for (const Row& row : rows)
            EXPECT_EQ(Records(row.input, row.delimiter), row.output)
                << "size " << size << ": " << Quoted(row.input);
    }
}

TEST_F(ImportTest, HugeRecordSpansManyBlocks) {
    std::string value(50000, 'v'), escaped;
    for (size_t i = 0; i < value.size(); i += 997)
        value[i] = "\n\r\\"[i % 3];
    for (char byte : value)
        escaped += byte == '\n' ? "\\n" : byte == '\r' ? "\\r" : byte == '\\' ? "\\\\" : std::string(1, byte);
    EXPECT_EQ(Records(escaped + ";tail\r\nnext", ";"), "[1:" + value + "|tail|][2:next||]{}");
}

TEST_F(ImportTest, FiltersAndStops) {
    Put("in.txt", "1\n2\nx\n3\nstop\n4\n");
    struct Row {
        const char* filter;
        const char* output;
    } rows[] = {
        {"", "[1:1][2:2][3:x][4:3][5:stop]{5:}6"},
        {"  ", "[1:1][2:2][3:x][4:3][5:stop]{5:}6"},
        {"a GT 1 AND a NE 'x'", "[1:2][2:3][3:stop]{3:}6"},
        {"a EQ '4'", "[1:4]{1:}6"},
        {"a eq 'none'", "{0:}6"},
        {"a GT (", "{0:Syntax error in filter: "},
    };
    for (const Row& row : rows) {
        std::string output = Run("filter", {{"$FILTER", Quoted(row.filter)}});
        EXPECT_EQ(output.substr(0, strlen(row.output)), row.output) << row.filter;
        EXPECT_EQ(output.back(), '6') << row.filter;
    }
    std::string output = Run("filter-local", {}, 0);
    EXPECT_EQ(output.substr(0, 16), "2x3stop|2x3stop|");
    EXPECT_NE(output.find("Invalid instruction"), std::string::npos) << output;
}

TEST_F(ImportTest, FilesThatCannotBeRead) {
    EXPECT_EQ(Run("records", {{"$FILE", "missing.txt"}, {"$DELIMITER", ","}}).substr(0, 29),
              "{Error opening 'missing.txt':");
    EXPECT_EQ(Run("records", {{"$FILE", "../outside.txt"}, {"$DELIMITER", ","}}).substr(0, 16),
              "{Error opening '");
    EXPECT_EQ(Records("one\n", ","), "[1:one||]{}");
    ASSERT_EQ(remove(data_.Path("in.txt").c_str()), 0);
    EXPECT_EQ(Run("records", {{"$FILE", "in.txt"}, {"$DELIMITER", ","}}).substr(0, 24),
              "{Error opening 'in.txt':");

    // A read that fails first is the statement's error; one that fails in
    // mid-file ends the file quietly after what was gathered.
    app_.config()->SetValue_Integer(kConfigBufszImport, 4);
    Put("in.txt", "ab\ncd\nef\n");
    for (auto [nth, output] : {std::pair{1, "{Error reading from 'in.txt': "},
                               std::pair{2, "[1:ab||][2:c||]{}"}}) {
        std::string text = Run("records", {{"$FILE", "in.txt"}, {"$DELIMITER", ","}}, 1,
                               [&] { app_.files().faults().FailNth(FileFault::kRead, nth); });
        EXPECT_EQ(text.substr(0, strlen(output)), output) << nth;
    }
}

TEST_F(ImportTest, ExportedValuesReadBackEqual) {
    const std::vector<std::string> values = {
        "a<", ">b", "back\\slash\\", "line\nfeed", "car\rriage", "crlf\r\n", "\xe9\xff\x80", "",
        "\\n"};
    std::string record = "[", hex;
    for (const std::string& value : values) {
        record += value + (&value == &values.back() ? "]" : "|");
        hex += (hex.empty() ? "" : ",") + Hex(value);
    }
    EXPECT_EQ(Run("export-import", {{"$READ", "out.txt"}}), record + record);
    EXPECT_EQ(Python("read " + data_.Path("out.txt") + " '<>'"), hex + "\n" + hex + "\n");

    std::string arguments = "write " + data_.Path("py.txt") + " '<>'";
    for (const std::string& value : values)
        arguments += " '" + Hex(value) + "'";
    Python(arguments);
    EXPECT_EQ(Run("export-import", {{"$READ", "py.txt"}}), record + record + record + record);
}

TEST_F(ImportTest, FailuresOfTheMachineLeaveWholeRecords) {
    const std::string all = "first,first\nsecond,second\nthird,third\n";
    for (FileFault kind : {FileFault::kOpen, FileFault::kWrite}) {
        for (int nth = 1; nth <= 3; nth++) {
            remove(data_.Path("out.txt").c_str());
            std::string output = Run("export-three", {}, 1,
                                     [&] { app_.files().faults().FailNth(kind, nth); });
            std::string expected = kind == FileFault::kOpen
                                       ? "Unable to create file 'out.txt': "
                                       : "Unable to write to file 'out.txt'.";
            std::vector<std::string> reports = {"[]", "[]", "[]"};
            reports[nth - 1] = "[" + expected;
            size_t at = 0;
            for (const std::string& report : reports) {
                EXPECT_EQ(output.substr(at, report.size()), report) << nth << ": " << output;
                at = output.find(']', at) + 1;
            }
            std::string file = read_file(data_.Path("out.txt"));
            size_t line = 0;
            for (int i = 0; i < nth - 1; i++)
                line = all.find('\n', line) + 1;
            EXPECT_EQ(file, all.substr(0, line) + all.substr(all.find('\n', line) + 1))
                << "fault " << static_cast<int>(kind) << " at " << nth;
        }
    }
}

}  // namespace
