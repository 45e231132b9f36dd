#pragma once

// The machine the help and feedback tests run on: a known device identifier,
// input method version, channel and system version in the test's private
// world, and small helpers to wait for completions.

#include "platform/Locations.h"
#include "platform/Plist.h"
#include "utility/ProductLocations.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QTest>
#include <QThread>

namespace helptest {

inline const QString kDeviceId = QStringLiteral("0123456789ABCDEF0123456789ABCDEF");
inline const QString kImVersion = QStringLiteral("3.2.1.4567");
inline const QString kChannel = QStringLiteral("7788");
inline const QString kSystemVersion = QStringLiteral("12.4");

// Writes the installed input method's info dictionary, the system version
// file and the remembered device identifier. Call before anything reads them
// (the values are cached for the process's life).
inline bool prepareMachine() {
    const QByteArray root = qgetenv("ZQ_TEST_ROOT");
    if (root.isEmpty()) {
        qWarning("not running under tests/isolate.sh");
        return false;
    }
    qputenv("VESKO_SYSTEM_ROOT", root + "/system");
    const QString system = QString::fromLocal8Bit(root) + QStringLiteral("/system");
    bool ok = platform::Plist::writeFile(
        platform::Locations::installRoot() + QStringLiteral("/Contents/Info.plist"),
        QVariantMap{{"CFBundleFullVersion", kImVersion}, {"ZQQuDao", kChannel}});
    ok = ok &&
         platform::Plist::writeFile(
             system + QStringLiteral("/System/Library/CoreServices/SystemVersion.plist"),
             QVariantMap{{"ProductVersion", kSystemVersion}, {"ProductBuildVersion", "21F79"}});
    ok = ok && platform::Plist::writeFile(zq::utility::userDataFilePath(".uuid.dat"),
                                          QVariantMap{{"uuid", kDeviceId}});
    return ok;
}

// The query every call carries: device, version, channel and system, each
// name with `prefix` in front.
inline QString commonQuery(const QString& prefix = {}) {
    return QStringLiteral("%1h=%2&%1v=%3&%1r=%4&%1os=%5")
        .arg(prefix, kDeviceId, kImVersion, kChannel, kSystemVersion);
}

inline bool onMainThread() {
    return QThread::currentThread() == QCoreApplication::instance()->thread();
}

inline QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline bool writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(path.section(u'/', 0, -2));
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

// Query arguments of a journal entry ([[key, value], ...]) as a map.
inline QMap<QString, QString> argsOf(const QJsonArray& args) {
    QMap<QString, QString> out;
    for (const QJsonValue& pair : args) {
        out.insert(pair.toArray().at(0).toString(), pair.toArray().at(1).toString());
    }
    return out;
}

// The headers of a journal entry as (name, value) pairs, in order received.
inline QList<QPair<QString, QString>> headersOf(const QJsonObject& entry) {
    QList<QPair<QString, QString>> out;
    const QJsonArray headers = entry.value("headers").toArray();
    for (const QJsonValue& pair : headers) {
        out.append({pair.toArray().at(0).toString(), pair.toArray().at(1).toString()});
    }
    return out;
}

// Lets the event loop run briefly so that a second, unwanted completion
// would have arrived; used only to check that none does.
inline void settle() {
    QTest::qWait(100);
}

}  // namespace helptest
