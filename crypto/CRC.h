#pragma once

#include <cstdint>

// CRC-32 of IEEE 802.3 / zlib (reflected polynomial 0xEDB88320, preset and
// final XOR 0xFFFFFFFF). Results equal zlib's crc32() for the same input.
namespace zq::crypto {

// Continues a CRC-32 over `length` bytes; start a new checksum with crc = 0.
// A null buffer returns 0 whatever the incoming value. The upper 32 bits of
// the result are zero.
unsigned long crc32(unsigned long crc, const unsigned char* bytes, std::uint32_t length);

}  // namespace zq::crypto
