#include "help/HelpCommon_p.h"
#include "help/ZipArchive.h"
#include "help/ZipArchive_p.h"
#include "help/ZipCipher_p.h"

#include "platform/FileRead.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <zlib.h>

#include <optional>

using zq::help::detail::deflateRaw;
using zq::help::detail::encipher;
using zq::help::detail::kCipherHeaderSize;
using zq::help::detail::kMemLevel;
using zq::help::detail::writer;

namespace {

// The format stores name lengths in 16 bits; minizip itself does not check.
constexpr qsizetype kMaxEntryNameBytes = 0xFFFF;
// Without Zip64 records an entry holds less than 4 GiB.
constexpr qint64 kMaxEntryBytes = 0xFFFFFFFELL;

// MS-DOS date fields cover 1980-01-01 to 2107-12-31 in local time with
// two-second resolution; times outside are clamped to the nearest end.
tm_zip toZipTime(const QDateTime& when) {
    QDateTime local = when.toLocalTime();
    const QDateTime first(QDate(1980, 1, 1), QTime(0, 0, 0));
    const QDateTime last(QDate(2107, 12, 31), QTime(23, 59, 58));
    if (local < first) {
        local = first;
    } else if (local > last) {
        local = last;
    }
    tm_zip t{};
    t.tm_sec = uInt(local.time().second());
    t.tm_min = uInt(local.time().minute());
    t.tm_hour = uInt(local.time().hour());
    t.tm_mday = uInt(local.date().day());
    t.tm_mon = uInt(local.date().month() - 1);
    t.tm_year = uInt(local.date().year());
    return t;
}

}  // namespace

bool ZipArchive::CreateZipFile2(const QString& path) {
    if (_zipFile) {
        zipClose(writer(_zipFile), nullptr);
        _zipFile = nullptr;
    }
    if (path.isEmpty()) {
        return false;
    }
    _zipFile = zipOpen(QFile::encodeName(path).constData(), APPEND_STATUS_CREATE);
    if (!_zipFile) {
        qCDebug(lcHelp) << "cannot create archive" << path;
    }
    return _zipFile != nullptr;
}

bool ZipArchive::CreateZipFile2(const QString& path, const QString& password) {
    _password = password;
    return CreateZipFile2(path);
}

bool ZipArchive::addFileToZip(const QString& path, const QString& newname) {
    if (!_zipFile) {
        return false;
    }
    const QByteArray name = newname.toUtf8();
    if (name.size() > kMaxEntryNameBytes) {
        qCDebug(lcHelp) << "entry name too long:" << name.size() << "bytes";
        return false;
    }
    QByteArray password;
    if (!_password.isEmpty()) {
        for (const QChar c : _password) {
            if (c.unicode() == 0 || c.unicode() > 0x7F) {
                qCDebug(lcHelp) << "password is not ASCII; entry not added";
                return false;
            }
        }
        password = _password.toLatin1();
    }

    // Source bytes: a missing file gives an empty entry; one that exists but
    // cannot be read in full is not added.
    const QFileInfo source(path);
    QByteArray data;
    if (source.exists()) {
        std::optional<QByteArray> read = platform::readFile(path, kMaxEntryBytes);
        if (!read) {
            return false;
        }
        data = std::move(*read);
    }
    zip_fileinfo info{};
    const QDateTime modified = source.exists() ? source.lastModified() : QDateTime();
    info.tmz_date = toZipTime(modified.isValid() ? modified : QDateTime::currentDateTime());

    if (password.isEmpty()) {
        if (zipOpenNewFileInZip3(writer(_zipFile), name.constData(), &info, nullptr, 0, nullptr, 0,
                                 nullptr, Z_DEFLATED, Z_DEFAULT_COMPRESSION, 0, -MAX_WBITS,
                                 kMemLevel, Z_DEFAULT_STRATEGY, nullptr, 0) != ZIP_OK) {
            qCDebug(lcHelp) << "cannot open entry" << newname;
            return false;
        }
        bool ok = true;
        if (!data.isEmpty()) {
            ok = zipWriteInFileInZip(writer(_zipFile), data.constData(), unsigned(data.size())) ==
                 ZIP_OK;
        }
        const bool closed = zipCloseFileInZip(writer(_zipFile)) == ZIP_OK;
        return ok && closed;
    }

    // Encrypted: deflate and encipher here, and hand minizip the finished
    // entry data (raw), marked encrypted by the flag bit 0.
    const quint32 crc = quint32(crc32(
        crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(data.constData()), uInt(data.size())));
    const QByteArray compressed = deflateRaw(data);
    if (compressed.isNull() || compressed.size() + kCipherHeaderSize > kMaxEntryBytes) {
        return false;
    }
    const QByteArray enciphered = encipher(password, crc, compressed);
    constexpr uLong kEncryptedFlag = 1;
    if (zipOpenNewFileInZip4_64(writer(_zipFile), name.constData(), &info, nullptr, 0, nullptr, 0,
                                nullptr, Z_DEFLATED, Z_DEFAULT_COMPRESSION, 1, -MAX_WBITS,
                                kMemLevel, Z_DEFAULT_STRATEGY, nullptr, 0, 0, kEncryptedFlag,
                                0) != ZIP_OK) {
        qCDebug(lcHelp) << "cannot open entry" << newname;
        return false;
    }
    const bool ok = zipWriteInFileInZip(writer(_zipFile), enciphered.constData(),
                                        unsigned(enciphered.size())) == ZIP_OK;
    const bool closed =
        zipCloseFileInZipRaw(writer(_zipFile), uLong(data.size()), uLong(crc)) == ZIP_OK;
    return ok && closed;
}

bool ZipArchive::CloseZipFile2() {
    _password.clear();
    if (!_zipFile) {
        return false;
    }
    const int result = zipClose(writer(_zipFile), nullptr);
    _zipFile = nullptr;
    return result == ZIP_OK;
}
