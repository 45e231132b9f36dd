#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <cstddef>

// The three AES shapes. They must not be confused:
//
// 1. AES256EncryptWithKey / AES256DecryptWithKey: AES-256-CBC, PKCS#7, with a
//    fixed default key and IV that the caller may override. Used by the
//    encrypted wall and the encrypted dictionary files.
// 2. AES256EncryptWithKey_ZQ / AES256DecryptWithKey_ZQ: AES-256-CBC, PKCS#7,
//    key from a string, all-zero IV.
// 3. AESEncryptWithPassphrase_ZQ / AESDecryptWithPassphrase_ZQ: AES-128-ECB
//    over the rijndael unit, key from a passphrase; decryption keeps the padding.
//
// A null QByteArray result means failure ("nil"). All functions are reentrant.
namespace zq::crypto {

// "p4r7t2w9k1m6q3z8x5c0v7b2n9h4j6l1": the 32 default key bytes.
extern const unsigned char kDefaultAesKey[32];
// "hzqowmrtyfdkc5bn": the 16 default IV bytes.
extern const unsigned char kDefaultAesIv[16];

// Shape 1. Key: when `key` is null the default key is used and `keyLength` is
// ignored; otherwise min(keyLength, 33) bytes are copied into a zeroed 33-byte
// buffer of which the first 32 are the key (shorter keys are zero-padded).
// IV: the 16 bytes at `iv`, or the default IV when null.
QByteArray AES256EncryptWithKey(QByteArrayView data, const void* key, std::size_t keyLength,
                                const void* iv);
QByteArray AES256DecryptWithKey(QByteArrayView data, const void* key, std::size_t keyLength,
                                const void* iv);

// Shape 2. The key is the UTF-8 form of `key`, zero-padded to 32 bytes. A key
// whose UTF-8 form is longer than 32 bytes is refused (null result).
QByteArray AES256EncryptWithKey_ZQ(QByteArrayView data, const QString& key);
QByteArray AES256DecryptWithKey_ZQ(QByteArrayView data, const QString& key);

// Shape 3. The key is the first 16 bytes of the passphrase's UTF-8 form,
// zero-padded. Encryption always yields whole blocks with PKCS#7 padding (an
// extra block of sixteen 0x10 bytes when the input fills its blocks).
// Decryption returns every decrypted byte, padding included; an empty input
// gives an empty buffer, an input that is not a whole number of blocks gives
// a null buffer.
QByteArray AESEncryptWithPassphrase_ZQ(QByteArrayView data, const QString& passphrase);
QByteArray AESDecryptWithPassphrase_ZQ(QByteArrayView data, const QString& passphrase);

}  // namespace zq::crypto
