#include "crypto/Base64.h"

#include <array>
#include <cstdint>

namespace zq::crypto {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned char kSkip = 99;

constexpr std::array<unsigned char, 128> makeDecodeTable() {
    std::array<unsigned char, 128> table{};
    for (auto& entry : table) {
        entry = kSkip;
    }
    for (unsigned char i = 0; i < 64; ++i) {
        table[static_cast<unsigned char>(kAlphabet[i])] = i;
    }
    return table;
}

constexpr std::array<unsigned char, 128> kDecodeTable = makeDecodeTable();

void encodeGroup(const unsigned char* in, char* out) {
    out[0] = kAlphabet[in[0] >> 2];
    out[1] = kAlphabet[((in[0] & 0x03) << 4) | (in[1] >> 4)];
    out[2] = kAlphabet[((in[1] & 0x0f) << 2) | (in[2] >> 6)];
    out[3] = kAlphabet[in[2] & 0x3f];
}

// Encodes the one or two bytes left after the full groups.
void encodeTail(const unsigned char* in, qsizetype count, char* out) {
    const unsigned char second = count > 1 ? in[1] : 0;
    out[0] = kAlphabet[in[0] >> 2];
    out[1] = kAlphabet[((in[0] & 0x03) << 4) | (second >> 4)];
    out[2] = count > 1 ? kAlphabet[(second & 0x0f) << 2] : '=';
    out[3] = '=';
}

// Decodes a sequence of characters; `valueAt(i)` gives the sextet of the
// i-th character, or kSkip for anything outside the alphabet.
template <typename ValueAt>
QByteArray decode(qsizetype inputLength, ValueAt&& valueAt) {
    QByteArray out((inputLength / 4 + 1) * 3, Qt::Uninitialized);
    auto* dst = reinterpret_cast<unsigned char*>(out.data());
    qsizetype produced = 0;
    std::uint32_t accumulator = 0;
    int filled = 0;
    for (qsizetype i = 0; i < inputLength; ++i) {
        const unsigned char value = valueAt(i);
        if (value == kSkip) {
            continue;
        }
        accumulator = (accumulator << 6) | value;
        if (++filled == 4) {
            dst[produced++] = static_cast<unsigned char>(accumulator >> 16);
            dst[produced++] = static_cast<unsigned char>(accumulator >> 8);
            dst[produced++] = static_cast<unsigned char>(accumulator);
            accumulator = 0;
            filled = 0;
        }
    }
    if (filled == 2) {
        dst[produced++] = static_cast<unsigned char>(accumulator >> 4);
    } else if (filled == 3) {
        dst[produced++] = static_cast<unsigned char>(accumulator >> 10);
        dst[produced++] = static_cast<unsigned char>(accumulator >> 2);
    }
    if (produced == 0) {
        return {};
    }
    out.truncate(produced);
    return out;
}

}  // namespace

QString base64EncodedStringWithWrapWidth(QByteArrayView data, unsigned wrapWidth) {
    const unsigned width = wrapWidth < 4 ? 0 : wrapWidth / 4 * 4;
    const qsizetype length = data.size();
    const auto* in = reinterpret_cast<const unsigned char*>(data.data());
    const qsizetype groups = (length + 2) / 3;
    qsizetype capacity = groups * 4;
    if (width > 0) {
        capacity += (capacity / width + 1) * 2;
    }
    QByteArray out(capacity, Qt::Uninitialized);
    char* dst = out.data();
    qsizetype written = 0;
    qsizetype i = 0;
    for (; i + 3 <= length; i += 3) {
        encodeGroup(in + i, dst + written);
        written += 4;
        if (width > 0 && (written + 2) % (width + 2) == 0) {
            dst[written++] = '\r';
            dst[written++] = '\n';
        }
    }
    if (i < length) {
        encodeTail(in + i, length - i, dst + written);
        written += 4;
    }
    if (written < 4) {
        return {};
    }
    return QString::fromLatin1(dst, written);
}

QString base64EncodedString(QByteArrayView data) {
    return base64EncodedStringWithWrapWidth(data, 0);
}

QByteArray dataWithBase64EncodedString(const QString& text) {
    const char16_t* chars = reinterpret_cast<const char16_t*>(text.constData());
    return decode(text.size(), [chars](qsizetype i) {
        const char16_t c = chars[i];
        // Lossy ASCII conversion: anything outside ASCII becomes a substitute
        // that the decoder skips.
        return c < 0x80 ? kDecodeTable[c] : kSkip;
    });
}

QByteArray dataWithBase64EncodedBytes(QByteArrayView text) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    return decode(text.size(), [bytes](qsizetype i) {
        return bytes[i] < 0x80 ? kDecodeTable[bytes[i]] : kSkip;
    });
}

QString base64Encode(QByteArrayView data) {
    if (data.isEmpty()) {
        return QStringLiteral("");  // empty, not null
    }
    return base64EncodedStringWithWrapWidth(data, 0);
}

QString Base64(const QString& text) {
    return base64Encode(text.toUtf8());
}

}  // namespace zq::crypto
