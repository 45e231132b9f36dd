#include "tools/refim/NotifyServer.h"

#include "platform/DistributedNotificationCenter.h"
#include "utility/ZQSiblingApps.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QFile>
#include <QXmlStreamReader>

namespace zq::refim {

namespace {

QString interfaceName() {
    return QString::fromLatin1(ZQNotifyVeskoInputProxy::kInterface);
}

// What the operations with a result answer. The values only have to be of
// the kind a caller expects (counts, switches, lists, dictionaries); the
// stateful ones (the sync data, the running time, the first result of a
// spelling) are answered in resultOf().
const QHash<QString, QVariant>& referenceResults() {
    static const QHash<QString, QVariant> kResults = {
        {QStringLiteral("sysDictVersion"), QStringLiteral("1.0.0")},
        {QStringLiteral("accessbilityEnabled"), true},
        {QStringLiteral("screenRecordEnabled"), true},
        {QStringLiteral("mediaTypeAuthority"), qint64(1)},
        {QStringLiteral("getInputTotalCountFromVeskoInput"), qint64(0)},
        {QStringLiteral("getInputCountByHourFromVeskoInput"), QVariantList{}},
        {QStringLiteral("getInputCountByHour2FromVeskoInput"), QVariantList{}},
        {QStringLiteral("getInputCountByDayFromVeskoInput"), QVariantList{}},
        {QStringLiteral("getInputCurrentSpeedFromVeskoInput"), 0.0},
        {QStringLiteral("getInputHistorySpeedFromVeskoInput"), 0.0},
        {QStringLiteral("getInputHistorySpeedTimeFromVeskoInput"), qint64(0)},
        {QStringLiteral("getInputTodayRankingFromVeskoInput"), qint64(0)},
        {QStringLiteral("getInputTodayTopRankingFromVeskoInput"), QVariantList{}},
        {QStringLiteral("getInputGlobalRankingFromVeskoInput"), qint64(0)},
        {QStringLiteral("getInputGlobalTopRankingFromVeskoInput"), QVariantList{}},
        {QStringLiteral("getUserDictNum"), qint64(0)},
        {QStringLiteral("getV3UsrDictNum"), qint64(0)},
        {QStringLiteral("getExtUsrDictNum"), qint64(0)},
        {QStringLiteral("getCustomPhraseNum"), qint64(0)},
        {QStringLiteral("getCloudStateData"), QVariantMap{}},
    };
    return kResults;
}

}  // namespace

NotifyServer::NotifyServer(QObject* parent) : QDBusVirtualObject(parent) {
    _running.start();
}

bool NotifyServer::load(QString* error) {
    QFile file(QString::fromLatin1(kDescription));
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("the notify-server description is missing");
        return false;
    }
    const QString text = QString::fromUtf8(file.readAll());
    // Qt wraps what introspect() returns in the object's node, beside the
    // standard interfaces, so only the protocol's interface element is kept.
    const qsizetype begin =
        text.indexOf(QStringLiteral("<interface name=\"%1\"").arg(interfaceName()));
    const qsizetype end = text.indexOf(QStringLiteral("</interface>"), begin);
    if (begin < 0 || end < 0) {
        *error = QStringLiteral("the notify-server description has no interface %1")
                     .arg(interfaceName());
        return false;
    }
    _introspection = text.mid(begin, end + qsizetype(sizeof("</interface>") - 1) - begin) + u'\n';

    QXmlStreamReader xml(_introspection);
    QString method;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement()) {
            continue;
        }
        if (xml.name() == u"method") {
            method = xml.attributes().value(QLatin1String("name")).toString();
            _operations.insert(method, {});
        } else if (xml.name() == u"arg" && !method.isEmpty()) {
            Operation& operation = _operations[method];
            if (xml.attributes().value(QLatin1String("direction")) == u"out") {
                operation.hasResult = true;
            } else {
                ++operation.arguments;
            }
        }
    }
    if (xml.hasError() || _operations.isEmpty()) {
        *error = QStringLiteral("the notify-server description does not read: %1")
                     .arg(xml.errorString());
        return false;
    }
    return true;
}

QString NotifyServer::introspect(const QString&) const {
    return _introspection;
}

bool NotifyServer::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.type() != QDBusMessage::MethodCallMessage ||
        (!message.interface().isEmpty() && message.interface() != interfaceName())) {
        return false;
    }
    const auto found = _operations.constFind(message.member());
    if (found == _operations.cend()) {
        connection.send(message.createErrorReply(
            QDBusError::UnknownMethod,
            QStringLiteral("%1 has no operation %2").arg(interfaceName(), message.member())));
        return true;
    }
    if (message.signature() != QString(found->arguments, u'v')) {
        connection.send(message.createErrorReply(
            QDBusError::InvalidArgs, QStringLiteral("%1 takes %2 variant argument(s), not \"%3\"")
                                         .arg(message.member())
                                         .arg(found->arguments)
                                         .arg(message.signature())));
        return true;
    }

    Call call;
    call.operation = message.member();
    for (const QVariant& argument : message.arguments()) {
        call.arguments.append(platform::DistributedNotificationCenter::payloadValue(argument));
    }
    call.count = ++_counts[call.operation];
    call.sender = message.service();
    if (found->hasResult) {
        call.result = resultOf(call.operation, call.arguments);
    }
    if (call.operation == u"updateSyncInputData") {
        _syncInputData = call.arguments.value(0);
    }

    // The call is on record before its answer leaves, so a caller that has
    // the answer finds the call in the journal.
    if (_observer) {
        _observer(call);
    }
    if (message.isReplyRequired()) {
        connection.send(found->hasResult
                            ? message.createReply(QVariant::fromValue(QDBusVariant(call.result)))
                            : message.createReply());
    }
    return true;
}

QVariant NotifyServer::resultOf(const QString& operation, const QVariantList& arguments) {
    if (operation == u"getSyncInputData") {
        return _syncInputData.isValid() ? _syncInputData : QVariant(QVariantMap{});
    }
    if (operation == u"getZQRuntime") {
        return qint64(_running.elapsed() / 1000);
    }
    if (operation == u"getFirstResultWithPy") {
        // The first candidate of a spelling: the characters the caller gave.
        return arguments.value(1).toString();
    }
    return referenceResults().value(operation, qint64(0));
}

}  // namespace zq::refim
