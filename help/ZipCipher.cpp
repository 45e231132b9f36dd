#include "help/ZipArchive_p.h"
#include "help/ZipCipher_p.h"

#include <QRandomGenerator>

namespace zq::help::detail {

QByteArray deflateRaw(const QByteArray& data) {
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, kMemLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        return {};
    }
    QByteArray out(qsizetype(deflateBound(&stream, uLong(data.size()))) + 16, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    const int result = deflate(&stream, Z_FINISH);
    const qsizetype produced = qsizetype(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) {
        return {};
    }
    out.truncate(produced);
    return out;
}

QByteArray encipher(const QByteArray& password, quint32 crc, const QByteArray& compressed) {
    TraditionalCipher cipher(password);
    QByteArray out;
    out.reserve(kCipherHeaderSize + compressed.size());
    for (int i = 0; i < kCipherHeaderSize - 2; ++i) {
        out.append(char(cipher.encrypt(quint8(QRandomGenerator::system()->bounded(256)))));
    }
    out.append(char(cipher.encrypt(quint8(crc >> 16))));
    out.append(char(cipher.encrypt(quint8(crc >> 24))));
    for (const char c : compressed) {
        out.append(char(cipher.encrypt(quint8(c))));
    }
    return out;
}

}  // namespace zq::help::detail
