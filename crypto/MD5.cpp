#include "crypto/MD5.h"

#include "platform/FileRead.h"

#include <QFile>

#include <openssl/evp.h>

#include <limits>
#include <memory>

namespace zq::crypto {
namespace {

struct MdContextDeleter {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using MdContext = std::unique_ptr<EVP_MD_CTX, MdContextDeleter>;

QString hex(const unsigned char* digest, bool upper) {
    static const char lower[] = "0123456789abcdef";
    static const char upperDigits[] = "0123456789ABCDEF";
    const char* digits = upper ? upperDigits : lower;
    QString text(32, Qt::Uninitialized);
    for (int i = 0; i < 16; ++i) {
        text[2 * i] = QLatin1Char(digits[digest[i] >> 4]);
        text[2 * i + 1] = QLatin1Char(digits[digest[i] & 0x0f]);
    }
    return text;
}

bool md5(QByteArrayView data, unsigned char digest[16]) {
    unsigned int length = 0;
    return EVP_Digest(data.data(), static_cast<size_t>(data.size()), digest, &length, EVP_md5(),
                      nullptr) == 1 &&
           length == 16;
}

// The UTF-8 bytes of `text` up to its first zero character.
QByteArray cString(const QString& text) {
    QByteArray utf8 = text.toUtf8();
    const qsizetype zero = utf8.indexOf('\0');
    if (zero >= 0) {
        utf8.truncate(zero);
    }
    return utf8;
}

}  // namespace

QString MD5Encrypt(const QString& text) {
    if (text.isNull()) {
        return {};
    }
    unsigned char digest[16];
    if (!md5(cString(text), digest)) {
        return {};
    }
    return hex(digest, false);
}

QString getMD5(const QString& path) {
    // Streamed, so any size of regular file; never a FIFO or device.
    QFile file;
    if (!platform::openRegularFile(file, path, std::numeric_limits<qint64>::max())) {
        return {};
    }
    MdContext context(EVP_MD_CTX_new());
    if (!context || EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) != 1) {
        return {};
    }
    char buffer[256];
    for (;;) {
        const qint64 got = file.read(buffer, sizeof buffer);
        if (got < 0) {
            return {};
        }
        if (got == 0) {
            break;
        }
        if (EVP_DigestUpdate(context.get(), buffer, static_cast<size_t>(got)) != 1) {
            return {};
        }
    }
    unsigned char digest[16];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), digest, &length) != 1 || length != 16) {
        return {};
    }
    return hex(digest, false);
}

QString getMD5FromMemory(QByteArrayView data) {
    if (data.isEmpty()) {
        return {};
    }
    unsigned char digest[16];
    if (!md5(data, digest)) {
        return {};
    }
    return hex(digest, false);
}

QString getMD5FromNSString(const QString& text) {
    if (text.isNull()) {
        return {};
    }
    unsigned char digest[16];
    if (!md5(cString(text), digest)) {
        return {};
    }
    // Formatted upper-case, then lower-cased: every MD5 result is lower-case.
    return hex(digest, true).toLower();
}

}  // namespace zq::crypto
