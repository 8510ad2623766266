#include <gtest/gtest.h>

#include <string>

#include "files/UNIXFilePath.h"

namespace {

std::string str(const String& s) {
    return std::string(s.c_str(), s.length());
}

TEST(UNIXFilePathTest, SplitsOnRunsOfSlashes) {
    UNIXFilePath path("//usr///local/lib//");
    EXPECT_TRUE(path.absolute());
    ASSERT_EQ(path.elements(), 4);
    EXPECT_STREQ(path.Element(0), "/");
    EXPECT_STREQ(path.Element(1), "usr");
    EXPECT_STREQ(path.Element(3), "lib");
    EXPECT_EQ(str(path.Span(0, 3)), "/usr/local/lib");
    EXPECT_EQ(str(path.Span(1, 2)), "usr/local");
    UNIXFilePath relative("a/b");
    EXPECT_FALSE(relative.absolute());
    EXPECT_EQ(relative.elements(), 2);
    UNIXFilePath empty("");
    EXPECT_EQ(empty.elements(), 0);
    EXPECT_EQ(str(empty.Collapsed_Path()), ".");
}

TEST(UNIXFilePathTest, CollapseRemovesDotsAndClimbsContainmentFollowsIt) {
    struct Case {
        const char* path;
        const char* collapsed;
        const char* directory;
        const char* filename;
    } cases[] = {{"/a/./b/../c", "/a/c", "/a", "c"},
                 {"/../../x", "/x", "/", "x"},
                 {"/..", "/", "/", "."},
                 {"a/../../x", "../x", "..", "x"},
                 {"../x", "../x", "..", "x"},
                 {"../..", "../..", "../..", "."},
                 {"a/..", ".", ".", "."},
                 {"./a/", "a", ".", "a"},
                 {"a/b/c", "a/b/c", "a/b", "c"},
                 {"/", "/", "/", "."}};
    for (const Case& c : cases) {
        UNIXFilePath path(c.path);
        EXPECT_EQ(str(path.Collapsed_Path()), c.collapsed) << c.path;
        EXPECT_EQ(str(path.Collapsed_Directory()), c.directory) << c.path;
        EXPECT_EQ(str(path.Collapsed_Filename()), c.filename) << c.path;
    }
    UNIXFilePath root("/srv/data");
    UNIXFilePath inside("/srv/data/a/../x");
    UNIXFilePath escape("/srv/data/a/../../x");
    UNIXFilePath sibling("/srv/database");
    UNIXFilePath itself("/srv/data/");
    EXPECT_TRUE(root.Contains(inside));
    EXPECT_FALSE(root.Contains(escape));
    EXPECT_FALSE(root.Contains(sibling));
    EXPECT_TRUE(root.Contains(itself));
    EXPECT_TRUE(root.Matches(itself));
    UNIXFilePath other_file("/srv/data/y");
    UNIXFilePath this_file("/srv/data/x");
    EXPECT_TRUE(this_file.Matches(other_file, 1));
    EXPECT_FALSE(this_file.Matches(other_file, 0));
}

}  // namespace
