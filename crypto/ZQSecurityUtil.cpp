#include "crypto/ZQSecurityUtil.h"

#include "crypto/AES.h"
#include "crypto/Base64.h"
#include "crypto/CryptoLog.h"
#include "crypto/KeyedArchive.h"
#include "platform/FileRead.h"
#include "platform/Plist.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>

#include <exception>

namespace {

// Files larger than this are not dictionaries this system wrote.
constexpr qint64 kMaxFileSize = 64 * 1024 * 1024;

std::optional<QByteArray> readWhole(const QString& path) {
    platform::ReadFailure failure = platform::ReadFailure::None;
    QString error;
    std::optional<QByteArray> bytes = platform::readFile(path, kMaxFileSize, &error, &failure);
    if (!bytes && failure != platform::ReadFailure::Missing) {
        qCWarning(lcCrypto) << "encrypted dictionary file not read:" << error;
    }
    return bytes;
}

// The plain property-list dictionary that older versions stored, if the
// bytes are one.
std::optional<QVariantMap> plainDictionary(const QByteArray& bytes) {
    const std::optional<QVariant> value = platform::Plist::parse(bytes);
    if (!value || value->metaType().id() != QMetaType::QVariantMap) {
        return std::nullopt;
    }
    return value->toMap();
}

}  // namespace

bool ZQSecurityUtil::writeDict(const QVariantMap& dict, const QString& path, bool atomically) {
    Q_UNUSED(atomically);  // Always atomic.
    try {
        QString error;
        // QVariantMap is a value: the archive is made from a deep copy by nature.
        const QByteArray archive = zq::crypto::KeyedArchive::archive(QVariant(dict), &error);
        if (archive.isNull()) {
            qCWarning(lcCrypto) << "cannot archive dictionary for" << path << ':' << error;
            return false;
        }
        const QByteArray cipher = zq::crypto::AES256EncryptWithKey(archive, nullptr, 32, nullptr);
        if (cipher.isEmpty()) {
            return false;
        }
        const QString text = zq::crypto::base64EncodedString(cipher);
        if (text.isNull()) {
            return false;
        }
        const QFileInfo info(path);
        if (!QDir().mkpath(info.absolutePath())) {
            qCWarning(lcCrypto) << "cannot create folder for" << path;
            return false;
        }
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly)) {
            qCWarning(lcCrypto) << "cannot write" << path << ':' << file.errorString();
            return false;
        }
        const QByteArray utf8 = text.toUtf8();
        if (file.write(utf8) != utf8.size()) {
            file.cancelWriting();
            return false;
        }
        if (!file.commit()) {
            qCWarning(lcCrypto) << "cannot replace" << path << ':' << file.errorString();
            return false;
        }
        return true;
    } catch (const std::exception& e) {
        qCWarning(lcCrypto) << "writing" << path << "failed:" << e.what();
        return false;
    }
}

std::optional<QVariantMap> ZQSecurityUtil::dictionaryWithContentsOfAESFile(const QString& path) {
    try {
        const auto bytes = readWhole(path);
        if (!bytes || bytes->isEmpty()) {
            return std::nullopt;
        }
        // An old plain property-list file: migrate it to the encrypted form.
        if (auto plain = plainDictionary(*bytes)) {
            if (!writeDict(*plain, path, true)) {
                qCWarning(lcCrypto) << "could not migrate plain dictionary file" << path;
            }
            return plain;
        }
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString text = decoder.decode(*bytes);
        if (decoder.hasError()) {
            return std::nullopt;
        }
        const QByteArray cipher = zq::crypto::dataWithBase64EncodedString(text);
        if (cipher.isNull()) {
            return std::nullopt;
        }
        const QByteArray archive = zq::crypto::AES256DecryptWithKey(cipher, nullptr, 32, nullptr);
        if (archive.isNull()) {
            return std::nullopt;
        }
        QString error;
        const auto value = zq::crypto::KeyedArchive::unarchive(
            archive, zq::crypto::KeyedArchive::AllowedClasses::DictionariesStringsNumbers, &error);
        if (!value) {
            qCDebug(lcCrypto) << "cannot unarchive" << path << ':' << error;
            return std::nullopt;
        }
        if (value->metaType().id() != QMetaType::QVariantMap) {
            return std::nullopt;
        }
        return value->toMap();
    } catch (const std::exception& e) {
        qCWarning(lcCrypto) << "reading" << path << "failed:" << e.what();
        return std::nullopt;
    }
}
