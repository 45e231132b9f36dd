#include "stats/AnalyticsSettings.h"

#include "platform/Configuration.h"
#include "platform/Locations.h"
#include "stats/StatsLog.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QSettings>

namespace zq::stats {
namespace {

const QString kKey = QStringLiteral("Analytics/Enabled");

// The user's file is small and read often (once per event): its value is kept
// with the file's identity and re-read only when that changes.
struct UserChoiceCache {
    QMutex mutex;
    bool valid = false;
    QString path;
    bool exists = false;
    QDateTime modified;
    qint64 size = -1;
    std::optional<bool> choice;
};

UserChoiceCache& cache() {
    static UserChoiceCache c;
    return c;
}

std::optional<bool> parseChoice(const QVariant& value) {
    if (!value.isValid()) {
        return std::nullopt;
    }
    const QString text = value.toString().trimmed().toLower();
    if (text == u"true" || text == u"yes" || text == u"on" || text == u"1") {
        return true;
    }
    if (text == u"false" || text == u"no" || text == u"off" || text == u"0") {
        return false;
    }
    // An unreadable choice is taken as the more private one.
    qCWarning(lcStats) << "unrecognised analytics choice" << value.toString()
                       << "in the user's settings; analytics stays off";
    return false;
}

}  // namespace

QString analyticsUserSettingsPath() {
    return platform::Locations::appSupportDir() +
           QStringLiteral("/Vesko/InputMethod/analytics.ini");
}

std::optional<bool> analyticsUserChoice() {
    const QString path = analyticsUserSettingsPath();
    const QFileInfo info(path);
    const bool exists = info.exists();
    const QDateTime modified = exists ? info.lastModified() : QDateTime();
    const qint64 size = exists ? info.size() : -1;

    UserChoiceCache& c = cache();
    QMutexLocker lock(&c.mutex);
    if (c.valid && c.path == path && c.exists == exists && c.modified == modified &&
        c.size == size) {
        return c.choice;
    }
    std::optional<bool> choice;
    if (exists) {
        QSettings settings(path, QSettings::IniFormat);
        choice = parseChoice(settings.value(kKey));
    }
    c.valid = true;
    c.path = path;
    c.exists = exists;
    c.modified = modified;
    c.size = size;
    c.choice = choice;
    return choice;
}

bool setAnalyticsUserChoice(std::optional<bool> enabled) {
    const QString path = analyticsUserSettingsPath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    // QSettings keeps the file's other keys and replaces it atomically.
    {
        QSettings settings(path, QSettings::IniFormat);
        if (enabled) {
            settings.setValue(kKey, *enabled ? QStringLiteral("true") : QStringLiteral("false"));
        } else {
            settings.remove(kKey);
        }
        settings.sync();
        if (settings.status() != QSettings::NoError) {
            qCWarning(lcStats) << "could not write" << path;
            return false;
        }
    }
    UserChoiceCache& c = cache();
    QMutexLocker lock(&c.mutex);
    c.valid = false;
    return true;
}

bool analyticsEnabled() {
    if (!platform::Configuration::analyticsEnabled()) {
        return false;
    }
    return analyticsUserChoice().value_or(true);
}

}  // namespace zq::stats
