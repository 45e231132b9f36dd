#include "utility/UtilityLog.h"
#include "utility/ZQSiblingApps.h"
#include "utility/ZQSiblingApps_p.h"

#include <QDBusMessage>
#include <QDBusVariant>
#include <QMutex>

#include <memory>

using zq::utility::detail::nameHasOwner;
using zq::utility::detail::str;

ZQNotifyVeskoInputProxy::ZQNotifyVeskoInputProxy(const QDBusConnection& bus) : _bus(bus) {}

const QStringList& ZQNotifyVeskoInputProxy::protocolOperations() {
    static const QStringList kOperations = [] {
        static constexpr const char* kSelectors[] = {
            "syncUsrDictStart:",
            "syncUsrDictFinish:",
            "syncMobileDictFinish:",
            "statisticAbnormalPseudoDict",
            "sysDictVersion",
            "accessbilityEnabled",
            "screenRecordEnabled",
            "mediaTypeAuthority",
            "triggerScreenCapture",
            "getZQRuntime",
            "notifyVeskoInputSetPerfLogChanged",
            "getSyncInputData",
            "updateSyncInputData:",
            "getInputTotalCountFromVeskoInput",
            "getInputCountByHourFromVeskoInput:",
            "getInputCountByHour2FromVeskoInput:",
            "getInputCountByDayFromVeskoInput:",
            "getInputCurrentSpeedFromVeskoInput",
            "getInputHistorySpeedFromVeskoInput",
            "getInputHistorySpeedTimeFromVeskoInput",
            "getInputTodayRankingFromVeskoInput",
            "getInputTodayTopRankingFromVeskoInput",
            "getInputGlobalRankingFromVeskoInput",
            "getInputGlobalTopRankingFromVeskoInput",
            "changedStatisticsByKey:",
            "setCurrentSkinPath:",
            "getUserDictNum",
            "getV3UsrDictNum",
            "getExtUsrDictNum",
            "getCustomPhraseNum",
            "clearUserDictCN",
            "clearUserDictEng",
            "clearUserDictUrl",
            "restoreSystemDict",
            "backupUserDictCN:",
            "importUserDictCN:",
            "recoverUserDictCN:",
            "changedPreferenceStatistics",
            "clickHelpInfoListStatistics",
            "clickCommitFeedbackStatistics",
            "clickCommitEvalutionStatistics",
            "switchSkinStatistics",
            "clickPhraseNumStatistics",
            "addPhraseNumStatistics",
            "xpcInvalidStatistic",
            "xpcInterruptStatistics",
            "xpcFailedAllStatistics",
            "closeTaskManagerStatistics",
            "handSyncUsrDict",
            "handSyncUploadConfig",
            "handSyncDownloadConfig",
            "handSyncInputStat",
            "userLogoutClick",
            "userLogoutSuccess",
            "preferenceLogoutStat:",
            "preferenceLoginActionStatistics:",
            "handleEventForTest:client:",
            "startAutoTestResetData:",
            "getFirstResultWithPy:hanzi:",
            "getCloudStateData",
            "setCurrentSkinWithDict:",
        };
        QStringList names;
        for (const char* selector : kSelectors) {
            names.append(str(selector).section(QLatin1Char(':'), 0, 0));
        }
        return names;
    }();
    return kOperations;
}

bool ZQNotifyVeskoInputProxy::respondsToOperation(const QString& operation) const {
    return protocolOperations().contains(operation);
}

bool ZQNotifyVeskoInputProxy::send(const QString& operation, const QVariantList& arguments) const {
    if (!_bus.isConnected() || !respondsToOperation(operation)) {
        return false;
    }
    QDBusMessage message =
        QDBusMessage::createMethodCall(str(kService), str(kPath), str(kInterface), operation);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return _bus.send(message);
}

std::optional<QVariantList> ZQNotifyVeskoInputProxy::call(const QString& operation,
                                                          const QVariantList& arguments,
                                                          int timeoutMs) const {
    if (!_bus.isConnected() || !respondsToOperation(operation)) {
        return std::nullopt;
    }
    QDBusMessage message =
        QDBusMessage::createMethodCall(str(kService), str(kPath), str(kInterface), operation);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    const QDBusMessage reply = _bus.call(message, QDBus::Block, timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qCDebug(lcUtility) << "notify server:" << operation << reply.errorName()
                           << reply.errorMessage();
        return std::nullopt;
    }
    QVariantList values = reply.arguments();
    for (QVariant& value : values) {
        if (value.metaType() == QMetaType::fromType<QDBusVariant>()) {
            value = qvariant_cast<QDBusVariant>(value).variant();
        }
    }
    return values;
}

bool ZQNotifyVeskoInputProxy::isServerRunning(const QDBusConnection& bus, int timeoutMs) {
    return nameHasOwner(bus, str(kService), timeoutMs);
}

ZQNotifyVeskoInputProxy* getVeskoInputServerDistantObject() {
    static QMutex mutex;
    static std::unique_ptr<ZQNotifyVeskoInputProxy> cached;
    QMutexLocker lock(&mutex);
    if (!cached) {
        const QDBusConnection bus = QDBusConnection::sessionBus();
        if (ZQNotifyVeskoInputProxy::isServerRunning(bus)) {
            cached = std::make_unique<ZQNotifyVeskoInputProxy>(bus);
        }
    }
    return cached.get();
}

namespace {

void sendToNotifyServer(const QString& operation) {
    if (ZQNotifyVeskoInputProxy* server = getVeskoInputServerDistantObject();
        server && server->respondsToOperation(operation)) {
        server->send(operation);
    }
}

}  // namespace

void clickCommitFeedbackStatistics() {
    sendToNotifyServer(QStringLiteral("clickCommitFeedbackStatistics"));
}

void clickCommitEvalutionStatistics() {
    sendToNotifyServer(QStringLiteral("clickCommitEvalutionStatistics"));
}
