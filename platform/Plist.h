#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

// Property-list files: XML and binary on reading, XML (or binary) on writing.
//
// Values map onto QVariant as: dictionary -> QVariantMap, array -> QVariantList,
// string -> QString, integer -> qint64, real -> double, boolean -> bool,
// data -> QByteArray, date -> QDateTime (UTC). Keyed-archive UIDs are not a
// property-list value of this API (the crypto subsystem reads those itself).
namespace platform::Plist {

enum class Format { Xml, Binary };

// Parses XML or binary property-list bytes. Returns nullopt (and a message in
// *error) for anything that is not a complete, well-formed property list.
std::optional<QVariant> parse(const QByteArray& bytes, QString* error = nullptr);

// False when the bytes hold a string with a zero character (or, for a binary
// property list, object tables that do not hold together). libplist aborts the
// process on a dictionary key with a zero character, so every parser of
// property-list bytes asks this first. parse() does.
bool stringsHaveNoZero(const QByteArray& bytes);

// Reads a property-list file of either format.
std::optional<QVariant> readFile(const QString& path, QString* error = nullptr);

// Reads a file whose top-level value must be a dictionary; nullopt otherwise.
std::optional<QVariantMap> readDictionary(const QString& path, QString* error = nullptr);

// Reads a file whose top-level value must be an array; nullopt otherwise.
std::optional<QVariantList> readArray(const QString& path, QString* error = nullptr);

// Serialises a value. Returns a null QByteArray when the value holds a type
// that has no property-list form (the message goes to *error).
QByteArray serialize(const QVariant& value, Format format = Format::Xml, QString* error = nullptr);

// Writes the whole file atomically (temporary file in the same folder, then
// rename): on any failure the file that was there before is left untouched.
// Missing parent folders are created.
bool writeFile(const QString& path, const QVariant& value, Format format = Format::Xml,
               QString* error = nullptr);

}  // namespace platform::Plist
