#pragma once

// Substring searches over explicit lengths. Each returns the 0-based position
// of pattern in text, or -1; a pattern longer than the text gives -1 and an
// empty pattern 0 (the reverse forms: text_length). The "i" forms ignore case
// (C locale tolower); the reverse forms find the last occurrence.
//
// bf_: brute force. bm_: Boyer-Moore with the 256-entry bad-character table.
// rk_: Rabin-Karp, base 32 modulo 33554393, verified on every hash match.
int bf_search(const char* pattern, int pattern_length, const char* text, int text_length);
int bf_searchi(const char* pattern, int pattern_length, const char* text, int text_length);
int bf_search_reverse(const char* pattern, int pattern_length, const char* text, int text_length);
int bf_searchi_reverse(const char* pattern, int pattern_length, const char* text, int text_length);
int bm_search(const char* pattern, int pattern_length, const char* text, int text_length);
int bm_searchi(const char* pattern, int pattern_length, const char* text, int text_length);
int bm_search_reverse(const char* pattern, int pattern_length, const char* text, int text_length);
int bm_searchi_reverse(const char* pattern, int pattern_length, const char* text, int text_length);
int rk_search(const char* pattern, int pattern_length, const char* text, int text_length);
int rk_searchi(const char* pattern, int pattern_length, const char* text, int text_length);
