#include "crypto/CRC.h"

#include <array>

namespace zq::crypto {
namespace {

constexpr std::array<std::uint32_t, 256> makeTable() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t n = 0; n < 256; ++n) {
        std::uint32_t c = n;
        for (int k = 0; k < 8; ++k) {
            c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        }
        table[n] = c;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> kTable = makeTable();

inline std::uint32_t step(std::uint32_t c, unsigned char byte) {
    return kTable[(c ^ byte) & 0xff] ^ (c >> 8);
}

}  // namespace

unsigned long crc32(unsigned long crc, const unsigned char* bytes, std::uint32_t length) {
    if (bytes == nullptr) {
        return 0;
    }
    std::uint32_t c = static_cast<std::uint32_t>(crc) ^ 0xFFFFFFFFu;
    while (length >= 8) {
        c = step(c, bytes[0]);
        c = step(c, bytes[1]);
        c = step(c, bytes[2]);
        c = step(c, bytes[3]);
        c = step(c, bytes[4]);
        c = step(c, bytes[5]);
        c = step(c, bytes[6]);
        c = step(c, bytes[7]);
        bytes += 8;
        length -= 8;
    }
    while (length-- > 0) {
        c = step(c, *bytes++);
    }
    return c ^ 0xFFFFFFFFu;
}

}  // namespace zq::crypto
