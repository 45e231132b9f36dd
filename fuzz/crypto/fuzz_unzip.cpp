// unzip: (zlib/gzip and bare DEFLATE) and zip_uncompress on arbitrary bytes.

#include "FuzzSupport.h"

#include "crypto/Compression.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QByteArray wrapped = zq::crypto::unzip(input, false);
    const QByteArray raw = zq::crypto::unzip(input, true);
    if (!raw.isNull() && !raw.isEmpty()) {
        // What inflated compresses and inflates back.
        FUZZ_CHECK(zq::crypto::unzipEW(zq::crypto::zipCompressed(raw)) == raw);
    }
    if (!wrapped.isNull() && !wrapped.isEmpty()) {
        FUZZ_CHECK(zq::crypto::unzip(zq::crypto::zip(wrapped)) == wrapped);
    }
    // zip_uncompress into a buffer of a size the input chooses.
    const std::uint32_t expected = size > 0 ? data[0] * 64u : 0u;
    std::vector<unsigned char> out(expected + 1, 0xA5);
    std::uint32_t crc = 0;
    const std::int32_t produced = zq::crypto::zip_uncompress(
        size > 1 ? data + 1 : nullptr, size > 1 ? static_cast<std::int32_t>(size - 1) : 0,
        out.data(), expected, &crc);
    FUZZ_CHECK(produced <= static_cast<std::int32_t>(expected));
    FUZZ_CHECK(out[expected] == 0xA5);  // nothing written past the buffer
    return 0;
}
