#include "stats/ZQTesselReportTool.h"

#include "stats/StatsLog.h"
#include "stats/TesselReport.h"
#include "utility/DeviceIdentity.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

ZQTesselReportTool* ZQTesselReportTool::sharedInstance() {
    static ZQTesselReportTool* instance = [] {
        auto* tool = new ZQTesselReportTool(TesselReport::sharedInstance());
        qAddPostRoutine([] { delete ZQTesselReportTool::sharedInstance(); });
        return tool;
    }();
    return instance;
}

ZQTesselReportTool::ZQTesselReportTool(TesselReport* reporter, const QString& storageFolder)
    : _reporter(reporter),
      _storageFolder(storageFolder.isEmpty() ? ZQTesselReportTool::storageFolder()
                                             : storageFolder) {
    initTesselSDK();
}

QString ZQTesselReportTool::storageFolder() {
    return zq::utility::expandProductPath(
        QStringLiteral("~/Library/Application Support/Vesko/InputMethod/Tessel/"));
}

void ZQTesselReportTool::initTesselSDK() {
    if (!QFileInfo(_storageFolder).isDir() && !QDir().mkpath(_storageFolder)) {
        qCWarning(lcStats) << "analytics folder could not be created:" << _storageFolder;
    }
    _reporter->setCustomDocumentPath(_storageFolder);
    _reporter->setOStarO16(GetUUID(), std::nullopt);
    _reporter->setLogLevel(0);
    _reporter->startWithAppkey(QString::fromLatin1(kAppKey), std::nullopt);
}

QVariantMap ZQTesselReportTool::addedCommonRequestParams(
    const std::optional<QVariantMap>& params) const {
    QVariantMap result = params.value_or(QVariantMap{});
    result.insert(QStringLiteral("mac_os"), GetSystemVersion().value_or(QString()));
    result.insert(QStringLiteral("mac_v"), GetInputMethodVersion().value_or(QString()));
    result.insert(QStringLiteral("mac_model"), GetHardwareModel());
    result.insert(QStringLiteral("mac_h"), GetUUID().value_or(QString()));
    result.insert(QStringLiteral("mac_r"), GetQuDao());
    return result;
}

void ZQTesselReportTool::reportDataWithEventCode(const QString& code,
                                                 const std::optional<QVariantMap>& params) {
    _reporter->reportEvent(TesselEvent::realTimeEventWithCode(code, QString::fromLatin1(kAppKey),
                                                              addedCommonRequestParams(params)));
}

void ZQTesselReportTool::reportRealTimeWithEventCode(const QString& code,
                                                     const std::optional<QVariantMap>& params) {
    reportDataWithEventCode(code, params);
}

void ZQTesselReportTool::reportNormalWithEventCode(const QString& code,
                                                   const std::optional<QVariantMap>& params) {
    _reporter->reportEvent(TesselEvent::normalEventWithCode(code, QString::fromLatin1(kAppKey),
                                                            addedCommonRequestParams(params)));
}
