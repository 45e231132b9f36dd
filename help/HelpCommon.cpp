#include "help/HelpCommon_p.h"

#include "platform/Configuration.h"
#include "platform/Values.h"
#include "utility/DeviceIdentity.h"
#include "utility/SystemInfo.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QThread>

Q_LOGGING_CATEGORY(lcHelp, "vesko.help", QtWarningMsg)

namespace zq::help::detail {

void onMainThread(std::function<void()> job) {
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || QThread::currentThread() == app->thread()) {
        job();
        return;
    }
    QMetaObject::invokeMethod(app, std::move(job), Qt::QueuedConnection);
}

void send(const QNetworkRequest& request, const QByteArray& method, const QByteArray& body,
          QObject* context, std::function<void(QNetworkReply* reply)> handler) {
    const bool tied = context != nullptr;
    QPointer<QObject> guard(context);
    onMainThread([=, handler = std::move(handler)]() mutable {
        if (tied && !guard) {
            return;  // the context went away before the request could start
        }
        auto* manager = new QNetworkAccessManager(guard.data());
        manager->setAutoDeleteReplies(false);
        // A GET without a body is sent without one (no "Content-Length: 0").
        QNetworkReply* reply = method == "GET" && body.isEmpty()
                                   ? manager->get(request)
                                   : manager->sendCustomRequest(request, method, body);
        QObject::connect(reply, &QNetworkReply::finished, manager,
                         [reply, manager, guard, tied, handler = std::move(handler)]() {
                             if (!tied || guard) {
                                 handler(reply);
                             }
                             reply->deleteLater();
                             manager->deleteLater();
                         });
    });
}

bool isTransportError(QNetworkReply* reply) {
    const QNetworkReply::NetworkError error = reply->error();
    if (error == QNetworkReply::NoError) {
        return false;
    }
    if (!reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid()) {
        return true;
    }
    // Errors that only restate an HTTP status (4xx, 5xx) come in the content,
    // protocol-operation and server ranges; everything else is the connection's.
    const bool statusOnly =
        (error >= QNetworkReply::ContentAccessDenied &&
         error <= QNetworkReply::UnknownContentError) ||
        error == QNetworkReply::ProtocolInvalidOperationError ||
        (error >= QNetworkReply::InternalServerError && error <= QNetworkReply::UnknownServerError);
    return !statusOnly;
}

QString textOrNull(const std::optional<QString>& text) {
    return text ? *text : QStringLiteral("(null)");
}

QString deviceIdentifier() {
    return textOrNull(GetUUID());
}

QString inputMethodVersion() {
    return textOrNull(GetInputMethodVersion());
}

QString channelCode() {
    return GetQuDao();
}

QString systemVersion() {
    return textOrNull(GetSystemVersion());
}

QString configuredHost(const QString& key) {
    QString host = platform::Configuration::string(key, platform::Configuration::serviceHost());
    while (host.endsWith(u'/')) {
        host.chop(1);
    }
    return host;
}

}  // namespace zq::help::detail
