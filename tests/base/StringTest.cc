#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "base/StringClass.h"
#include "tests/base/BaseTestSupport.h"
#include "tests/support/TestText.h"

namespace {

TEST(StringTest, OwnershipOfTheText) {
    String s;
    EXPECT_EQ(s.text(), nullptr);
    EXPECT_EQ(s.capacity(), 0);
    EXPECT_STREQ(s.c_str(), "");
    s.assign(nullptr, 0);
    ASSERT_NE(s.text(), nullptr);
    EXPECT_EQ(s.capacity(), 24);
    EXPECT_EQ(s.length(), 0);
    EXPECT_EQ(s.text()[0], 0);

    String null_text;
    String copy_of_null(null_text);
    EXPECT_NE(copy_of_null.text(), nullptr);
    EXPECT_EQ(copy_of_null.length(), 0);

    String released("abc");
    char* text = released.release();
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(released.text(), nullptr);
    EXPECT_EQ(released.length(), 0);
    delete[] text;
    char* roomy = new char[10];
    memcpy(roomy, "hello", 5);
    s.assign_nocopy(roomy, 5, 10);
    EXPECT_EQ(s.text(), roomy);
    EXPECT_EQ(s.capacity(), 10);
    EXPECT_STREQ(s.text(), "hello");

    char* tight = new char[5];
    memcpy(tight, "world", 5);
    s.assign_nocopy(tight, 5, 5);  // no room for the NUL: copied, tight freed
    EXPECT_NE(s.text(), tight);
    EXPECT_EQ(s.capacity(), 24);
    EXPECT_STREQ(s.text(), "world");

    String adopted(new char[3]{'a', 'b', 0}, 2, 3);
    EXPECT_STREQ(adopted.text(), "ab");
}

TEST(StringTest, EmbeddedNulsTravelWithExplicitLengths) {
    String s("a\0b", 3);
    s.cat("\0c", 2);
    EXPECT_EQ(Str(s), std::string("a\0b\0c", 5));
    String copy(s);
    EXPECT_EQ(Str(copy), Str(s));
    s.prepend("\0", 1);
    EXPECT_EQ(Str(s), std::string("\0a\0b\0c", 6));
}

TEST(StringTest, SubstringsByPositionAndPattern) {
    String s("hello world");
    EXPECT_EQ(s.before(-1).text(), nullptr);
    // at takes an end index, not a count.
    const std::string all = "hello world", none;
    const std::pair<String, std::string> cases[] = {
        {s.before(5), "hello"},   {s.before(50), all},      {s.before("o"), "hell"},
        {s.before("xyz"), all},   {s.after(4), " world"},   {s.after(10), none},
        {s.after("o"), " world"}, {s.after("o", 5), "rld"}, {s.after("xyz"), none},
        {s.from(6), "world"},     {s.from(11), none},       {s.from("wor"), "world"},
        {s.from("xyz"), none},    {s.at(2, 5), "llo"},      {s.at(6, 100), "world"},
        {s.at(11, 12), none}};
    for (const auto& [part, expected] : cases)
        EXPECT_EQ(Str(part), expected);
}

TEST(StringTest, MatchesSearchesAndReplacements) {
    String s("abc");
    EXPECT_FALSE(s.matches("AB", 0));
    EXPECT_TRUE(s.matches("ABC", 0));
    EXPECT_TRUE(s.matches("bC", 1));
    EXPECT_TRUE(s.matches("", 3));
    EXPECT_FALSE(s.matches("abcd", 0));
    EXPECT_TRUE(s.matches('c', 2));
    EXPECT_TRUE(s.matches('\0', 3));
    EXPECT_FALSE(s.matches('a', 4));
    String a("aaaa");
    EXPECT_EQ(a.freq("aa"), 3);
    a.gsub("aa", "b");
    EXPECT_EQ(Str(a), "bb");
    String t("one two one");
    EXPECT_EQ(t.search("one", 1), 8);
    EXPECT_EQ(t.search("", 0), -1);
    EXPECT_EQ(t.index("two"), 4);
    EXPECT_TRUE(t.contains("two"));
    EXPECT_FALSE(t.contains('z'));
    t.gsub("one", nullptr);
    EXPECT_EQ(Str(t), " two ");
    t.gsub("zzz", "y");
    EXPECT_EQ(Str(t), " two ");
}

TEST(StringTest, WhitespaceAndCase) {
    String s(" \t\r\nab  \t c\n ");
    s.StripWhitespace();
    EXPECT_EQ(Str(s), "ab  \t c");
    s.CompressWhitespace();
    EXPECT_EQ(Str(s), "ab c");
    String tabs("a\t \tb");
    tabs.CompressWhitespace();
    EXPECT_EQ(Str(tabs), "a\tb");
    String stops("  x\0y", 5);
    stops.ltrim();
    EXPECT_EQ(Str(stops), "x");
    String mixed("MiXeD 1");
    EXPECT_EQ(Str(mixed.upper()), "MIXED 1");
    EXPECT_EQ(Str(mixed.lower()), "mixed 1");
    EXPECT_EQ(Str(mixed), "MiXeD 1");
    EXPECT_EQ(Str(String("7").padl(3, '0')), "007");
    EXPECT_EQ(Str(String("7").padr(3, '.')), "7..");
    EXPECT_EQ(Str(String("1234").padl(3, '0')), "1234");
}

// Random appends, prepends and assigns against std::string, checking the
// NUL invariant and the capacity rule after every step.
TEST(StringTest, RandomEditsMatchStdString) {
    std::mt19937 random(7);
    String s;
    std::string model;
    for (int step = 0; step < 20000; step++) {
        std::string piece = RandomBytes(random, static_cast<int>(random() % 40), "abc");
        switch (random() % 6) {
            case 0:
                s.cat(piece.data(), static_cast<int>(piece.size()));
                model += piece;
                break;
            case 1:
                s.cat(piece.empty() ? 'z' : piece[0]);
                model += piece.empty() ? 'z' : piece[0];
                break;
            case 2:
                s.prepend(piece.data(), static_cast<int>(piece.size()));
                model = piece + model;
                break;
            case 3:
                if (model.size() > 500 || random() % 10 == 0) {
                    s.assign(piece.data(), static_cast<int>(piece.size()));
                    model = piece;
                }
                break;
            case 4:
                if (!piece.empty()) {
                    std::string pattern = piece.substr(0, 1 + random() % 3);
                    std::size_t expected = model.find(pattern);
                    EXPECT_EQ(s.search(pattern.c_str()),
                              expected == std::string::npos ? -1 : static_cast<int>(expected));
                }
                break;
            case 5: {
                int cut = static_cast<int>(random() % (model.size() + 2));
                EXPECT_EQ(Str(s.before(cut)), model.substr(0, cut));
                break;
            }
        }
        ASSERT_EQ(Str(s), model);
        if (s.text()) {
            ASSERT_EQ(s.text()[s.length()], 0);
            ASSERT_LT(s.length(), s.capacity());
            ASSERT_EQ(s.capacity() % 24, 0);
        }
    }
}

}  // namespace
