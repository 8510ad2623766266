#include <dirent.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "files/File.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestApplication.h"

namespace {

int open_descriptors() {
    int count = 0;
    DIR* directory = opendir("/proc/self/fd");
    while (dirent* entry = readdir(directory)) {
        if (entry->d_name[0] != '.') count++;
    }
    closedir(directory);
    return count - 1;  // the listing's own descriptor
}

class FileCacheTest : public ::testing::Test {
  protected:
    std::string path(int i) { return directory_.Path("file" + std::to_string(i)); }

    TempDirectory directory_;
    TestApplication app_;
};

// Fifty files under a limit of three, written and read in random interleaved
// order: every byte comes back and no more than three descriptors are open.
TEST_F(FileCacheTest, FiftyFilesThroughThreeDescriptors) {
    FileManager& files = *app_.filemanager();
    files.MaxFiles(3);
    int baseline = open_descriptors();
    std::vector<std::unique_ptr<File>> handles;
    std::vector<std::string> models(50);
    for (int i = 0; i < 50; i++) {
        handles.emplace_back(files.Open(
            path(i).c_str(), FileOpenRead | FileOpenWrite | FileOpenCreate | FileOpenTruncate));
        ASSERT_NE(handles.back(), nullptr) << files.error().c_str();
        ASSERT_LE(open_descriptors() - baseline, 3);
    }
    std::mt19937 random(3);
    for (int step = 0; step < 3000; step++) {
        int i = random() % 50;
        File* file = handles[i].get();
        std::string& model = models[i];
        if (random() % 3 != 0) {
            std::string piece = std::to_string(step) + ";";
            ASSERT_EQ(file->Write(piece.data(), static_cast<int>(piece.size())),
                      static_cast<int>(piece.size()));
            model += piece;
        } else {
            long position = model.empty() ? 0 : random() % model.size();
            ASSERT_EQ(file->Seek(position), position);
            char buffer[16];
            int n = file->Read(buffer, sizeof buffer);
            ASSERT_EQ(std::string(buffer, n), model.substr(position, sizeof buffer));
            ASSERT_EQ(file->Seek(static_cast<long>(model.size())), static_cast<long>(model.size()));
        }
        ASSERT_LE(open_descriptors() - baseline, 3);
    }
    for (int i = 0; i < 50; i++) {
        EXPECT_EQ(handles[i]->Length(), static_cast<long>(models[i].size()));
    }
    handles.clear();
    EXPECT_EQ(open_descriptors(), baseline);
    EXPECT_EQ(files.active_count(), 0);
    EXPECT_EQ(files.inactive_count(), 0);
}

// Reopening without truncation at the saved position is the random run's.
TEST_F(FileCacheTest, ARemovedInactiveFileFailsAndTheOtherWorksOn) {
    FileManager& files = *app_.filemanager();
    files.MaxFiles(1);
    int flags = FileOpenRead | FileOpenWrite | FileOpenCreate | FileOpenTruncate;
    std::unique_ptr<File> a(files.Open(path(1).c_str(), flags));
    std::unique_ptr<File> b(files.Open(path(2).c_str(), flags));
    ASSERT_TRUE(a && b);
    EXPECT_EQ(files.active_count(), 1);
    ASSERT_EQ(unlink(path(1).c_str()), 0);
    char text[1];
    EXPECT_EQ(a->Read(text, 1), -1);
    EXPECT_STREQ(a->error().c_str(), "No such file or directory");
    EXPECT_EQ(b->Write("x", 1), 1);
    EXPECT_EQ(files.inactive_count(), 1);
}

TEST_F(FileCacheTest, LimitsUnmanagedFilesAndMappings) {
    FileManager& files = *app_.filemanager();
    files.MaxFiles(1);
    EXPECT_FALSE(files.FreeFileSpace(2));
    EXPECT_STREQ(files.error().c_str(),
                 "Simultaneous request for 1 file handles exceeds the maximum number of "
                 "simultaneous file handles.");
    std::unique_ptr<File> a(
        files.Open(path(1).c_str(), FileOpenWrite | FileOpenCreate | FileOpenUnmanaged));
    std::unique_ptr<File> b(files.Open(path(2).c_str(), FileOpenWrite | FileOpenCreate));
    EXPECT_EQ(files.active_count(), 1);
    EXPECT_EQ(a->Write("still open", 10), 10);
    EXPECT_FALSE(files.ActivateFile(a.get()));
    EXPECT_STREQ(files.error().c_str(), "Activation request for invalid or non-active file");
    files.MaxFiles(0);
    EXPECT_TRUE(files.FreeFileSpace(1000));
    // Mappings survive deactivation.
    std::unique_ptr<File> file(
        files.Open(path(3).c_str(), FileOpenRead | FileOpenWrite | FileOpenCreate));
    ASSERT_EQ(file->Write("mapped bytes", 12), 12);
    EXPECT_EQ(file->Map(0, 0), nullptr);
    EXPECT_STREQ(file->error().c_str(), "Invalid argument");
    const char* bytes = file->Map(0, -1);
    ASSERT_NE(bytes, nullptr);
    files.DeactivateFile(file.get());
    EXPECT_EQ(std::string(bytes, 12), "mapped bytes");
    EXPECT_EQ(file->Tell(), 12);
}

}  // namespace
