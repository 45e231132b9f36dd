#include "stats/AnalyticsSettings.h"

#include "platform/Configuration.h"
#include "platform/FileRead.h"
#include "platform/Locations.h"
#include "stats/StatsLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace zq::stats {
namespace {

// The file is tiny and read for every event; it is read afresh each time
// (tens of microseconds, against milliseconds for queueing the event), so a
// change made by another process is never missed.
std::optional<QString> readChoiceText(const QString& path) {
    const std::optional<QByteArray> bytes =
        platform::readFile(path, platform::ReadLimit::kConfiguration);
    if (!bytes) {
        return std::nullopt;
    }
    QString section;
    std::optional<QString> value;
    for (const QByteArray& raw : bytes->split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.startsWith(u'[') && line.endsWith(u']')) {
            section = line.mid(1, line.size() - 2).trimmed();
            continue;
        }
        const qsizetype eq = line.indexOf(u'=');
        if (section == u"Analytics" && eq > 0 && line.left(eq).trimmed() == u"Enabled") {
            value = line.mid(eq + 1).trimmed();
        }
    }
    return value;
}

std::optional<bool> parseChoice(const QString& text) {
    const QString lower = text.toLower();
    if (lower == u"true" || lower == u"yes" || lower == u"on" || lower == u"1") {
        return true;
    }
    if (lower == u"false" || lower == u"no" || lower == u"off" || lower == u"0") {
        return false;
    }
    // An unreadable choice is taken as the more private one.
    qCWarning(lcStats) << "unrecognised analytics choice" << text
                       << "in the user's settings; analytics stays off";
    return false;
}

}  // namespace

QString analyticsUserSettingsPath() {
    return platform::Locations::appSupportDir() +
           QStringLiteral("/Vesko/InputMethod/analytics.ini");
}

std::optional<bool> analyticsUserChoice() {
    const std::optional<QString> text = readChoiceText(analyticsUserSettingsPath());
    return text ? parseChoice(*text) : std::nullopt;
}

bool setAnalyticsUserChoice(std::optional<bool> enabled) {
    const QString path = analyticsUserSettingsPath();
    if (!enabled) {
        return !QFileInfo::exists(path) || QFile::remove(path);
    }
    QDir().mkpath(QFileInfo(path).absolutePath());
    const QByteArray text = QByteArrayLiteral(
                                "; The user's choice about analytics (vesko-tool analytics "
                                "enable|disable).\n[Analytics]\nEnabled=") +
                            (*enabled ? "true" : "false") + '\n';
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit()) {
        qCWarning(lcStats) << "could not write" << path << file.errorString();
        return false;
    }
    return true;
}

bool analyticsEnabled() {
    if (!platform::Configuration::analyticsEnabled()) {
        return false;
    }
    return analyticsUserChoice().value_or(true);
}

}  // namespace zq::stats
