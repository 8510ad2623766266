#pragma once

// RFC 4648 base64 with the standard alphabet and "=" padding, no line
// breaks. Writes 4 * ceil(length / 3) bytes, no NUL; returns that count.
// C linkage: exported to extension libraries.
extern "C" {
int ox_base64_encode(const char* in, char* out, int length);
// Decodes the complete groups of 4 without validating: a byte outside the
// alphabet counts as 0; "=" in third place drops a group's second byte, in
// fourth place its third.
// Whitespace is not skipped. Returns the bytes written; 0 below 4 bytes.
int ox_base64_decode(const char* in, char* out, int length);
}
