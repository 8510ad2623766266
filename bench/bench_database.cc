// Tables and indexes against SQLite: 100,000 appends with one index, 100,000
// random finds of a key with the record read, and a full scan. SQLite gets
// the same rows in one transaction, with an index on the key; in WAL mode
// with a commit after each row, not waiting for the disk, which is what the
// engine's appends do; and 10,000 of them in WAL mode with a commit after
// each that waits for the disk (compared per row). The finds
// and a scan with a filter also run as scripts, through the database
// statements of a machine of their own.
#include <benchmark/benchmark.h>
#include <ftw.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/RatioReporter.h"
#include "database/QTXIndexFile.h"
#include "database/XBaseTable.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"
#include "variables/AggregateIndex.h"
#include "variables/Variable.h"

namespace {

constexpr int kRows = 100000;
// Committing every row waits for the disk each time: fewer rows for that.
constexpr int kCommittedRows = 10000;

struct Row {
    std::string key, name, amount;
};

// The same rows for both sides, keys in random order.
const std::vector<Row>& Rows() {
    static std::vector<Row> rows = [] {
        std::vector<Row> made;
        for (int i = 0; i < kRows; i++) {
            char key[16], amount[16];
            snprintf(key, sizeof key, "K%08d", i);
            snprintf(amount, sizeof amount, "%d.%02d", i % 9973, i % 100);
            made.push_back({key, "customer number " + std::to_string(i), amount});
        }
        std::shuffle(made.begin(), made.end(), std::mt19937(7));
        return made;
    }();
    return rows;
}

// Keys to look for, in another random order.
const std::vector<std::string>& Probes() {
    static std::vector<std::string> probes = [] {
        std::vector<std::string> keys;
        for (const Row& row : Rows())
            keys.push_back(row.key);
        std::shuffle(keys.begin(), keys.end(), std::mt19937(11));
        return keys;
    }();
    return probes;
}

class Directory {
  public:
    Directory() {
        char pattern[] = "/tmp/oxin-bench-XXXXXX";
        path_ = mkdtemp(pattern);
    }
    ~Directory() {
        nftw(
            path_.c_str(),
            [](const char* path, const struct stat*, int, struct FTW*) { return remove(path); }, 16,
            FTW_DEPTH | FTW_PHYS);
    }
    std::string path_;
};

const unsigned char* Raw(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.c_str());
}

// The engine's side: a table of three fields and an index on the key.
class EngineFiles {
  public:
    EngineFiles() : table_(&app_), index_(&app_) {
        app_.files().InitializeDataDirectory(directory_.path_.c_str());
        List<XBaseField> fields(1);
        fields.Insert(new XBaseField(nullptr, "KEY", XBaseCharacter, 12, 0), ListTail);
        fields.Insert(new XBaseField(nullptr, "NAME", XBaseCharacter, 30, 0), ListTail);
        fields.Insert(new XBaseField(nullptr, "AMOUNT", XBaseNumeric, 10, 2), ListTail);
        ok_ = table_.Create(OxinPathData, String("t.dbf"), "", 0, fields) &&
              index_.Create(OxinPathData, "t.qtx", Raw("key"), QTXString);
    }

    bool Append(const Row& row) {
        XBaseField* field = table_.fields().First();
        field->Set(row.key.c_str(), static_cast<int>(row.key.size()));
        table_.fields().Next()->Set(row.name.c_str(), static_cast<int>(row.name.size()));
        table_.fields().Next()->Set(row.amount.c_str(), static_cast<int>(row.amount.size()));
        return table_.Append() &&
               index_.Insert(table_.recordnum(), Raw(row.key), static_cast<int>(row.key.size()));
    }

    // Reads every field of record; adds their lengths to *bytes.
    bool Read(int record, long* bytes) {
        if (!table_.Goto(record)) return false;
        for (XBaseField* field = table_.fields().First(); field; field = table_.fields().Next())
            *bytes += static_cast<long>(strlen(field->data()));
        return true;
    }

    // Finds key and reads its record; the record's key must be the key.
    bool Find(const std::string& key, long* bytes) {
        unsigned int record = 0;
        int found = 0;
        if (!index_._Find(Raw(key), static_cast<int>(key.size()), 1, &record, &found, 1) ||
            !found || !Read(static_cast<int>(record), bytes)) {
            return false;
        }
        return key == table_.fields().First()->data();
    }

    bool ok() const { return ok_; }
    XBaseTable& table() { return table_; }
    StandaloneApplication& application() { return app_; }

  private:
    Directory directory_;
    StandaloneApplication app_;
    XBaseTable table_;
    QTXIndexFile index_;
    bool ok_;
};

// SQLite's side: the same table with an index on the key, in WAL mode if
// asked.
class SqliteFiles {
  public:
    // In WAL mode if asked, and then without waiting for the disk if asked.
    explicit SqliteFiles(bool wal = false, bool synced = true) {
        std::string path = directory_.path_ + "/t.sqlite";
        ok_ = sqlite3_open(path.c_str(), &db_) == SQLITE_OK &&
              (!wal || Exec("PRAGMA journal_mode=WAL")) &&
              (synced || Exec("PRAGMA synchronous=OFF")) &&
              Exec("CREATE TABLE t (key TEXT, name TEXT, amount NUMERIC)") &&
              Exec("CREATE INDEX t_key ON t (key)");
    }
    ~SqliteFiles() { sqlite3_close(db_); }

    bool Exec(const char* sql) {
        return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    // Inserts the first count rows; in one transaction, or each in its own.
    bool AppendAll(bool one_transaction = true, int count = kRows) {
        sqlite3_stmt* insert = nullptr;
        bool ok = (!one_transaction || Exec("BEGIN")) &&
                  sqlite3_prepare_v2(db_, "INSERT INTO t VALUES (?, ?, ?)", -1, &insert, nullptr) ==
                      SQLITE_OK;
        for (int i = 0; i < count && ok; i++) {
            const Row& row = Rows()[i];
            sqlite3_bind_text(insert, 1, row.key.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_text(insert, 2, row.name.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_text(insert, 3, row.amount.c_str(), -1, SQLITE_STATIC);
            ok = sqlite3_step(insert) == SQLITE_DONE && sqlite3_reset(insert) == SQLITE_OK;
        }
        sqlite3_finalize(insert);
        return ok && (!one_transaction || Exec("COMMIT"));
    }

    // Reads every column of every row that the condition keeps; returns
    // the rows.
    long Scan(long* bytes, const std::string& condition = "") {
        sqlite3_stmt* select = nullptr;
        std::string sql = "SELECT key, name, amount FROM t" + condition;
        if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &select, nullptr) != SQLITE_OK) return -1;
        long rows = 0;
        while (sqlite3_step(select) == SQLITE_ROW) {
            rows++;
            for (int column = 0; column < 3; column++) {
                const unsigned char* text = sqlite3_column_text(select, column);
                *bytes += text ? sqlite3_column_bytes(select, column) : 0;
            }
        }
        sqlite3_finalize(select);
        return rows;
    }

    // Looks up every key with one prepared statement, reading each row;
    // false when a key is not found exactly once.
    bool FindAll(const std::vector<std::string>& keys, long* bytes) {
        sqlite3_stmt* select = nullptr;
        const char* sql = "SELECT key, name, amount FROM t WHERE key = ?";
        if (sqlite3_prepare_v2(db_, sql, -1, &select, nullptr) != SQLITE_OK) return false;
        bool ok = true;
        for (const std::string& key : keys) {
            sqlite3_bind_text(select, 1, key.c_str(), static_cast<int>(key.size()), SQLITE_STATIC);
            int rows = 0;
            while (sqlite3_step(select) == SQLITE_ROW) {
                rows++;
                for (int column = 0; column < 3; column++) {
                    const unsigned char* text = sqlite3_column_text(select, column);
                    *bytes += text ? sqlite3_column_bytes(select, column) : 0;
                }
            }
            sqlite3_reset(select);
            if (rows != 1) ok = false;
        }
        sqlite3_finalize(select);
        return ok;
    }

    bool ok() const { return ok_; }

  private:
    Directory directory_;
    sqlite3* db_ = nullptr;
    bool ok_;
};

// The loaded files of the finds and scans, made on first use; main removes
// them at the end.
std::unique_ptr<EngineFiles> loaded_engine;
std::unique_ptr<SqliteFiles> loaded_sqlite;

EngineFiles& LoadedEngine() {
    if (!loaded_engine) {
        loaded_engine = std::make_unique<EngineFiles>();
        for (const Row& row : Rows())
            if (!loaded_engine->Append(row)) abort();
    }
    return *loaded_engine;
}

SqliteFiles& LoadedSqlite() {
    if (!loaded_sqlite) {
        loaded_sqlite = std::make_unique<SqliteFiles>();
        if (!loaded_sqlite->AppendAll()) abort();
    }
    return *loaded_sqlite;
}

// The rows whose amount is above 9000: about one in ten.
long RowsAbove9000() {
    long count = 0;
    for (const Row& row : Rows())
        count += atof(row.amount.c_str()) > 9000;
    return count;
}

// The same table through the statements: the scan walks the records that
// the filter keeps, reading their fields, and prints how many it met.
const char kFilteredScan[] = R"(.global
    0 "matches"
.end
.segment 0
    pushc "t"
    pushc "t.dbf"
    pushc ""
    pushc ""
    pushc ""
    pushc ""
    dbopen
    pushc "t"
    pushc ""
    pushc "AMOUNT GT 9000"
    dbfilter
    pushc "t"
    pushc ""
    pushc "top"
    dbgo
again:
    pushdc "t", "eof"
    jmp_ne done
    pushdc "t", "key"
    pushdc "t", "name"
    cat
    pushdc "t", "amount"
    cat
    pop
    incg matches, 1
    pushc "t"
    pushc ""
    pushi 1
    dbskip
    jmp again
done:
    pushg matches
    out
    pushc "t"
    dbclose
.end
)";

// Finds each key of the array keys[1..count] through the index, reading the
// record's fields, and prints how many records it found with the key.
const char kFinds[] = R"(.global
    0 "keys"
    1 "count"
    2 "i"
    3 "found"
.end
.segment 0
    pushc "t"
    pushc "t.dbf"
    pushc "t.qtx"
    pushc ""
    pushc ""
    pushc ""
    dbopen
again:
    incg i, 1
    pushc "t"
    pushc ""
    pushg keys
    pushg i
    elem_readonly
    pushi 1
    dbfind
    pushdc "t", "eof"
    jmp_ne next
    pushdc "t", "key"
    pushg keys
    pushg i
    elem_readonly
    eq
    jmp_eq next
    pushdc "t", "name"
    pushdc "t", "amount"
    cat
    pop
    incg found, 1
next:
    cmpgg i, count
    jmp_lt again
    pushg found
    out
    pushc "t"
    dbclose
.end
)";

// Runs listing on the loaded table; the text that it printed, or the
// reason why it did not run.
class EngineScript {
  public:
    explicit EngineScript(const char* listing) : run_(listing, &Application()) {}
    static StandaloneApplication& Application() { return LoadedEngine().application(); }

    std::string Go() {
        if (!run_.error().empty()) return run_.error();
        StringOutput output;
        Application().SetOutput(&output);
        int result = run_.Go();
        Application().SetOutput(nullptr);
        return result == 1 ? output.text() : "failed: " + output.text();
    }
    ScriptRun& run() { return run_; }

  private:
    ScriptRun run_;
};

// Making and removing the files are not part of the work timed.
void EngineAppend(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto* files = new EngineFiles;
        state.ResumeTiming();
        for (const Row& row : Rows()) {
            if (!files->Append(row)) {
                state.SkipWithError("append failed");
                break;
            }
        }
        state.PauseTiming();
        delete files;
        state.ResumeTiming();
    }
    state.counters["rows"] = kRows;
    state.counters["per row"] = benchmark::Counter(
        kRows, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// One transaction for every row, or WAL mode and one transaction a row.
enum class Commits { Once, EachSynced, EachUnsynced };

void SqliteAppend(benchmark::State& state, Commits commits) {
    bool committed = commits != Commits::Once;
    int rows = commits == Commits::EachSynced ? kCommittedRows : kRows;
    for (auto _ : state) {
        state.PauseTiming();
        auto* files = new SqliteFiles(committed, commits != Commits::EachUnsynced);
        state.ResumeTiming();
        if (!files->ok() || !files->AppendAll(!committed, rows))
            state.SkipWithError("insert failed");
        state.PauseTiming();
        delete files;
        state.ResumeTiming();
    }
    state.counters["rows"] = rows;
    state.counters["per row"] = benchmark::Counter(
        rows, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void EngineFind(benchmark::State& state) {
    EngineFiles& files = LoadedEngine();
    long bytes = 0;
    for (auto _ : state) {
        for (const std::string& key : Probes()) {
            if (!files.Find(key, &bytes)) {
                state.SkipWithError("a key was not found");
                break;
            }
        }
    }
    benchmark::DoNotOptimize(bytes);
}

void StatementFind(benchmark::State& state) {
    const std::vector<std::string>& probes = Probes();
    for (auto _ : state) {
        state.PauseTiming();
        EngineScript script(kFinds);
        Variable *keys = nullptr, *count = nullptr;
        script.run().globals().Find(&keys, "keys", 4, 1);
        script.run().globals().Find(&count, "count", 5, 1);
        for (size_t i = 0; i < probes.size(); i++)
            keys->Element(AggregateIndex(static_cast<int>(i) + 1), 1)
                ->SetValue(probes[i].c_str(), static_cast<int>(probes[i].size()));
        count->SetValue_Integer(static_cast<int>(probes.size()));
        state.ResumeTiming();
        std::string printed = script.Go();
        if (printed != std::to_string(probes.size())) {
            state.SkipWithError(("finds: " + printed).c_str());
            break;
        }
    }
}

void SqliteFind(benchmark::State& state) {
    SqliteFiles& files = LoadedSqlite();
    long bytes = 0;
    for (auto _ : state) {
        if (!files.FindAll(Probes(), &bytes)) state.SkipWithError("a key was not found");
    }
    benchmark::DoNotOptimize(bytes);
}

void EngineScan(benchmark::State& state) {
    EngineFiles& files = LoadedEngine();
    long bytes = 0;
    for (auto _ : state) {
        XBaseReadingAhead walk(&files.table());
        for (int record = 1; record <= files.table().numrecords(); record++) {
            if (!files.Read(record, &bytes)) {
                state.SkipWithError("a record could not be read");
                break;
            }
        }
    }
    benchmark::DoNotOptimize(bytes);
}

void SqliteScan(benchmark::State& state) {
    SqliteFiles& files = LoadedSqlite();
    long bytes = 0;
    for (auto _ : state) {
        if (files.Scan(&bytes) != kRows) state.SkipWithError("rows are missing");
    }
    benchmark::DoNotOptimize(bytes);
}

void StatementFilteredScan(benchmark::State& state) {
    std::string expected = std::to_string(RowsAbove9000());
    for (auto _ : state) {
        state.PauseTiming();
        EngineScript script(kFilteredScan);
        state.ResumeTiming();
        std::string printed = script.Go();
        if (printed != expected) {
            state.SkipWithError(("filtered scan: " + printed).c_str());
            break;
        }
    }
}

void SqliteFilteredScan(benchmark::State& state) {
    SqliteFiles& files = LoadedSqlite();
    long expected = RowsAbove9000();
    long bytes = 0;
    for (auto _ : state) {
        if (files.Scan(&bytes, " WHERE amount > 9000") != expected)
            state.SkipWithError("rows are missing");
    }
    benchmark::DoNotOptimize(bytes);
}

}  // namespace

BENCHMARK(EngineAppend)
    ->Name("appends, one index/oxin")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK_CAPTURE(SqliteAppend, one, Commits::Once)
    ->Name("appends, one index/sqlite")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK_CAPTURE(SqliteAppend, unsynced, Commits::EachUnsynced)
    ->Name("appends, one index/sqlite WAL unsynced, commit per row")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK_CAPTURE(SqliteAppend, each, Commits::EachSynced)
    ->Name("appends, one index/sqlite WAL, commit per row")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);
BENCHMARK(EngineFind)->Name("100000 finds/oxin")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(StatementFind)
    ->Name("100000 finds/oxin statements")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(SqliteFind)->Name("100000 finds/sqlite")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(EngineScan)->Name("full scan/oxin")->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(SqliteScan)->Name("full scan/sqlite")->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(StatementFilteredScan)
    ->Name("filtered scan/oxin statements")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK(SqliteFilteredScan)
    ->Name("filtered scan/sqlite")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

int main(int argc, char** argv) {
    int result = RunWithRatios(argc, argv);
    loaded_engine.reset();
    loaded_sqlite.reset();
    return result;
}
