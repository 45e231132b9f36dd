#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// The accounts file "accs.dat" in the account folder root
// (".../Vesko/InputMethod/VeskoPY.users"), an encrypted dictionary file:
//
//   "kAccounts"            {account name: account record}
//   "kCurrentUser"         the current user's account name
//   "kCurrentUserState"    "1" while a user is logged in
//   "kCurrentUserToken", "kCurrentUserPassportId", "kVesko3rdPartyLoginInfoType"
//                          top-level copies of the current user's values
//
// Account record: "kUserToken", "kUserPassportId", "kVesko3rdPartyLoginInfoType",
// "kUserDirectory" (its last path component names the user's data folder),
// "kUserImport" ("2" once the default data has been imported).
//
// Each call reads the file afresh; writers read, change and write it back
// whole and atomically, without a lock. A file that does not read counts as
// empty for writers and as absent for readers.
class ZQAccsStatistician {
public:
    static QString storePath();

    // A top-level value, or null.
    static QVariant getAccsDataByKey(const QString& key);
    // Sets a top-level value (null removes it). The current user's token,
    // passport id and login type are mirrored into the user's record. Values
    // other than text, numbers, booleans and dictionaries of those are refused.
    static void setAccsDataValue(const QVariant& value, const QString& key);
    // The whole dictionary, or none when the file does not read.
    static std::optional<QVariantMap> getAccsDataDict();
    // The current user's data folder "<account folder root>/<name>", or none
    // when nobody is logged in (or the user has no record with a "kUserDirectory").
    static std::optional<QString> getSynUserPath();
    // Removes an account's record; "kCurrentUser" goes too when it names it.
    static void removeAccsDataByAccount(const QString& account);
    // False only when a user is logged in and their record says "kUserImport" = "2".
    static bool imprtDefaultData();
    // "kCurrentUserState" is "1".
    static bool isInLoginState();
    // getSynUserPath(), else the user data folder.
    static QString userDictFullPath();
    // This application's resource folder.
    static QString systemDictFullPath();
};
