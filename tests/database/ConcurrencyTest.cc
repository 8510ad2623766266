#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "database/QTXIndexFile.h"
#include "tests/database/TableFixture.h"
#include "tools/XBaseIndexChecker.h"

namespace {

constexpr int kWriters = 4;
#if defined(__SANITIZE_ADDRESS__)
constexpr int kAppends = 500;
constexpr int kUpdates = 250;
#else
constexpr int kAppends = 2000;
constexpr int kUpdates = 1000;
#endif

using ConcurrencyTest = TableFixture;

const unsigned char* Key(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.c_str());
}

std::string Value(int writer, int sequence, int version) {
    return "w" + std::to_string(writer) + "-" + std::to_string(sequence) + "-" +
           std::to_string(version);
}

// One writer process: appends its records and changes random ones of its
// own, keeping the index in step, then writes down what each of its records
// must hold. Returns the exit status.
int Writer(const std::string& directory, int writer, int appends = kAppends,
           int updates = kUpdates) {
    TestApplication app;
    if (!app.files().InitializeDataDirectory(directory.c_str())) return 10;
    XBaseTable table(&app);
    QTXIndexFile index(&app);
    if (!table.Open(OxinPathData, "shared.dbf", 10, 3)) return 11;
    if (!index.Open(OxinPathData, "shared.qtx", 3)) return 12;
    std::mt19937 random(writer);
    std::vector<int> records;  // record number of each sequence number
    std::map<int, std::string> last;
    int appended = 0, updated = 0;
    while (appended < appends || updated < updates) {
        bool append =
            updated >= updates || records.empty() || (appended < appends && random() % 3 != 0);
        if (append) {
            std::string value = Value(writer, appended, 0);
            TableFixture::SetRow(table, {std::to_string(writer), std::to_string(appended), value});
            if (!table.Append()) return 13;
            int record = table.recordnum();
            if (!index.Insert(record, Key(value), static_cast<int>(value.size()))) return 14;
            records.push_back(record);
            last[record] = value;
            appended++;
        } else {
            int sequence = static_cast<int>(random() % records.size());
            int record = records[sequence];
            if (!table.Goto(record)) return 15;
            std::string old = TableFixture::Field(table, 2)->data();
            std::string value = Value(writer, sequence, ++updated);
            TableFixture::Field(table, 2)->Set(String(value.c_str()));
            if (!table.Update()) return 16;
            if (!index.Delete(record, Key(old), static_cast<int>(old.size())) ||
                !index.Insert(record, Key(value), static_cast<int>(value.size()))) {
                return 17;
            }
            last[record] = value;
        }
    }
    std::ofstream expected(directory + "/expected-" + std::to_string(writer));
    for (auto& [record, value] : last)
        expected << record << " " << value << "\n";
    return 0;
}

pid_t StartWriter(const std::string& directory, int writer, int appends = kAppends,
                  int updates = kUpdates) {
    pid_t pid = fork();
    if (pid == 0) _exit(Writer(directory, writer, appends, updates));
    return pid;
}

// Four processes append and update one table with one index at once: every
// record is there once with its last value, and the index matches.
TEST_F(ConcurrencyTest, WritersShareOneTableAndIndex) {
    {
        XBaseTable table(&app_);
        Create(table, "shared.dbf",
               {{"WRITER", 'N', 2, 0}, {"SEQ", 'N', 6, 0}, {"VALUE", 'C', 20, 0}});
        QTXIndexFile index(&app_);
        ASSERT_TRUE(index.Create(OxinPathData, "shared.qtx", Key("value"), QTXString));
    }
    std::vector<pid_t> children;
    for (int writer = 1; writer <= kWriters; writer++)
        children.push_back(StartWriter(directory_.path(), writer));
    for (pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }

    std::map<int, std::string> expected;
    for (int writer = 1; writer <= kWriters; writer++) {
        std::ifstream in(directory_.Path("expected-" + std::to_string(writer)));
        int record;
        std::string value;
        while (in >> record >> value)
            EXPECT_TRUE(expected.emplace(record, value).second) << "record " << record << " twice";
    }
    XBaseTable table(&app_);
    ASSERT_TRUE(Open(table, "shared.dbf"));
    ASSERT_EQ(table.numrecords(), kWriters * kAppends);
    ASSERT_EQ(expected.size(), static_cast<size_t>(kWriters * kAppends));
    int turns = 0;  // how often the writer changes from one record to the next
    std::string previous;
    for (int record = 1; record <= table.numrecords(); record++) {
        ASSERT_TRUE(table.Goto(record));
        turns += previous != Field(table, 0)->data();
        previous = Field(table, 0)->data();
        ASSERT_EQ(Field(table, 2)->data(), expected[record]) << "record " << record;
        std::string owner =
            "w" + std::string(Field(table, 0)->data()) + "-" + Field(table, 1)->data() + "-";
        ASSERT_EQ(expected[record].rfind(owner, 0), 0u) << "record " << record;
    }
    EXPECT_GT(turns, 4 * kWriters) << "the writers did not run at the same time";
    std::string bytes = Bytes("shared.dbf");
    EXPECT_EQ(bytes.size(), static_cast<size_t>(table.headerlength() +
                                                table.numrecords() * table.recordlength() + 1));
    EXPECT_EQ(bytes.back(), '\x1A');

    QTXIndexFile index(&app_);
    ASSERT_TRUE(index.Open(OxinPathData, "shared.qtx", 3));
    EXPECT_EQ(index.updatecount(), static_cast<unsigned int>(kWriters * (kAppends + 2 * kUpdates)));
    XBaseIndexChecker checker(&index, &table);
    EXPECT_TRUE(checker.Check()) << checker.problems().front();
    EXPECT_NE(checker.summary().find("keys compared"), std::string::npos);
}

// Runs oxin-dbf with arguments in directory; its output goes to the file
// "report" there.
int OxinDbf(const std::string& directory, const std::string& arguments) {
    std::string command = "cd " + directory + " && " + OXIN_BINARY_DIR + "/bin/oxin-dbf " +
                          arguments + " >report 2>&1";
    int status = system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Writers killed at random moments leave indexes out of step with the
// table; oxin-dbf --reindex rebuilds them from it, keeping each index's
// expression, flags and geometry, and oxin-dbf then finds them consistent.
// An index whose expression is not a list of fields is refused untouched.
TEST_F(ConcurrencyTest, ReindexRepairsTheIndexesOfKilledWriters) {
    XBaseTable table(&app_);
    Create(table, "shared.dbf", {{"WRITER", 'N', 2, 0}, {"SEQ", 'N', 6, 0}, {"VALUE", 'C', 20, 0}});
    // The writers keep the first; the others are kept by none, and the
    // second has a small order of its own.
    QTXIndexFile index(&app_);
    for (auto [name, expression, flags] : {std::tuple{"shared.qtx", "value", QTXString},
                                           {"seq.qtx", "seq . writer", QTXDescending},
                                           {"upper.qtx", "upper(value)", QTXString}}) {
        ASSERT_TRUE(index.Create(OxinPathData, name, Key(expression), flags));
    }
    index.Close();
    std::string seq = Bytes("seq.qtx"), upper = Bytes("upper.qtx");
    seq[17] = 4;
    Put("seq.qtx", seq);
    std::mt19937 random(5);
    for (int round = 0; round < 4; round++) {
        std::vector<pid_t> children;
        for (int writer = 1; writer <= 3; writer++)
            children.push_back(
                StartWriter(directory_.path(), round * 3 + writer, 1 << 30, 1 << 30));
        for (pid_t pid : children) {
            usleep(2000 + random() % 30000);
            kill(pid, SIGKILL);
            ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
        }
    }
    EXPECT_EQ(OxinDbf(directory_.path(), "--no-records shared.dbf shared.qtx seq.qtx"), 1);

    ASSERT_EQ(OxinDbf(directory_.path(), "--reindex shared.dbf shared.qtx seq.qtx"), 0)
        << Bytes("report");
    EXPECT_EQ(OxinDbf(directory_.path(), "--no-records shared.dbf shared.qtx seq.qtx"), 0)
        << Bytes("report");
    EXPECT_NE(Bytes("report").find("keys compared with the table"), std::string::npos);
    std::string rebuilt = Bytes("seq.qtx");  // order, then flags and expression
    EXPECT_EQ(rebuilt.substr(17, 2) + rebuilt.substr(23, 17),
              std::string("\x04\x00\x02\x00\x00\x00seq . writer\0", 19));

    EXPECT_EQ(OxinDbf(directory_.path(), "--reindex shared.dbf upper.qtx"), 1);
    EXPECT_NE(Bytes("report").find("'upper(value)' is not a list of the table's fields"),
              std::string::npos)
        << Bytes("report");
    EXPECT_EQ(Bytes("upper.qtx"), upper);
}

}  // namespace
