#include "crypto/KeyStore.h"

#include "crypto/CryptoLog.h"
#include "platform/FileRead.h"
#include "platform/Locations.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <optional>

namespace {

constexpr QFileDevice::Permissions kFolderPermissions =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
    QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser;
constexpr QFileDevice::Permissions kFilePermissions =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser |
    QFileDevice::WriteUser;
constexpr char kRefPrefix[] = "vesko-keystore:";
// Key files are small; anything larger is not ours.
constexpr qint64 kMaxItemSize = 64 * 1024;

const char* className(KeyStore::ItemClass itemClass) {
    switch (itemClass) {
        case KeyStore::ItemClass::PublicKey:
            return "public";
        case KeyStore::ItemClass::PrivateKey:
            return "private";
        case KeyStore::ItemClass::SymmetricKey:
            return "symmetric";
    }
    return "public";
}

std::optional<KeyStore::ItemClass> classFromName(const QByteArray& name) {
    for (auto itemClass : {KeyStore::ItemClass::PublicKey, KeyStore::ItemClass::PrivateKey,
                           KeyStore::ItemClass::SymmetricKey}) {
        if (name == className(itemClass)) {
            return itemClass;
        }
    }
    return std::nullopt;
}

QByteArray makeRef(KeyStore::ItemClass itemClass, const QByteArray& tag) {
    return QByteArray(kRefPrefix) + className(itemClass) + ':' + tag.toHex();
}

int readItem(const QString& path, QByteArray* keyData) {
    platform::ReadFailure failure = platform::ReadFailure::None;
    std::optional<QByteArray> bytes = platform::readFile(path, kMaxItemSize, nullptr, &failure);
    if (!bytes) {
        return failure == platform::ReadFailure::Missing ? KeyStore::kItemNotFound
                                                         : KeyStore::kIoError;
    }
    if (keyData != nullptr) {
        *keyData = std::move(*bytes);
    }
    return KeyStore::kSuccess;
}

}  // namespace

KeyStore::KeyStore(QString folder) : _folder(std::move(folder)) {}

QString KeyStore::defaultFolder() {
    return platform::Locations::appSupportDir() + QStringLiteral("/Vesko/InputMethod/KeyStore");
}

QString KeyStore::pathFor(ItemClass itemClass, const QByteArray& tag) const {
    return _folder + u'/' + QLatin1String(className(itemClass)) + u'-' +
           QString::fromLatin1(tag.toHex()) + QStringLiteral(".key");
}

int KeyStore::add(ItemClass itemClass, const QByteArray& tag, const QByteArray& keyData) {
    if (tag.isEmpty() || keyData.isEmpty() || keyData.size() > kMaxItemSize) {
        return kParam;
    }
    const QString path = pathFor(itemClass, tag);
    if (QFileInfo::exists(path)) {
        return kDuplicateItem;
    }
    QDir dir;
    if (!dir.mkpath(_folder) || !QFile::setPermissions(_folder, kFolderPermissions)) {
        qCWarning(lcCrypto) << "key store folder not usable:" << _folder;
        return kIoError;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(kFilePermissions) ||
        file.write(keyData) != keyData.size()) {
        file.cancelWriting();
        return kIoError;
    }
    return file.commit() ? kSuccess : kIoError;
}

int KeyStore::find(ItemClass itemClass, const QByteArray& tag, QByteArray* keyData) const {
    if (tag.isEmpty()) {
        return kParam;
    }
    return readItem(pathFor(itemClass, tag), keyData);
}

int KeyStore::remove(ItemClass itemClass, const QByteArray& tag) {
    if (tag.isEmpty()) {
        return kParam;
    }
    QFile file(pathFor(itemClass, tag));
    if (!file.exists()) {
        return kItemNotFound;
    }
    return file.remove() ? kSuccess : kIoError;
}

int KeyStore::persistentRef(ItemClass itemClass, const QByteArray& tag, QByteArray* ref) const {
    const int status = find(itemClass, tag, nullptr);
    if (status == kSuccess && ref != nullptr) {
        *ref = makeRef(itemClass, tag);
    }
    return status;
}

int KeyStore::persistentRefForData(ItemClass itemClass, const QByteArray& keyData,
                                   QByteArray* ref) const {
    const QString prefix = QLatin1String(className(itemClass)) + u'-';
    const QStringList names =
        QDir(_folder).entryList({prefix + QStringLiteral("*.key")}, QDir::Files);
    for (const QString& name : names) {
        QByteArray data;
        if (readItem(_folder + u'/' + name, &data) == kSuccess && data == keyData) {
            const QString hex = name.mid(prefix.size(), name.size() - prefix.size() - 4);
            if (ref != nullptr) {
                *ref = makeRef(itemClass, QByteArray::fromHex(hex.toLatin1()));
            }
            return kSuccess;
        }
    }
    return kItemNotFound;
}

int KeyStore::findByPersistentRef(const QByteArray& ref, ItemClass* itemClass,
                                  QByteArray* keyData) const {
    if (!ref.startsWith(kRefPrefix)) {
        return kParam;
    }
    const QList<QByteArray> parts = ref.mid(int(sizeof kRefPrefix) - 1).split(':');
    if (parts.size() != 2) {
        return kParam;
    }
    const auto parsedClass = classFromName(parts[0]);
    const QByteArray tag = QByteArray::fromHex(parts[1]);
    if (!parsedClass || tag.isEmpty() || tag.toHex() != parts[1].toLower()) {
        return kParam;
    }
    const int status = find(*parsedClass, tag, keyData);
    if (status == kSuccess && itemClass != nullptr) {
        *itemClass = *parsedClass;
    }
    return status;
}
