#pragma once

#include <QString>
#include <QVariant>

// The public store "pub.dat" in the user data folder: a flat dictionary kept
// as an encrypted dictionary file, shared with the input method's other
// processes (the About page keeps "VeskoInputNewVersion" here).
//
// Each call reads the file afresh; a setter reads, changes and writes it back
// whole and atomically. A file that does not read counts as empty. Values are
// limited to what the file format reads back (text, numbers, booleans and
// dictionaries of those); any other value is refused, so that one bad value
// cannot make every other value unreadable.
class ZQPubStatistician {
public:
    static QString storePath();

    // The key's value, or null.
    static QVariant getPubDataByKey(const QString& key);
    // Sets the key; a null value removes it.
    static void setPubDataValue(const QVariant& value, const QString& key);
};
