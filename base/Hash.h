#pragma once

// Bob Jenkins's 32-bit lookup2 hash of length bytes at key, seeded with
// initial. The result depends only on the bytes, never on the host's byte
// order, so it may be stored in files.
unsigned hash(const unsigned char* key, unsigned length, unsigned initial);
unsigned hash(const char* key, unsigned length, unsigned initial);

// The same hash over the bytes passed through the C locale's tolower, so that
// texts that memcmpi calls equal hash equal.
unsigned hashi(const unsigned char* key, unsigned length, unsigned initial);
unsigned hashi(const char* key, unsigned length, unsigned initial);
