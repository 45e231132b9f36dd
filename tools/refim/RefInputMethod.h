#pragma once

#include "tools/refim/Journal.h"
#include "tools/refim/NotifyServer.h"

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QPair>
#include <QString>
#include <QTimer>
#include <QVariantMap>

#include <memory>

namespace platform {
class DistributedNotificationCenter;
}

namespace zq::refim {

// How the service answers a request: as a working input method does, with
// the failure answer, or not at all.
enum class Answer { Ok, Fail, Silent };

struct Options {
    QString remoteVersion;      // the version the update server offers
    double installSeconds = 3;  // how long an installation takes
    Answer check = Answer::Ok;
    Answer install = Answer::Ok;
    QString journalPath;
};

// The input method's side of the messages the assist panel exchanges with it:
// the manual update check and the installation, the debug-mode switch, and
// the notify server. A real process on the session bus, for development,
// demonstrations and tests (docs/refim.md).
class RefInputMethod : public QObject {
    Q_OBJECT
public:
    RefInputMethod(Options options, Journal* journal, const QDBusConnection& bus,
                   QObject* parent = nullptr);
    ~RefInputMethod() override;

    // Serves the notify server on "/", takes its bus name and subscribes to
    // the distributed notifications; returns once the bus has all of it in
    // effect. False, with *error, when any of that fails.
    [[nodiscard]] bool start(QString* error);

    // The notification names of the exchange.
    static constexpr const char* kCheckUpdate = "kVeskoCloudManualCheckUpdate";
    static constexpr const char* kCheckResult = "kVeskoCloudManualCheckResult";
    static constexpr const char* kRemoteVersion = "kVeskoNotifyRemoteVersion";
    static constexpr const char* kDownloadInstaller = "kVeskoNotifyDownloadInstaller";
    static constexpr const char* kUpdateResult = "kVeskoCloudManualUpdateResult";
    static constexpr const char* kDebugMode = "kVeskoNotifyStartDebugModeByHand";
    static constexpr const char* kLogFinishedTime = "ZQSettingLogFinishedTime";
    static constexpr qint64 kDebugPeriodSeconds = 14400;

private:
    void onNotification(const QString& name, const QVariantMap& userInfo);
    void post(const QString& name, const QVariantMap& userInfo);
    void answerCheck();
    void startInstallation(const QString& request);
    void finishInstallation();
    bool writeInstalledVersion(QString* error);
    void switchDebugMode(const QVariantMap& userInfo);

    Options _options;
    Journal* _journal;
    QDBusConnection _bus;
    NotifyServer* _server;
    std::unique_ptr<platform::DistributedNotificationCenter> _center;
    // Notifications this process posted and will receive back from the bus.
    QList<QPair<QString, QVariantMap>> _ownPosts;
    QTimer _installation;
    QString _installRequest;
};

}  // namespace zq::refim
