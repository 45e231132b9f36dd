#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

// Keyed archives: the archiver's object-table form of a value graph, stored as
// a binary property list
//
//   { "$version": 100000, "$archiver": "NSKeyedArchiver",
//     "$top": { "root": UID }, "$objects": [ "$null", ... ] }
//
// where containers are objects with "NS.keys" / "NS.objects" arrays of UIDs and
// a "$class" UID pointing at a class description
// { "$classname": ..., "$classes": [ ..., "NSObject" ] }.
//
// Values: QVariantMap <-> NSMutableDictionary (NSDictionary also read),
// QString <-> string (inline, or NSString / NSMutableString objects on reading),
// qint64 / double / bool <-> number (inline), QVariantList <-> NSMutableArray,
// QByteArray <-> data (inline, or NSData / NSMutableData objects on reading),
// QDateTime <-> NSDate.
namespace zq::crypto::KeyedArchive {

// Which classes a reader accepts. With DictionariesStringsNumbers, an archive
// holding anything else (an array, a date, data) is refused as a whole.
enum class AllowedClasses { DictionariesStringsNumbers, AllPropertyListTypes };

// Archives `root` (a QVariantMap, QVariantList, QString, number, QByteArray or
// QDateTime, nested freely). Returns a null QByteArray and a message in *error
// when a value has no archived form.
QByteArray archive(const QVariant& root, QString* error = nullptr);

// Reads the root object (top-level key "root") of a keyed archive. Returns
// nullopt and a message in *error for anything malformed (not a binary or XML
// property list, bad UIDs, reference cycles, unknown classes) or outside `allowed`.
std::optional<QVariant> unarchive(const QByteArray& bytes, AllowedClasses allowed,
                                  QString* error = nullptr);

// The same for the object under another top-level key (an archiver that
// encoded objects without keys names them "$0", "$1", ...).
std::optional<QVariant> unarchiveTopObject(const QByteArray& bytes, const QString& topKey,
                                           AllowedClasses allowed, QString* error = nullptr);

}  // namespace zq::crypto::KeyedArchive
