#pragma once

#include <ftw.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <string>

// A fresh directory under /tmp for the files of one test, removed with
// everything in it when the test ends.
class TempDirectory {
  public:
    TempDirectory() {
        char pattern[] = "/tmp/oxin-test-XXXXXX";
        EXPECT_NE(mkdtemp(pattern), nullptr);
        path_ = pattern;
    }
    ~TempDirectory() {
        nftw(
            path_.c_str(),
            [](const char* path, const struct stat*, int, struct FTW*) { return remove(path); }, 16,
            FTW_DEPTH | FTW_PHYS);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::string& path() const { return path_; }
    std::string Path(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};
