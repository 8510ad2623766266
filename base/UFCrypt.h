#pragma once

// The traditional DES-based Unix password hash of crypt(3), with tables
// precomputed for speed. Build one instance and keep it: the constructor fills
// about 160 kilobytes of tables, so allocate it on the heap. Not reentrant.
//
// Key: at most the first 8 bytes count, a shorter key is filled with zeros.
// Each key byte is shifted left by one into the DES key byte, so its top bit
// is dropped (bytes c and c ^ 0x80 hash alike), as in every traditional crypt.
//
// Salt: two characters of the alphabet "./0-9A-Za-z", values 0 to 63. A
// character outside the alphabet is never refused: it takes the value of the
// traditional arithmetic lookup (from 'a' on c - 59, from 'A' on c - 53, else
// c - '.') in its low 6 bits, so '!' counts as 'n', and is copied to the
// output unchanged.
class UFCrypt {
  public:
    UFCrypt();
    virtual ~UFCrypt() = default;

    UFCrypt(const UFCrypt&) = delete;
    UFCrypt& operator=(const UFCrypt&) = delete;

    // Writes to out the 13-character hash of key and a NUL: the two salt
    // characters, then the 64 result bits of 25 salted DES encryptions of the
    // zero block in 11 characters of the alphabet. key_length -1 means up to
    // the NUL. salt points to two characters; if the first is NUL the second
    // is not read and counts as NUL.
    void crypt(const char* key, int key_length, const char* salt, char* out);

  private:
    // Builds the S-box and key tables; the salt starts as "..".
    void UFC_Init();
    // Makes (first, second) the current salt, re-shuffling the S-box tables
    // only if it differs from the current one.
    void UFC_Salt(char first, char second);
    // Computes the 16 round keys of the 8 key bytes at key.
    void UFC_MakeKeyTable(char* key);
    // Runs iterations times the 16 DES rounds from the expanded halves
    // (l0, l1) and (r0, r1); the result goes to block_.
    void UFC_Encrypt(unsigned l0, unsigned l1, unsigned r0, unsigned r1, unsigned iterations);
    // Turns the expanded halves back into the 64-bit output block in result_.
    void UFC_Final(unsigned l0, unsigned l1, unsigned r0, unsigned r1);
    // Writes the 64 bits high:low as 11 characters of the alphabet.
    void UFC_Output(unsigned high, unsigned low, char* out);
    // Swaps, in every entry of one S-box table, the expansion bits selected
    // by salt_bits with their partners 24 bits on.
    void UFC_Shuffle_Salt(unsigned* table, unsigned salt_bits);
    void Build_SBox_Tables();
    void Build_Key_Tables();

    static const int kTableEntries = 4096;

    // A 48-bit value in expanded form is two words of 24 bits, one for the
    // S-boxes 1-4 and one for 5-8. sbox_[p][i] is the expanded, salted output
    // of the round function for the inputs i of the S-boxes 2p+1 and 2p+2.
    unsigned sbox_[4][kTableEntries][2];
    // key_table_[byte][half][nibble]: the round keys that one nibble of one
    // key byte contributes; a key's round keys are the XOR of 16 entries.
    unsigned key_table_[8][2][16][32];
    unsigned round_keys_[32];

    char salt_[2];
    unsigned salt_bits_;
    unsigned block_[4];
    unsigned result_[2];
};
