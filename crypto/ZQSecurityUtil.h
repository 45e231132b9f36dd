#pragma once

#include <QString>
#include <QVariantMap>

#include <optional>

// Encrypted dictionary files ("pub.dat", "accs.dat", ...): UTF-8 text holding
// one line of Base64 of the AES-256-CBC encryption (default key and IV) of the
// dictionary as a keyed archive. A plain property-list dictionary found at the
// path is read and migrated to the encrypted form on first read.
//
// No locking: callers that read, change and write a store serialise themselves.
class ZQSecurityUtil {
public:
    // Archives, encrypts, encodes and writes `dict` to `path`, always
    // atomically (temporary file in the same folder, then rename; missing
    // parent folders are created). On any failure returns false and leaves the
    // file that was there untouched. `atomically` is accepted for the callers'
    // sake and not consulted.
    static bool writeDict(const QVariantMap& dict, const QString& path, bool atomically = true);

    // Reads an encrypted dictionary file. A plain property-list dictionary at
    // `path` is returned as it is and the file is rewritten encrypted.
    // Returns nullopt for a missing, unreadable, undecodable or undecryptable
    // file, and for an archive holding anything but dictionaries, strings and
    // numbers (an array, a date or data anywhere inside).
    static std::optional<QVariantMap> dictionaryWithContentsOfAESFile(const QString& path);
};
