#include "utility/UtilityLog.h"
#include "utility/ZQSiblingApps.h"
#include "utility/ZQSiblingApps_p.h"

#include "log/ZQLogManager.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Workspace.h"
#include "utility/ProductLocations.h"
#include "utility/ZQSettingsPanes.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QFileInfo>
#include <QRegularExpression>
#include <QThread>

#include <functional>

using zq::utility::detail::nameHasOwner;
using zq::utility::detail::str;

namespace {

constexpr int kLogType = ZQLogType::Utility;

// Process-table indexes of the openers' targets.
constexpr qint64 kPreferenceProcess = 3;
constexpr qint64 kAssistPanelProcess = 4;
constexpr qint64 kInputStatPanelProcess = 8;
constexpr qint64 kSystemSettingsProcess = 10;
constexpr qint64 kTextRecognitionProcess = 14;

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

}  // namespace

// ---------------------------------------------------------------------------
// Pages

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

}  // namespace zq::utility

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
