// DecryptHttpRequest on arbitrary answers: as ciphertext, and as plaintext
// encrypted under the request's key (which reaches the inflater).

#include "FuzzSupport.h"

#include "crypto/AES.h"
#include "crypto/PingbackUtil.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const unsigned char keyIv[48] = {
        0x60, 0x3d, 0xeb, 0x10, 0x15, 0xca, 0x71, 0xbe, 0x2b, 0x73, 0xae, 0xf0,
        0x85, 0x7d, 0x77, 0x81, 0x1f, 0x35, 0x2c, 0x07, 0x3b, 0x61, 0x08, 0xd7,
        0x2d, 0x98, 0x10, 0xa3, 0x09, 0x14, 0xdf, 0xf4, 0x00, 0x01, 0x02, 0x03,
        0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0a, 0x0b, 0x0c, 0x0d, 0x0e, 0x0f};
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    std::uint32_t bodySize = 0xdeadbeef;
    const QByteArray asCipher = PingbackUtil::DecryptHttpRequestData(input, &bodySize, keyIv);
    if (!asCipher.isNull()) {
        FUZZ_CHECK(bodySize == static_cast<std::uint32_t>(asCipher.size()));
    }
    (void)PingbackUtil::DecryptHttpRequestText(input, &bodySize, keyIv);

    const QByteArray cipher = zq::crypto::AES256EncryptWithKey(input, keyIv, 32, keyIv + 32);
    FUZZ_CHECK(!cipher.isNull());
    bodySize = 0xdeadbeef;
    const QByteArray plain = PingbackUtil::DecryptHttpRequestData(cipher, &bodySize, keyIv);
    if (input.size() < 5) {
        FUZZ_CHECK(plain.isNull() && bodySize == 0xdeadbeef);
    } else {
        FUZZ_CHECK(bodySize == static_cast<std::uint32_t>(plain.size()));
    }
    return 0;
}
