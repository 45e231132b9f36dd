#include "pages/models/ZQUpdateDetailModel.h"

#include "app/core/PageRequest.h"
#include "app/core/ZQAssistConfig.h"
#include "pages/models/PageModelsLog.h"
#include "platform/Configuration.h"
#include "platform/Plist.h"
#include "platform/Workspace.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"

#include <QFileInfo>

namespace {

const QString kPageName = QStringLiteral("ZQUpdateDetail");

// "CFBundleFullVersion" read from the installed input method's Info.plist,
// empty when the file cannot be read.
QString installedFullVersion() {
    const std::optional<QVariantMap> info =
        platform::Plist::readDictionary(zq::utility::infoPlistPath());
    return info ? ZQUpdateDetailModel::textOf(info->value(QStringLiteral("CFBundleFullVersion")))
                : QString();
}

}  // namespace

ZQUpdateDetailModel::ZQUpdateDetailModel(ZQAssistConfig* config, QObject* parent)
    : QObject(parent), m_config(config ? config : ZQAssistConfig::sharedInstance()) {}

ZQUpdateDetailModel::~ZQUpdateDetailModel() = default;

QString ZQUpdateDetailModel::textOf(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::QString:
            return value.toString();
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Double:
            return value.toString();
        default:
            return {};
    }
}

QUrl ZQUpdateDetailModel::changeLogUrl() {
    QString host = platform::Configuration::webHost();
    while (host.endsWith(QLatin1Char('/'))) {
        host.chop(1);
    }
    if (!host.contains(QLatin1String("://"))) {
        host.prepend(QLatin1String("http://"));
    }
    return QUrl(host + QLatin1String(kChangeLogPath));
}

QUrl ZQUpdateDetailModel::offlinePageUrl() {
    const QString file = zq::utility::resourcesFolder() + QStringLiteral("/pages/offline.html");
    if (QFileInfo(file).isFile()) {
        return QUrl::fromLocalFile(file);
    }
    return QUrl(QStringLiteral("qrc:/pages/offline.html"));
}

QString ZQUpdateDetailModel::choiceFilePath() {
    return zq::utility::updateInfoPlistPath();
}

void ZQUpdateDetailModel::setUp() {
    // 1. Later requests for this page reach rearrangeUI() through the shell.
    // 2. The installed version.
    //% "您现在的"
    const QString prefix = qtTrId("zq-update-detail-installed-prefix");
    //% "Vesko输入法版本："
    const QString versionLabel = qtTrId("VeskoInputMethodVersion");
    m_installedVersionText = prefix + versionLabel + installedFullVersion();
    // 3., 4. Parameters and layout.
    readParameters();
    arrange(Occasion::SetUp);
    emit changed();
    // 5. The change log.
    m_drawsWebBackground = true;
    m_contentArrived = false;
    m_showingOffline = false;
    emit loadRequested(changeLogUrl());
    // 6. In front of normal windows.
    emit centerRequested();
    setWindowLevel(kModalPanelWindowLevel);
}

void ZQUpdateDetailModel::rearrangeUI(const QVariantMap& userInfo) {
    const QVariant page = userInfo.value(QLatin1String(zq::shell::kXibNameKey));
    if (page.typeId() != QMetaType::QString || page.toString() != kPageName) {
        return;
    }
    readParameters();
    arrange(Occasion::Rearrange);
    emit changed();
    emit centerRequested();
    setWindowLevel(kModalPanelWindowLevel);
}

void ZQUpdateDetailModel::readParameters() {
    s_mode = textOf(m_config->objectForKey(QStringLiteral("UpdateMode")));
    s_pathToPKG = textOf(m_config->objectForKey(QStringLiteral("UpdatePkgPath")));
    s_updateVersion = textOf(m_config->objectForKey(QStringLiteral("UpdateVersion")));
}

void ZQUpdateDetailModel::arrange(Occasion occasion) {
    if (s_mode == QLatin1String(kModeSilent)) {
        m_installVisible = m_ignoreVisible = m_promptLaterVisible = false;
        m_installedVersionVisible = false;
        m_okVisible = true;
        m_headlineVisible = true;
        if (occasion == Occasion::SetUp) {
            //% "Vesko输入法 已升级至 "
            m_headline = qtTrId("zq-update-detail-silent-headline") +
                         GetInputMethodVersion().value_or(QString());
        } else {
            //% "Vesko输入法 已经升至"
            m_headline = qtTrId("zq-update-detail-silent-headline-again") + s_updateVersion;
        }
    } else if (s_mode == QLatin1String(kModeUpdateByPkg)) {
        m_installVisible = m_ignoreVisible = m_promptLaterVisible = true;
        m_installedVersionVisible = true;
        m_okVisible = false;
        m_headlineVisible = true;
        if (occasion == Occasion::SetUp) {
            //% "Vesko输入法 最新版本 "
            m_headline = qtTrId("zq-update-detail-package-headline") + s_updateVersion;
        } else {
            //% "Vesko输入法 新版本"
            m_headline = qtTrId("zq-update-detail-package-headline-again") + s_updateVersion;
        }
    }
    // Any other mode leaves the controls as they are.
}

void ZQUpdateDetailModel::webLoadFinished(bool ok) {
    if (m_showingOffline) {
        return;
    }
    if (ok) {
        m_contentArrived = true;
        return;
    }
    if (m_contentArrived) {
        return;  // a later navigation failed; the change log stays
    }
    qCInfo(lcPages) << "change log unreachable, showing the offline page";
    showOfflinePage();
}

void ZQUpdateDetailModel::webViewUnavailable() {
    if (m_showingOffline) {
        return;
    }
    qCInfo(lcPages) << "no web view, showing the offline page";
    showOfflinePage();
}

void ZQUpdateDetailModel::showOfflinePage() {
    m_showingOffline = true;
    m_drawsWebBackground = false;
    emit changed();
    emit loadRequested(offlinePageUrl());
}

void ZQUpdateDetailModel::installPackage() {
    if (m_installing) {
        return;
    }
    if (s_pathToPKG.isEmpty()) {
        closeWindow();
        return;
    }
    m_installing = true;
    // The desktop's handler for the package; the window closes once it has been asked.
    platform::Workspace::openUrl(QUrl::fromLocalFile(s_pathToPKG), this, [this](bool opened) {
        if (!opened) {
            qCWarning(lcPages) << "no handler opened" << s_pathToPKG;
        }
        m_installing = false;
        closeWindow();
    });
}

void ZQUpdateDetailModel::ignoreThisVersion() {
    writeChoice(QStringLiteral("ignore"));
    closeWindow();
}

void ZQUpdateDetailModel::promptLater() {
    writeChoice(QStringLiteral("promptLater"));
    closeWindow();
}

void ZQUpdateDetailModel::okBtnClick() {
    closeWindow();
}

bool ZQUpdateDetailModel::windowShouldClose() {
    setWindowLevel(kNormalWindowLevel);
    return true;
}

void ZQUpdateDetailModel::writeChoice(const QString& notifyType) {
    const QString path = choiceFilePath();
    QVariantMap choices;
    if (QFileInfo::exists(path)) {
        QString error;
        if (std::optional<QVariantMap> existing = platform::Plist::readDictionary(path, &error)) {
            choices = *existing;
        } else {
            qCInfo(lcPages) << "starting" << path << "afresh:" << error;
        }
    }
    choices.insert(QStringLiteral("notifyType"), notifyType);
    QString error;
    const bool ok = platform::Plist::writeFile(path, choices, platform::Plist::Format::Xml, &error);
    if (!ok) {
        // The choice is lost; the window closes all the same.
        qCWarning(lcPages) << "cannot write" << path << error;
    }
    emit choiceWritten(notifyType, ok);
}

void ZQUpdateDetailModel::closeWindow() {
    emit closeRequested();
    setWindowLevel(kNormalWindowLevel);
}

void ZQUpdateDetailModel::setWindowLevel(int level) {
    if (m_windowLevel == level) {
        return;
    }
    m_windowLevel = level;
    emit windowLevelChanged(level);
}
