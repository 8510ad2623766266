#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "tests/support/TempDirectory.h"
#include "tests/support/TestApplication.h"

namespace {

class LockTest : public ::testing::Test {
  protected:
    void SetUp() override { app_.config()->SetValue_Integer(kConfigDelayFile, 5); }
    // Names in the directory other than the lock itself: private files that
    // a taker failed to remove.
    int leftovers() {
        int count = 0;
        DIR* listing = opendir(directory_.c_str());
        while (dirent* entry = readdir(listing)) {
            std::string name = entry->d_name;
            if (name != "." && name != ".." && name != "shared.lck" && name != "counter") count++;
        }
        closedir(listing);
        return count;
    }
    void write_lock(const std::string& contents, time_t age) {
        std::ofstream(lock_) << contents;
        struct utimbuf times = {time(nullptr) - age, time(nullptr) - age};
        utime(lock_.c_str(), &times);
    }
    double seconds_to_lock(int* result) {
        auto start = std::chrono::steady_clock::now();
        *result = app_.filemanager()->Lock(lock_.c_str());
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

    TempDirectory temp_;
    const std::string directory_ = temp_.path();
    const std::string lock_ = directory_ + "/shared.lck";
    TestApplication app_;
};

// Eight processes take the lock 200 times each and increment a counter file
// under it: no increment is lost.
TEST_F(LockTest, ProcessesIncrementACounterUnderTheLock) {
    const int kProcesses = 8, kRounds = 200;
    std::string counter = directory_ + "/counter";
    std::ofstream(counter) << 0;
    for (int p = 0; p < kProcesses; p++) {
        if (fork() != 0) continue;
        TestApplication app;
        app.config()->SetValue_Integer(kConfigDelayFile, 1);
        for (int round = 0; round < kRounds; round++) {
            if (app.filemanager()->Lock(lock_.c_str()) != 0) _exit(1);
            int value = 0;
            std::ifstream(counter) >> value;
            std::ofstream(counter) << value + 1;
            if (unlink(lock_.c_str()) != 0) _exit(2);
        }
        _exit(0);
    }
    for (int p = 0; p < kProcesses; p++) {
        int status;
        wait(&status);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    int value = 0;
    std::ifstream(counter) >> value;
    EXPECT_EQ(value, kProcesses * kRounds);
    EXPECT_EQ(leftovers(), 0);
}

TEST_F(LockTest, AKilledHolderOnThisHostIsBrokenAtOnce) {
    app_.config()->SetValue_Integer(kConfigLockExpiration, 3600);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t holder = fork();
    if (holder == 0) {
        TestApplication app;
        char byte = app.filemanager()->Lock(lock_.c_str()) == 0 ? 'y' : 'n';
        if (write(ready[1], &byte, 1) != 1) _exit(1);
        pause();
        _exit(0);
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    ASSERT_EQ(byte, 'y');
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    int result;
    EXPECT_LT(seconds_to_lock(&result), 1.0);
    EXPECT_EQ(result, 0);
    close(ready[0]);
    close(ready[1]);
}

TEST_F(LockTest, AForeignLockIsBrokenOnlyByAge) {
    int result;
    app_.config()->SetValue_Integer(kConfigLockExpiration, 60);
    write_lock("", 61);  // unreadable contents count as foreign; old enough to break at once
    EXPECT_LT(seconds_to_lock(&result), 1.0);
    EXPECT_EQ(result, 0);
    app_.config()->SetValue_Integer(kConfigLockExpiration, 2);
    write_lock("4242!4242:some-other-host", 0);
    double waited = seconds_to_lock(&result);
    EXPECT_EQ(result, 0);
    EXPECT_GE(waited, 0.9);  // two clock seconds, whole seconds apart
    EXPECT_LT(waited, 5.0);
    EXPECT_EQ(leftovers(), 0);
}

TEST_F(LockTest, WithoutExpiryAForeignLockWaitsUntilCancelled) {
    app_.config()->SetValue_Integer(kConfigLockExpiration, 0);
    write_lock("garbage without a holder", 100000);
    std::thread canceller([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        app_.cancelled_flag = 1;
    });
    int result;
    double waited = seconds_to_lock(&result);
    canceller.join();
    EXPECT_EQ(result, 1);
    EXPECT_GE(waited, 0.25);
    EXPECT_STREQ(app_.filemanager()->error().c_str(), "Timed out waiting for lock");
    EXPECT_EQ(access(lock_.c_str(), F_OK), 0);
    EXPECT_EQ(leftovers(), 0);
    // Cancelled before the first attempt: no lock is made.
    unlink(lock_.c_str());
    EXPECT_EQ(app_.filemanager()->Lock(lock_.c_str()), 1);
    EXPECT_NE(access(lock_.c_str(), F_OK), 0);
}

TEST_F(LockTest, TheLockFileNamesItsHolderWhoCannotTakeItAgain) {
    FileManager& files = *app_.filemanager();
    ASSERT_EQ(files.Lock(lock_.c_str()), 0);
    std::string contents;
    std::getline(std::ifstream(lock_), contents);
    EXPECT_EQ(contents, std::to_string(getpid()) + "!" + std::to_string(getpid()) + ":" +
                            app_.lockhostname());
    int result;
    EXPECT_LT(seconds_to_lock(&result), 0.5);
    EXPECT_EQ(result, 2);
    EXPECT_STREQ(files.error().c_str(), "Possible deadlock detected");
    EXPECT_EQ(leftovers(), 0);
    // A private file that cannot be made leaves nothing behind.
    EXPECT_EQ(files.Lock((directory_ + "/no-such-dir/x.lck").c_str()), 2);
    EXPECT_STREQ(files.error().c_str(), "No such file or directory");
}

TEST_F(LockTest, ContainedLocksStayUnderTheirRoot) {
    UNIXFileManager& files = app_.files();
    ASSERT_TRUE(files.InitializeDataDirectory(directory_.c_str())) << files.error().c_str();
    EXPECT_EQ(files.Lock(OxinPathData, "missing/../shared.lck"), 0);
    EXPECT_EQ(access(lock_.c_str(), F_OK), 0);
    EXPECT_EQ(files.Lock(OxinPathData, "../escape.lck"), 2);
    EXPECT_STREQ(files.error().c_str(),
                 "The specified path references a path outside the configured data directory");
    EXPECT_EQ(files.Lock(OxinPathData, "no-such-dir/x.lck"), 2);
    EXPECT_STREQ(files.error().c_str(),
                 "The specified path references a directory that does not exist");
    EXPECT_EQ(leftovers(), 0);
}

}  // namespace
