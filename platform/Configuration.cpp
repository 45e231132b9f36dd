#include "platform/Configuration.h"

#include "platform/FileRead.h"
#include "platform/Locations.h"
#include "platform/PlatformLog.h"

#include <QFileInfo>
#include <QMutex>
#include <QSettings>

#include <memory>

namespace platform::Configuration {
namespace {

struct State {
    QMutex mutex;
    std::unique_ptr<QSettings> settings;
    QString file;
};

State& state() {
    static State s;
    return s;
}

QString locateFile() {
    const QString configured = QString::fromLocal8Bit(qgetenv("VESKO_CONFIG"));
    if (!configured.isEmpty()) {
        return configured;
    }
    const QString installed = Locations::resourcesDir() + QStringLiteral("/ZQAssistPanel.ini");
    if (QFileInfo(installed).isFile()) {
        return installed;
    }
    return {};
}

// Called with the mutex held.
QSettings& settingsLocked() {
    State& s = state();
    if (!s.settings) {
        s.file = locateFile();
        QString error;
        if (!s.file.isEmpty() &&
            !isReadableRegularFile(s.file, ReadLimit::kConfiguration, &error)) {
            // The built-in defaults stand in for a configuration that cannot be read.
            qCWarning(lcPlatform) << "configuration not read:" << error;
            s.file.clear();
        }
        const QString path =
            s.file.isEmpty() ? QStringLiteral(":/config/ZQAssistPanel.ini") : s.file;
        s.settings = std::make_unique<QSettings>(path, QSettings::IniFormat);
    }
    return *s.settings;
}

QString trimmedHost(const QString& host) {
    QString h = host.trimmed();
    while (h.endsWith(u'/')) {
        h.chop(1);
    }
    return h;
}

}  // namespace

QVariant value(const QString& key, const QVariant& defaultValue) {
    QMutexLocker lock(&state().mutex);
    return settingsLocked().value(key, defaultValue);
}

QString string(const QString& key, const QString& defaultValue) {
    return value(key, defaultValue).toString();
}

bool boolean(const QString& key, bool defaultValue) {
    const QVariant v = value(key);
    if (!v.isValid()) {
        return defaultValue;
    }
    const QString text = v.toString().trimmed().toLower();
    if (text == u"true" || text == u"yes" || text == u"on" || text == u"1") {
        return true;
    }
    if (text == u"false" || text == u"no" || text == u"off" || text == u"0") {
        return false;
    }
    return defaultValue;
}

QString serviceHost() {
    return trimmedHost(
        string(QStringLiteral("Service/Host"), QStringLiteral("http://127.0.0.1:8731")));
}

QString wallHost() {
    const QString wall = trimmedHost(string(QStringLiteral("Service/WallHost")));
    return wall.isEmpty() ? serviceHost() : wall;
}

QString webHost() {
    const QString web = trimmedHost(string(QStringLiteral("Web/Host")));
    return web.isEmpty() ? serviceHost() : web;
}

QString analyticsEndpoint() {
    const QString endpoint = string(QStringLiteral("Analytics/Endpoint")).trimmed();
    return endpoint.isEmpty() ? serviceHost() + QStringLiteral("/analytics/v1/events") : endpoint;
}

bool analyticsEnabled() {
    return boolean(QStringLiteral("Analytics/Enabled"), true);
}

QString supportEmail() {
    const QString address = string(QStringLiteral("Feedback/SupportEmail")).trimmed();
    return address.isEmpty() ? QStringLiteral("support@vesko.example") : address;
}

void reload() {
    QMutexLocker lock(&state().mutex);
    state().settings.reset();
    state().file.clear();
}

}  // namespace platform::Configuration
