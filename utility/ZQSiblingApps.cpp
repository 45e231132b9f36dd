#include "utility/ZQSiblingApps.h"
#include "utility/ZQSiblingApps_p.h"

#include "utility/ZQPermissions.h"

#include <QDBusMessage>

using zq::utility::detail::str;

namespace {

QDBusMessage busDaemonCall(const char* method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                          QStringLiteral("/org/freedesktop/DBus"),
                                          QStringLiteral("org.freedesktop.DBus"), str(method));
}

}  // namespace

namespace zq::utility::detail {

bool nameHasOwner(const QDBusConnection& bus, const QString& name, int timeoutMs) {
    if (!bus.isConnected()) {
        return false;
    }
    QDBusMessage query = busDaemonCall("NameHasOwner");
    query << name;
    const QDBusMessage reply = bus.call(query, QDBus::Block, timeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() &&
           reply.arguments().constFirst().toBool();
}

}  // namespace zq::utility::detail

// ---------------------------------------------------------------------------
// Background approval

bool ZQAuthUtility::veskoServiceRequireApprovalInBackground() {
    return zq::utility::requiresBackgroundApproval(QString::fromLatin1(zq::utility::kServiceAppId));
}

bool ZQAuthUtility::veskoTaskManagerRequireApprovalInBackground() {
    return zq::utility::requiresBackgroundApproval(
        QString::fromLatin1(zq::utility::kTaskManagerAppId));
}
