#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

// Base64 over the standard alphabet of RFC 4648 ("A-Z a-z 0-9 + /", "=" padding).
//
// Two encoders that differ at their edges, and one tolerant decoder:
//
//   base64EncodedString(data)   wrapped encoder with width 0: one line, and a
//                               NULL QString (not "") for empty input.
//   base64Encode(data)          never wraps; "" for empty input.
//   dataWithBase64EncodedString decodes, skipping every character outside the
//                               alphabet; a NULL QByteArray when nothing decodes.
//
// Stored and transmitted fields (encrypted dictionary files, encrypted-wall
// fields) use base64EncodedString / dataWithBase64EncodedString. All functions
// are pure and thread-safe.
namespace zq::crypto {

// Encodes `data`, inserting CR LF after every full line of `wrapWidth`
// characters. The width is rounded down to a multiple of 4; a width below 4
// means no wrapping. Returns a null QString for empty input.
QString base64EncodedStringWithWrapWidth(QByteArrayView data, unsigned wrapWidth);

// base64EncodedStringWithWrapWidth(data, 0).
QString base64EncodedString(QByteArrayView data);

// Decodes Base64 text. Characters outside the alphabet (line breaks, spaces,
// "=", anything non-ASCII) are skipped; a trailing single sextet is dropped.
// Returns a null QByteArray when no byte was produced.
QByteArray dataWithBase64EncodedString(const QString& text);

// The same decoder over text already held as bytes (an HTTP answer body, a
// file): bytes outside ASCII are skipped like any other noise.
QByteArray dataWithBase64EncodedBytes(QByteArrayView text);

// Second encoder: no line breaks ever, "" for empty input.
QString base64Encode(QByteArrayView data);

// base64Encode of the UTF-8 form of `text`.
QString Base64(const QString& text);

}  // namespace zq::crypto
