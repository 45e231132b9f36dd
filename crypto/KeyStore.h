#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// The per-user key store: the keys that the key helpers keep (generated key
// pairs, symmetric keys, peers' public keys, the imported service key) as one
// file per item in a folder that only the user can read (folder 0700, files
// 0600), written atomically. Items are found by their class and application
// tag; a persistent reference names one item for later look-up.
//
// Results are status codes in the keychain's style (0 success, negative
// failures); the codes appear in the key helpers' messages.
class KeyStore {
public:
    enum class ItemClass { PublicKey, PrivateKey, SymmetricKey };

    enum Status : int {
        kSuccess = 0,
        kParam = -50,
        kIoError = -36,
        kDuplicateItem = -25299,
        kItemNotFound = -25300,
    };

    // A store in `folder` (created on the first write).
    explicit KeyStore(QString folder = defaultFolder());

    // <application-support folder>/Vesko/InputMethod/KeyStore.
    static QString defaultFolder();
    const QString& folder() const { return _folder; }

    // Adds an item; kDuplicateItem when one with that class and tag exists.
    int add(ItemClass itemClass, const QByteArray& tag, const QByteArray& keyData);
    // Finds an item's key bytes.
    int find(ItemClass itemClass, const QByteArray& tag, QByteArray* keyData) const;
    // Removes an item; kItemNotFound when there is none.
    int remove(ItemClass itemClass, const QByteArray& tag);

    // The persistent reference of an item (kItemNotFound when absent).
    int persistentRef(ItemClass itemClass, const QByteArray& tag, QByteArray* ref) const;
    // The persistent reference of the item of that class holding exactly `keyData`.
    int persistentRefForData(ItemClass itemClass, const QByteArray& keyData, QByteArray* ref) const;
    // Resolves a persistent reference.
    int findByPersistentRef(const QByteArray& ref, ItemClass* itemClass, QByteArray* keyData) const;

private:
    QString pathFor(ItemClass itemClass, const QByteArray& tag) const;
    QString _folder;
};
