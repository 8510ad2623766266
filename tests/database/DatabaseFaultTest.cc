// The database statements with the machine failing under them: through the
// file seam the nth open, read, write or lock fails (a write after putting
// half its bytes on the disk) during OxADD, OxUPDATE and OxPACK on a table
// with a memo and two indexes, for every n until the statement completes.
// Each failure must reach the script as the statement's error with the
// system's text, leak no descriptor, lock or temporary file, and leave the
// table readable with indexes that agree with it, or that a rebuild makes
// agree; a rewrite in place never needs the rebuild.
#include <dirent.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/database/TableFixture.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"

namespace {

const char* const kFiles[] = {"t.dbf", "t.dbt", "name.qtx", "id.qtx"};

int OpenDescriptors() {
    int count = 0;
    DIR* listing = opendir("/proc/self/fd");
    while (readdir(listing))
        count++;
    closedir(listing);
    return count;
}

// Whether another process can lock the whole file for writing.
bool Unlocked(const std::string& path) {
    pid_t pid = fork();
    if (pid == 0) {
        int fd = open(path.c_str(), O_RDWR);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        _exit(fd >= 0 && fcntl(fd, F_SETLK, &lock) == 0 ? 0 : 1);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Opens the table with both indexes, runs body and prints the error of tag
// (empty on success) between brackets.
std::string Listing(const std::string& body, int tag, const char* error) {
    return ".segment 0\n    tagerror 28, 0\n    tagerror " + std::to_string(tag) +
           ", 0\n    pushc \"t\"\n    pushc \"t.dbf\"\n    pushc \"name.qtx, id.qtx\"\n"
           "    pushc \"\"\n    pushc \"\"\n    pushc \"\"\n    dbopen\n    pushnc \"OxOPEN_Error\"\n"
           "    out\n" +
           body + "    pushc \"[\"\n    out\n    pushnc \"" + error +
           "\"\n    out\n    pushc \"]\"\n    out\n.end\n";
}

const std::string kSetFields =
    "    pushc \"a new name\"\n    popdc \"t\", \"name\"\n    pushi 999\n    popdc \"t\", \"id\"\n"
    "    pushc \"a note that needs more than one memo block, written anew: "
    "................................................................................"
    "................................................................................"
    "................................................................................"
    "...........................................................................\"\n"
    "    popdc \"t\", \"note\"\n";
const std::string kAdd = kSetFields + "    pushc \"t\"\n    pushc \"\"\n    dbadd\n";
const std::string kUpdate = "    pushc \"t\"\n    pushc \"\"\n    pushi 7\n    dbgo\n" + kSetFields +
                            "    pushc \"t\"\n    pushc \"\"\n    dbupdate\n";
// A new note alone: the record, its memo and the header's date are written
// back, and no key changes.
const std::string kRewrite =
    "    pushc \"t\"\n    pushc \"\"\n    pushi 5\n    dbgo\n    pushc \"" +
    std::string(1500, 'r') +
    "\"\n    popdc \"t\", \"note\"\n    pushc \"t\"\n    pushc \"\"\n    dbupdate\n";
const std::string kPack = "    pushc \"t\"\n    dbpack\n";

class DatabaseFaultTest : public TableFixture {
  protected:
    void SetUp() override {
        TableFixture::SetUp();
        std::string body =
            "    pushc \"t\"\n    pushc \"t.dbf\"\n    pushc \"\"\n"
            "    pushc \"id NUMBER(6), name CHAR(30), note MEMO\"\n    dbcreate\n";
        for (int id = 1; id <= 40; id++) {
            body += "    pushi " + std::to_string(id) + "\n    popdc \"t\", \"id\"\n    pushc \"name " +
                    std::to_string(id * 7919 % 100) + "\"\n    popdc \"t\", \"name\"\n    pushc \"" +
                    std::string(300 + id * 20, 'n') +
                    "\"\n    popdc \"t\", \"note\"\n    pushc \"t\"\n    pushc \"\"\n    dbadd\n";
        }
        body += "    pushc \"t\"\n    pushc \"\"\n    pushi 3\n    dbgo\n"
                "    pushc \"t\"\n    pushc \"\"\n    dbdelete\n";
        for (const char* index : {"name", "id"})
            body += std::string("    pushc \"t\"\n    pushc \"") + index + ".qtx\"\n    pushc \"" +
                    index + "\"\n    pushc \"\"\n    dbmakeindex\n";
        ASSERT_EQ(Run(".segment 0\n" + body + ".end\n"), "");
        for (const char* name : kFiles)
            pristine_.push_back(Bytes(name));
    }

    // The script's output; arm runs after the script is loaded.
    std::string Run(const std::string& listing, const std::function<void()>& arm = [] {}) {
        StringOutput output;
        app_.SetOutput(&output);
        ScriptRun run(listing, &app_);
        EXPECT_EQ(run.error(), "");
        arm();
        run.Go();
        app_.SetOutput(nullptr);
        return output.text();
    }

    std::vector<std::string> Files() {
        std::vector<std::string> names;
        DIR* listing = opendir(directory_.path().c_str());
        while (dirent* entry = readdir(listing))
            if (entry->d_name[0] != '.') names.push_back(entry->d_name);
        closedir(listing);
        std::sort(names.begin(), names.end());
        return names;
    }

    // Runs listing with the nth operation of kind failing, for n from 1 until
    // the statements complete, on the files as they were after set-up.
    // in_place: the statement rewrites a record, and no failure may leave an
    // index to rebuild.
    void WalkFailures(FileFault kind, const std::string& listing, bool in_place) {
        std::vector<std::string> files = Files();
        for (long n = 1;; n++) {
            for (size_t i = 0; i < pristine_.size(); i++)
                Put(kFiles[i], pristine_[i]);
            int descriptors = OpenDescriptors();
            std::string output =
                Run(listing, [this, kind, n] { app_.files().faults().FailNth(kind, n); });
            bool fired = app_.files().faults().fired();
            app_.files().faults().Clear();
            std::string where = "failure " + std::to_string(n) + " of kind " +
                                std::to_string(static_cast<int>(kind)) + ": " + output;
            EXPECT_EQ(Files(), files) << where;
            EXPECT_EQ(OpenDescriptors(), descriptors) << where;
            for (const char* name : kFiles)
                EXPECT_TRUE(Unlocked(directory_.Path(name))) << name << " after " << where;
            bool repaired = false;
            EXPECT_TRUE(Consistent(&repaired)) << where;
            if (!fired) {
                EXPECT_EQ(output, "[]") << where;
                EXPECT_FALSE(repaired) << where;
                return;
            }
            // The system's text, but for a lock, whose text is the engine's own.
            bool told = output.find("Input/output error") != std::string::npos ||
                        (kind == FileFault::kLock &&
                         output.find("Error locking '") != std::string::npos);
            EXPECT_TRUE(told) << where;
            EXPECT_EQ(output.find("Fatal"), std::string::npos) << where;
            EXPECT_FALSE(in_place && repaired) << where;
        }
    }

    // The table reads whole and each index agrees with it, if need be after a
    // rebuild from the table, which *repaired then tells.
    bool Consistent(bool* repaired) {
        return TableFixture::Consistent("t.dbf", 2, {"name.qtx", "id.qtx"}, repaired);
    }

    std::vector<std::string> pristine_;
};

TEST_F(DatabaseFaultTest, EveryFailureOfAddUpdateAndPackReachesTheScript) {
    struct Statement {
        std::string body;
        int tag;
        const char* error;
        bool in_place;
    };
    for (const Statement& statement : {Statement{kAdd, 38, "OxADD_Error", false},
                                       Statement{kUpdate, 35, "OxUPDATE_Error", false},
                                       Statement{kRewrite, 35, "OxUPDATE_Error", true},
                                       Statement{kPack, 40, "OxPACK_Error", false}}) {
        for (FileFault kind :
             {FileFault::kOpen, FileFault::kRead, FileFault::kWrite, FileFault::kLock})
            WalkFailures(kind, Listing(statement.body, statement.tag, statement.error),
                         statement.in_place);
    }
}

}  // namespace
