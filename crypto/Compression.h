#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <cstdint>

// Two compression layers with different byte formats:
//
// - zip_compress / zip_uncompress: bare DEFLATE (RFC 1951: no zlib or gzip
//   header, no trailer, no length prefix) at the maximum-compression setting,
//   the CRC-32 of the input handed back beside it. Every encrypted-wall field
//   is compressed this way.
// - zip / unzip / unzipEW / Zip: zlib wrappers. zip writes the zlib format
//   (RFC 1950); unzip reads zlib or gzip; unzipEW reads bare DEFLATE (the
//   encrypted-wall answers).
//
// All functions are reentrant. A null QByteArray / QString result means failure.
namespace zq::crypto {

// The largest stream zip_compress can write for `sourceLength` input bytes
// (zlib's bound). Size the destination with it.
std::int32_t zip_compressBound(std::int32_t sourceLength);

// Compresses `sourceLength` bytes into `destination` as one bare DEFLATE
// stream ending on a byte boundary; stores the CRC-32 of the source in `crc`
// and returns the number of bytes written. The destination must hold
// zip_compressBound(sourceLength) bytes; the stream is never written past
// `destinationCapacity` (a stream that would not fit returns -1, as does a
// negative length or a null pointer with a non-zero length).
std::int32_t zip_compress(const unsigned char* source, std::int32_t sourceLength,
                          unsigned char* destination, std::int32_t destinationCapacity,
                          std::uint32_t& crc);

// Inflates a bare DEFLATE stream into `destination`, which holds
// `expectedLength` bytes. When exactly `expectedLength` bytes came out of one
// complete stream and `crc` is given, stores the CRC-32 of the output there.
// Returns the number of bytes produced, or -1 when the stream is malformed,
// incomplete, or larger than expected.
std::int32_t zip_uncompress(const unsigned char* source, std::int32_t sourceLength,
                            unsigned char* destination, std::uint32_t expectedLength,
                            std::uint32_t* crc);

// zip_compress over a whole buffer (destination sized by the bound).
QByteArray zipCompressed(QByteArrayView source, std::uint32_t* crc = nullptr);

// zlib-format compression at the default level. Empty input comes back
// unchanged (empty, not a zlib stream of nothing); null on failure.
QByteArray zip(const QByteArray& data);

// Inflates one complete stream: zlib or gzip (automatic header detection) when
// `rawDeflate` is false, bare DEFLATE when true. Empty input comes back
// unchanged; anything that is not one complete stream of the chosen format
// (including every one-byte input) gives null. Bytes after the end of a
// complete stream are ignored.
QByteArray unzip(const QByteArray& data, bool rawDeflate);
// unzip(data, false): zlib or gzip.
QByteArray unzip(const QByteArray& data);
// unzip(data, true): bare DEFLATE.
QByteArray unzipEW(const QByteArray& data);

// zip of the UTF-8 form of `text`, returned as the debugging description of
// the compressed bytes: "<" then the bytes in lower-case hexadecimal in groups
// of four separated by spaces, then ">" (for example "<789c4b4c 04000145 0099>").
// An empty `text` comes back unchanged; null on failure.
QString Zip(const QString& text);

}  // namespace zq::crypto
