#pragma once

// Fills count bytes at out from a random source; false if it cannot.
typedef bool (*SessionIDRandomSource)(unsigned char* out, int count);

// Size of the buffer that a session id digests.
const int kSessionIDBufferSize = 319;

// Builds the bytes that a session id digests, in buffer (kSessionIDBufferSize
// bytes): zeros; first the text of hostname, at most 255 bytes (null counts as
// empty); right after it the process id, the seconds and the microseconds,
// each as its low 4 bytes with the most significant first; then the rest from
// random_bytes. If random_bytes is null or fails, each remaining byte is
// instead the low byte of one rand() call.
void BuildSessionIDBuffer(const char* hostname, int pid, long seconds, long microseconds,
                          SessionIDRandomSource random_bytes, unsigned char* buffer);

// Returns a new[] text of 32 lower-case hexadecimal digits and a NUL: the MD5
// digest of the buffer of BuildSessionIDBuffer. Sets *length to 32. Unique by
// host, process and time; unpredictable when random_bytes is a cryptographic
// source. Never fails.
char* MakeSessionIDFrom(const char* hostname, int pid, long seconds, long microseconds,
                        SessionIDRandomSource random_bytes, int* length);
