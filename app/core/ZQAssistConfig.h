#pragma once

#include <QString>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

// The in-memory store through which launch and dispatch hand a page its
// parameters ("UpdatePkgPath", "UpdateMode", "UpdateVersion", "AccesAction",
// "AccesType", "ZQAuthorizeType", "ZQAuthorizeSourceType", and whatever else a
// load notification carried). Nothing in it is ever written to disk.
//
// Main thread only. The process uses sharedInstance(); tests may construct
// their own stores.
class ZQAssistConfig {
public:
    ZQAssistConfig() = default;

    // The process-wide store, created empty on the first call and never destroyed.
    static ZQAssistConfig* sharedInstance();

    // The value stored under `key`, or a null QVariant when there is none.
    QVariant objectForKey(const QString& key) const;
    // Stores or replaces the value. A null value is refused (callers leave a key
    // unset instead); the call is then ignored.
    void setObject(const QVariant& value, const QString& key);
    void removeObjectForKey(const QString& key);

    // The list of page names kept beside the parameters.
    void addXib(const QString& pageName);
    void removeObject(const QString& pageName);
    QVariantList& xibArray() { return _xibData; }

    // The whole parameter dictionary (diagnostics and tests).
    const QVariantMap& userData() const { return _userData; }

private:
    QVariantMap _userData;
    QVariantList _xibData;
};
