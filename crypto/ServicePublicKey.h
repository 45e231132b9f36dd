#pragma once

#include <cstddef>

// The encrypted-wall service's RSA public key, compiled in from the DER file
// named by the CMake cache variable ZQ_RSA_PUBLIC_KEY_DER (default: the
// development pair in tools/devkeys). The build accepts only a 1024-bit key
// with exponent 65537.
namespace zq::crypto {

inline constexpr std::size_t kServicePublicKeyDerSize = 162;

// DER SubjectPublicKeyInfo (rsaEncryption, NULL parameters, BIT STRING holding
// the PKCS#1 RSAPublicKey).
extern const unsigned char kServicePublicKeyDer[kServicePublicKeyDerSize];

}  // namespace zq::crypto

inline constexpr std::size_t kVeskoRsaPublicKeyBlobSize = 148;

// The same key as a CryptoAPI PUBLICKEYBLOB: 06 02 00 00, algorithm 0x0000A400
// little-endian, "RSA1", bit length 1024 and exponent as 32-bit little-endian,
// then the 128-byte modulus least significant byte first.
extern const unsigned char VESKO_RSA_PUBLIC_KEY[kVeskoRsaPublicKeyBlobSize];
