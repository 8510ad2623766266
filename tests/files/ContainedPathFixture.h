#pragma once

#include <fcntl.h>
#include <ftw.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "files/UNIXFileManager.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestApplication.h"

// Security bits of flags_security, per class.
enum {
    kScriptSymlinks = 0x1,
    kScriptOtherOwner = 0x2,
    kDataSymlinks = 0x4,
    kDataOtherOwner = 0x8,
    kDataAbsolute = 0x10,
    kScriptAbsolute = 0x20,
    kTempSymlinks = 0x100,
    kTempOtherOwner = 0x200
};

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

inline const char* const kOutsideData =
    "The specified path references a path outside the configured data directory";
inline const char* const kOutsideScript =
    "The specified path references a path outside the configured script directory";
inline const char* const kOutsideTemporary =
    "The specified path references a path outside the configured temporary directory";
inline const char* const kNoDirectory =
    "The specified path references a directory that does not exist";
inline const char* const kSymlink = "The specified path references a symbolic link";
inline const char* const kDirectoryOtherOwner =
    "The specified path references a symbolic link to a directory owned by a different user";
inline const char* const kLinkOtherOwner =
    "The specified path references a symbolic link to a directory or file owned by a different "
    "user";
inline const char* const kRecursive = "The specified path references a recursive symbolic link";

// Whatever a test leaves in a directory tree, seen from outside: every
// entry's type, size, mode, owner, times and (for files) contents, plus the
// target of every link.
inline std::map<std::string, std::string> snapshot_tree(const std::string& top) {
    static std::map<std::string, std::string>* into;
    std::map<std::string, std::string> result;
    into = &result;
    nftw(
        top.c_str(),
        [](const char* path, const struct stat* st, int, struct FTW*) {
            std::string row =
                std::to_string(st->st_mode) + "/" + std::to_string(st->st_size) + "/" +
                std::to_string(st->st_uid) + "/" + std::to_string(st->st_mtim.tv_sec) + "." +
                std::to_string(st->st_mtim.tv_nsec) + "/" + std::to_string(st->st_ctim.tv_nsec);
            if (S_ISLNK(st->st_mode)) {
                char target[4096];
                ssize_t n = readlink(path, target, sizeof(target) - 1);
                row += "->" + std::string(target, n > 0 ? n : 0);
            } else if (S_ISREG(st->st_mode)) {
                int fd = open(path, O_RDONLY);
                char buffer[4096];
                ssize_t n = fd >= 0 ? read(fd, buffer, sizeof(buffer)) : -1;
                if (fd >= 0) close(fd);
                row += ":" + std::string(buffer, n > 0 ? n : 0);
            }
            (*into)[path] = row;
            return 0;
        },
        16, FTW_PHYS);
    return result;
}

// Watches a tree that must stay untouched: afterwards no entry may have been
// opened, read, written, created, removed or had its attributes changed, and
// the tree must look as before.
class UntouchedTree {
  public:
    explicit UntouchedTree(const std::string& top) : top_(top), before_(snapshot_tree(top)) {
        fd_ = inotify_init1(IN_NONBLOCK);
        for (const auto& entry : before_) {
            struct stat st;
            if (lstat(entry.first.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
                inotify_add_watch(fd_, entry.first.c_str(), IN_ALL_EVENTS | IN_DONT_FOLLOW);
            }
        }
    }
    ~UntouchedTree() {
        if (fd_ >= 0) close(fd_);
    }

    ::testing::AssertionResult Untouched() {
        char buffer[8192];
        ssize_t n = read(fd_, buffer, sizeof(buffer));
        close(fd_);
        fd_ = -1;
        if (n > 0) {
            auto* event = reinterpret_cast<inotify_event*>(buffer);
            return ::testing::AssertionFailure()
                   << "outside tree was touched: event mask 0x" << std::hex << event->mask
                   << " on '" << (event->len ? event->name : "(the directory)") << "'";
        }
        if (snapshot_tree(top_) != before_) {
            return ::testing::AssertionFailure() << "outside tree changed";
        }
        return ::testing::AssertionSuccess();
    }

  private:
    std::string top_;
    std::map<std::string, std::string> before_;
    int fd_ = -1;
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
        int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ASSERT_GE(fd, 0) << path;
        ASSERT_EQ(write(fd, content.data(), content.size()), (ssize_t)content.size());
        close(fd);
    }
    static std::string Get(const std::string& path) {
        int fd = open(path.c_str(), O_RDONLY);
        if (fd < 0) return "<missing>";
        std::string content;
        char buffer[4096];
        ssize_t n;
        while ((n = read(fd, buffer, sizeof(buffer))) > 0)
            content.append(buffer, n);
        close(fd);
        return content;
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

    TestApplication app_;
    TempDirectory directory_;
    std::string base_ = directory_.path(), data_, script_, temp_, outside_;
    mode_t old_umask_ = 022;
};
