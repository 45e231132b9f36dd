#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// Shared by the public and the accounts store: whole-file reads and writes of
// an encrypted dictionary file.
namespace zq::stats {

// The file's dictionary, or nullopt when it is missing or does not read.
std::optional<QVariantMap> readEncryptedStore(const QString& path);

// Writes the dictionary atomically (missing folders are created). Failures
// are logged and otherwise ignored, as the stores report no errors.
void writeEncryptedStore(const QString& path, const QVariantMap& store);

// Whether a value can be stored in an encrypted dictionary file and read back:
// text, numbers, booleans and dictionaries of those. Any other value (a list,
// a date, bytes) would make the whole file unreadable on the next read.
bool isStorableValue(const QVariant& value);

}  // namespace zq::stats
