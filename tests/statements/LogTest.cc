// The log: the filter's parse and test, the layout of a record read back
// field by field, the records of a listing that calls, fails and dies, and
// the records of an OxCALL to a local nginx.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "application/ConfigKeys.h"
#include "base/Base64.h"
#include "host/LogRecord.h"
#include "tests/support/NginxServer.h"
#include "tests/support/ScriptFiles.h"
#include "tests/support/StringOutput.h"
#include "variables/Variable.h"

namespace {

// An application that keeps its records, in the file's layout, in memory.
class LogApplication : public TestApplication {
  public:
    explicit LogApplication(unsigned mask, const char* filter = "") {
        config()->SetValue_Integer(kConfigLogLevel, static_cast<int>(mask));
        ParseLogFilter(filter);
        SetOutput(&output);
    }
    ~LogApplication() override { SetOutput(nullptr); }
    void Log(unsigned kind, LogParameter* parameters) override {
        lines.push_back(LogRecord::Line(getpid(), Log_Description(kind), parameters).c_str());
    }
    // The records without their time and process: fields joined by "|".
    std::vector<std::string> Records() {
        std::vector<std::string> records;
        const std::regex layout("[A-Z][a-z]{2} [0-9 ]{2} [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}"
                                "\\.[0-9]{6}\t" + std::to_string(getpid()) + "\t([^\n]*)\n");
        std::smatch parts;
        for (const std::string& line : lines) {
            EXPECT_TRUE(std::regex_match(line, parts, layout)) << line;
            records.push_back(std::regex_replace(parts[1].str(), std::regex("\t"), "|"));
        }
        return records;
    }
    std::vector<std::string> lines;
    StringOutput output;
};

TEST(LogTest, FilterEntriesChooseFilesAndLines) {
    struct Row {
        const char* filter;
        const char* file;
        int line;
        bool logged;
    } rows[] = {
        {"", "main.oxc", 7, true},
        {"main.oxc:10-20, !lib.oxc", "main.oxc", 10, true},
        {"main.oxc:10-20, !lib.oxc", "main.oxc", 21, false},
        {"main.oxc:10-20, !lib.oxc", "lib.oxc", 15, false},
        {"main.oxc:10-20, !lib.oxc", "other.oxc", 15, false},
        {"!lib.oxc, ! x.oxc:3", "x.oxc", 3, false},
        {"!lib.oxc, ! x.oxc:3", "x.oxc", 4, true},
        {"main.oxc:20-10", "main.oxc", 15, false},
        {"main", "main.oxc", 1, false},
        {"Main.oxc", "main.oxc", 1, false},
        {" main.oxc : 5 - , ,", "main.oxc", 900, true},
        {"main.oxc:-9", "main.oxc", 9, true},
        {"main.oxc:", "main.oxc", 1, true},  // dropped: nothing left to include
        {"a.oxc garbage, main.oxc", "main.oxc", 1, true},
    };
    for (const Row& row : rows) {
        LogApplication application(0, row.filter);
        EXPECT_EQ(application.LogMatchesFilter(row.file, strlen(row.file), row.line), row.logged)
            << row.filter << " / " << row.file << ":" << row.line;
        application.log_suppressed = true;
        EXPECT_FALSE(application.LogMatchesFilter(row.file, strlen(row.file), row.line));
    }
}

// Texts keep 8-bit bytes and escape control bytes; variables show their
// form, arrays and structures their elements, recursively.
TEST(LogTest, RecordLayoutReadsBackFieldByField) {
    LogApplication application(0);
    Variable* list = new Variable(String("list"), String(""));
    list->Element(AggregateIndex(1), 1)->SetValue(String("x"));
    Variable* member = list->Element(AggregateIndex(3), 1);
    member->Element(AggregateIndex("k", 1), 1)->SetValue(String("v\n"));
    member->Element(AggregateIndex("n", 1), 1)->SetValue_Integer(7);
    Variable* number = new Variable(String("d"), String(""));
    number->SetValue_Double(0.25);
    LogParameter parameters[] = {
        LogParameter::Text("a\tb\x01\xe9\x7f", -1), LogParameter::Integer(-5),
        LogParameter::Double(2.5),    LogParameter::Of(list),
        LogParameter::Of(number),     {9, {}, 0},
        LogParameter::Text("end", 3), LogParameter::End(),
        LogParameter::Text("after the end", -1),
    };
    application.Log(kLogTrace, parameters);
    ASSERT_EQ(application.Records(),
              std::vector<std::string>{"Trace|a\\x09b\\x01\xe9\x7f|-5|2.5|"
                                       "[3] = [ x, { k: v\\x0a, n: 7 } ]|0.25||end"});
    list->DecRefCount();
    number->DecRefCount();
    EXPECT_STREQ(application.Log_Description(0x80000000), "Unknown");
}

// The records of a listing: a call with its parameter and return, traced
// lines, a runtime error and a fatal error, each at its file and line; a
// filter keeps lines 4 to 5; a file built without the log writes none.
TEST(LogTest, AListingLogsItsCallsErrorsAndLines) {
    const std::string listing =
        "$FLAGS\n.functions\n.function 0 \"twice\" segment 1\n    param \"n\"\n.end\n"
        ".global\n    0 \"a\"\n.end\n"
        ".segment 0\n    sourcefile \"main\"\n    lineno 3\n    pushi 21\n    call twice\n"
        "    out\n    lineno 4\n    tagerror 62, 1\n    pushg a\n    pushi -1\n    elem\n"
        "    pop\n    lineno 5\n    ret\n.end\n"
        ".segment 1\n    lineno 10\n    pushl n\n    pushi 2\n    mul\n    ret\n.end\n";
    const std::string error = "Runtime Error|$P|main|4|Runtime error in $P @ X: main: Line 4: "
                              "(in expression): Array index must be positive integer\\x0a";
    const std::string fatal =
        "Fatal Error|$P|main|5|Fatal error in $P @ X: main: Line 5: Frame underflow\\x0a";
    struct Row {
        const char* flags;
        const char* filter;
        std::vector<std::string> records;
    } rows[] = {
        {"", "",
         {"Trace|$P|main|3", "Function Call|main|3|twice", "Function Parameter|main|3|twice|n|21",
          "Trace|$P|main|10", "Function Return Value|main|10|twice|42",
          "Function Return|$P|main|10|twice", "Trace|$P|main|4", error, "Trace|$P|main|5",
          fatal}},
        {"", "main:4-5, !other", {"Trace|$P|main|4", error, "Trace|$P|main|5", fatal}},
        {".file flags 1", "", {}},
    };
    for (const Row& row : rows) {
        std::string text = listing;
        text.replace(text.find("$FLAGS"), 6, row.flags);
        LogApplication application(0x70000000 | 0xF0, row.filter);
        ScriptRun run(text, &application);
        ASSERT_EQ(run.error(), "");
        EXPECT_EQ(run.Go(), 0);
        std::vector<std::string> expected;
        for (const std::string& record : row.records)
            expected.push_back(std::regex_replace(record, std::regex("\\$P"), run.path()));
        std::vector<std::string> records;
        for (const std::string& record : application.Records())
            records.push_back(std::regex_replace(record, std::regex(" @ \\[[0-9a-f:]+\\]"), " @ X"));
        EXPECT_EQ(records, expected) << row.filter;
    }
}

// An OxCALL to nginx with its kind on: the request sent and the response
// received, in base64, under the statement's place; with the kind off,
// nothing.
TEST(LogTest, OxCALLTrafficToALocalServer) {
    int port = FreeLoopbackPort(1);
    NginxServer nginx("server { listen 127.0.0.1:" + std::to_string(port) + "; root $DIR; }");
    ASSERT_TRUE(nginx.running());
    std::ofstream(nginx.Path("hello.txt")) << "hello, log\n";
    const std::string listing =
        ".segment 0\n    sourcefile \"net\"\n    lineno 6\n    tagerror 14, 0\n"
        "    pushc \"http://127.0.0.1:" + std::to_string(port) + "/hello.txt\"\n"
        "    pushc \"GET\"\n    pushc \"\"\n    pushc \"\"\n    pushc \"\"\n"
        "    op_http_counted done, 5\nbody:\n    op_http_loop body\ndone:\n.end\n";
    for (unsigned mask : {kLogCall, kLogSMTP}) {
        LogApplication application(mask);
        ScriptRun run(listing, &application);
        ASSERT_EQ(run.Go(), 1);
        std::string sent, received;
        const std::string place = run.path() + "|net|6|127.0.0.1|" + std::to_string(port) + "|";
        for (const std::string& record : application.Records()) {
            ASSERT_EQ(record.rfind("OxCALL|" + place, 0), 0u) << record;
            std::string rest = record.substr(7 + place.size());
            std::string word = rest.substr(0, rest.find('|'));
            std::string data = rest.substr(word.size() + 1);
            std::string decoded(data.size(), '\0');
            decoded.resize(ox_base64_decode(data.data(), decoded.data(), data.size()));
            ASSERT_TRUE(word == "Sent" || word == "Received") << record;
            (word == "Sent" ? sent : received) += decoded;
        }
        if (mask == kLogSMTP) {
            EXPECT_EQ(application.lines.size(), 0u);
            continue;
        }
        EXPECT_EQ(sent.rfind("GET /hello.txt HTTP/1.1\r\n", 0), 0u) << sent;
        EXPECT_EQ(received.rfind("HTTP/1.1 200 OK\r\n", 0), 0u) << received;
        EXPECT_NE(received.find("\r\n\r\nhello, log\n"), std::string::npos) << received;
    }
}

}  // namespace
