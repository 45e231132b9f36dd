#include "crypto/PingbackUtil.h"

#include "crypto/AES.h"
#include "crypto/Base64.h"
#include "crypto/Compression.h"
#include "crypto/CryptoLog.h"
#include "crypto/DataEncryptor.h"
#include "platform/Configuration.h"

#include <QUrl>

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace {

// The UTF-8 bytes of a text up to its first zero byte.
QByteArray cText(const QString& text) {
    QByteArray utf8 = text.toUtf8();
    const qsizetype zero = utf8.indexOf('\0');
    if (zero >= 0) {
        utf8.truncate(zero);
    }
    return utf8;
}

// Field cipher: DEFLATE, then AES-256-CBC in a DataEncryptor. The encryptor
// is returned so that the first one can wrap the key and IV.
bool encryptField(const QByteArray& plain, const unsigned char* key, const unsigned char* iv,
                  std::unique_ptr<DataEncryptor>& encryptor) {
    QByteArray compressed = zq::crypto::zipCompressed(plain);
    if (compressed.isNull()) {
        return false;
    }
    encryptor = std::make_unique<DataEncryptor>(std::move(compressed));
    encryptor->setAesKey(key);
    encryptor->setAesIv(iv);
    DataEncryptorError error;
    encryptor->Encrypt(&error);
    return encryptor->IsSuccess();
}

struct Secrets {
    unsigned char key[PingbackUtil::kAesKeyLength] = {};
    unsigned char iv[PingbackUtil::kAesIvLength] = {};
    ~Secrets() {
        OPENSSL_cleanse(key, sizeof key);
        OPENSSL_cleanse(iv, sizeof iv);
    }
};

}  // namespace

QString PingbackUtil::wallEndpoint() {
    QUrl url(platform::Configuration::wallHost());
    if (url.host().isEmpty()) {
        // A bare host name ("example.com" or "example.com:8080").
        url = QUrl(QStringLiteral("http://") + platform::Configuration::wallHost());
    }
    QUrl endpoint;
    endpoint.setScheme(QStringLiteral("http"));
    endpoint.setHost(url.host());
    endpoint.setPort(url.port());
    endpoint.setPath(QStringLiteral("/q"));
    return endpoint.toString();
}

std::int32_t PingbackUtil::EncryptHttpRequest(const QString& url, const QByteArray& postData,
                                              QString* newUrl, QByteArray* newPostData,
                                              unsigned char* outAesKey, std::size_t outAesKeyLength,
                                              unsigned char* outAesIv, std::size_t outAesIvLength) {
    if (url.isEmpty()) {
        return kFailed;
    }
    const qsizetype mark = url.indexOf(u'?');
    const QString base = mark < 0 ? url : url.left(mark);
    const QString query = mark < 0 ? QString() : url.mid(mark + 1);

    // Each request's key and IV come from the system's cryptographic random
    // source (see docs/crypto.md); the wire format is the same.
    Secrets secrets;
    if (RAND_bytes(secrets.key, sizeof secrets.key) != 1 ||
        RAND_bytes(secrets.iv, sizeof secrets.iv) != 1) {
        qCWarning(lcCrypto) << "the random source failed";
        return kFailed;
    }

    std::unique_ptr<DataEncryptor> urlField;
    std::unique_ptr<DataEncryptor> queryField;
    std::unique_ptr<DataEncryptor> bodyField;
    if (!encryptField(cText(base), secrets.key, secrets.iv, urlField)) {
        return kFailed;
    }
    const QByteArray queryBytes = cText(query);
    if (!queryBytes.isEmpty() && !encryptField(queryBytes, secrets.key, secrets.iv, queryField)) {
        return kFailed;
    }
    if (!postData.isEmpty() && !encryptField(postData, secrets.key, secrets.iv, bodyField)) {
        return kFailed;
    }

    if (newUrl != nullptr) {
        *newUrl = wallEndpoint();
    }

    QByteArray body;
    body.reserve(urlField->aesEncryptedContent().size() * 4 / 3 + 400 +
                 (queryField ? queryField->aesEncryptedContent().size() * 4 / 3 : 0) +
                 (bodyField ? bodyField->aesEncryptedContent().size() * 4 / 3 : 0));
    body += "u=";
    body += zq::crypto::base64EncodedString(urlField->aesEncryptedContent()).toLatin1();
    if (queryField) {
        body += "&g=";
        body += zq::crypto::base64EncodedString(queryField->aesEncryptedContent()).toLatin1();
    }
    if (bodyField) {
        body += "&p=";
        body += zq::crypto::base64EncodedString(bodyField->aesEncryptedContent()).toLatin1();
    }
    body += "&k=";
    const QByteArray wrappedKey = urlField->rsaEncryptedAesKey();
    const QByteArray wrappedIv = urlField->rsaEncryptedAesIv();
    if (wrappedKey.isEmpty() || wrappedIv.isEmpty()) {
        return kRsaWrapFailed;
    }
    body += zq::crypto::base64EncodedString(wrappedKey).toLatin1();
    body += "&v=";
    body += zq::crypto::base64EncodedString(wrappedIv).toLatin1();
    if (newPostData != nullptr) {
        *newPostData = std::move(body);
    }

    if (outAesKey != nullptr) {
        std::memcpy(outAesKey, secrets.key, std::min(outAesKeyLength, kAesKeyLength));
    }
    if (outAesIv != nullptr) {
        std::memcpy(outAesIv, secrets.iv, std::min(outAesIvLength, kAesIvLength));
    }
    return kSuccess;
}

std::int32_t PingbackUtil::EncryptHttpRequest(const QString& url, const QByteArray& postData,
                                              QString* newUrl, QByteArray* newPostData,
                                              unsigned char* outAesKeyIv) {
    return EncryptHttpRequest(url, postData, newUrl, newPostData, outAesKeyIv, kAesKeyLength,
                              outAesKeyIv != nullptr ? outAesKeyIv + kAesKeyLength : nullptr,
                              kAesIvLength);
}

QByteArray PingbackUtil::DecryptHttpRequest(const QByteArray& data, std::uint32_t* bodySize,
                                            const unsigned char* aesKey,
                                            const unsigned char* aesIv) {
    if (data.size() < 5 || aesKey == nullptr || aesIv == nullptr) {
        return {};
    }
    const QByteArray plain = zq::crypto::AES256DecryptWithKey(data, aesKey, kAesKeyLength, aesIv);
    if (plain.size() < 5) {
        return {};
    }
    // The first 4 bytes are not interpreted; a bare DEFLATE stream follows.
    const QByteArray inflated = zq::crypto::unzipEW(plain.mid(4));
    if (bodySize != nullptr) {
        *bodySize = static_cast<std::uint32_t>(inflated.size());
    }
    return inflated;
}

QByteArray PingbackUtil::DecryptHttpRequest(const QString& text, std::uint32_t* bodySize,
                                            const unsigned char* aesKeyIv) {
    return DecryptHttpRequestData(zq::crypto::dataWithBase64EncodedString(text), bodySize,
                                  aesKeyIv);
}

QByteArray PingbackUtil::DecryptHttpRequestText(const QByteArray& text, std::uint32_t* bodySize,
                                                const unsigned char* aesKeyIv) {
    return DecryptHttpRequestData(zq::crypto::dataWithBase64EncodedBytes(text), bodySize, aesKeyIv);
}

QByteArray PingbackUtil::DecryptHttpRequestData(const QByteArray& data, std::uint32_t* bodySize,
                                                const unsigned char* aesKeyIv) {
    if (aesKeyIv == nullptr) {
        return {};
    }
    return DecryptHttpRequest(data, bodySize, aesKeyIv, aesKeyIv + kAesKeyLength);
}
