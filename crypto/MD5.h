#pragma once

#include <QByteArrayView>
#include <QString>

// MD5 digests as 32 lower-case hexadecimal digits. A null QString stands for
// "no digest" (missing input); see each function.
namespace zq::crypto {

// MD5 over the UTF-8 bytes of `text` up to its first zero character.
// A null `text` gives a null result; "" gives d41d8cd98f00b204e9800998ecf8427e.
QString MD5Encrypt(const QString& text);

// MD5 of a file's contents, read 256 bytes at a time. Null when the file
// cannot be opened; an empty file gives the digest of no bytes.
QString getMD5(const QString& path);

// MD5 of a byte buffer; null for an empty (or null) buffer.
QString getMD5FromMemory(QByteArrayView data);

// MD5 over the UTF-8 bytes of `text` up to its first zero character; null for
// a null string.
QString getMD5FromNSString(const QString& text);

}  // namespace zq::crypto
