#include "app/ApplicationService.h"

#include "app/AppDelegate.h"
#include "app/core/PageRequest.h"
#include "platform/DistributedNotificationCenter.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QLoggingCategory>
#include <QUrl>
#include <QUrlQuery>

#include <optional>

Q_DECLARE_LOGGING_CATEGORY(lcApp)

namespace zq::app {

namespace {

// The a{sv} parameter of an action, or none when the parameter is something else.
std::optional<QVariantMap> mapFromVariant(const QVariant& value) {
    const QVariant decoded = platform::DistributedNotificationCenter::payloadValue(value);
    if (decoded.typeId() != QMetaType::QVariantMap) {
        return std::nullopt;
    }
    return decoded.toMap();
}

}  // namespace

ApplicationService::ApplicationService(AppDelegate* delegate, QObject* parent)
    : QObject(parent), _delegate(delegate) {}

ApplicationService::~ApplicationService() {
    if (_registered) {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.unregisterObject(QString::fromLatin1(kObjectPath));
        bus.unregisterService(QString::fromLatin1(kServiceName));
    }
}

bool ApplicationService::start(bool busExpected) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        _error = busExpected ? bus.lastError().message() : QStringLiteral("no session bus");
        return false;
    }
    if (!bus.registerObject(QString::fromLatin1(kObjectPath), this,
                            QDBusConnection::ExportAllSlots)) {
        _error = QStringLiteral("the object path is taken");
        return false;
    }
    _registered = true;
    // Queued behind an earlier instance rather than replacing it; the object is
    // served either way.
    const auto reply = bus.interface()->registerService(QString::fromLatin1(kServiceName),
                                                        QDBusConnectionInterface::QueueService,
                                                        QDBusConnectionInterface::AllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        _error = QStringLiteral("the bus name belongs to another process");
        return false;
    }
    return true;
}

QVariantMap ApplicationService::payloadForUri(const QString& uri) {
    const QUrl url(uri, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != QLatin1String(kUriScheme)) {
        return {};
    }
    QString page = url.path(QUrl::FullyDecoded);
    if (page.startsWith(QLatin1Char('/'))) {
        page.remove(0, 1);
    }
    if (page.isEmpty()) {
        return {};
    }
    QVariantMap payload;
    const QUrlQuery query(url);
    for (const auto& [key, value] : query.queryItems(QUrl::FullyDecoded)) {
        payload.insert(key, value);
    }
    payload.insert(QString::fromLatin1(zq::shell::kXibNameKey), page);
    return payload;
}

void ApplicationService::Activate(const QVariantMap& platform_data) {
    Q_UNUSED(platform_data);
    _delegate->activate();
    emit requestHandled();
}

void ApplicationService::Open(const QStringList& uris, const QVariantMap& platform_data) {
    Q_UNUSED(platform_data);
    for (const QString& uri : uris) {
        const QVariantMap payload = payloadForUri(uri);
        if (payload.isEmpty()) {
            qCInfo(lcApp) << "ignoring an address that names no page:" << uri;
            continue;
        }
        _delegate->loadXibNotification(payload);
    }
    emit requestHandled();
}

void ApplicationService::ActivateAction(const QString& action_name, const QVariantList& parameter,
                                        const QVariantMap& platform_data) {
    Q_UNUSED(platform_data);
    if (!zq::shell::findPage(action_name)) {
        if (calledFromDBus()) {
            sendErrorReply(QDBusError::InvalidArgs,
                           QStringLiteral("no such action: %1").arg(action_name));
        }
        return;
    }
    QVariantMap payload;
    if (!parameter.isEmpty()) {
        const std::optional<QVariantMap> map = mapFromVariant(parameter.first());
        if (!map) {
            if (calledFromDBus()) {
                sendErrorReply(QDBusError::InvalidArgs,
                               QStringLiteral("the parameter of an action is a{sv}"));
            }
            return;
        }
        payload = *map;
    }
    payload.insert(QString::fromLatin1(zq::shell::kXibNameKey), action_name);
    _delegate->loadXibNotification(payload);
    emit requestHandled();
}

}  // namespace zq::app
