// The machine failing in the middle of a write: through the file seam the
// nth open, read, write or lock fails (a write after putting half its bytes
// on the disk), for every n until the operation completes. Each failure must
// reach the caller as the operation's error, leak no descriptor and no lock,
// and leave the table readable with its indexes consistent or, where a torn
// index page cannot be, repairable by a rebuild from the table.
#include <dirent.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "tests/database/TableFixture.h"

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

class FaultInjectionTest : public TableFixture {
  protected:
    void SetUp() override {
        TableFixture::SetUp();
        XBaseTable table(&app_);
        Create(table, "t.dbf", {{"ID", 'N', 6, 0}, {"NAME", 'C', 30, 0}, {"NOTE", 'M', 10, 0}});
        table.Close();
        QTXIndexFile index(&app_);
        ASSERT_TRUE(index.Create(OxinPathData, "name.qtx", Key("name"), QTXString));
        ASSERT_TRUE(index.Create(OxinPathData, "id.qtx", Key("id"), 0));
        index.Close();
        for (int id = 1; id <= 60; id++)
            ASSERT_EQ(AppendWithIndexes(id), "");
        for (const char* name : kFiles)
            pristine_.push_back(Bytes(name));
    }

    static const unsigned char* Key(const char* text) {
        return reinterpret_cast<const unsigned char*>(text);
    }

    // A record with a memo and its keys in both indexes: "" or the error.
    std::string AppendWithIndexes(int id) {
        std::string name = "name " + std::to_string(id * 7919 % 1000);
        std::string note(700 + id, static_cast<char>('a' + id % 26));
        XBaseTable table(&app_);
        QTXIndexFile byname(&app_), byid(&app_);
        if (!Open(table, "t.dbf")) return table.error().c_str();
        if (!byname.Open(OxinPathData, "name.qtx", 3)) return byname.error().c_str();
        if (!byid.Open(OxinPathData, "id.qtx", 3)) return byid.error().c_str();
        SetRow(table, {std::to_string(id), name, note});
        if (!table.Append()) return table.error().c_str();
        unsigned record = static_cast<unsigned>(table.numrecords());
        std::string key = std::to_string(id);
        if (!byname.Insert(record, Key(name.c_str()), static_cast<int>(name.size())))
            return byname.error().c_str();
        if (!byid.Insert(record, Key(key.c_str()), static_cast<int>(key.size())))
            return byid.error().c_str();
        return "";
    }

    // Record 5 gets a new note: its record, its memo and the header's date
    // are written back.
    std::string RewriteRecord() {
        XBaseTable table(&app_);
        if (!Open(table, "t.dbf") || !table.Goto(5)) return table.error().c_str();
        Field(table, 2)->Set(std::string(1500, 'r').c_str(), 1500);
        return table.Update() ? "" : table.error().c_str();
    }

    // Runs operation with the nth operation of kind failing, on the files as
    // they were after set-up, for n from 1 until it completes; checks each
    // failure. Returns how many failures left an index to rebuild.
    int WalkFailures(FileFault kind, const std::function<std::string()>& operation) {
        int repaired = 0;
        for (long n = 1;; n++) {
            for (size_t i = 0; i < pristine_.size(); i++)
                Put(kFiles[i], pristine_[i]);
            int descriptors = OpenDescriptors();
            app_.files().faults().FailNth(kind, n);
            std::string error = operation();
            bool fired = app_.files().faults().fired();
            app_.files().faults().Clear();
            EXPECT_EQ(OpenDescriptors(), descriptors) << "failure " << n;
            for (const char* name : kFiles)
                EXPECT_TRUE(Unlocked(directory_.Path(name))) << name << " after failure " << n;
            if (!fired) {
                EXPECT_EQ(error, "");
                EXPECT_TRUE(Consistent(nullptr));
                return repaired;
            }
            // The system's text, but for the index's lock, whose text is its own.
            bool told = error.find("Input/output error") != std::string::npos ||
                        (kind == FileFault::kLock && error.rfind("Error locking '", 0) == 0);
            EXPECT_TRUE(told) << "failure " << n << " of kind " << static_cast<int>(kind) << ": "
                              << error;
            bool needed_repair = false;
            EXPECT_TRUE(Consistent(&needed_repair))
                << "failure " << n << " of kind " << static_cast<int>(kind) << ": " << error;
            repaired += needed_repair;
        }
    }

    // The table reads whole and each index agrees with it, after a rebuild
    // when *repair allows one (and then says so).
    bool Consistent(bool* repair) {
        return TableFixture::Consistent("t.dbf", 2, {"name.qtx", "id.qtx"}, repair);
    }

    std::vector<std::string> pristine_;
};

// A rewrite of a record leaves the indexes whole; an append may need a rebuild.
TEST_F(FaultInjectionTest, EveryFailureOfAnAppendOrARewriteIsReported) {
    for (FileFault kind :
         {FileFault::kOpen, FileFault::kRead, FileFault::kWrite, FileFault::kLock}) {
        WalkFailures(kind, [this] { return AppendWithIndexes(61); });
        EXPECT_EQ(WalkFailures(kind, [this] { return RewriteRecord(); }), 0);
    }
}

}  // namespace
