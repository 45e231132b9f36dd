#pragma once

// Pieces shared by the help list and the feedback calls (not a public API).

#include <QByteArray>
#include <QLoggingCategory>
#include <QNetworkRequest>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

class QNetworkReply;

Q_DECLARE_LOGGING_CATEGORY(lcHelp)

namespace zq::help::detail {

// Runs job on the main thread: at once when called there, else queued.
void onMainThread(std::function<void()> job);

// Sends one request on a network manager of its own, made on the main thread
// and owned by the context when one is given (so that destroying the context
// abandons the request and its handler). The handler runs once, on the main
// thread, with the finished reply, which is deleted afterwards.
void send(const QNetworkRequest& request, const QByteArray& method, const QByteArray& body,
          QObject* context, std::function<void(QNetworkReply* reply)> handler);

// True when the request failed below HTTP (no connection, timeout, an answer
// cut short): an answer with an HTTP status, whatever the status, is not one.
bool isTransportError(QNetworkReply* reply);

// The text form of an optional text: the text, or "(null)".
QString textOrNull(const std::optional<QString>& text);

// The common request fields as text: h, v, r, os.
QString deviceIdentifier();
QString inputMethodVersion();
QString channelCode();
QString systemVersion();

// "Service/..." host of the deployment configuration without a trailing "/".
QString configuredHost(const QString& key);

}  // namespace zq::help::detail
