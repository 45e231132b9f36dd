// The tolerant Base64 decoder on arbitrary text.

#include "FuzzSupport.h"

#include "crypto/Base64.h"

#include <QString>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QByteArray decoded = zq::crypto::dataWithBase64EncodedBytes(input);
    // Never more than 3 bytes per 4 input characters (+ a partial group).
    FUZZ_CHECK(decoded.size() <= (input.size() / 4 + 1) * 3);
    const QByteArray viaText = zq::crypto::dataWithBase64EncodedString(QString::fromLatin1(input));
    FUZZ_CHECK(viaText == decoded);
    if (!decoded.isNull()) {
        // Whatever decoded encodes and decodes back to itself.
        const QString encoded = zq::crypto::base64EncodedString(decoded);
        FUZZ_CHECK(zq::crypto::dataWithBase64EncodedString(encoded) == decoded);
        FUZZ_CHECK(zq::crypto::base64Encode(decoded) == encoded);
        const QString wrapped =
            zq::crypto::base64EncodedStringWithWrapWidth(decoded, unsigned(size % 90));
        FUZZ_CHECK(zq::crypto::dataWithBase64EncodedString(wrapped) == decoded);
    }
    return 0;
}
