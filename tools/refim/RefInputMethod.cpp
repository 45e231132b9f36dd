#include "tools/refim/RefInputMethod.h"

#include "platform/DistributedNotificationCenter.h"
#include "platform/FileRead.h"
#include "platform/Plist.h"
#include "stats/ZQCloudStatitician.h"
#include "utility/ProductLocations.h"
#include "utility/ZQSiblingApps.h"

#include <QDBusConnectionInterface>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTextStream>

#include <unistd.h>
#include <cmath>

namespace zq::refim {

namespace {

QString str(const char* text) {
    return QString::fromLatin1(text);
}

void warn(const QString& message) {
    QTextStream(stderr) << "VeskoService: " << message << "\n";
}

QJsonObject notificationEntry(const char* direction, const QString& name,
                              const QVariantMap& userInfo) {
    return {{QStringLiteral("kind"), QStringLiteral("notification")},
            {QStringLiteral("direction"), QString::fromLatin1(direction)},
            {QStringLiteral("name"), name},
            {QStringLiteral("payload"), QJsonObject::fromVariantMap(userInfo)}};
}

QJsonObject writeEntry(const QString& path, const QString& key, const QVariant& value) {
    return {{QStringLiteral("kind"), QStringLiteral("write")},
            {QStringLiteral("direction"), QStringLiteral("out")},
            {QStringLiteral("name"), key},
            {QStringLiteral("value"), QJsonValue::fromVariant(value)},
            {QStringLiteral("path"), path}};
}

// A round trip to the bus daemon, which handles one connection's messages in
// order: when it answers, the name request and the match rule sent before
// are in effect.
bool syncWithBus(const QDBusConnection& bus) {
    const QDBusMessage getId = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
    return bus.call(getId, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}

}  // namespace

RefInputMethod::RefInputMethod(Options options, Journal* journal, const QDBusConnection& bus,
                               QObject* parent)
    : QObject(parent),
      _options(std::move(options)),
      _journal(journal),
      _bus(bus),
      _server(new NotifyServer(this)) {
    _installation.setSingleShot(true);
    _installation.setTimerType(Qt::PreciseTimer);
    connect(&_installation, &QTimer::timeout, this, &RefInputMethod::finishInstallation);
}

RefInputMethod::~RefInputMethod() {
    if (_bus.isConnected()) {
        _bus.unregisterObject(QStringLiteral("/"));
    }
}

bool RefInputMethod::start(QString* error) {
    if (!_bus.isConnected()) {
        *error = QStringLiteral("no session bus: ") + _bus.lastError().message();
        return false;
    }
    if (!_server->load(error)) {
        return false;
    }
    _server->setObserver([this](const NotifyServer::Call& call) {
        QJsonObject entry{
            {QStringLiteral("kind"), QStringLiteral("call")},
            {QStringLiteral("direction"), QStringLiteral("in")},
            {QStringLiteral("name"), call.operation},
            {QStringLiteral("arguments"), QJsonArray::fromVariantList(call.arguments)},
            {QStringLiteral("count"), call.count},
            {QStringLiteral("sender"), call.sender}};
        if (call.result.isValid()) {
            entry.insert(QStringLiteral("result"), QJsonValue::fromVariant(call.result));
        }
        _journal->write(entry);
    });
    if (!_bus.registerVirtualObject(str(ZQNotifyVeskoInputProxy::kPath), _server,
                                    QDBusConnection::SingleNode)) {
        *error = QStringLiteral("cannot serve the notify server: ") + _bus.lastError().message();
        return false;
    }
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> owned =
        _bus.interface()->registerService(str(ZQNotifyVeskoInputProxy::kService),
                                          QDBusConnectionInterface::DontQueueService,
                                          QDBusConnectionInterface::DontAllowReplacement);
    if (!owned.isValid() || owned.value() != QDBusConnectionInterface::ServiceRegistered) {
        *error = QStringLiteral("cannot own the bus name %1: %2")
                     .arg(str(ZQNotifyVeskoInputProxy::kService),
                          owned.isValid() ? QStringLiteral("another process owns it")
                                          : owned.error().message());
        return false;
    }
    _center = std::make_unique<platform::DistributedNotificationCenter>(_bus);
    if (!_center->isConnected() || !syncWithBus(_bus)) {
        *error = QStringLiteral("cannot observe the distributed notifications: ") +
                 _bus.lastError().message();
        return false;
    }
    _center->addObserver(this, QString(), [this](const QString& name, const QVariantMap& userInfo) {
        onNotification(name, userInfo);
    });
    return true;
}

void RefInputMethod::onNotification(const QString& name, const QVariantMap& userInfo) {
    // The bus hands a broadcast back to its sender too; those copies are
    // already on record as posted.
    if (_ownPosts.removeOne(qMakePair(name, userInfo))) {
        return;
    }
    _journal->write(notificationEntry("in", name, userInfo));
    if (name == QLatin1String(kCheckUpdate)) {
        answerCheck();
    } else if (name == QLatin1String(kRemoteVersion) || name == QLatin1String(kDownloadInstaller)) {
        startInstallation(name);
    } else if (name == QLatin1String(kDebugMode)) {
        switchDebugMode(userInfo);
    }
}

void RefInputMethod::post(const QString& name, const QVariantMap& userInfo) {
    if (!_center->post(name, userInfo)) {
        warn(QStringLiteral("cannot post %1: %2").arg(name, _bus.lastError().message()));
        return;
    }
    _ownPosts.append(qMakePair(name, userInfo));
    _journal->write(notificationEntry("out", name, userInfo));
}

void RefInputMethod::answerCheck() {
    switch (_options.check) {
        case Answer::Ok:
            post(str(kCheckResult), {{QStringLiteral("version"), _options.remoteVersion}});
            break;
        case Answer::Fail:
            post(str(kCheckResult), {});
            break;
        case Answer::Silent:
            break;
    }
}

// One installation at a time: a request while one runs joins it (the running
// one answers), as a second click on an installer that is already busy does.
void RefInputMethod::startInstallation(const QString& request) {
    if (_options.install == Answer::Silent || _installation.isActive()) {
        return;
    }
    _installRequest = request;
    _installation.start(int(std::lround(_options.installSeconds * 1000)));
}

void RefInputMethod::finishInstallation() {
    QString result = QStringLiteral("0");
    if (_options.install == Answer::Ok) {
        QString error;
        if (writeInstalledVersion(&error)) {
            result = QStringLiteral("1");
        } else {
            warn(QStringLiteral("installation failed: ") + error);
        }
    }
    post(str(kUpdateResult), {{QStringLiteral("result"), result}});
}

// Rewrites "CFBundleFullVersion" of the installed Info.plist, keeping every
// other key and the file's format, atomically: on any failure the file on
// disk stays as it was.
bool RefInputMethod::writeInstalledVersion(QString* error) {
    const QString path = zq::utility::infoPlistPath();
    QString readError;
    const std::optional<QByteArray> read =
        platform::readFile(path, platform::ReadLimit::kPropertyList, &readError);
    if (!read) {
        *error = QStringLiteral("cannot read ") + readError;
        return false;
    }
    const QByteArray& bytes = *read;
    QString parseError;
    const std::optional<QVariant> info = platform::Plist::parse(bytes, &parseError);
    if (!info || info->typeId() != QMetaType::QVariantMap) {
        *error = QStringLiteral("%1 is not a property-list dictionary %2").arg(path, parseError);
        return false;
    }
    QVariantMap dictionary = info->toMap();
    dictionary.insert(QStringLiteral("CFBundleFullVersion"), _options.remoteVersion);
    const auto format =
        bytes.startsWith("bplist") ? platform::Plist::Format::Binary : platform::Plist::Format::Xml;

    // The installer path stands in for an installer with administrator
    // rights: a bundle folder that is read-only to its owner is opened for
    // the rewrite and closed again.
    const QString folder = QFileInfo(path).absolutePath();
    const QFileInfo folderInfo(folder);
    // The "user" bits describe this process's access, not the folder's mode;
    // Qt would read them back as the owner's when setting.
    const QFile::Permissions before =
        folderInfo.permissions() & ~(QFile::ReadUser | QFile::WriteUser | QFile::ExeUser);
    const bool lift = _installRequest == QLatin1String(kDownloadInstaller) &&
                      !(before & QFile::WriteOwner) && folderInfo.ownerId() == ::geteuid();
    if (lift && !QFile::setPermissions(folder, before | QFile::WriteOwner)) {
        *error = QStringLiteral("cannot open %1 for the installer").arg(folder);
        return false;
    }
    const bool written = platform::Plist::writeFile(path, dictionary, format, error);
    if (lift) {
        QFile::setPermissions(folder, before);
    }
    if (written) {
        _journal->write(
            writeEntry(path, QStringLiteral("CFBundleFullVersion"), _options.remoteVersion));
    }
    return written;
}

// The end of the debug period goes into the cloud store, where the debug
// mode window reads it: four hours from now when the mode is turned on, now
// when it is turned off.
void RefInputMethod::switchDebugMode(const QVariantMap& userInfo) {
    const QString status = userInfo.value(QStringLiteral("debugmodestatus")).toString();
    if (status != u"1" && status != u"0") {
        warn(QStringLiteral("%1 without \"debugmodestatus\" \"1\" or \"0\" ignored")
                 .arg(kDebugMode));
        return;
    }
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    const qint64 end = status == u"1" ? now + kDebugPeriodSeconds : now;
    // The input method owns its data folder; the store's top-level setter
    // does not create it.
    QDir().mkpath(zq::utility::userDataFolder());
    ZQCloudStatitician* store = ZQCloudStatitician::sharedInstance();
    store->setValueStat3(QVariant(end), str(kLogFinishedTime));
    // What the store holds afterwards (null when the write failed).
    _journal->write(writeEntry(ZQCloudStatitician::storePath(), str(kLogFinishedTime),
                               store->getValueForKeyStat3(str(kLogFinishedTime))));
}

}  // namespace zq::refim
