#pragma once

#include <cstdint>

// The AES block cipher of FIPS-197 for 128-, 192- and 256-bit keys, one
// 16-byte block at a time. Round-key arrays hold kRijndaelMaxRoundKeyWords
// words, enough for the schedule of a 256-bit key.
namespace zq::crypto {

inline constexpr int kRijndaelMaxRoundKeyWords = 60;

constexpr int rijndaelKeyLength(int keyBits) {
    return keyBits / 8;
}
constexpr int rijndaelRoundKeyWords(int keyBits) {
    return keyBits / 8 + 28;
}
constexpr int rijndaelRounds(int keyBits) {
    return keyBits / 32 + 6;
}

// Expands `key` (keyBits / 8 bytes) into the encryption schedule. Returns the
// number of rounds (10, 12 or 14), or 0 for a key size other than 128, 192, 256.
int rijndaelSetupEncrypt(std::uint32_t* roundKeys, const unsigned char* key, int keyBits);

// Builds the encryption schedule and converts it into the decryption schedule
// of the equivalent inverse cipher. Returns the number of rounds (0 on a bad size).
int rijndaelSetupDecrypt(std::uint32_t* roundKeys, const unsigned char* key, int keyBits);

void rijndaelEncrypt(const std::uint32_t* roundKeys, int rounds, const unsigned char plaintext[16],
                     unsigned char ciphertext[16]);
void rijndaelDecrypt(const std::uint32_t* roundKeys, int rounds, const unsigned char ciphertext[16],
                     unsigned char plaintext[16]);

}  // namespace zq::crypto
