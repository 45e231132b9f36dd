// vesko-tool notify: post and watch the input method's distributed notifications.

#include "platform/DistributedNotificationCenter.h"
#include "tools/vesko-tool/Command.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QRegularExpression>
#include <QSocketNotifier>

#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <optional>

namespace {

using vesko::tool::err;
using vesko::tool::fail;
using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kUsage[] =
    "usage: vesko-tool notify post NAME [KEY=VALUE | KEY:=VALUE ...]\n"
    "       vesko-tool notify listen [NAME ...]\n"
    "\n"
    "Posts and watches the distributed notifications of the input method's\n"
    "processes on the D-Bus session bus.\n"
    "\n"
    "'vesko-tool notify post --help' and 'vesko-tool notify listen --help'\n"
    "describe the two subcommands.\n";

const char kPostUsage[] =
    "usage: vesko-tool notify post NAME [KEY=VALUE | KEY:=VALUE ...]\n"
    "\n"
    "Posts the notification NAME with a payload built from the pairs:\n"
    "  KEY=VALUE     VALUE as text\n"
    "  KEY:=123      a 64-bit integer\n"
    "  KEY:=1.5      a double\n"
    "  KEY:=true     a boolean (true or false)\n"
    "A key given twice keeps its last value. Prints the posted notification\n"
    "as one JSON object. Example:\n"
    "  vesko-tool notify post kVeskoNotifyLoadXibInZQAssistPanel \\\n"
    "      kVeskoPreferencesXibName=ZQAbout\n";

const char kListenUsage[] =
    "usage: vesko-tool notify listen [NAME ...]\n"
    "\n"
    "Prints every received notification (only those named NAME when names\n"
    "are given) as one JSON line {\"name\": ..., \"userInfo\": {...}}, until\n"
    "interrupted (SIGINT or SIGTERM end it with status 0). Once the\n"
    "subscription is in effect, \"vesko-tool: listening\" is written to\n"
    "standard error.\n";

// ---------------------------------------------------------------------------
// Payload arguments

// A typed value of "KEY:=VALUE": integer, double or boolean.
std::optional<QVariant> typedValue(const QString& text) {
    if (text == u"true") {
        return QVariant(true);
    }
    if (text == u"false") {
        return QVariant(false);
    }
    static const QRegularExpression kInteger(QStringLiteral("\\A[+-]?[0-9]+\\z"));
    if (kInteger.match(text).hasMatch()) {
        bool ok = false;
        const qint64 number = text.toLongLong(&ok, 10);
        return ok ? std::optional<QVariant>(QVariant(number)) : std::nullopt;
    }
    static const QRegularExpression kReal(
        QStringLiteral("\\A[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?\\z"));
    if (kReal.match(text).hasMatch()) {
        bool ok = false;
        const double number = QLocale::c().toDouble(text, &ok);
        if (ok && std::isfinite(number)) {
            return QVariant(number);
        }
    }
    return std::nullopt;
}

// Parses the KEY=VALUE and KEY:=VALUE pairs; an error message on failure.
std::optional<QVariantMap> parsePayload(const QStringList& pairs, QString* error) {
    QVariantMap payload;
    for (const QString& pair : pairs) {
        const qsizetype equals = pair.indexOf(QLatin1Char('='));
        if (equals < 0) {
            *error = QStringLiteral("'%1': expected KEY=VALUE or KEY:=VALUE").arg(pair);
            return std::nullopt;
        }
        const bool typed = equals > 0 && pair.at(equals - 1) == QLatin1Char(':');
        const QString key = pair.left(typed ? equals - 1 : equals);
        const QString text = pair.mid(equals + 1);
        if (key.isEmpty()) {
            *error = QStringLiteral("'%1': empty key").arg(pair);
            return std::nullopt;
        }
        if (!typed) {
            payload.insert(key, text);
            continue;
        }
        const std::optional<QVariant> value = typedValue(text);
        if (!value) {
            *error =
                QStringLiteral("'%1': a typed value must be an integer, a number, true or false")
                    .arg(pair);
            return std::nullopt;
        }
        payload.insert(key, *value);
    }
    return payload;
}

// ---------------------------------------------------------------------------
// JSON output

QJsonValue toJson(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::Bool:
            return value.toBool();
        case QMetaType::LongLong:
        case QMetaType::Int:
        case QMetaType::UInt:
            return QJsonValue(value.toLongLong());
        case QMetaType::Double:
            return value.toDouble();
        case QMetaType::QVariantMap: {
            QJsonObject object;
            const QVariantMap map = value.toMap();
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                object.insert(it.key(), toJson(it.value()));
            }
            return object;
        }
        case QMetaType::QVariantList:
        case QMetaType::QStringList: {
            QJsonArray array;
            const QVariantList list = value.toList();
            for (const QVariant& element : list) {
                array.append(toJson(element));
            }
            return array;
        }
        default:
            return value.toString();
    }
}

QByteArray notificationLine(const QString& name, const QVariantMap& userInfo) {
    QJsonObject object;
    object.insert(QStringLiteral("name"), name);
    object.insert(QStringLiteral("userInfo"), toJson(userInfo));
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// A round trip to the bus daemon. The daemon handles one connection's
// messages in order, so when it answers, everything sent before (a signal,
// a match rule) has been dealt with.
bool syncWithBus(const QDBusConnection& bus) {
    const QDBusMessage getId = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
    return bus.call(getId, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}

QString busError(const QDBusConnection& bus) {
    const QString message = bus.lastError().message();
    return message.isEmpty() ? QStringLiteral("not connected") : message;
}

// ---------------------------------------------------------------------------
// post

int runPost(const QStringList& args) {
    if (wantsHelp(args, kPostUsage)) {
        return 0;
    }
    if (args.isEmpty()) {
        return usageError(QStringLiteral("notify post: missing NAME"), kPostUsage);
    }
    const QString name = args.constFirst();
    if (name.isEmpty()) {
        return usageError(QStringLiteral("notify post: empty NAME"), kPostUsage);
    }
    QString error;
    const std::optional<QVariantMap> payload = parsePayload(args.mid(1), &error);
    if (!payload) {
        return usageError(QStringLiteral("notify post: ") + error, kPostUsage);
    }
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return fail(QStringLiteral("notify post: no session bus: ") + busError(bus));
    }
    platform::DistributedNotificationCenter center(bus);
    if (!center.post(name, *payload) || !syncWithBus(bus)) {
        return fail(QStringLiteral("notify post: the bus did not take the notification: ") +
                    busError(bus));
    }
    out() << notificationLine(name, *payload) << '\n';
    out().flush();
    return 0;
}

// ---------------------------------------------------------------------------
// listen

int signalPipe[2] = {-1, -1};

void onTerminationSignal(int) {
    const int saved = errno;
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
    errno = saved;
}

// SIGINT and SIGTERM quit the event loop through a socket the loop watches.
bool installTerminationHandlers(QObject* context) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0) {
        return false;
    }
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [notifier] {
        notifier->setEnabled(false);
        QCoreApplication::exit(0);
    });
    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    return ::sigaction(SIGINT, &action, nullptr) == 0 &&
           ::sigaction(SIGTERM, &action, nullptr) == 0;
}

int runListen(const QStringList& args) {
    if (wantsHelp(args, kListenUsage)) {
        return 0;
    }
    for (const QString& name : args) {
        if (name.isEmpty()) {
            return usageError(QStringLiteral("notify listen: empty NAME"), kListenUsage);
        }
        if (name.startsWith(QLatin1Char('-'))) {
            return usageError(QStringLiteral("notify listen: unknown option '%1'").arg(name),
                              kListenUsage);
        }
    }
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return fail(QStringLiteral("notify listen: no session bus: ") + busError(bus));
    }
    QObject context;
    if (!installTerminationHandlers(&context)) {
        return fail(QStringLiteral("notify listen: cannot handle signals: ") +
                    QString::fromLocal8Bit(strerror(errno)));
    }
    platform::DistributedNotificationCenter center(bus);
    if (!center.isConnected() || !syncWithBus(bus)) {
        return fail(QStringLiteral("notify listen: cannot subscribe: ") + busError(bus));
    }
    const QStringList names = args;
    center.addObserver(&context, QString(),
                       [names](const QString& name, const QVariantMap& userInfo) {
                           if (!names.isEmpty() && !names.contains(name)) {
                               return;
                           }
                           out() << notificationLine(name, userInfo) << '\n';
                           out().flush();
                       });
    err() << "vesko-tool: listening\n";
    err().flush();
    return QCoreApplication::exec();
}

// ---------------------------------------------------------------------------

int runNotify(const QStringList& args) {
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    if (args.isEmpty()) {
        return usageError(QStringLiteral("notify: missing subcommand"), kUsage);
    }
    const QString subcommand = args.constFirst();
    if (subcommand == u"post") {
        return runPost(args.mid(1));
    }
    if (subcommand == u"listen") {
        return runListen(args.mid(1));
    }
    return usageError(QStringLiteral("notify: unknown subcommand '%1'").arg(subcommand), kUsage);
}

const vesko::tool::ToolCommand kCommand{
    "notify", "post and watch distributed notifications on the session bus", kUsage, &runNotify};

}  // namespace
