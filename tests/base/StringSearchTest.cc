#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include "base/MemCmpI.h"
#include "base/StringSearch.h"
#include "tests/base/BaseTestSupport.h"
#include "tests/support/TestText.h"

namespace {

using Search = int (*)(const char*, int, const char*, int);

struct Function {
    const char* name;
    Search search;
    bool fold;
    bool reverse;
};

const Function kFunctions[] = {{"bf_search", bf_search, false, false},
                               {"bf_searchi", bf_searchi, true, false},
                               {"bf_search_reverse", bf_search_reverse, false, true},
                               {"bf_searchi_reverse", bf_searchi_reverse, true, true},
                               {"bm_search", bm_search, false, false},
                               {"bm_searchi", bm_searchi, true, false},
                               {"bm_search_reverse", bm_search_reverse, false, true},
                               {"bm_searchi_reverse", bm_searchi_reverse, true, true},
                               {"rk_search", rk_search, false, false},
                               {"rk_searchi", rk_searchi, true, false}};

// What std::string_view finds, on lower-cased copies for the folding forms.
int expected(const Function& f, const std::string& pattern, const std::string& text) {
    std::string p = f.fold ? Lower(pattern) : pattern;
    std::string t = f.fold ? Lower(text) : text;
    std::string_view view(t);
    size_t at = f.reverse ? view.rfind(p) : view.find(p);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

int found(const Function& f, const std::string& pattern, const std::string& text) {
    // Copies without a terminator, so that a read past either end shows.
    std::unique_ptr<char[]> p(new char[pattern.size() ? pattern.size() : 1]);
    std::unique_ptr<char[]> t(new char[text.size() ? text.size() : 1]);
    memcpy(p.get(), pattern.data(), pattern.size());
    memcpy(t.get(), text.data(), text.size());
    return f.search(p.get(), static_cast<int>(pattern.size()), t.get(),
                    static_cast<int>(text.size()));
}

void check(const Function& f, const std::string& pattern, const std::string& text) {
    ASSERT_EQ(found(f, pattern, text), expected(f, pattern, text))
        << f.name << " \"" << pattern << "\" in \"" << text << "\"";
}

TEST(StringSearchTest, RandomTextsAgainstStringView) {
    for (const Function& f : kFunctions) {
        check(f, "", "abc");
        check(f, "", "");
    }
    std::mt19937 random(61);
    const char* alphabets[] = {"ab", "abc", "aAbB", "abcdefghijklmnopqrstuvwxyz", "a\x80\xff\x7f"};
    for (int i = 0; i < Scaled(4000, 5); i++) {
        const char* alphabet = alphabets[i % 5];
        int length = static_cast<int>(random() % 2 ? random() % 300 : 250 + random() % 400);
        std::string text = RandomBytes(random, length, alphabet);
        std::string pattern;
        int pattern_length = static_cast<int>(random() % (i % 7 == 0 ? 40 : 8));
        if (random() % 2 && pattern_length <= length) {
            int start = static_cast<int>(random() % (length - pattern_length + 1));
            if (random() % 4 == 0) start = random() % 2 ? 0 : length - pattern_length;
            pattern = text.substr(start, pattern_length);
            if (random() % 2 && !pattern.empty()) pattern[random() % pattern.size()] ^= 0x20;
        } else {
            pattern = RandomBytes(random, pattern_length, alphabet);
        }
        for (const Function& f : kFunctions)
            ASSERT_NO_FATAL_FAILURE(check(f, pattern, text));
    }
}

int sign(int value) {
    return value < 0 ? -1 : value > 0 ? 1 : 0;
}

TEST(MemCmpITest, AgainstLowerCasedCopies) {
    EXPECT_EQ(memcmpi("abc", "xyz", -1), 0);
    EXPECT_EQ(memcmpi("a\xff", "A\x01", 2), 1);  // bytes compare unsigned
    std::mt19937 random(63);
    for (int i = 0; i < 20000; i++) {
        int length = static_cast<int>(random() % 6);
        std::string a = RandomBytes(random, length, "aAbB[\x80");
        std::string b = RandomBytes(random, length, "aAbB[\x80");
        std::string la = Lower(a), lb = Lower(b);
        int model = sign(memcmp(la.data(), lb.data(), length));
        ASSERT_EQ(memcmpi(a.data(), b.data(), length), model) << a << " " << b;
    }
}

}  // namespace
