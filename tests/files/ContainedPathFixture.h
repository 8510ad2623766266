#pragma once

#include <ftw.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "files/UNIXFileManager.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestApplication.h"

// Security bits of flags_security, per class.
constexpr int kScriptSymlinks = 0x1, kScriptOtherOwner = 0x2, kDataSymlinks = 0x4,
              kDataOtherOwner = 0x8, kDataAbsolute = 0x10, kScriptAbsolute = 0x20,
              kTempSymlinks = 0x100, kTempOtherOwner = 0x200;
constexpr uid_t kNobody = 65534;

// Expects the manager's operation to fail (false or null) with the text.
#define EXPECT_REFUSED(operation, text)        \
    do {                                       \
        EXPECT_FALSE(operation) << #operation; \
        EXPECT_EQ(Text(), text) << #operation; \
    } while (0)

// Giving a file to another owner takes root; elsewhere such tests are skipped.
#define REQUIRE_ROOT() \
    if (geteuid() != 0) GTEST_SKIP() << "needs root to give files to another owner"

#define REFERENCES "The specified path references "
inline const char* const kOutsideData = REFERENCES "a path outside the configured data directory";
inline const char* const kOutsideScript =
    REFERENCES "a path outside the configured script directory";
inline const char* const kOutsideTemporary =
    REFERENCES "a path outside the configured temporary directory";
inline const char* const kNoDirectory = REFERENCES "a directory that does not exist";
inline const char* const kSymlink = REFERENCES "a symbolic link";
inline const char* const kDirectoryOtherOwner =
    REFERENCES "a symbolic link to a directory owned by a different user";
inline const char* const kLinkOtherOwner =
    REFERENCES "a symbolic link to a directory or file owned by a different user";
inline const char* const kRecursive = REFERENCES "a recursive symbolic link";
#undef REFERENCES

// Watches a tree that must stay untouched: no entry of it may be opened,
// read, written, created, removed, moved or have its attributes changed.
class UntouchedTree {
  public:
    explicit UntouchedTree(const std::string& top) : fd_(inotify_init1(IN_NONBLOCK)) {
        static std::vector<std::string>* into;
        std::vector<std::string> directories;
        into = &directories;  // gathered first: adding watches while walking would see the walk
        nftw(
            top.c_str(),
            [](const char* path, const struct stat*, int type, struct FTW*) {
                if (type == FTW_D) into->push_back(path);
                return 0;
            },
            16, FTW_PHYS);
        for (const std::string& directory : directories)
            inotify_add_watch(fd_, directory.c_str(), IN_ALL_EVENTS | IN_DONT_FOLLOW);
    }
    ~UntouchedTree() {
        if (fd_ >= 0) close(fd_);
    }

    ::testing::AssertionResult Untouched() {
        char buffer[8192];
        ssize_t n = read(fd_, buffer, sizeof(buffer));
        close(fd_);
        fd_ = -1;
        if (n <= 0) return ::testing::AssertionSuccess();
        auto* event = reinterpret_cast<inotify_event*>(buffer);
        return ::testing::AssertionFailure()
               << "outside tree was touched: event mask 0x" << std::hex << event->mask << " on '"
               << (event->len ? event->name : "(the directory)") << "'";
    }

  private:
    int fd_;
};

// A fresh directory per test: base/data is the data root, base/script the
// script root, base/temp a temporary root (not set up by default), and
// base/outside a sentinel tree that contained operations must never reach.
class ContainedPathFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        old_umask_ = umask(022);
        data_ = base_ + "/data";
        script_ = base_ + "/script";
        temp_ = base_ + "/temp";
        outside_ = base_ + "/outside";
        for (const std::string& dir : {data_, script_, temp_, outside_, outside_ + "/dir"}) {
            ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
        }
        Put(outside_ + "/secret", "secret");
        Put(outside_ + "/dir/inner", "inner");
        ASSERT_TRUE(files().InitializeDataDirectory(data_.c_str())) << Text();
        ASSERT_TRUE(files().InitializeScriptDirectory(script_.c_str(), nullptr)) << Text();
    }

    void TearDown() override {
        chdir("/");
        umask(old_umask_);
    }

    UNIXFileManager& files() { return app_.files(); }
    std::string Text() { return files().error().c_str(); }

    static void Put(const std::string& path, const std::string& content) {
        ASSERT_TRUE(std::ofstream(path, std::ios::binary) << content) << path;
    }
    static std::string Get(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "<missing>";
    }
    static bool Present(const std::string& path) {
        struct stat st;
        return lstat(path.c_str(), &st) == 0;
    }
    static void Link(const std::string& target, const std::string& link) {
        ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0) << link;
    }
    static void GiveToNobody(const std::string& path) {
        ASSERT_EQ(lchown(path.c_str(), kNobody, kNobody), 0) << path << ": " << strerror(errno);
    }
    // Reads a whole contained file through the manager; "<refused>" when the
    // open fails.
    std::string ReadContained(Oxin_PathType type, const std::string& path) {
        File* file = files().Open(type, path.c_str(), FileOpenRead);
        if (!file) return "<refused>";
        std::string content;
        char buffer[256];
        int n;
        while ((n = file->Read(buffer, sizeof(buffer))) > 0)
            content.append(buffer, n);
        delete file;
        return content;
    }
    bool Opens(Oxin_PathType type, const std::string& path, int flags) {
        File* file = files().Open(type, path.c_str(), flags);
        delete file;
        return file != nullptr;
    }
    // Makes a temporary file (like MakeTemporaryLike when dir is null), writes
    // "abc" into it and gives back its name; "<refused>" on failure.
    std::string Temporary(Oxin_PathType type, const char* dir, const char* prefix) {
        char* name = nullptr;
        File* file = dir ? files().MakeTemporary(type, dir, prefix, &name, FileOpenWrite)
                         : files().MakeTemporaryLike(type, prefix, &name, FileOpenWrite);
        if (!file) {
            EXPECT_EQ(name, nullptr);
            return "<refused>";
        }
        EXPECT_EQ(file->Write(String("abc")), 3);
        delete file;
        std::string result = name;
        delete[] name;
        return result;
    }

    TestApplication app_;
    TempDirectory directory_;
    std::string base_ = directory_.path(), data_, script_, temp_, outside_;
    mode_t old_umask_ = 022;
};
