#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

// The encrypted wall. A request (URL with optional query, optional body)
// becomes a POST to the fixed endpoint "http://<wall host>/q" whose body is
//
//   u=<cipher(base)>[&g=<cipher(query)>][&p=<cipher(body)>]&k=<wrapped key>&v=<wrapped IV>
//
// cipher(x) = Base64(AES-256-CBC(key, IV, bare DEFLATE(x))); the key (32 bytes)
// and IV (16 bytes) are fresh for every request, drawn from the system's
// cryptographic random source, and travel RSA-wrapped (PKCS#1 v1.5) in k and v.
// The answer (status 200) is Base64 text of AES-256-CBC(key, IV, 4 ignored
// bytes + bare DEFLATE(payload)).
//
// The caller keeps the key and IV (the 48-byte key-IV buffer: key in bytes 0
// to 31, IV in 32 to 47) from encryption until the answer is decrypted. All
// operations are stateless and may run on any thread.
class PingbackUtil {
public:
    static constexpr std::size_t kAesKeyLength = 32;
    static constexpr std::size_t kAesIvLength = 16;
    static constexpr std::size_t kAesKeyIvLength = 48;

    // Result codes of EncryptHttpRequest.
    enum Result : std::int32_t {
        kSuccess = 0,        // new URL, new body, key and IV copies delivered
        kFailed = -1,        // empty URL, or a field did not encrypt; nothing written
        kRsaWrapFailed = 1,  // no public key: the new URL is set, the new body is not
    };

    // The endpoint every encrypted request is posted to: scheme http, the
    // configured wall host (Service/WallHost), path "/q", no query.
    static QString wallEndpoint();

    // Encrypts (url, postData). `postData` may be null or empty (no "p" field).
    // On success writes *newUrl and *newPostData (either may be null), then
    // copies min(outAesKeyLength, 32) key bytes to outAesKey and
    // min(outAesIvLength, 16) IV bytes to outAesIv where those are not null.
    static std::int32_t EncryptHttpRequest(const QString& url, const QByteArray& postData,
                                           QString* newUrl, QByteArray* newPostData,
                                           unsigned char* outAesKey, std::size_t outAesKeyLength,
                                           unsigned char* outAesIv, std::size_t outAesIvLength);
    // The same with a 48-byte key-IV buffer.
    static std::int32_t EncryptHttpRequest(const QString& url, const QByteArray& postData,
                                           QString* newUrl, QByteArray* newPostData,
                                           unsigned char* outAesKeyIv);

    // Decrypts an answer's ciphertext (already Base64-decoded). Null for fewer
    // than 5 bytes, a null key or IV, a cipher or padding failure, or a
    // plaintext of 4 bytes or fewer (*bodySize untouched in those cases);
    // otherwise inflates the plaintext from its fifth byte and stores the
    // inflated length in *bodySize (0 and a null result when it does not
    // inflate). `bodySize` may be null.
    static QByteArray DecryptHttpRequest(const QByteArray& data, std::uint32_t* bodySize,
                                         const unsigned char* aesKey, const unsigned char* aesIv);
    // Base64-decodes an answer's text (tolerantly), then decrypts it with a
    // 48-byte key-IV buffer.
    static QByteArray DecryptHttpRequest(const QString& text, std::uint32_t* bodySize,
                                         const unsigned char* aesKeyIv);
    // The same over the answer's raw body bytes (its text, undecoded).
    static QByteArray DecryptHttpRequestText(const QByteArray& text, std::uint32_t* bodySize,
                                             const unsigned char* aesKeyIv);
    // Decrypts already-decoded ciphertext with a 48-byte key-IV buffer.
    static QByteArray DecryptHttpRequestData(const QByteArray& data, std::uint32_t* bodySize,
                                             const unsigned char* aesKeyIv);
};
