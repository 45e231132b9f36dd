#pragma once

#include <QString>
#include <QVariant>

#include <optional>

// How every reader of loosely typed values (property lists, stores, the web
// service's answers, notification payloads, configuration) turns a value into
// text, an integer or a truth value, the way the input method's own readers do.
namespace platform {

// The text form of a value, as the input method writes it everywhere a value
// of unknown type becomes text: text as it is, integers in decimal, booleans
// as "1" or "0", other numbers in their shortest exact decimal form, an absent
// value (an invalid QVariant) as "(null)", a JSON null as "<null>", lists as
// "(\n    a,\n    b\n)" and dictionaries as "{\n    key = value;\n}".
QString textForm(const QVariant& value);

// The integer value of a text: optional leading white space, an optional
// sign, then decimal digits (as many as there are); anything else gives 0.
// Values beyond the signed 64-bit range are clamped to its ends.
qint64 integerValueOfText(const QString& text);

// The integer value of any value: integers as they are, other numbers
// truncated towards zero (clamped), booleans 1 or 0, text by
// integerValueOfText; anything else (absent, null, containers) 0.
qint64 integerValue(const QVariant& value);

// The boolean value of a text: true when, after leading white space, an
// optional sign and leading zeros, it begins with "Y", "y", "T", "t" or a
// digit 1 to 9.
bool boolValueOfText(const QString& text);

// The boolean value of any value: booleans as they are, numbers when not
// zero, text by boolValueOfText; anything else (absent, null) false.
bool boolValue(const QVariant& value);

// True for an invalid QVariant and for a JSON null.
bool isAbsentOrNull(const QVariant& value);

// The integer value of a number (integers, reals truncated and clamped,
// booleans 1 or 0); none for every other kind of value, text included.
std::optional<qint64> numberValue(const QVariant& value);

// The text of a property-list scalar, as textForm gives it (text as it is,
// numbers in decimal, booleans "1" or "0", dates in UTC); none for absent and
// null values, data and collections.
std::optional<QString> scalarText(const QVariant& value);

}  // namespace platform
