#include "crypto/rijndael.h"

#include <array>

// FIPS-197 AES, byte-oriented. Round keys are 32-bit words whose first byte is
// the most significant; the decryption schedule is the one of the equivalent
// inverse cipher (round keys in reverse order, InvMixColumns applied to the
// inner ones), so that decryption runs the same shape of loop as encryption.

namespace zq::crypto {
namespace {

constexpr unsigned char xtime(unsigned char x) {
    return static_cast<unsigned char>((x << 1) ^ ((x & 0x80) ? 0x1b : 0x00));
}

constexpr unsigned char gmul(unsigned char a, unsigned char b) {
    unsigned char product = 0;
    while (b) {
        if (b & 1) {
            product ^= a;
        }
        a = xtime(a);
        b >>= 1;
    }
    return product;
}

constexpr unsigned char rotl8(unsigned char x, int shift) {
    return static_cast<unsigned char>((x << shift) | (x >> (8 - shift)));
}

struct Boxes {
    std::array<unsigned char, 256> sbox{};
    std::array<unsigned char, 256> inverse{};
};

// Walks the multiplicative group with generator 3 (p) and its inverse
// (q = p^-1, multiplied by 3^-1 each step), so every element's inverse comes
// in one pass; then applies the affine transform.
constexpr Boxes makeBoxes() {
    Boxes boxes;
    unsigned char p = 1;
    unsigned char q = 1;
    do {
        p = static_cast<unsigned char>(p ^ (p << 1) ^ ((p & 0x80) ? 0x1b : 0x00));
        q = static_cast<unsigned char>(q ^ (q << 1));
        q = static_cast<unsigned char>(q ^ (q << 2));
        q = static_cast<unsigned char>(q ^ (q << 4));
        if (q & 0x80) {
            q = static_cast<unsigned char>(q ^ 0x09);
        }
        const unsigned char s = static_cast<unsigned char>(q ^ rotl8(q, 1) ^ rotl8(q, 2) ^
                                                           rotl8(q, 3) ^ rotl8(q, 4) ^ 0x63);
        boxes.sbox[p] = s;
        boxes.inverse[s] = p;
    } while (p != 1);
    boxes.sbox[0] = 0x63;
    boxes.inverse[0x63] = 0;
    return boxes;
}

constexpr Boxes kBoxes = makeBoxes();
static_assert(kBoxes.sbox[0x00] == 0x63 && kBoxes.sbox[0x53] == 0xed && kBoxes.inverse[0x63] == 0);

std::uint32_t subWord(std::uint32_t w) {
    return std::uint32_t(kBoxes.sbox[w >> 24]) << 24 |
           std::uint32_t(kBoxes.sbox[(w >> 16) & 0xff]) << 16 |
           std::uint32_t(kBoxes.sbox[(w >> 8) & 0xff]) << 8 | std::uint32_t(kBoxes.sbox[w & 0xff]);
}

std::uint32_t loadWord(const unsigned char* p) {
    return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3];
}

void addRoundKey(unsigned char state[16], const std::uint32_t* rk) {
    for (int c = 0; c < 4; ++c) {
        state[4 * c] ^= static_cast<unsigned char>(rk[c] >> 24);
        state[4 * c + 1] ^= static_cast<unsigned char>(rk[c] >> 16);
        state[4 * c + 2] ^= static_cast<unsigned char>(rk[c] >> 8);
        state[4 * c + 3] ^= static_cast<unsigned char>(rk[c]);
    }
}

// State layout: byte 4 * column + row.
void subBytesShiftRows(unsigned char s[16]) {
    unsigned char t[16];
    for (int c = 0; c < 4; ++c) {
        for (int r = 0; r < 4; ++r) {
            t[4 * c + r] = kBoxes.sbox[s[4 * ((c + r) % 4) + r]];
        }
    }
    for (int i = 0; i < 16; ++i) {
        s[i] = t[i];
    }
}

void invSubBytesShiftRows(unsigned char s[16]) {
    unsigned char t[16];
    for (int c = 0; c < 4; ++c) {
        for (int r = 0; r < 4; ++r) {
            t[4 * ((c + r) % 4) + r] = kBoxes.inverse[s[4 * c + r]];
        }
    }
    for (int i = 0; i < 16; ++i) {
        s[i] = t[i];
    }
}

void mixColumn(unsigned char* col) {
    const unsigned char a0 = col[0], a1 = col[1], a2 = col[2], a3 = col[3];
    col[0] = static_cast<unsigned char>(xtime(a0) ^ (xtime(a1) ^ a1) ^ a2 ^ a3);
    col[1] = static_cast<unsigned char>(a0 ^ xtime(a1) ^ (xtime(a2) ^ a2) ^ a3);
    col[2] = static_cast<unsigned char>(a0 ^ a1 ^ xtime(a2) ^ (xtime(a3) ^ a3));
    col[3] = static_cast<unsigned char>((xtime(a0) ^ a0) ^ a1 ^ a2 ^ xtime(a3));
}

void invMixColumn(unsigned char* col) {
    const unsigned char a0 = col[0], a1 = col[1], a2 = col[2], a3 = col[3];
    col[0] = gmul(a0, 14) ^ gmul(a1, 11) ^ gmul(a2, 13) ^ gmul(a3, 9);
    col[1] = gmul(a0, 9) ^ gmul(a1, 14) ^ gmul(a2, 11) ^ gmul(a3, 13);
    col[2] = gmul(a0, 13) ^ gmul(a1, 9) ^ gmul(a2, 14) ^ gmul(a3, 11);
    col[3] = gmul(a0, 11) ^ gmul(a1, 13) ^ gmul(a2, 9) ^ gmul(a3, 14);
}

std::uint32_t invMixWord(std::uint32_t w) {
    unsigned char col[4] = {static_cast<unsigned char>(w >> 24),
                            static_cast<unsigned char>(w >> 16), static_cast<unsigned char>(w >> 8),
                            static_cast<unsigned char>(w)};
    invMixColumn(col);
    return loadWord(col);
}

}  // namespace

int rijndaelSetupEncrypt(std::uint32_t* rk, const unsigned char* key, int keyBits) {
    if (keyBits != 128 && keyBits != 192 && keyBits != 256) {
        return 0;
    }
    const int nk = keyBits / 32;
    const int rounds = rijndaelRounds(keyBits);
    const int words = 4 * (rounds + 1);
    for (int i = 0; i < nk; ++i) {
        rk[i] = loadWord(key + 4 * i);
    }
    unsigned char rcon = 0x01;
    for (int i = nk; i < words; ++i) {
        std::uint32_t temp = rk[i - 1];
        if (i % nk == 0) {
            temp = subWord((temp << 8) | (temp >> 24)) ^ (std::uint32_t(rcon) << 24);
            rcon = xtime(rcon);
        } else if (nk > 6 && i % nk == 4) {
            temp = subWord(temp);
        }
        rk[i] = rk[i - nk] ^ temp;
    }
    return rounds;
}

int rijndaelSetupDecrypt(std::uint32_t* rk, const unsigned char* key, int keyBits) {
    const int rounds = rijndaelSetupEncrypt(rk, key, keyBits);
    if (rounds == 0) {
        return 0;
    }
    // Reverse the order of the round keys.
    for (int i = 0, j = 4 * rounds; i < j; i += 4, j -= 4) {
        for (int k = 0; k < 4; ++k) {
            const std::uint32_t t = rk[i + k];
            rk[i + k] = rk[j + k];
            rk[j + k] = t;
        }
    }
    // InvMixColumns on every round key but the first and the last.
    for (int i = 4; i < 4 * rounds; ++i) {
        rk[i] = invMixWord(rk[i]);
    }
    return rounds;
}

void rijndaelEncrypt(const std::uint32_t* rk, int rounds, const unsigned char plaintext[16],
                     unsigned char ciphertext[16]) {
    unsigned char s[16];
    for (int i = 0; i < 16; ++i) {
        s[i] = plaintext[i];
    }
    addRoundKey(s, rk);
    for (int round = 1; round < rounds; ++round) {
        subBytesShiftRows(s);
        for (int c = 0; c < 4; ++c) {
            mixColumn(s + 4 * c);
        }
        addRoundKey(s, rk + 4 * round);
    }
    subBytesShiftRows(s);
    addRoundKey(s, rk + 4 * rounds);
    for (int i = 0; i < 16; ++i) {
        ciphertext[i] = s[i];
    }
}

void rijndaelDecrypt(const std::uint32_t* rk, int rounds, const unsigned char ciphertext[16],
                     unsigned char plaintext[16]) {
    unsigned char s[16];
    for (int i = 0; i < 16; ++i) {
        s[i] = ciphertext[i];
    }
    addRoundKey(s, rk);
    for (int round = 1; round < rounds; ++round) {
        invSubBytesShiftRows(s);
        for (int c = 0; c < 4; ++c) {
            invMixColumn(s + 4 * c);
        }
        addRoundKey(s, rk + 4 * round);
    }
    invSubBytesShiftRows(s);
    addRoundKey(s, rk + 4 * rounds);
    for (int i = 0; i < 16; ++i) {
        plaintext[i] = s[i];
    }
}

}  // namespace zq::crypto
