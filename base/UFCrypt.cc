#include "base/UFCrypt.h"

#include <cstdint>
#include <cstring>

static_assert(sizeof(unsigned) == 4, "the tables hold 32-bit words");

// Bit numbers in the DES tables count from 1 at the most significant bit.

static const char kAlphabet[] = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

static const int kIterations = 25;

static const unsigned char kKeyPermutation1[56] = {
    57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18, 10, 2,  59, 51, 43,
    35, 27, 19, 11, 3,  60, 52, 44, 36, 63, 55, 47, 39, 31, 23, 15, 7,  62, 54,
    46, 38, 30, 22, 14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

static const unsigned char kKeyPermutation2[48] = {
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

static const unsigned char kKeyShifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

static const unsigned char kRoundPermutation[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23,
                                                    26, 5, 18, 31, 10, 2,  8,  24, 14, 32, 27,
                                                    3,  9, 19, 13, 30, 6,  22, 11, 4,  25};

static const unsigned char kFinalPermutation[64] = {
    40, 8,  48, 16, 56, 24, 64, 32, 39, 7,  47, 15, 55, 23, 63, 31, 38, 6,  46, 14, 54, 22,
    62, 30, 37, 5,  45, 13, 53, 21, 61, 29, 36, 4,  44, 12, 52, 20, 60, 28, 35, 3,  43, 11,
    51, 19, 59, 27, 34, 2,  42, 10, 50, 18, 58, 26, 33, 1,  41, 9,  49, 17, 57, 25};

// The eight S-boxes, each 4 rows of 16 columns.
static const unsigned char kSBoxes[8][64] = {
    {14, 4,  13, 1, 2,  15, 11, 8, 3, 10, 6, 12, 5,  9,  0,  7,  0,  15, 7,  4,  14, 2,
     13, 1,  10, 6, 12, 11, 9,  5, 3, 8,  4, 1,  14, 8,  13, 6,  2,  11, 15, 12, 9,  7,
     3,  10, 5,  0, 15, 12, 8,  2, 4, 9,  1, 7,  5,  11, 3,  14, 10, 0,  6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4, 9,  7,  2, 13, 12, 0,  5,  10, 3,  13, 4,  7, 15, 2,
     8,  14, 12, 0,  1,  10, 6,  9, 11, 5,  0, 14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,
     9,  3,  2,  15, 13, 8,  10, 1, 3,  15, 4, 2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7, 11, 4,  2,  8,  13, 7, 0,  9, 3, 4,
     6,  10, 2,  8,  5, 14, 12, 11, 15, 1,  13, 6, 4,  9,  8,  15, 3,  0, 11, 1, 2, 12,
     5,  10, 14, 7,  1, 10, 13, 0,  6,  9,  8,  7, 4,  15, 14, 3,  11, 5, 2,  12},
    {7, 13, 14, 3, 0, 6,  9, 10, 1,  2, 8,  5, 11, 12, 4,  15, 13, 8,  11, 5, 6, 15,
     0, 3,  4,  7, 2, 12, 1, 10, 14, 9, 10, 6, 9,  0,  12, 11, 7,  13, 15, 1, 3, 14,
     5, 2,  8,  4, 3, 15, 0, 6,  10, 1, 13, 8, 9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4, 1,  7,  10, 11, 6, 8, 5,  3, 15, 13, 0,  14, 9,  14, 11, 2,  12, 4,  7,
     13, 1,  5, 0,  15, 10, 3,  9, 8, 6,  4, 2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,
     6,  3,  0, 14, 11, 8,  12, 7, 1, 14, 2, 13, 6,  15, 0,  9,  10, 4,  5,  3},
    {12, 1,  10, 15, 9,  2,  6, 8,  0, 13, 3,  4,  14, 7,  5, 11, 10, 15, 4, 2, 7, 12,
     9,  5,  6,  1,  13, 14, 0, 11, 3, 8,  9,  14, 15, 5,  2, 8,  12, 3,  7, 0, 4, 10,
     1,  13, 11, 6,  4,  3,  2, 12, 9, 5,  15, 10, 11, 14, 1, 7,  6,  0,  8, 13},
    {4, 11, 2,  14, 15, 0,  8,  13, 3, 12, 9,  7, 5,  10, 6,  1,  13, 0,  11, 7,  4, 9,
     1, 10, 14, 3,  5,  12, 2,  15, 8, 6,  1,  4, 11, 13, 12, 3,  7,  14, 10, 15, 6, 8,
     0, 5,  9,  2,  6,  11, 13, 8,  1, 4,  10, 7, 9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2, 8,  4, 6, 15, 11, 1,  10, 9,  3, 14, 5,  0,  12, 7,  1,  15, 13, 8, 10, 3,
     7,  4, 12, 5, 6, 11, 0,  14, 9,  2,  7, 11, 4,  1,  9,  12, 14, 2,  0,  6, 10, 13,
     15, 3, 5,  8, 2, 1,  14, 7,  4,  10, 8, 13, 15, 12, 9,  0,  3,  5,  6,  11}};

// Expanded form: expansion bit e (0-47) feeds bit 5 - e % 6 of the input of
// S-box e / 6. Word e / 24 holds it; inside the word the four S-box inputs sit
// at bits 22, 16, 6 and 0, so that bits 16-27 and 0-11 index the tables of the
// S-box pairs directly. Bit e and bit e + 24 share a position in the two words.
static const int kGroupBase[4] = {22, 16, 6, 0};

static void SetExpandedBit(unsigned* words, int e) {
    int group = (e / 6) % 4;
    words[e / 24] |= 1u << (kGroupBase[group] + 5 - e % 6);
}

static bool ExpandedBit(unsigned word0, unsigned word1, int e) {
    unsigned word = e < 24 ? word0 : word1;
    int group = (e / 6) % 4;
    return (word >> (kGroupBase[group] + 5 - e % 6)) & 1;
}

static bool Bit32(uint32_t value, int number) {
    return (value >> (32 - number)) & 1;
}

static uint32_t Permute32(uint32_t value, const unsigned char* table) {
    uint32_t out = 0;
    for (int i = 0; i < 32; i++)
        out = out << 1 | Bit32(value, table[i]);
    return out;
}

// The expansion E: S-box g reads the half-block bits 4g to 4g + 5, wrapping
// from bit 32 to bit 1.
static int ExpansionSource(int e) {
    return (4 * (e / 6) + e % 6 + 31) % 32 + 1;
}

static void Expand(uint32_t value, unsigned* words) {
    words[0] = words[1] = 0;
    for (int e = 0; e < 48; e++) {
        if (Bit32(value, ExpansionSource(e))) SetExpandedBit(words, e);
    }
}

// Inverse of Expand: every half-block bit is one of the middle four inputs of
// exactly one S-box.
static uint32_t Contract(unsigned word0, unsigned word1) {
    uint32_t value = 0;
    for (int group = 0; group < 8; group++) {
        for (int b = 1; b <= 4; b++)
            value = value << 1 | ExpandedBit(word0, word1, 6 * group + b);
    }
    return value;
}

// Swaps the bits selected by salt_bits between the two words of an expanded
// value: the salt's exchange of expansion bits e and e + 24. Its own inverse.
static void SwapSaltBits(unsigned& word0, unsigned& word1, unsigned salt_bits) {
    unsigned swap = (word0 ^ word1) & salt_bits;
    word0 ^= swap;
    word1 ^= swap;
}

static int SaltValue(char ch) {
    int c = static_cast<unsigned char>(ch);
    int value = c >= 'a' ? c - 59 : c >= 'A' ? c - 53 : c - '.';
    return value & 63;
}

// Salt bit j of character i swaps expansion bits 6i + j and 6i + j + 24.
static unsigned SaltBits(char first, char second) {
    unsigned bits = 0;
    int values[2] = {SaltValue(first), SaltValue(second)};
    for (int i = 0; i < 2; i++) {
        for (int j = 0; j < 6; j++) {
            if ((values[i] >> j) & 1) SetExpandedBit(&bits, 6 * i + j);
        }
    }
    return bits;
}

static uint32_t Rotate28(uint32_t value, int bits) {
    return ((value << bits) | (value >> (28 - bits))) & 0x0fffffff;
}

// Round keys of a 64-bit DES key, each in expanded form: keys[2r], keys[2r+1].
static void KeySchedule(uint64_t key, unsigned* keys) {
    uint32_t c = 0, d = 0;
    for (int i = 0; i < 28; i++) {
        c = c << 1 | ((key >> (64 - kKeyPermutation1[i])) & 1);
        d = d << 1 | ((key >> (64 - kKeyPermutation1[28 + i])) & 1);
    }
    for (int round = 0; round < 16; round++) {
        c = Rotate28(c, kKeyShifts[round]);
        d = Rotate28(d, kKeyShifts[round]);
        uint64_t cd = uint64_t(c) << 28 | d;
        unsigned* words = keys + 2 * round;
        words[0] = words[1] = 0;
        for (int e = 0; e < 48; e++) {
            if ((cd >> (56 - kKeyPermutation2[e])) & 1) SetExpandedBit(words, e);
        }
    }
}

UFCrypt::UFCrypt() {
    UFC_Init();
}

void UFCrypt::UFC_Init() {
    Build_SBox_Tables();
    Build_Key_Tables();
    salt_[0] = salt_[1] = '.';
    salt_bits_ = 0;
}

void UFCrypt::Build_SBox_Tables() {
    // Round-function output of each S-box for each input: S-box, then the
    // permutation P, then the expansion that the next round needs.
    unsigned single[8][64][2];
    for (int box = 0; box < 8; box++) {
        for (int input = 0; input < 64; input++) {
            int row = ((input >> 4) & 2) | (input & 1);
            int column = (input >> 1) & 15;
            uint32_t output = uint32_t(kSBoxes[box][16 * row + column]) << (28 - 4 * box);
            Expand(Permute32(output, kRoundPermutation), single[box][input]);
        }
    }
    for (int pair = 0; pair < 4; pair++) {
        for (int index = 0; index < kTableEntries; index++) {
            const unsigned* left = single[2 * pair][index >> 6];
            const unsigned* right = single[2 * pair + 1][index & 63];
            sbox_[pair][index][0] = left[0] ^ right[0];
            sbox_[pair][index][1] = left[1] ^ right[1];
        }
    }
}

// The schedule is linear in the key bits: an entry is the XOR of the
// schedules of its single bits. Character bit j becomes DES key bit
// 8 * byte + 7 - j; bit 7 is dropped.
void UFCrypt::Build_Key_Tables() {
    memset(key_table_, 0, sizeof(key_table_));
    for (int byte = 0; byte < 8; byte++) {
        unsigned bit_keys[8][32] = {};
        for (int j = 0; j < 7; j++) {
            int number = 8 * byte + 7 - j;
            KeySchedule(uint64_t(1) << (64 - number), bit_keys[j]);
        }
        for (int half = 0; half < 2; half++) {
            for (int nibble = 0; nibble < 16; nibble++) {
                unsigned* entry = key_table_[byte][half][nibble];
                for (int j = 0; j < 4; j++) {
                    if (((nibble >> j) & 1) == 0) continue;
                    for (int w = 0; w < 32; w++)
                        entry[w] ^= bit_keys[4 * half + j][w];
                }
            }
        }
    }
}

void UFCrypt::UFC_Shuffle_Salt(unsigned* table, unsigned salt_bits) {
    for (int i = 0; i < kTableEntries; i++) {
        SwapSaltBits(table[2 * i], table[2 * i + 1], salt_bits);
    }
}

void UFCrypt::UFC_Salt(char first, char second) {
    if (first == salt_[0] && second == salt_[1]) return;
    unsigned bits = SaltBits(first, second);
    unsigned changed = bits ^ salt_bits_;
    if (changed != 0) {
        for (int pair = 0; pair < 4; pair++)
            UFC_Shuffle_Salt(&sbox_[pair][0][0], changed);
    }
    salt_[0] = first;
    salt_[1] = second;
    salt_bits_ = bits;
}

void UFCrypt::UFC_MakeKeyTable(char* key) {
    memset(round_keys_, 0, sizeof(round_keys_));
    for (int byte = 0; byte < 8; byte++) {
        unsigned c = static_cast<unsigned char>(key[byte]);
        const unsigned* low = key_table_[byte][0][c & 15];
        const unsigned* high = key_table_[byte][1][c >> 4];
        for (int w = 0; w < 32; w++)
            round_keys_[w] ^= low[w] ^ high[w];
    }
}

void UFCrypt::UFC_Encrypt(unsigned l0, unsigned l1, unsigned r0, unsigned r1, unsigned iterations) {
    const unsigned* keys = round_keys_;
    auto round = [this](unsigned in0, unsigned in1, const unsigned* key, unsigned& out0,
                        unsigned& out1) {
        unsigned x0 = in0 ^ key[0];
        unsigned x1 = in1 ^ key[1];
        const unsigned* s12 = sbox_[0][(x0 >> 16) & 0xfff];
        const unsigned* s34 = sbox_[1][x0 & 0xfff];
        const unsigned* s56 = sbox_[2][(x1 >> 16) & 0xfff];
        const unsigned* s78 = sbox_[3][x1 & 0xfff];
        out0 ^= s12[0] ^ s34[0] ^ s56[0] ^ s78[0];
        out1 ^= s12[1] ^ s34[1] ^ s56[1] ^ s78[1];
    };
    // The final permutation of one encryption and the initial permutation of
    // the next cancel, so the iterations only swap the halves between them.
    for (unsigned i = 0; i < iterations; i++) {
        for (int r = 0; r < 16; r += 2) {
            round(r0, r1, keys + 2 * r, l0, l1);
            round(l0, l1, keys + 2 * r + 2, r0, r1);
        }
        unsigned t0 = l0, t1 = l1;
        l0 = r0;
        l1 = r1;
        r0 = t0;
        r1 = t1;
    }
    block_[0] = l0;
    block_[1] = l1;
    block_[2] = r0;
    block_[3] = r1;
}

void UFCrypt::UFC_Final(unsigned l0, unsigned l1, unsigned r0, unsigned r1) {
    SwapSaltBits(l0, l1, salt_bits_);
    SwapSaltBits(r0, r1, salt_bits_);
    uint64_t block = uint64_t(Contract(l0, l1)) << 32 | Contract(r0, r1);
    uint64_t out = 0;
    for (int i = 0; i < 64; i++)
        out = out << 1 | ((block >> (64 - kFinalPermutation[i])) & 1);
    result_[0] = static_cast<unsigned>(out >> 32);
    result_[1] = static_cast<unsigned>(out);
}

void UFCrypt::UFC_Output(unsigned high, unsigned low, char* out) {
    uint64_t bits = uint64_t(high) << 32 | low;
    for (int i = 0; i < 10; i++)
        out[i] = kAlphabet[(bits >> (58 - 6 * i)) & 63];
    out[10] = kAlphabet[(bits & 15) << 2];
}

void UFCrypt::crypt(const char* key, int key_length, const char* salt, char* out) {
    if (key_length < 0) key_length = static_cast<int>(strlen(key));
    char key_bytes[8] = {};
    if (key_length > 0) memcpy(key_bytes, key, key_length < 8 ? key_length : 8);
    char first = salt[0];
    char second = first != 0 ? salt[1] : 0;

    UFC_Salt(first, second);
    UFC_MakeKeyTable(key_bytes);
    UFC_Encrypt(0, 0, 0, 0, kIterations);
    UFC_Final(block_[0], block_[1], block_[2], block_[3]);
    out[0] = first;
    out[1] = second;
    UFC_Output(result_[0], result_[1], out + 2);
    out[13] = 0;
}
