#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/database/TableFixture.h"
#include "tests/support/ScriptFiles.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"

namespace {

const char* const kPython = "/usr/bin/python3";
const std::string kScript = std::string(OXIN_SOURCE_DIR) + "/tests/database/dbf_interop.py";

// The Debian packages of the readers and writers that are not on this
// machine, or "" when all are.
std::string MissingPackages() {
    std::string missing;
    for (auto [probe, package] : {std::pair{" -c 'import dbf'", "python3-dbf"},
                                  {" -c 'import dbfread'", "python3-dbfread"},
                                  {nullptr, "gdal-bin"}}) {
        std::string command = probe ? kPython + std::string(probe) : "command -v ogrinfo";
        if (system((command + " >/dev/null 2>&1").c_str()) != 0)
            missing += " " + std::string(package);
    }
    return missing;
}

// Runs command and gives its standard output and exit status.
std::string RunCommand(const std::string& command, int* status) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return output;
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        output.append(buffer, n);
    *status = pclose(pipe);
    return output;
}

std::string Json(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        char escape[8];
        snprintf(escape, sizeof escape, c < 0x20 || c == '"' || c == '\\' ? "\\u%04x" : "%c", c);
        out += escape;
    }
    return out + "\"";
}

struct Row {
    bool deleted;
    std::vector<std::string> values;
};

class InteropTest : public TableFixture {
  protected:
    void SetUp() override {
        TableFixture::SetUp();
        std::string missing = MissingPackages();
        ASSERT_EQ(missing, "") << "install the Debian packages:" << missing;
    }

    // Writes what the readers must find and lets them compare.
    void ExpectReadersAgree(const std::string& table, const std::vector<FieldSpec>& fields,
                            const std::vector<Row>& rows) {
        std::ofstream expected(directory_.Path("expected.json"));
        expected << "{\"fields\": [";
        for (size_t i = 0; i < fields.size(); i++) {
            expected << (i ? ", " : "") << "[" << Json(fields[i].name) << ", \"" << fields[i].type
                     << "\", " << fields[i].length << ", " << fields[i].decimals << "]";
        }
        expected << "], \"records\": [";
        for (size_t i = 0; i < rows.size(); i++) {
            expected << (i ? ", " : "") << "{\"deleted\": " << (rows[i].deleted ? "true" : "false")
                     << ", \"values\": [";
            for (size_t j = 0; j < rows[i].values.size(); j++)
                expected << (j ? ", " : "") << Json(rows[i].values[j]);
            expected << "]}";
        }
        expected << "]}";
        expected.close();
        int status = -1;
        std::string report =
            RunCommand(std::string(kPython) + " " + kScript + " check " + directory_.Path(table) +
                           " " + directory_.Path("expected.json") + " 2>&1",
                       &status);
        EXPECT_EQ(status, 0) << report;
    }

    // The records that oxin-dbf lists for a table.
    std::string Listed(const std::string& table) {
        int status = -1;
        std::string output = RunCommand(
            std::string(OXIN_BINARY_DIR) + "/bin/oxin-dbf " + directory_.Path(table), &status);
        EXPECT_EQ(status, 0) << output;
        std::istringstream lines(output);
        std::string line, records;
        while (std::getline(lines, line))
            if (isdigit(static_cast<unsigned char>(line[0]))) records += line + "\n";
        return records;
    }

    // Runs scripts-interop/NAME.oxs over the data directory and gives what
    // it printed.
    std::string RunListing(const std::string& name) {
        StringOutput output;
        app_.SetOutput(&output);
        ScriptRun run(read_file(OXIN_SOURCE_DIR "/tests/database/scripts-interop/" + name + ".oxs"),
                      &app_);
        EXPECT_EQ(run.error(), "");
        EXPECT_EQ(run.Go(), 1) << output.text();
        return output.text();
    }

    // oxin-dbf opens each index (names separated by blanks) and finds it
    // consistent with the table.
    void ExpectIndexesConsistent(const std::string& table, const std::string& indexes) {
        int status = -1;
        std::string output = RunCommand("cd " + directory_.path() +
                                            " && " OXIN_BINARY_DIR "/bin/oxin-dbf --no-records " +
                                            table + " " + indexes,
                                        &status);
        EXPECT_EQ(status, 0) << output;
    }
};

const std::vector<FieldSpec> kPeople = {{"NAME", 'C', 20, 0},  {"AGE", 'N', 3, 0},
                                        {"BORN", 'D', 8, 0},   {"MEMBER", 'L', 1, 0},
                                        {"NOTES", 'M', 10, 0}, {"AMOUNT", 'N', 10, 2}};

TEST_F(InteropTest, OtherToolsReadTheEnginesTablesAndMemos) {
    std::string lines;
    for (int i = 0; i < 120; i++)
        lines += "line " + std::to_string(i) + " of a longer memo\n";
    std::vector<Row> rows = {
        {false, {"Alice", "30", "19960501", "T", "likes tea", "12.50"}},
        {false, {"Bob", "-41", "        ", "F", std::string(510, 'a'), "-3.25"}},
        {false,
         {"Carla Maria Exactly!", "0", "20000229", "?", std::string(511, 'b'), "1234567.80"}},
        {false, {"Dan", "", "19700101", "T", lines, ".5"}},
        {false, {"Eve", "7", "20261122", "F", "", "0.00"}},
        {true, {"Gone", "1", "19000101", "F", "deleted but kept", "1.00"}},
    };
    XBaseTable table(&app_);
    Create(table, "people.dbf", kPeople);
    for (const Row& row : rows)
        AppendRow(table, row.values);
    // A changed memo leaves a dead block behind; readers must follow the new one.
    ASSERT_TRUE(table.Goto(1));
    rows[0].values[4] = "now likes coffee";
    Field(table, 4)->Set(String(rows[0].values[4].c_str()));
    ASSERT_TRUE(table.Update());
    ASSERT_TRUE(table.Goto(6));
    ASSERT_TRUE(table.UpdateDeleted(1));
    ExpectReadersAgree("people.dbf", kPeople, rows);

    const std::vector<FieldSpec> plain = {{"CODE", 'C', 6, 0}, {"QTY", 'N', 5, 0}};
    XBaseTable codes(&app_);
    Create(codes, "codes.dbf", plain);
    std::vector<Row> code_rows;
    for (int i = 0; i < 500; i++) {
        code_rows.push_back({false, {"C" + std::to_string(i * 7), std::to_string(i * 13 % 997)}});
        AppendRow(codes, code_rows.back().values);
    }
    ExpectReadersAgree("codes.dbf", plain, code_rows);
}

TEST_F(InteropTest, TheEngineReadsTablesOfOtherTools) {
    for (auto [command, table] :
         {std::pair{" write-dbf ", "people.dbf"}, {" write-gdal ", "gdal.dbf"}}) {
        int status = -1;
        std::string expected =
            RunCommand(kPython + (" " + kScript) + command + directory_.path(), &status);
        ASSERT_EQ(status, 0) << command;
        EXPECT_EQ(Listed(table), expected);
    }

    // The engine appends to a table that python-dbf made, and python-dbf
    // still reads all of it.
    XBaseTable table(&app_);
    ASSERT_TRUE(Open(table, "people.dbf")) << table.error().c_str();
    ASSERT_EQ(table.numrecords(), 4);
    AppendRow(table, {"Fred", "55", "19800808", "T", "added by the engine", "99.99"});
    std::string bob_notes = "line one\nline two " + std::string(600, 'x');
    std::vector<Row> rows = {
        {false, {"Alice", "30", "19960501", "T", "likes tea", "12.50"}},
        {false, {"Bob", "-41", "        ", "F", bob_notes, "-3.25"}},
        {false, {"Carla Maria Exactly!", "0", "20000229", "?", "", "1234567.80"}},
        {false, {"Fred", "55", "19800808", "T", "added by the engine", "99.99"}},
        {true, {"Dan", "7", "19700101", "T", std::string(510, 'y'), "0.00"}},
    };
    // Record 4 (deleted) stays where it is for python-dbf, which keeps the
    // file's order; the readers that list deleted records apart see it last.
    std::swap(rows[3], rows[4]);
    ExpectReadersAgree("people.dbf", kPeople, rows);
}

TEST_F(InteropTest, OtherToolsReadATableThatAScriptMade) {
    EXPECT_EQ(RunListing("engine-table"), "");
    std::string long_memo;
    for (int i = 0; i < 32; i++)
        long_memo += "line one\nline two; ";
    ExpectReadersAgree("people.dbf",
                       {{"NAME", 'C', 20, 0},
                        {"AMOUNT", 'N', 10, 2},
                        {"BORN", 'D', 8, 0},
                        {"OK", 'L', 1, 0},
                        {"NOTE", 'M', 10, 0}},
                       {{false, {"Alice", "12.50", "19960501", "T", "likes tea"}},
                        {false, {"Bob", "-41.00", "20000229", "F", long_memo}},
                        {false, {"Carla Maria Exactly!", "1234567.89", "19700101", "T", ""}},
                        {true, {"Dan", "-0.50", "20261122", "F", "deleted but kept"}},
                        {false, {"Eve", "-3.12", "19991231", "T", "the last"}}});
    ExpectIndexesConsistent("people.dbf", "names.qtx amounts.qtx");
}

TEST_F(InteropTest, AScriptSearchesAndChangesTablesOfOtherTools) {
    for (const char* command : {" write-dbf ", " write-gdal "}) {
        int status = -1;
        RunCommand(kPython + (" " + kScript) + command + directory_.path(), &status);
        ASSERT_EQ(status, 0) << command;
    }
    EXPECT_EQ(RunListing("foreign-tables"),
              "-3.25 0|Carla Maria Exactly! 0|0.125000000000000 0|Eve 0|");
    ExpectReadersAgree("people.dbf", kPeople,
                       {{false, {"Alice", "30", "19960501", "T", "likes tea", "12.50"}},
                        {false, {"Bob", "-41", "        ", "F", "rewritten by a script", "-7.50"}},
                        {false, {"Carla Maria Exactly!", "0", "20000229", "?", "", "1234567.80"}},
                        {true, {"Dan", "7", "19700101", "T", std::string(510, 'y'), "0.00"}},
                        {false, {"Gail", "64", "20010911", "T", "added\nby a script", "0.10"}}});
    ExpectReadersAgree(
        "gdal.dbf",
        {{"name", 'C', 80, 0}, {"count", 'N', 10, 0}, {"price", 'N', 24, 15}, {"day", 'D', 8, 0}},
        {{false, {"Ann", "3", "12.500000000000000", "20240229"}},
         {false, {"Bob, Jr.", "-41", "0.125000000000000", "19991231"}},
         {false, {"Eva Lu", "12", "1000.000000000000000", "19700101"}},
         {false, {"Zed", "-5", "2.250000000000000", "20240101"}}});
    ExpectIndexesConsistent("people.dbf", "names.qtx");
    ExpectIndexesConsistent("gdal.dbf", "gnames.qtx");
}

}  // namespace
