#include "utility/ZQSiblingApps.h"
#include "utility/UtilityLog.h"

#include "log/ZQLogManager.h"
#include "platform/Configuration.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Workspace.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"
#include "utility/ZQPermissions.h"
#include "utility/ZQSettingsPanes.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QEventLoop>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMutex>
#include <QPointer>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>

#include <array>
#include <memory>

namespace {

constexpr int kLogType = ZQLogType::Utility;

// Index 1 to 14 of the process table; entry 0 is unused.
constexpr std::array<const char*, 15> kProcessTable = {
    nullptr,
    "/MacOS/VeskoInput",
    "/VeskoService",
    "/Library/Input Methods/VeskoInput.app/Contents/VeskoPreference.app/Contents/MacOS/"
    "VeskoPreference",
    "/Library/Input Methods/VeskoInput.app/Contents/ZQAssistPanel.app/Contents/MacOS/ZQAssistPanel",
    "/Library/Input Methods/VeskoInput.app/Contents/ZQEmojiPanelTool.app/Contents/MacOS/"
    "ZQEmojiPanelTool",
    "/System/Library/CoreServices/ControlStrip.app/Contents/MacOS/TouchBarAgent",
    "/Library/Input Methods/VeskoInput.app/Contents/ZQPicFaceTool.app/Contents/MacOS/ZQPicFaceTool",
    "/Library/Input Methods/VeskoInput.app/Contents/ZQInputStatPanel.app/Contents/MacOS/"
    "ZQInputStatPanel",
    "/Library/Input Methods/VeskoInput.app/Contents/VeskoTaskManager.app/Contents/MacOS/"
    "VeskoTaskManager",
    "/System Preferences.app/Contents/MacOS/System Preferences",
    "/usr/libexec/pboard",
    "/System/Library/CoreServices/TextInputMenuAgent.app/Contents/MacOS/TextInputMenuAgent",
    "/Library/Input Methods/VeskoInput.app/Contents/VeskoLauncher",
    "/Library/Input Methods/VeskoInput.app/Contents/VeskoTextRecognition",
};

constexpr qint64 kTouchBarAgentIndex = 6;
constexpr const char* kTouchBarServer = "TouchBarServer";

// Process-table indexes of the openers' targets.
constexpr qint64 kPreferenceProcess = 3;
constexpr qint64 kAssistPanelProcess = 4;
constexpr qint64 kInputStatPanelProcess = 8;
constexpr qint64 kSystemSettingsProcess = 10;
constexpr qint64 kTextRecognitionProcess = 14;

QString str(const char* text) {
    return QString::fromUtf8(text);
}

void logP4(const char* func, int line, const char* content) {
    ZQLogManager* manager = ZQLogManager::sharedInstance();
    if (manager->canRecordLog(kLogType)) {
        manager->recordRunLogP4(func, line, str(content), kLogType);
    }
}

// A none text as empty text.
QString orEmpty(const QString& text) {
    return text.isNull() ? QStringLiteral("") : text;
}

// "-%@" of a string, "-%ld" of an integer.
QString dashed(const QString& text) {
    return QLatin1Char('-') + text;
}

QString dashed(qint64 number) {
    return QLatin1Char('-') + QString::number(number);
}

// The text a value prints as ("%@"): strings as they are, numbers in decimal,
// booleans as 1 or 0.
QString describe(const QVariant& value) {
    return ZQLogManager::descriptionOf(value);
}

bool listShows(const QString& processListText, qint64 index,
               const std::function<bool()>& touchBarServerCounts) {
    const QString text = zq::utility::processSearchText(index);
    if (text.isEmpty()) {
        return false;
    }
    if (processListText.contains(text)) {
        return true;
    }
    return index == kTouchBarAgentIndex && touchBarServerCounts() &&
           processListText.contains(str(kTouchBarServer));
}

// Starts a sibling application (its bundle path in the input method's terms)
// and records the outcome under the caller's function name and line.
void launchSibling(const char* func, int line, const char* designBundlePath,
                   const QStringList& arguments) {
    const QString bundle = zq::utility::expandProductPath(macOS13NewAppPath(str(designBundlePath)));
    QString error;
    const bool launched = platform::Workspace::launchApplication(bundle, arguments, &error);
    if (!launched) {
        qCInfo(lcUtility) << "cannot launch" << bundle << error;
    }
    logP4(func, line, launched ? "launch success" : "launch failed");
}

// Runs `post` on the application's thread: the notification centres are
// objects of that thread. From another thread the post is queued there.
void onApplicationThread(std::function<void()> post) {
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || QThread::currentThread() == app->thread()) {
        post();
        return;
    }
    QMetaObject::invokeMethod(app, std::move(post), Qt::QueuedConnection);
}

QDBusMessage busDaemonCall(const char* method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                          QStringLiteral("/org/freedesktop/DBus"),
                                          QStringLiteral("org.freedesktop.DBus"), str(method));
}

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

// Asks the application owning the bus name `appId` to come to the front
// (org.freedesktop.Application.Activate), without waiting for it.
void activateApplication(const QDBusConnection& bus, const QString& appId) {
    QString path = QLatin1Char('/') + appId;
    path.replace(QLatin1Char('.'), QLatin1Char('/')).replace(QLatin1Char('-'), QLatin1Char('_'));
    QDBusMessage activate = QDBusMessage::createMethodCall(
        appId, path, QStringLiteral("org.freedesktop.Application"), QStringLiteral("Activate"));
    activate << QVariantMap();
    activate.setAutoStartService(false);
    bus.send(activate);
}

QMutex& helperMutex() {
    static QMutex mutex;
    return mutex;
}

QStringList& customHelper() {
    static QStringList helper;
    return helper;
}

void preparePrivileged(QProcess& process, const QString& command) {
    const QStringList helper = zq::utility::privilegeHelper();
    process.setProgram(helper.constFirst());
    process.setArguments(helper.mid(1) +
                         QStringList{QStringLiteral("/bin/sh"), QStringLiteral("-c"), command});
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
}

bool succeeded(const QProcess& process) {
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

}  // namespace

// ---------------------------------------------------------------------------
// Process table

namespace zq::utility {

QString assistPanelPageName(qint64 pageIndex) {
    switch (pageIndex) {
        case 0:
            return QStringLiteral("ZQAbout");
        case 1:
            return QStringLiteral("ZQDebugMode");
        case 2:
            return QStringLiteral("ZQContactAuthorize");
        case 3:
            return QStringLiteral("ZQFeedbackWindowController");
        default:
            return {};
    }
}

QString processTableText(qint64 index) {
    if (index < 1 || index >= qint64(kProcessTable.size())) {
        return {};
    }
    return str(kProcessTable[size_t(index)]);
}

QString processSearchText(qint64 index) {
    const QString text = processTableText(index);
    if (text.startsWith(str(kDesignBundleRoot))) {
        return expandProductPath(text);
    }
    return text;
}

bool processListShows(const QString& processListText, qint64 index, bool touchBarServerCounts) {
    return listShows(processListText, index,
                     [touchBarServerCounts] { return touchBarServerCounts; });
}

}  // namespace zq::utility

bool isVeskoProcessExist(qint64 index) {
    if (zq::utility::processTableText(index).isNull()) {
        return false;
    }
    const QStringList commandLines = platform::ProcessList::commandLines();
    if (commandLines.isEmpty()) {
        return false;  // no process list to read
    }
    return listShows(commandLines.join(QLatin1Char('\n')), index, [] {
        return isCurrentSystemVersionLargerThanOrEqualTo(QStringLiteral("10.13"));
    });
}

// ---------------------------------------------------------------------------
// Notifications

void SendDistributedNotification(const QString& name, const std::optional<QVariantMap>& payload) {
    onApplicationThread([name, userInfo = payload.value_or(QVariantMap())] {
        try {
            if (!platform::DistributedNotificationCenter::defaultCenter()->post(name, userInfo)) {
                qCInfo(lcUtility) << "no session bus; notification dropped:" << name;
            }
        } catch (...) {
            qCInfo(lcUtility) << "posting failed; notification dropped:" << name;
        }
    });
}

void SendNotification(const QString& name, const std::optional<QVariantMap>& payload) {
    onApplicationThread([name, userInfo = payload.value_or(QVariantMap())] {
        try {
            platform::NotificationCenter::defaultCenter()->post(name, userInfo);
        } catch (...) {
            qCInfo(lcUtility) << "posting failed; notification dropped:" << name;
        }
    });
}

void sendNotificationUploadUserSettings() {
    const QVariantMap payload{{QStringLiteral("sync_setting"), true},
                              {QStringLiteral("sync_phrase"), false},
                              {QStringLiteral("sync_expression"), false}};
    const QString name = str(zq::utility::kNotifySyncConfigClosePreference);
    onApplicationThread([name, payload] {
        platform::DistributedNotificationCenter::defaultCenter()->post(name, payload);
    });
}

// ---------------------------------------------------------------------------
// Openers

void CallZQAssistantPanelPage(qint64 pageIndex) {
    ZQ_RUN_LOG(kLogType, QStringLiteral("beg"));
    const QString page = zq::utility::assistPanelPageName(pageIndex);
    if (page.isNull()) {
        return;
    }
    if (isVeskoProcessExist(kAssistPanelProcess)) {
        SendDistributedNotification(str(zq::utility::kNotifyLoadXibInZQAssistPanel),
                                    QVariantMap{{str(zq::utility::kPreferencesXibNameKey), page}});
    } else {
        launchSibling(__func__, __LINE__, zq::utility::kAssistPanelBundle, {dashed(page)});
    }
}

void CallAccessibilityAuthorizeToVeskoPreference(qint64 action, qint64 type) {
    ZQ_RUN_LOG(kLogType, QStringLiteral("beg"));
    const QString page = QStringLiteral("ZQAccesAuthorize");
    if (isVeskoProcessExist(kAssistPanelProcess)) {
        SendDistributedNotification(
            str(zq::utility::kNotifyLoadXibInZQAssistPanel),
            QVariantMap{{str(zq::utility::kPreferencesXibNameKey), page},
                        {QStringLiteral("AccesAction"), QString::number(action)},
                        {QStringLiteral("AccesType"), QString::number(type)}});
    } else {
        launchSibling(__func__, __LINE__, zq::utility::kAssistPanelBundle,
                      {dashed(page), dashed(action), dashed(type)});
    }
}

void CallUpdateDetailToVeskoPreference(const QString& packagePath, const QString& mode,
                                       const QString& version) {
    ZQ_RUN_LOG(kLogType, QStringLiteral("beg"));
    const QString page = QStringLiteral("ZQUpdateDetail");
    if (isVeskoProcessExist(kAssistPanelProcess)) {
        SendDistributedNotification(
            str(zq::utility::kNotifyLoadXibInZQAssistPanel),
            QVariantMap{{str(zq::utility::kPreferencesXibNameKey), page},
                        {QStringLiteral("UpdatePkgPath"), orEmpty(packagePath)},
                        {QStringLiteral("UpdateMode"), orEmpty(mode)},
                        {QStringLiteral("UpdateVersion"), orEmpty(version)}});
    } else {
        launchSibling(__func__, __LINE__, zq::utility::kAssistPanelBundle,
                      {dashed(page), dashed(packagePath), dashed(mode), dashed(version)});
    }
}

void CallAuthPanel(qint64 type, qint64 sourceType) {
    ZQ_RUN_LOG(kLogType, QStringLiteral("beg"));
    const QString page = QStringLiteral("ZQAuthorize");
    if (isVeskoProcessExist(kAssistPanelProcess)) {
        SendDistributedNotification(
            str(zq::utility::kNotifyLoadXibInZQAssistPanel),
            QVariantMap{{str(zq::utility::kPreferencesXibNameKey), page},
                        {QStringLiteral("ZQAuthorizeType"), QString::number(type)},
                        {QStringLiteral("ZQAuthorizeSourceType"), QString::number(sourceType)}});
    } else {
        launchSibling(__func__, __LINE__, zq::utility::kAssistPanelBundle,
                      {dashed(page), dashed(type), dashed(sourceType)});
    }
}

void CallPreferenceToVeskoPreference(const QVariantMap& parameters) {
    ZQ_RUN_LOG(kLogType, QStringLiteral("beg"));
    const QString page = QStringLiteral("ZQPreferences");
    if (isVeskoProcessExist(kPreferenceProcess)) {
        QVariantMap payload{{str(zq::utility::kPreferencesXibNameKey), page}};
        for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
            payload.insert(it.key(), it.value());
        }
        SendDistributedNotification(str(zq::utility::kNotifyChangeViewInVeskoPreference), payload);
        return;
    }
    QStringList arguments{dashed(page)};
    const QVariant tab = parameters.value(QStringLiteral("keyPreferenceTab"));
    if (tab.isValid()) {
        arguments.append(dashed(describe(tab)));
        for (const char* key : {"keyShowSpeechStatusItemAlert", "keyShowCnEngStatusItemAlert",
                                "keyShowPicCustumItemAlert"}) {
            const QVariant value = parameters.value(str(key));
            arguments.append(dashed(value.isValid() ? describe(value) : QStringLiteral("0")));
        }
    }
    launchSibling(__func__, __LINE__, zq::utility::kPreferenceBundle, arguments);
}

void CallInputStatPanel(const QVariantMap& parameters) {
    if (isVeskoProcessExist(kInputStatPanelProcess)) {
        SendDistributedNotification(str(zq::utility::kNotifyChangeViewInInputStat), parameters);
        return;
    }
    QStringList arguments;
    const QVariant tab = parameters.value(QStringLiteral("keyInputStatTab"));
    if (tab.isValid()) {
        arguments.append(describe(tab));
    }
    launchSibling(__func__, __LINE__, zq::utility::kInputStatPanelBundle, arguments);
}

void CallScreenshotApp(const QString& name) {
    if (isVeskoProcessExist(kTextRecognitionProcess)) {
        SendDistributedNotification(name, std::nullopt);
    } else {
        launchSibling(__func__, __LINE__, zq::utility::kTextRecognitionBundle, {dashed(name)});
    }
}

QString VeskoSkinShopBundleIdentifier() {
    return QStringLiteral("com.vesko.ZQSkinManager");
}

void CallSkinShopApp(qint64 launchFrom, const QString& urlString) {
    const QString appId = VeskoSkinShopBundleIdentifier();
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (nameHasOwner(bus, appId, ZQNotifyVeskoInputProxy::kLookupTimeoutMs)) {
        activateApplication(bus, appId);
        SendDistributedNotification(
            str(zq::utility::kNotifyLaunchSkinShop),
            QVariantMap{{QStringLiteral("launchFrom"), QString::number(launchFrom)},
                        {QStringLiteral("urlString"), orEmpty(urlString)}});
        return;
    }
    launchSibling(__func__, __LINE__, zq::utility::kSkinManagerBundle,
                  {dashed(launchFrom), dashed(urlString)});
}

void CallSystemScreenRecordAuth() {
    if (isVeskoProcessExist(kSystemSettingsProcess)) {
        zq::utility::openSettingsPane(str(zq::utility::kSecurityPaneFile));
    }
    zq::utility::openSettingsPane(str(zq::utility::kScreenCapturePrivacyAddress));
}

// ---------------------------------------------------------------------------
// Addresses

namespace zq::utility {

QByteArray percentEncodeForUrlQuery(const QString& text) {
    // Letters, digits and "-._~" are never encoded by toPercentEncoding;
    // these are the rest of the URL-query set.
    static const QByteArray kAlsoAllowed = QByteArrayLiteral("!$&'()*+,/:;=?@");
    return text.toUtf8().toPercentEncoding(kAlsoAllowed);
}

QUrl urlForUrlString(const QString& text) {
    const QString address = isUrlAddress(text) ? text : QStringLiteral("http://") + text;
    return QUrl::fromEncoded(percentEncodeForUrlQuery(address), QUrl::StrictMode);
}

QString settingsPaneName(const QString& designAddress) {
    static const QString kScheme = QStringLiteral("x-apple.systempreferences:");
    if (designAddress.startsWith(kScheme)) {
        const QString rest = designAddress.mid(kScheme.size());
        const qsizetype query = rest.indexOf(QLatin1Char('?'));
        return query < 0 ? rest : rest.mid(query + 1);
    }
    if (designAddress.startsWith(QLatin1Char('/'))) {
        return QFileInfo(designAddress).fileName();
    }
    return designAddress;
}

}  // namespace zq::utility

bool isUrlAddress(const QString& text) {
    static const QRegularExpression kAddress(
        QRegularExpression::anchoredPattern(QStringLiteral("[a-zA-z]+://.*")));
    return kAddress.match(text).hasMatch();
}

void OpenUrlWithUrlString(const QString& text) {
    platform::Workspace::openUrl(zq::utility::urlForUrlString(text));
}

// ---------------------------------------------------------------------------
// Administrator rights

namespace zq::utility {

void setPrivilegeHelper(const QStringList& programAndArguments) {
    QMutexLocker lock(&helperMutex());
    customHelper() = programAndArguments;
}

QStringList privilegeHelper() {
    QMutexLocker lock(&helperMutex());
    if (customHelper().isEmpty()) {
        return {QStringLiteral("pkexec")};
    }
    return customHelper();
}

void runPrivilegedCommand(const QString& command, QObject* context,
                          std::function<void(bool)> done) {
    Q_ASSERT(context);
    // The process is not a child of `context`: destroying the context must not
    // kill a command that already runs with administrator rights. It deletes
    // itself when it ends.
    auto* process = new QProcess;
    preparePrivileged(*process, command);
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
    QObject::connect(process, &QProcess::finished, context,
                     [process, done](int, QProcess::ExitStatus) {
                         if (done) {
                             done(succeeded(*process));
                         }
                     });
    QObject::connect(process, &QProcess::errorOccurred, context,
                     [process, done](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart) {
                             process->deleteLater();
                             if (done) {
                                 done(false);
                             }
                         }
                     });
    process->start();
}

}  // namespace zq::utility

bool doAppleScript(const QString& command) {
    QProcess process;
    preparePrivileged(process, command);
    process.start();
    if (!process.waitForStarted()) {
        qCInfo(lcUtility) << "cannot run" << process.program() << process.errorString();
        return false;
    }
    if (QThread::currentThread()->eventDispatcher()) {
        // Keep this thread's events flowing while the user authenticates.
        QEventLoop loop;
        QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
        if (process.state() != QProcess::NotRunning) {
            loop.exec(QEventLoop::ExcludeUserInputEvents);
        }
    } else {
        process.waitForFinished(-1);
    }
    return succeeded(process);
}

// ---------------------------------------------------------------------------
// Background approval

bool ZQAuthUtility::veskoServiceRequireApprovalInBackground() {
    return zq::utility::requiresBackgroundApproval(QString::fromLatin1(zq::utility::kServiceAppId));
}

bool ZQAuthUtility::veskoTaskManagerRequireApprovalInBackground() {
    return zq::utility::requiresBackgroundApproval(
        QString::fromLatin1(zq::utility::kTaskManagerAppId));
}

// ---------------------------------------------------------------------------
// Notify server

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
