#include "pages/models/ZQUpdateDetailModel.h"

#include "app/core/PageRequest.h"
#include "app/core/ZQAssistConfig.h"
#include "pages/models/PageModelsLog.h"
#include "platform/Configuration.h"
#include "platform/FileRead.h"
#include "platform/Plist.h"
#include "platform/Values.h"
#include "platform/Workspace.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"

#include <QFileInfo>

namespace {

// A configuration or Info.plist value as text; anything but a scalar is empty.
QString textOf(const QVariant& value) {
    return platform::scalarText(value).value_or(QString());
}

const QString kPageName = QStringLiteral("ZQUpdateDetail");

// "CFBundleFullVersion" read from the installed input method's Info.plist,
// empty when the file cannot be read.
QString installedFullVersion() {
    const std::optional<QVariantMap> info =
        platform::Plist::readDictionary(zq::utility::infoPlistPath());
    return info ? textOf(info->value(QStringLiteral("CFBundleFullVersion"))) : QString();
}

}  // namespace

ZQUpdateDetailModel::ZQUpdateDetailModel(ZQAssistConfig* config, QObject* parent)
    : QObject(parent), _config(config ? config : ZQAssistConfig::sharedInstance()) {}

ZQUpdateDetailModel::~ZQUpdateDetailModel() = default;

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
    // The page is handed to the browser by address: only a regular file of a
    // document's size, else the copy compiled in.
    if (platform::isReadableRegularFile(file, platform::ReadLimit::kDocument)) {
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
    _installedVersionText = prefix + versionLabel + installedFullVersion();
    // 3., 4. Parameters and layout.
    readParameters();
    arrange(Occasion::SetUp);
    emit changed();
    // 5. The change log.
    _drawsWebBackground = true;
    _contentArrived = false;
    _showingOffline = false;
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
    s_mode = textOf(_config->objectForKey(QStringLiteral("UpdateMode")));
    s_pathToPKG = textOf(_config->objectForKey(QStringLiteral("UpdatePkgPath")));
    s_updateVersion = textOf(_config->objectForKey(QStringLiteral("UpdateVersion")));
}

void ZQUpdateDetailModel::arrange(Occasion occasion) {
    if (s_mode == QLatin1String(kModeSilent)) {
        _installVisible = _ignoreVisible = _promptLaterVisible = false;
        _installedVersionVisible = false;
        _okVisible = true;
        _headlineVisible = true;
        if (occasion == Occasion::SetUp) {
            //% "Vesko输入法 已升级至 "
            _headline = qtTrId("zq-update-detail-silent-headline") +
                        GetInputMethodVersion().value_or(QString());
        } else {
            //% "Vesko输入法 已经升至"
            _headline = qtTrId("zq-update-detail-silent-headline-again") + s_updateVersion;
        }
    } else if (s_mode == QLatin1String(kModeUpdateByPkg)) {
        _installVisible = _ignoreVisible = _promptLaterVisible = true;
        _installedVersionVisible = true;
        _okVisible = false;
        _headlineVisible = true;
        if (occasion == Occasion::SetUp) {
            //% "Vesko输入法 最新版本 "
            _headline = qtTrId("zq-update-detail-package-headline") + s_updateVersion;
        } else {
            //% "Vesko输入法 新版本"
            _headline = qtTrId("zq-update-detail-package-headline-again") + s_updateVersion;
        }
    }
    // Any other mode leaves the controls as they are.
}

void ZQUpdateDetailModel::webLoadFinished(bool ok) {
    if (_showingOffline) {
        return;
    }
    if (ok) {
        _contentArrived = true;
        return;
    }
    if (_contentArrived) {
        return;  // a later navigation failed; the change log stays
    }
    qCInfo(lcPages) << "change log unreachable, showing the offline page";
    showOfflinePage();
}

void ZQUpdateDetailModel::webViewUnavailable() {
    if (_showingOffline) {
        return;
    }
    qCInfo(lcPages) << "no web view, showing the offline page";
    showOfflinePage();
}

void ZQUpdateDetailModel::showOfflinePage() {
    _showingOffline = true;
    _drawsWebBackground = false;
    emit changed();
    emit loadRequested(offlinePageUrl());
}

void ZQUpdateDetailModel::installPackage() {
    if (_installing) {
        return;
    }
    if (s_pathToPKG.isEmpty()) {
        closeWindow();
        return;
    }
    _installing = true;
    // The desktop's handler for the package; the window closes once it has been asked.
    platform::Workspace::openUrl(QUrl::fromLocalFile(s_pathToPKG), this, [this](bool opened) {
        if (!opened) {
            qCWarning(lcPages) << "no handler opened" << s_pathToPKG;
        }
        _installing = false;
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
    if (_windowLevel == level) {
        return;
    }
    _windowLevel = level;
    emit windowLevelChanged(level);
}
