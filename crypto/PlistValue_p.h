#pragma once

// Internal to the crypto library: conversions between libplist nodes and
// QVariant. Not installed, not for other libraries.

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariant>

#include <plist/plist.h>

#include <memory>
#include <optional>

namespace zq::crypto::detail {

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// Parses binary or XML property-list bytes; null on any failure.
PlistPtr parsePlist(const QByteArray& bytes);

// Seconds between 1970-01-01 and 2001-01-01, the reference date of property
// lists and archived dates.
inline constexpr qint64 kReferenceDateOffset = 978307200;

QString stringValue(plist_t node);
std::optional<qint64> integerValue(plist_t node);
QDateTime dateFromReferenceSeconds(double seconds);
double referenceSecondsFromDate(const QDateTime& date);

}  // namespace zq::crypto::detail
