// Attacks on the containment of paths. Every refusal is checked for its exact
// text and for the sentinel tree outside the roots staying untouched: no
// entry opened, read, created, changed or removed.

#include <sys/stat.h>

#include <string>

#include "tests/files/ContainedPathFixture.h"

namespace {

class ContainedPathTest : public ContainedPathFixture {
  protected:
    // Opens path for reading and writing with create, expecting the refusal
    // text, while the outside tree stays untouched.
    void ExpectRefused(Oxin_PathType type, const std::string& path, const char* text) {
        UntouchedTree outside(outside_);
        File* file =
            files().Open(type, path.c_str(), FileOpenRead | FileOpenWrite | FileOpenCreate);
        EXPECT_EQ(file, nullptr) << path;
        delete file;
        EXPECT_EQ(Text(), text) << path;
        EXPECT_TRUE(outside.Untouched()) << path;
    }
    // The same for the read-only road of Exists.
    void ExpectExistsRefused(const std::string& path, const char* text) {
        UntouchedTree outside(outside_);
        bool exists = true;
        EXPECT_FALSE(files().Exists(OxinPathData, path.c_str(), &exists)) << path;
        EXPECT_EQ(Text(), text) << path;
        EXPECT_TRUE(outside.Untouched()) << path;
    }
};

TEST_F(ContainedPathTest, DotDotCannotClimbOutAndIsTextualInside) {
    for (const char* path :
         {"..", "../x", "../outside/secret", "a/../../x", "a/../../outside/secret",
          "./../outside/dir/inner", "a/b/../../../outside/secret", "../data/../outside/secret"}) {
        ExpectRefused(OxinPathData, path, kOutsideData);
        ExpectRefused(OxinPathScript, path, kOutsideScript);
    }
    EXPECT_FALSE(Present(base_ + "/x"));
    EXPECT_FALSE(Present(data_ + "/a"));
    Put(data_ + "/x", "inside");
    // a does not exist: the walk goes by the collapsed text.
    EXPECT_EQ(ReadContained(OxinPathData, "a/../x"), "inside") << Text();
    ASSERT_EQ(mkdir((data_ + "/a").c_str(), 0755), 0);
    EXPECT_EQ(ReadContained(OxinPathData, "a/../x"), "inside") << Text();
    // Even when a is a link leading out, the ".." never goes through it.
    ASSERT_EQ(rmdir((data_ + "/a").c_str()), 0);
    Link(outside_ + "/dir", data_ + "/a");
    UntouchedTree outside(outside_);
    EXPECT_EQ(ReadContained(OxinPathData, "a/../x"), "inside") << Text();
    EXPECT_EQ(ReadContained(OxinPathData, "../data/x"), "inside") << Text();
    EXPECT_TRUE(outside.Untouched());
}

TEST_F(ContainedPathTest, AbsolutePathsAreRelativeToTheRootOrMustLieInside) {
    Put(data_ + "/x", "inside");
    EXPECT_EQ(ReadContained(OxinPathData, "/x"), "inside") << Text();
    // The outside sentinel's absolute name is looked for under the root.
    ExpectRefused(OxinPathData, outside_ + "/secret", kNoDirectory);
    // An absolute path cannot climb above its "/", which stands for the root.
    ExpectRefused(OxinPathData, "/../outside/secret", kNoDirectory);
    // A root file of the same name is what gets created.
    EXPECT_TRUE(Opens(OxinPathData, "/made", FileOpenWrite | FileOpenCreate)) << Text();
    EXPECT_TRUE(Present(data_ + "/made"));
    // With the permission, absolute paths must still lie inside.
    files().SecurityOptions(kDataAbsolute);
    EXPECT_EQ(ReadContained(OxinPathData, data_ + "/x"), "inside") << Text();
    EXPECT_EQ(ReadContained(OxinPathData, data_ + "/sub/../x"), "inside") << Text();
    ExpectRefused(OxinPathData, outside_ + "/secret", kOutsideData);
    ExpectRefused(OxinPathData, data_ + "/../outside/secret", kOutsideData);
    ExpectRefused(OxinPathData, data_ + "x", kOutsideData);  // a sibling sharing the prefix
    // The script class has a bit of its own.
    ExpectRefused(OxinPathScript, script_ + "/x", kNoDirectory);
}

TEST_F(ContainedPathTest, SymbolicLinksAreRefusedWithoutTheirBit) {
    Link(outside_ + "/secret", data_ + "/file-link");
    Link(outside_ + "/dir", data_ + "/dir-link");
    ExpectRefused(OxinPathData, "file-link", kSymlink);
    ExpectRefused(OxinPathData, "dir-link/inner", kSymlink);
    ExpectRefused(OxinPathData, "dir-link/new", kSymlink);
    ExpectExistsRefused("file-link", kSymlink);
    ExpectExistsRefused("dir-link/inner", kSymlink);
    EXPECT_EQ(files().Length(OxinPathData, "file-link"), -1);
    EXPECT_EQ(Text(), kSymlink);
    // The bit of another class does not help.
    files().SecurityOptions(kScriptSymlinks | kTempSymlinks);
    ExpectRefused(OxinPathData, "file-link", kSymlink);
}

TEST_F(ContainedPathTest, LinksToAnotherOwnerAreRefusedUnlessAllowed) {
    REQUIRE_ROOT();
    Link(outside_ + "/secret", data_ + "/file-link");
    Link(outside_ + "/dir", data_ + "/dir-link");
    GiveToNobody(outside_ + "/secret");
    GiveToNobody(outside_ + "/dir");
    files().SecurityOptions(kDataSymlinks);
    ExpectRefused(OxinPathData, "file-link", kLinkOtherOwner);
    ExpectRefused(OxinPathData, "dir-link/inner", kDirectoryOtherOwner);
    ExpectExistsRefused("file-link", kLinkOtherOwner);
    ExpectExistsRefused("dir-link/inner", kDirectoryOtherOwner);
    // A link owned by the target's owner is fine.
    GiveToNobody(data_ + "/file-link");
    EXPECT_EQ(ReadContained(OxinPathData, "file-link"), "secret") << Text();
    // And with the other-owner bit every link passes.
    files().SecurityOptions(kDataSymlinks | kDataOtherOwner);
    EXPECT_EQ(ReadContained(OxinPathData, "dir-link/inner"), "inner") << Text();
}

TEST_F(ContainedPathTest, LinksOfTheSameOwnerAreFollowedWithTheBit) {
    Link(outside_ + "/secret", data_ + "/file-link");
    Link("../outside/dir", data_ + "/dir-link");
    Put(data_ + "/here", "here");
    Link("here", data_ + "/local-link");
    files().SecurityOptions(kDataSymlinks);
    EXPECT_EQ(ReadContained(OxinPathData, "file-link"), "secret") << Text();
    EXPECT_EQ(ReadContained(OxinPathData, "dir-link/inner"), "inner") << Text();
    EXPECT_EQ(ReadContained(OxinPathData, "local-link"), "here") << Text();
    bool exists = false;
    EXPECT_TRUE(files().Exists(OxinPathData, "file-link", &exists)) << Text();
    EXPECT_TRUE(exists);
    // A dangling link: the file is missing, and creating through it makes
    // the target.
    Link("gone", data_ + "/dangling");
    EXPECT_TRUE(files().Exists(OxinPathData, "dangling", &exists)) << Text();
    EXPECT_FALSE(exists);
    EXPECT_TRUE(Opens(OxinPathData, "dangling", FileOpenWrite | FileOpenCreate)) << Text();
    EXPECT_TRUE(Present(data_ + "/gone"));
}

TEST_F(ContainedPathTest, LinkLoopsAreRecursive) {
    Link("b", data_ + "/a");
    Link("a", data_ + "/b");
    Link("d", data_ + "/c");
    Link("e", data_ + "/d");
    Link(data_ + "/c", data_ + "/e");
    Link("self", data_ + "/self");
    ExpectRefused(OxinPathData, "a", kSymlink);
    files().SecurityOptions(kDataSymlinks);
    for (const char* path : {"a", "b", "c", "e", "self"}) {
        ExpectRefused(OxinPathData, path, kRecursive);
        ExpectExistsRefused(path, kRecursive);
    }
    files().SecurityOptions(kDataSymlinks | kDataOtherOwner);
    ExpectRefused(OxinPathData, "c", kRecursive);
}

TEST_F(ContainedPathTest, LinkAtTheLastElementIsSeenWhenOpening) {
    Link(outside_ + "/secret", data_ + "/victim");
    Link(outside_ + "/not-there", data_ + "/dangling");
    // Writing, truncating or creating through the link must all fail
    // without touching the target.
    for (int flags : {FileOpenWrite | FileOpenTruncate, FileOpenWrite | FileOpenCreate,
                      FileOpenWrite | FileOpenAppend, int(FileOpenRead)}) {
        for (const char* name : {"victim", "dangling"}) {
            UntouchedTree outside(outside_);
            EXPECT_REFUSED(files().Open(OxinPathData, name, flags), kSymlink);
            EXPECT_TRUE(outside.Untouched());
        }
    }
    EXPECT_FALSE(Present(outside_ + "/not-there"));
    // Other operations by name do not follow the last link either.
    UntouchedTree outside(outside_);
    EXPECT_REFUSED(files().ChangeMode(OxinPathData, "victim", 0600), kSymlink);
    EXPECT_REFUSED(files().TouchFile(OxinPathData, "victim"), kSymlink);
    EXPECT_REFUSED(files().Copy(OxinPathData, "victim", OxinPathData, "copy"), kSymlink);
    EXPECT_FALSE(files().Copy(OxinPathData, "plain", OxinPathData, "victim"));
    Put(data_ + "/plain", "plain");
    EXPECT_REFUSED(files().Copy(OxinPathData, "plain", OxinPathData, "victim"), kSymlink);
    time_t when;
    EXPECT_REFUSED(files().ModifiedTime(OxinPathData, "victim", &when), kSymlink);
    EXPECT_TRUE(outside.Untouched());
    // Deleting the link removes the link only.
    EXPECT_TRUE(files().Delete(OxinPathData, "victim")) << Text();
    EXPECT_FALSE(Present(data_ + "/victim"));
    EXPECT_EQ(Get(outside_ + "/secret"), "secret");
}

TEST_F(ContainedPathTest, ObjectSwappedBetweenCheckAndUse) {
    Put(data_ + "/f", "inside");
    ASSERT_EQ(mkdir((data_ + "/d").c_str(), 0755), 0);
    Put(data_ + "/d/inner", "inside too");
    bool exists = false;
    ASSERT_TRUE(files().Exists(OxinPathData, "f", &exists));
    ASSERT_TRUE(exists);
    EXPECT_EQ(ReadContained(OxinPathData, "d/inner"), "inside too");
    // The file becomes a link, the directory becomes a link.
    ASSERT_EQ(unlink((data_ + "/f").c_str()), 0);
    Link(outside_ + "/secret", data_ + "/f");
    ASSERT_EQ(unlink((data_ + "/d/inner").c_str()), 0);
    ASSERT_EQ(rmdir((data_ + "/d").c_str()), 0);
    Link(outside_ + "/dir", data_ + "/d");
    ExpectRefused(OxinPathData, "f", kSymlink);
    ExpectRefused(OxinPathData, "d/inner", kSymlink);
    // A link that becomes a directory is simply a directory.
    ASSERT_EQ(unlink((data_ + "/d").c_str()), 0);
    ASSERT_EQ(mkdir((data_ + "/d").c_str(), 0755), 0);
    Put(data_ + "/d/inner", "back");
    EXPECT_EQ(ReadContained(OxinPathData, "d/inner"), "back") << Text();
}

TEST_F(ContainedPathTest, DeactivatedFileIsReopenedUnderTheSameChecks) {
    Put(data_ + "/one", "0123456789");
    Put(data_ + "/two", "abcdefghij");
    files().MaxFiles(1);
    File* one = files().Open(OxinPathData, "one", FileOpenRead);
    ASSERT_NE(one, nullptr) << Text();
    char buffer[4] = {};
    ASSERT_EQ(one->Read(buffer, 3), 3);
    File* two = files().Open(OxinPathData, "two", FileOpenRead);
    ASSERT_NE(two, nullptr) << Text();
    EXPECT_EQ(files().inactive_count(), 1);
    // Moving the working directory elsewhere must not matter.
    ASSERT_EQ(chdir(outside_.c_str()), 0);
    ASSERT_EQ(one->Read(buffer, 3), 3) << one->error().c_str();
    EXPECT_EQ(std::string(buffer, 3), "345");
    // Swap "one" for a link while it is deactivated.
    ASSERT_EQ(two->Read(buffer, 1), 1);
    EXPECT_EQ(files().inactive_count(), 1);
    ASSERT_EQ(unlink((data_ + "/one").c_str()), 0);
    Link(outside_ + "/secret", data_ + "/one");
    {
        UntouchedTree outside(outside_);
        EXPECT_EQ(one->Read(buffer, 3), -1);
        EXPECT_STREQ(one->error().c_str(), kSymlink);
        EXPECT_TRUE(outside.Untouched());
    }
    delete one;
    delete two;
}

TEST_F(ContainedPathTest, HardLinkToAnotherOwnerIsTheSameFile) {
    REQUIRE_ROOT();
    // Both names of a hard link carry the one inode's owner: the owner checks
    // have nothing to compare, and the file is reachable like any other.
    GiveToNobody(outside_ + "/secret");
    ASSERT_EQ(link((outside_ + "/secret").c_str(), (data_ + "/hard").c_str()), 0);
    files().SecurityOptions(kDataSymlinks);
    EXPECT_EQ(ReadContained(OxinPathData, "hard"), "secret") << Text();
    // A symbolic link to that hard link is refused by owner.
    Link("hard", data_ + "/soft");
    ExpectRefused(OxinPathData, "soft", kLinkOtherOwner);
}

TEST_F(ContainedPathTest, TextAfterANulIsNotPartOfThePath) {
    Put(data_ + "/x", "inside");
    std::string with_nul = std::string("x\0/../../outside/secret", 23);
    UntouchedTree outside(outside_);
    EXPECT_EQ(ReadContained(OxinPathData, with_nul.c_str()), "inside") << Text();
    std::string dir_with_nul = std::string("made\0/../../outside/evil", 24);
    EXPECT_TRUE(files().MakeDirectory(OxinPathData, dir_with_nul.c_str())) << Text();
    EXPECT_TRUE(Present(data_ + "/made"));
    EXPECT_TRUE(files().Delete(OxinPathData, with_nul.c_str())) << Text();
    EXPECT_FALSE(Present(data_ + "/x"));
    EXPECT_TRUE(outside.Untouched());
}

TEST_F(ContainedPathTest, OverlongNamesFailCleanly) {
    std::string long_name(300, 'n');  // over NAME_MAX
    UntouchedTree outside(outside_);
    EXPECT_REFUSED(files().Open(OxinPathData, long_name.c_str(), FileOpenWrite | FileOpenCreate),
                   strerror(ENAMETOOLONG));
    EXPECT_FALSE(files().TouchFile(OxinPathData, long_name.c_str()));
    EXPECT_FALSE(files().MakeDirectory(OxinPathData, long_name.c_str()));
    bool exists = true;
    EXPECT_FALSE(files().Exists(OxinPathData, long_name.c_str(), &exists));

    std::string deep;  // over PATH_MAX
    while (deep.size() < 6000)
        deep += "d/";
    deep += "file";
    EXPECT_REFUSED(files().Open(OxinPathData, deep.c_str(), FileOpenWrite | FileOpenCreate),
                   kNoDirectory);
    EXPECT_REFUSED(files().MakeDirectory(OxinPathData, deep.c_str()), kNoDirectory);
    std::string long_directory = std::string(5000, 'x') + "/file";
    EXPECT_REFUSED(files().TouchFile(OxinPathData, long_directory.c_str()), kNoDirectory);

    std::string escape;  // long, and climbing out after collapse
    for (int i = 0; i < 2000; i++)
        escape += "x/";
    for (int i = 0; i < 2001; i++)
        escape += "../";
    escape += "outside/secret";
    EXPECT_REFUSED(files().Open(OxinPathData, escape.c_str(), FileOpenRead), kOutsideData);
    EXPECT_TRUE(outside.Untouched());
}

TEST_F(ContainedPathTest, EveryOperationRefusesAnEscape) {
    Put(data_ + "/inside", "inside");
    UntouchedTree outside(outside_);
    const char* escape = "../outside/secret";
    bool flag;
    int mode;
    time_t when;
    List<String> names(1);
    EXPECT_REFUSED(files().Delete(OxinPathData, escape), kOutsideData);
    EXPECT_REFUSED(files().Copy(OxinPathData, escape, OxinPathData, "copy"), kOutsideData);
    EXPECT_REFUSED(files().Copy(OxinPathData, "inside", OxinPathData, "../outside/copy"),
                   kOutsideData);
    EXPECT_REFUSED(files().Rename(OxinPathData, "inside", OxinPathData, "../outside/moved"),
                   kOutsideData);
    EXPECT_REFUSED(files().Rename(OxinPathData, escape, OxinPathData, "stolen"), kOutsideData);
    EXPECT_REFUSED(files().TouchFile(OxinPathData, escape), kOutsideData);
    EXPECT_REFUSED(files().Exists(OxinPathData, escape, &flag), kOutsideData);
    EXPECT_EQ(files().Length(OxinPathData, escape), -1);
    EXPECT_EQ(Text(), kOutsideData);
    EXPECT_REFUSED(files().IsDirectory(OxinPathData, "../outside/dir", &flag), kOutsideData);
    EXPECT_FALSE(files().ModifiedTime(OxinPathData, escape, &when));
    EXPECT_FALSE(files().Mode(OxinPathData, escape, &mode));
    EXPECT_REFUSED(files().ChangeMode(OxinPathData, escape, 0777), kOutsideData);
    EXPECT_FALSE(files().MakeDirectory(OxinPathData, "../outside/newdir"));
    EXPECT_REFUSED(files().RemoveDirectory(OxinPathData, "../outside/dir"), kOutsideData);
    EXPECT_REFUSED(files().MakeSymbolicLink(OxinPathData, escape, OxinPathData, "to-secret"),
                   kOutsideData);
    EXPECT_REFUSED(files().MakeSymbolicLink(OxinPathData, "inside", OxinPathData, "../outside/l"),
                   kOutsideData);
    EXPECT_EQ(Temporary(OxinPathData, "../outside", "t"), "<refused>");
    EXPECT_EQ(Text(), kOutsideData);
    EXPECT_EQ(Temporary(OxinPathData, nullptr, "../outside/t"), "<refused>");
    EXPECT_REFUSED(files().DirectoryListing(OxinPathData, "..", &names), kOutsideData);
    EXPECT_EQ(names.Entries(), 0);
    EXPECT_FALSE(files().DirectoryListing(OxinPathData, "../outside", &names));
    EXPECT_TRUE(outside.Untouched());
    EXPECT_EQ(Get(data_ + "/inside"), "inside");
    EXPECT_FALSE(Present(data_ + "/copy"));
    EXPECT_FALSE(Present(data_ + "/stolen"));
}

TEST_F(ContainedPathTest, TemporaryClassUsesTheDataRootWhenUnset) {
    Put(data_ + "/x", "data");
    EXPECT_EQ(ReadContained(OxinPathTemporary, "x"), "data") << Text();
    EXPECT_EQ(Temporary(OxinPathTemporary, "", "up"), "up.0");
    EXPECT_TRUE(Present(data_ + "/up.0"));
    // Its outside text names its own class; the data class's bits apply.
    ExpectRefused(OxinPathTemporary, "../outside/secret", kOutsideTemporary);
    Link(outside_ + "/secret", data_ + "/file-link");
    files().SecurityOptions(kTempSymlinks);
    ExpectRefused(OxinPathTemporary, "file-link", kSymlink);
    files().SecurityOptions(kDataSymlinks);
    EXPECT_EQ(ReadContained(OxinPathTemporary, "file-link"), "secret") << Text();
    // Once set up, the temporary root is its own, with its own bits.
    ASSERT_TRUE(files().InitializeTempDirectory(temp_.c_str())) << Text();
    EXPECT_EQ(ReadContained(OxinPathTemporary, "x"), "<refused>");
    Put(temp_ + "/x", "temp");
    EXPECT_EQ(ReadContained(OxinPathTemporary, "x"), "temp") << Text();
    Link(outside_ + "/secret", temp_ + "/file-link");
    ExpectRefused(OxinPathTemporary, "file-link", kSymlink);
    files().SecurityOptions(kTempSymlinks);
    EXPECT_EQ(ReadContained(OxinPathTemporary, "file-link"), "secret") << Text();
    // Absolute paths are never allowed for the temporary class.
    files().SecurityOptions(kDataAbsolute | kScriptAbsolute);
    ExpectRefused(OxinPathTemporary, temp_ + "/x", kNoDirectory);
}

}  // namespace
