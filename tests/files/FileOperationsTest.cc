// The contained and plain operations of UNIXFileManager, each once for its
// work and once for a refusal; the set-up of the roots and their errors.
// Checks use absolute paths: contained operations move the working directory.

#include <sys/stat.h>
#include <utime.h>

#include <functional>
#include <string>

#include "files/UNIXFilePath.h"
#include "tests/files/ContainedPathFixture.h"

namespace {

class FileOperationsTest : public ContainedPathFixture {
  protected:
    static mode_t ModeOf(const std::string& path) {
        struct stat st;
        return lstat(path.c_str(), &st) == 0 ? st.st_mode : 0;
    }
    std::string NoSuchFile() { return strerror(ENOENT); }
};

TEST_F(FileOperationsTest, OpenReadsAndWritesThroughTheFile) {
    File* file = files().Open(OxinPathData, "sub/../new", FileOpenWrite | FileOpenCreate);
    ASSERT_NE(file, nullptr) << Text();
    EXPECT_EQ(file->Write(String("hello world")), 11);
    EXPECT_EQ(files().active_count(), 1);
    delete file;
    EXPECT_EQ(files().active_count(), 0);
    EXPECT_EQ(Get(data_ + "/new"), "hello world");
    EXPECT_EQ((ModeOf(data_ + "/new") & 0777), 0644u);  // 0666 less the umask
    file = files().Open(OxinPathData, "new", FileOpenRead | FileOpenWrite);
    ASSERT_NE(file, nullptr) << Text();
    EXPECT_EQ(file->Seek(6), 6);
    EXPECT_EQ(file->Write(String("WORLD")), 5);  // reads through a file are the cache tests'
    delete file;
    file = files().Open(OxinPathData, "new", FileOpenWrite | FileOpenAppend);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Write(String("!")), 1);
    delete file;
    EXPECT_EQ(Get(data_ + "/new"), "hello WORLD!");
    EXPECT_TRUE(Opens(OxinPathData, "new", FileOpenWrite | FileOpenTruncate));
    EXPECT_EQ(Get(data_ + "/new"), "");
    File* unmanaged = files().Open(OxinPathData, "new", FileOpenRead | FileOpenUnmanaged);
    ASSERT_NE(unmanaged, nullptr);
    EXPECT_EQ(files().active_count(), 0);
    delete unmanaged;

    const int exclusive = FileOpenWrite | FileOpenCreate | FileOpenExclusive;
    EXPECT_REFUSED(files().Open(OxinPathData, "missing", FileOpenRead), NoSuchFile());
    EXPECT_REFUSED(files().Open(OxinPathData, "new", exclusive), strerror(EEXIST));
    EXPECT_REFUSED(files().Open(OxinPathData, "nodir/x", FileOpenWrite | FileOpenCreate),
                   kNoDirectory);
    // With links allowed but not those of other owners the name is looked
    // at first; the caller's own exclusive request must still hold.
    files().SecurityOptions(kDataSymlinks);
    EXPECT_TRUE(Opens(OxinPathData, "x", FileOpenWrite | FileOpenCreate)) << Text();
    EXPECT_REFUSED(files().Open(OxinPathData, "x", exclusive), strerror(EEXIST));
    EXPECT_TRUE(Opens(OxinPathData, "x", FileOpenWrite | FileOpenCreate)) << Text();
}

TEST_F(FileOperationsTest, DeleteCopyRename) {
    Put(data_ + "/a", "alpha");
    EXPECT_TRUE(files().Copy(OxinPathData, "a", OxinPathData, "b")) << Text();
    EXPECT_EQ(Get(data_ + "/b"), "alpha");
    Put(data_ + "/b", "something much longer");
    EXPECT_TRUE(files().Copy(OxinPathData, "a", OxinPathData, "b")) << Text();
    EXPECT_EQ(Get(data_ + "/b"), "alpha");  // truncated first
    EXPECT_TRUE(files().Copy(OxinPathData, "a", OxinPathScript, "s")) << Text();
    EXPECT_EQ(Get(script_ + "/s"), "alpha");
    ASSERT_EQ(mkdir((data_ + "/d").c_str(), 0755), 0);
    EXPECT_REFUSED(files().Copy(OxinPathData, "d", OxinPathData, "c"),
                   "The source file is a directory");
    EXPECT_FALSE(Present(data_ + "/c"));
    EXPECT_REFUSED(files().Copy(OxinPathData, "none", OxinPathData, "c"), NoSuchFile());
    std::string big;  // goes over in blocks
    for (int i = 0; i < 30000; i++)
        big += static_cast<char>('a' + i % 26);
    Put(data_ + "/big", big);
    EXPECT_TRUE(files().Copy(OxinPathData, "big", OxinPathData, "d/big")) << Text();
    EXPECT_EQ(Get(data_ + "/d/big"), big);
    // Same class and directory: a real rename.
    struct stat before, after;
    ASSERT_EQ(stat((data_ + "/b").c_str(), &before), 0);
    EXPECT_TRUE(files().Rename(OxinPathData, "b", OxinPathData, "./b2")) << Text();
    ASSERT_EQ(stat((data_ + "/b2").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_FALSE(Present(data_ + "/b"));
    // Across directories or classes: copy, then delete.
    EXPECT_TRUE(files().Rename(OxinPathData, "b2", OxinPathData, "d/b3")) << Text();
    EXPECT_EQ(Get(data_ + "/d/b3"), "alpha");
    EXPECT_FALSE(Present(data_ + "/b2"));
    EXPECT_TRUE(files().Rename(OxinPathData, "d/b3", OxinPathScript, "b4")) << Text();
    EXPECT_EQ(Get(script_ + "/b4"), "alpha");
    EXPECT_FALSE(Present(data_ + "/d/b3"));
    EXPECT_REFUSED(files().Rename(OxinPathData, "gone", OxinPathData, "gone2"), NoSuchFile());
    EXPECT_REFUSED(files().Rename(OxinPathData, "gone", OxinPathScript, "gone2"), NoSuchFile());

    EXPECT_TRUE(files().Delete(OxinPathData, "a")) << Text();
    EXPECT_FALSE(Present(data_ + "/a"));
    EXPECT_REFUSED(files().Delete(OxinPathData, "a"), NoSuchFile());
    EXPECT_REFUSED(files().Delete(OxinPathData, "nodir/a"), kNoDirectory);
}

TEST_F(FileOperationsTest, TouchMakesOrDatesAFile) {
    EXPECT_TRUE(files().TouchFile(OxinPathData, "t")) << Text();
    EXPECT_EQ((ModeOf(data_ + "/t") & 0777), 0644u);
    struct utimbuf old_times = {1000, 1000};
    ASSERT_EQ(utime((data_ + "/t").c_str(), &old_times), 0);
    time_t when = 0, now = time(nullptr);
    EXPECT_TRUE(files().TouchFile(OxinPathData, "t")) << Text();
    EXPECT_TRUE(files().ModifiedTime(OxinPathData, "t", &when));
    EXPECT_GE(when, now);
    EXPECT_REFUSED(files().TouchFile(OxinPathData, "nodir/t"), kNoDirectory);
}

TEST_F(FileOperationsTest, DirectoriesAndLinks) {
    EXPECT_TRUE(files().MakeDirectory(OxinPathData, "d")) << Text();
    EXPECT_TRUE(files().MakeDirectory(OxinPathData, "d/e/")) << Text();
    EXPECT_TRUE(S_ISDIR(ModeOf(data_ + "/d/e")));
    EXPECT_EQ((ModeOf(data_ + "/d/e") & 0777), 0755u);
    EXPECT_REFUSED(files().MakeDirectory(OxinPathData, "d"), strerror(EEXIST));
    EXPECT_REFUSED(files().MakeDirectory(OxinPathData, "x/y"), kNoDirectory);
    EXPECT_REFUSED(files().RemoveDirectory(OxinPathData, "d"), strerror(ENOTEMPTY));
    EXPECT_TRUE(files().RemoveDirectory(OxinPathData, "d/e")) << Text();
    EXPECT_FALSE(Present(data_ + "/d/e"));

    Put(data_ + "/d/target", "t");
    EXPECT_TRUE(files().MakeSymbolicLink(OxinPathData, "d/target", OxinPathScript, "link"))
        << Text();
    char text[4096] = {};
    ASSERT_GT(readlink((script_ + "/link").c_str(), text, sizeof(text) - 1), 0);
    EXPECT_EQ(std::string(text), data_ + "/d/target");  // the absolute, realized target
    EXPECT_REFUSED(files().MakeSymbolicLink(OxinPathData, "d/target", OxinPathScript, "link"),
                   strerror(EEXIST));
    EXPECT_REFUSED(files().MakeSymbolicLink(OxinPathData, "nodir/target", OxinPathScript, "l2"),
                   kNoDirectory);
    // The link made is still a link to the class's rules.
    EXPECT_EQ(ReadContained(OxinPathScript, "link"), "<refused>");
    EXPECT_EQ(Text(), kSymlink);
    files().SecurityOptions(kScriptSymlinks);
    EXPECT_EQ(ReadContained(OxinPathScript, "link"), "t") << Text();
}

TEST_F(FileOperationsTest, TemporaryNamesCountInHex) {
    for (int i = 0; i < 18; i++) {
        char expected[16];
        snprintf(expected, sizeof(expected), "tmp.%x", i);
        EXPECT_EQ(Temporary(OxinPathData, "", "tmp"), expected);
    }
    EXPECT_TRUE(Present(data_ + "/tmp.11"));
    // A gap is filled; the directory is part of the name given back.
    ASSERT_EQ(mkdir((data_ + "/d").c_str(), 0755), 0);
    Put(data_ + "/d/up.0", "");
    Put(data_ + "/d/up.2", "");
    EXPECT_EQ(Temporary(OxinPathData, "d/", "up"), "d/up.1");
    EXPECT_EQ(Get(data_ + "/d/up.1"), "abc");
    EXPECT_EQ(Temporary(OxinPathData, "d", "up"), "d/up.3");
    EXPECT_EQ(Temporary(OxinPathData, nullptr, "d/up"), "d/up.4");
    EXPECT_EQ(Temporary(OxinPathScript, nullptr, "solo"), "solo.0");
    EXPECT_EQ(Get(script_ + "/solo.0"), "abc");
    EXPECT_EQ(Temporary(OxinPathData, "", "a/b"), "<refused>");
    EXPECT_EQ(Text(), "Invalid temporary filename prefix");
    EXPECT_EQ(Temporary(OxinPathData, "nodir", "x"), "<refused>");
    EXPECT_EQ(Text(), kNoDirectory);
}

TEST_F(FileOperationsTest, ContainedOperationsAskForADescriptor) {
    Put(data_ + "/a", "a");
    Put(data_ + "/b", "b");
    files().MaxFiles(1);
    File* a = files().Open(OxinPathData, "a", FileOpenRead);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(files().active_count(), 1);
    bool exists;
    EXPECT_TRUE(files().Exists(OxinPathData, "b", &exists));
    EXPECT_EQ(files().active_count(), 0);  // a gave its descriptor up
    EXPECT_EQ(files().inactive_count(), 1);
    char c;
    EXPECT_EQ(a->Read(&c, 1), 1);
    EXPECT_EQ(c, 'a');
    EXPECT_EQ(files().Length(OxinPathData, "b"), 1);
    EXPECT_EQ(files().inactive_count(), 1);
    delete a;
}

TEST_F(FileOperationsTest, NormalizedPathsAsTheScriptSeesThem) {
    auto normalized = [&](Oxin_PathType type, const char* path) {
        int length = -1, capacity = -1;
        char* text = files().NormalizeContainedPath(type, path, &length, &capacity);
        if (!text) return std::string("<null>");
        std::string result(text);
        EXPECT_EQ(length, (int)result.size());
        EXPECT_GT(capacity, length);
        delete[] text;
        return result;
    };
    EXPECT_EQ(normalized(OxinPathData, "a/./b/../c"), "a/c");
    EXPECT_EQ(normalized(OxinPathData, "/a//b/"), "a/b");
    EXPECT_EQ(normalized(OxinPathData, "../x"), "../x");
    EXPECT_EQ(normalized(OxinPathData, ""), ".");
    files().SecurityOptions(kDataAbsolute);
    EXPECT_EQ(normalized(OxinPathData, "a/../b"), data_ + "/b");
    EXPECT_EQ(normalized(OxinPathData, "/etc/./x"), "/etc/x");
    EXPECT_EQ(normalized(OxinPathScript, "/a"), "a");
    EXPECT_EQ(normalized(OxinPathTemporary, "a"), data_ + "/a");  // the data settings stand in
    ASSERT_TRUE(files().InitializeTempDirectory(temp_.c_str()));
    EXPECT_EQ(normalized(OxinPathTemporary, "a"), "a");
    EXPECT_EQ(normalized(OxinPathTemporary, "/a"), "a");
    UNIXFileManager bare(&app_);
    EXPECT_EQ(bare.NormalizeContainedPath(OxinPathData, "a", nullptr, nullptr), nullptr);
    EXPECT_STREQ(bare.error().c_str(), "There is no configured data directory");
}

TEST_F(FileOperationsTest, RootSetUpErrors) {
    REQUIRE_ROOT();
    UNIXFileManager& m = files();
    // Each root's set-up, and the name its texts give it.
    using SetUp = std::function<bool(const char*)>;
    const std::pair<SetUp, std::string> roots[] = {
        {[&m](const char* path) { return m.InitializeScriptDirectory(path, "bob"); },
         "script directory for 'bob'"},
        {[&m](const char* path) { return m.InitializeScriptDirectory(path, nullptr); },
         "script directory"},
        {[&m](const char* path) { return m.InitializeDataDirectory(path); }, "data directory"},
        {[&m](const char* path) { return m.InitializeTempDirectory(path); },
         "temporary directory"}};
    std::string link = base_ + "/root-link";
    Link(outside_, link);
    Put(base_ + "/plain", "");
    const std::pair<std::string, std::string> failures[] = {
        {"relative/dir", " is not an absolute path"},
        {base_ + "/missing", " does not exist"},
        {base_ + "/plain", " does not exist"},
        {link, " references a symbolic link"}};
    for (const auto& [set_up, name] : roots) {
        for (const auto& [path, text] : failures)
            EXPECT_REFUSED(set_up(path.c_str()), "The configured " + name + text);
    }
    EXPECT_REFUSED(m.InitializeDataDirectory(""),
                   "The configured data directory is not an absolute path");
    GiveToNobody(outside_);
    m.SecurityOptions(kScriptSymlinks | kDataSymlinks | kTempSymlinks);
    for (const auto& [set_up, name] : roots) {
        EXPECT_REFUSED(set_up(link.c_str()), "The configured " + name +
                                                 " references a symbolic link to a directory "
                                                 "owned by a different user");
    }
    // A failed set-up leaves the class without a root.
    EXPECT_REFUSED(m.Open(OxinPathScript, "x", FileOpenRead),
                   "There is no configured script directory");
    for (Oxin_PathType type : {OxinPathData, OxinPathTemporary})
        EXPECT_REFUSED(m.Open(type, "x", FileOpenRead), "There is no configured data directory");
    // With the other-owner bit, the real directory behind the link is the root.
    m.SecurityOptions(kDataSymlinks | kDataOtherOwner);
    ASSERT_TRUE(m.InitializeDataDirectory(link.c_str())) << Text();
    EXPECT_EQ(ReadContained(OxinPathData, "secret"), "secret");
    UNIXFilePath* realized = nullptr;
    ASSERT_TRUE(m.RealizeContainedPath(OxinPathData, "", &realized));
    EXPECT_EQ(std::string(realized->Collapsed_Path().c_str()), outside_);
    delete realized;
    // A link owned like its target is accepted with the symlink bit alone.
    GiveToNobody(link);
    m.SecurityOptions(kScriptSymlinks);
    ASSERT_TRUE(m.InitializeScriptDirectory((link + "/").c_str(), "bob")) << Text();
    EXPECT_EQ(ReadContained(OxinPathScript, "dir/inner"), "inner");
}

TEST_F(FileOperationsTest, RealizePathResults) {
    REQUIRE_ROOT();
    UNIXFileManager& m = files();
    std::string link = base_ + "/link";
    Link(outside_, link);
    // The code, and the collapsed real path when one is asked for and found.
    auto realize = [&m](const std::string& path, bool symlinks, bool other_owner) {
        UNIXFilePath* out = nullptr;
        int code = m.RealizePath(path.c_str(), path.c_str(), &out, symlinks, other_owner);
        std::string result = std::to_string(code);
        if (out) result += std::string(" ") + out->Collapsed_Path().c_str();
        delete out;
        return result;
    };
    EXPECT_EQ(realize(data_, false, false), "0 " + data_);
    EXPECT_EQ(realize(base_ + "/none", true, true), "1");
    EXPECT_EQ(realize(link, false, false), "2");
    EXPECT_EQ(realize(link, true, false), "0 " + outside_);
    GiveToNobody(outside_);
    EXPECT_EQ(realize(link, true, false), "3");
    EXPECT_EQ(realize(link, true, true), "0 " + outside_);
    // A link below, owned like its target, passes the walk level by level.
    GiveToNobody(outside_ + "/dir");
    std::string below = link + "/dir";
    EXPECT_EQ(m.RealizePath(below.c_str(), below.c_str(), nullptr, true, false), 3);
    GiveToNobody(link);
    EXPECT_EQ(m.RealizePath(below.c_str(), below.c_str(), nullptr, true, false), 0);
}

TEST_F(FileOperationsTest, ClonedManagerKeepsItsOwnHandles) {
    Put(data_ + "/x", "x");
    files().SecurityOptions(kDataSymlinks);
    UNIXFileManager* clone = new UNIXFileManager(&app_, files());
    EXPECT_EQ(clone->security_options(), kDataSymlinks);
    // The original's roots may go; the clone still reaches its own.
    ASSERT_TRUE(files().InitializeDataDirectory(temp_.c_str()));
    File* file = clone->Open(OxinPathData, "x", FileOpenRead);
    ASSERT_NE(file, nullptr) << clone->error().c_str();
    delete file;
    EXPECT_EQ(clone->Open(OxinPathData, "../outside/secret", FileOpenRead), nullptr);
    EXPECT_STREQ(clone->error().c_str(), kOutsideData);
    delete clone;
}

}  // namespace
