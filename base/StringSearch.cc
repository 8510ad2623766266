#include "base/StringSearch.h"

#include <cctype>

namespace {

struct Exact {
    static unsigned char fold(char c) { return static_cast<unsigned char>(c); }
};
struct Folded {
    static unsigned char fold(char c) {
        return static_cast<unsigned char>(tolower(static_cast<unsigned char>(c)));
    }
};

template <class Case>
bool equal_at(const char* pattern, int m, const char* text) {
    for (int j = m - 1; j >= 0; j--) {
        if (Case::fold(pattern[j]) != Case::fold(text[j])) return false;
    }
    return true;
}

// Plain scan: on a mismatch the next try starts one byte behind the last
// start.
template <class Case>
int brute_force(const char* pattern, int m, const char* text, int n, bool reverse) {
    if (m > n) return -1;
    if (reverse) {
        for (int i = n - m; i >= 0; i--) {
            if (equal_at<Case>(pattern, m, text + i)) return i;
        }
    } else {
        for (int i = 0; i <= n - m; i++) {
            if (equal_at<Case>(pattern, m, text + i)) return i;
        }
    }
    return -1;
}

// Shifts by the bad-character rule on the text byte under the pattern's last
// (forward) or first (reverse) byte.
template <class Case>
int boyer_moore(const char* pattern, int m, const char* text, int n, bool reverse) {
    if (m > n) return -1;
    if (m == 0) return reverse ? n : 0;
    int shift[256];
    for (int& s : shift)
        s = m;
    if (reverse) {
        for (int j = m - 1; j >= 1; j--)
            shift[Case::fold(pattern[j])] = j;
        for (int i = n - m; i >= 0; i -= shift[Case::fold(text[i])]) {
            if (equal_at<Case>(pattern, m, text + i)) return i;
        }
    } else {
        for (int j = 0; j < m - 1; j++)
            shift[Case::fold(pattern[j])] = m - 1 - j;
        for (int i = 0; i <= n - m; i += shift[Case::fold(text[i + m - 1])]) {
            if (equal_at<Case>(pattern, m, text + i)) return i;
        }
    }
    return -1;
}

template <class Case>
int rabin_karp(const char* pattern, int m, const char* text, int n) {
    const unsigned long long kBase = 32, kModulus = 33554393;
    if (m > n) return -1;
    unsigned long long high = 1, wanted = 0, window = 0;
    for (int j = 0; j < m; j++) {
        if (j > 0) high = high * kBase % kModulus;
        wanted = (wanted * kBase + Case::fold(pattern[j])) % kModulus;
        window = (window * kBase + Case::fold(text[j])) % kModulus;
    }
    for (int i = 0;; i++) {
        if (window == wanted && equal_at<Case>(pattern, m, text + i)) return i;
        if (i + m >= n) return -1;
        window = (window + kModulus - Case::fold(text[i]) * high % kModulus) % kModulus;
        window = (window * kBase + Case::fold(text[i + m])) % kModulus;
    }
}

}  // namespace

int bf_search(const char* p, int m, const char* t, int n) {
    return brute_force<Exact>(p, m, t, n, false);
}
int bf_searchi(const char* p, int m, const char* t, int n) {
    return brute_force<Folded>(p, m, t, n, false);
}
int bf_search_reverse(const char* p, int m, const char* t, int n) {
    return brute_force<Exact>(p, m, t, n, true);
}
int bf_searchi_reverse(const char* p, int m, const char* t, int n) {
    return brute_force<Folded>(p, m, t, n, true);
}
int bm_search(const char* p, int m, const char* t, int n) {
    return boyer_moore<Exact>(p, m, t, n, false);
}
int bm_searchi(const char* p, int m, const char* t, int n) {
    return boyer_moore<Folded>(p, m, t, n, false);
}
int bm_search_reverse(const char* p, int m, const char* t, int n) {
    return boyer_moore<Exact>(p, m, t, n, true);
}
int bm_searchi_reverse(const char* p, int m, const char* t, int n) {
    return boyer_moore<Folded>(p, m, t, n, true);
}
int rk_search(const char* p, int m, const char* t, int n) {
    return rabin_karp<Exact>(p, m, t, n);
}
int rk_searchi(const char* p, int m, const char* t, int n) {
    return rabin_karp<Folded>(p, m, t, n);
}
