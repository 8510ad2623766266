#include <gtest/gtest.h>
#include <libpq-fe.h>

#include <unistd.h>

#include <memory>
#include <string>

#include "host/ExternalConfig.h"
#include "tests/support/PostgresServer.h"
#include "tests/support/ScriptFiles.h"
#include "tests/support/TempDirectory.h"
#include "variables/ImmutableVariable.h"

namespace {

const std::string kAnyType = OXIN_SOURCE_DIR "/tests/database/scripts-any/";
const std::string kListings = OXIN_SOURCE_DIR "/tests/extensions/postgresql/scripts/";

// One server, with pgbouncer in front, for the whole program.
PostgresServer* server() {
    static auto* running = new PostgresServer(true);
    return running;
}

class ServerEnvironment : public ::testing::Environment {
  public:
    void TearDown() override {
        chdir("/");  // the scripts' data directories are gone
        delete server();
    }
};
const auto* const environment = ::testing::AddGlobalTestEnvironment(new ServerEnvironment);

// Runs sql on the server's own database; the error text, "" on success.
std::string RunSql(const std::string& conninfo, const std::string& sql) {
    PGconn* connection = PQconnectdb(conninfo.c_str());
    PGresult* result = PQexec(connection, sql.c_str());
    std::string error = PQresultStatus(result) == PGRES_COMMAND_OK ? "" : PQerrorMessage(connection);
    PQclear(result);
    PQfinish(connection);
    return error;
}

// A fresh database for each listing, reached directly or through pgbouncer
// (whose configuration lets any database name through).
std::string FreshDatabase(bool bouncer) {
    static int count = 0;
    std::string name = "listing" + std::to_string(++count);
    EXPECT_EQ(RunSql(server()->conninfo(), "CREATE DATABASE " + name), "");
    return (bouncer ? server()->bouncer_conninfo() : server()->conninfo()) + " dbname=" + name;
}

// Runs listing, with $TYPE standing for "postgresql" and $CONNINFO for the
// connection string that the configuration also gives; its output.
std::string RunListing(std::string listing, const std::string& conninfo) {
    TempDirectory data;
    TestApplication application;
    ExternalConfig config(&application, nullptr, nullptr, application.databasemanager(), nullptr,
                          nullptr, nullptr);
    application.files().InitializeDataDirectory(data.path().c_str());
    config.Register_Library_Database("postgresql", OXIN_POSTGRESQL_LIBRARY);
    for (auto [from, to] : {std::pair<std::string, std::string>{"$TYPE", "postgresql"},
                            {"$CONNINFO", conninfo}})
        for (size_t at; (at = listing.find(from)) != std::string::npos;)
            listing.replace(at, from.size(), to);
    StringOutput output;
    application.SetOutput(&output);
    {
        ScriptRun run(listing, &application);
        EXPECT_EQ(run.error(), "");
        run.system().SetVariable(new ImmutableVariable("postgresql_connection", 21,
                                                       conninfo.data(),
                                                       static_cast<int>(conninfo.size())));
        EXPECT_EQ(run.Go(), 1);
    }
    application.SetOutput(nullptr);
    return output.text();
}

// Runs base.oxs against a fresh database and expects base.out.
void ExpectOutput(const std::string& base, bool bouncer) {
    ASSERT_TRUE(server()->running());
    EXPECT_EQ(RunListing(read_file(base + ".oxs"), FreshDatabase(bouncer)),
              read_file(base + ".out"));
}

using Listing = std::tuple<std::string, std::string, bool>;

class PostgresListingTest : public ::testing::TestWithParam<Listing> {};

TEST_P(PostgresListingTest, PrintsWhatItsOutFileSays) {
    ExpectOutput(std::get<0>(GetParam()) + std::get<1>(GetParam()), std::get<2>(GetParam()));
}

std::string Name(const ::testing::TestParamInfo<Listing>& info) {
    return test_name(std::get<1>(info.param)) + (std::get<2>(info.param) ? "_pooled" : "_direct");
}

// The listings that every database type runs alike, and the library's own,
// each directly and through pgbouncer in transaction mode.
INSTANTIATE_TEST_SUITE_P(AnyType, PostgresListingTest,
                         ::testing::Combine(::testing::Values(kAnyType),
                                            ::testing::ValuesIn(listing_names(kAnyType)),
                                            ::testing::Bool()),
                         Name);
INSTANTIATE_TEST_SUITE_P(Library, PostgresListingTest,
                         ::testing::Combine(::testing::Values(kListings),
                                            ::testing::ValuesIn(listing_names(kListings)),
                                            ::testing::Bool()),
                         Name);

// AddressSanitizer keeps freed memory in quarantine for a while, which
// makes the peak of a long walk say nothing about what the walk held.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kQuarantine = true;
#else
constexpr bool kQuarantine = false;
#endif

// The peak resident size of this process since the last reset, in kB.
long PeakKilobytes() {
    std::string status = read_file("/proc/self/status");
    size_t at = status.find("VmHWM:");
    return at == std::string::npos ? -1 : atol(status.c_str() + at + 6);
}

void ResetPeak() {
    FILE* refs = fopen("/proc/self/clear_refs", "w");
    ASSERT_NE(refs, nullptr);
    fputs("5", refs);
    fclose(refs);
}

// A million rows stream through a view one at a time: the walk holds no
// more memory than a short one.
TEST(PostgresStreamingTest, AMillionRowsPassWithFlatMemory) {
    ASSERT_TRUE(server()->running());
    std::string conninfo = FreshDatabase(false);
    auto walk = [](const char* rows) {
        std::string listing = read_file(kListings + "../stream.oxs");
        return listing.replace(listing.find("$ROWS"), 5, rows);
    };
    RunListing(walk("10"), conninfo);  // loads the library and warms the allocator
    long peaks[2];
    std::string outputs[2];
    for (int i = 0; i < 2; i++) {
        std::string listing = walk(i ? "1000000" : "1000");
        ResetPeak();
        long before = PeakKilobytes();
        outputs[i] = RunListing(listing, conninfo);
        peaks[i] = PeakKilobytes() - before;
    }
    EXPECT_EQ(outputs[0], "1000 1000");
    EXPECT_EQ(outputs[1], "1000000 1000000");
    if (!kQuarantine) {
        EXPECT_LT(peaks[1], peaks[0] + 4096) << "kB more for a million rows than for a thousand";
    }
}

}  // namespace
