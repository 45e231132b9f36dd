#pragma once

// The entry cipher and the deflate step of encrypted entries (not a public
// API).

#include <QByteArray>
#include <QtGlobal>

#include <zlib.h>

namespace zq::help::detail {

// Traditional zip encryption (the format's original stream cipher). Written
// here rather than taken from minizip: the system's minizip builds its cipher
// with a CRC table of the wrong element width on 64-bit machines (archives
// that no other reader accepts) and its reader has decryption compiled out.
class TraditionalCipher {
public:
    explicit TraditionalCipher(const QByteArray& password) {
        for (const char c : password) {
            update(quint8(c));
        }
    }
    quint8 encrypt(quint8 plain) {
        const quint8 out = plain ^ keyByte();
        update(plain);
        return out;
    }
    quint8 decrypt(quint8 cipher) {
        const quint8 plain = cipher ^ keyByte();
        update(plain);
        return plain;
    }
    void decrypt(char* data, int size) {
        for (int i = 0; i < size; ++i) {
            data[i] = char(decrypt(quint8(data[i])));
        }
    }

private:
    static quint32 crcStep(quint32 crc, quint8 byte) {
        return quint32(get_crc_table()[(crc ^ byte) & 0xFF]) ^ (crc >> 8);
    }
    quint8 keyByte() const {
        // Unsigned 32-bit arithmetic: two 16-bit values promoted to int
        // would overflow their product.
        const quint32 t = quint16(_keys[2] | 2);
        return quint8((t * (t ^ 1u)) >> 8);
    }
    void update(quint8 plain) {
        _keys[0] = crcStep(_keys[0], plain);
        _keys[1] = (_keys[1] + (_keys[0] & 0xFF)) * 134775813u + 1;
        _keys[2] = crcStep(_keys[2], quint8(_keys[1] >> 24));
    }
    quint32 _keys[3] = {305419896u, 591751049u, 878082192u};
};

constexpr int kCipherHeaderSize = 12;

// Raw deflate with the archive's settings; null on failure.
QByteArray deflateRaw(const QByteArray& data);

// The entry data of an encrypted entry: the 12-byte header (ten random bytes
// and the two high bytes of the CRC-32) and the compressed bytes, all
// enciphered in one stream.
QByteArray encipher(const QByteArray& password, quint32 crc, const QByteArray& compressed);

}  // namespace zq::help::detail
