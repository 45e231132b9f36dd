#include "pages/models/ZQAboutModel.h"

#include "log/ZQLogManager.h"
#include "pages/models/PageModelsLog.h"
#include "pages/models/ZQAboutServices.h"
#include "pages/models/ZQPageReporter.h"
#include "platform/Clock.h"
#include "platform/Configuration.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Plist.h"
#include "platform/Values.h"
#include "platform/Workspace.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"
#include "utility/ZQSiblingApps.h"

#include <QFile>
#include <QSaveFile>

namespace {

constexpr int kLogType = 88;  // the About page's run-log entries

const QString kCheckUpdate = QStringLiteral("kVeskoCloudManualCheckUpdate");
const QString kCheckResult = QStringLiteral("kVeskoCloudManualCheckResult");
const QString kRemoteVersion = QStringLiteral("kVeskoNotifyRemoteVersion");
const QString kDownloadInstaller = QStringLiteral("kVeskoNotifyDownloadInstaller");
const QString kUpdateResult = QStringLiteral("kVeskoCloudManualUpdateResult");
const QString kNewVersionKey = QStringLiteral("VeskoInputNewVersion");

// The process-table entry of the input method's service process.
constexpr qint64 kServiceProcess = 2;
// The permission guidance page for running in the background, asked from here.
constexpr qint64 kAuthTypeBackground = 5;
constexpr qint64 kAuthSourceAbout = 13;

platform::DistributedNotificationCenter* center() {
    return platform::DistributedNotificationCenter::defaultCenter();
}

// Writes {"key": "0"} atomically to `path` and deletes it again: whether this
// user may write there. No folder is created on the way.
bool probeWritable(const QString& path) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return false;
    }
    file.write(
        platform::Plist::serialize(QVariantMap{{QStringLiteral("key"), QStringLiteral("0")}}));
    if (!file.commit()) {
        return false;
    }
    QFile::remove(path);
    return true;
}

QString webHostAddress() {
    QString host = platform::Configuration::webHost();
    while (host.endsWith(QLatin1Char('/'))) {
        host.chop(1);
    }
    if (!host.contains(QLatin1String("://"))) {
        host.prepend(QLatin1String("http://"));
    }
    return host;
}

QUrl linkUrl(const char* page) {
    return QUrl(webHostAddress() + QStringLiteral("/proxy/inputclient.php?t=") +
                QLatin1String(page));
}

}  // namespace

const QString ZQAboutModel::kTitleCheck = QStringLiteral("检查更新");
const QString ZQAboutModel::kTitleChecking = QStringLiteral("    检查更新");
const QString ZQAboutModel::kTitleUpdate = QStringLiteral("更新APP");
const QString ZQAboutModel::kTitleLatest = QStringLiteral("已是最新");

ZQAboutModel::ZQAboutModel(platform::Clock* clock, QObject* parent)
    : QObject(parent), _clock(clock ? clock : platform::Clock::system()) {
    _queue.setMaxThreadCount(1);  // a serial queue: outcomes come back in order
}

ZQAboutModel::~ZQAboutModel() {
    _queue.waitForDone();
}

void ZQAboutModel::setReporter(ZQPageReporter* reporter) {
    _reporter = reporter;
    _reporterSet = true;
    for (const auto& [code, params] : std::exchange(_heldReports, {})) {
        report(code, params);
    }
}

void ZQAboutModel::setServices(ZQAboutServices* services) {
    _services = services;
    _servicesSet = true;
    if (const std::optional<QString> held = std::exchange(_heldNewVersion, std::nullopt)) {
        keepNewVersion(*held);
    }
}

void ZQAboutModel::keepNewVersion(const QString& version) {
    if (!_servicesSet) {
        _heldNewVersion = version;
    } else if (ZQAboutServices* services = _services) {
        // The store is a file: written on the worker.
        _queue.start([services, version] { services->setPubDataValue(version, kNewVersionKey); });
    }
}

template <typename T>
void ZQAboutModel::inBackground(std::function<T()> work, std::function<void(T)> done) {
    _queue.start([this, work = std::move(work), done = std::move(done)]() mutable {
        T result = work();
        // Queued to this object: dropped when the model is gone by then.
        QMetaObject::invokeMethod(
            this, [done = std::move(done), result = std::move(result)] { done(result); },
            Qt::QueuedConnection);
    });
}

void ZQAboutModel::afterPendingWork(std::function<void()> done) {
    inBackground<bool>([] { return true; }, [done = std::move(done)](bool) { done(); });
}

QString ZQAboutModel::versionLineFor(const std::optional<QString>& version, bool internalTest,
                                     bool previewTest) {
    //% "Vesko输入法版本："
    QString line = qtTrId("VeskoInputMethodVersion") + version.value_or(QString());
    if (internalTest) {
        //% "内测版"
        line += QStringLiteral("(%1)").arg(qtTrId("InternalTestVersion"));
    } else if (previewTest) {
        //% "预览版"
        line += QStringLiteral("(%1)").arg(qtTrId("PreviewTestVersion"));
    }
    return line;
}

QUrl ZQAboutModel::officialWebUrl() {
    const QString configured = platform::Configuration::string(QStringLiteral("Web/HomePage"));
    if (!configured.isEmpty()) {
        return QUrl(configured);
    }
    QUrl url(webHostAddress() + QLatin1Char('/'));
    url.setScheme(QStringLiteral("https"));
    return url;
}

QUrl ZQAboutModel::userAgreementUrl() {
    return linkUrl("userammac");
}

QUrl ZQAboutModel::infoPolicyUrl() {
    return linkUrl("userppmac");
}

QUrl ZQAboutModel::dataListUrl() {
    return linkUrl("macdatalist");
}

QString ZQAboutModel::debugOfferTitle() {
    //% "是否进入协助调试模式？"
    return qtTrId("zq-about-debug-offer-title");
}

QString ZQAboutModel::debugOfferText() {
    //% "协助调试模式开启后，我们将在4小时内收集上传Vesko输入法的核心按键日志和"
    //% "相关数据，并开启性能监测，以便于排查产品问题。如您当前使用Vesko输入法无异常，"
    //% "不建议开启。"
    return qtTrId("zq-about-debug-offer-text");
}

void ZQAboutModel::setUp() {
    _showVersion = versionLineFor(GetInputMethodVersion(), ZQInputMethodIsInternalTestVersion(),
                                  ZQInputMethodIsPreviewTestVersion());
    _spinnerVisible = true;
    _spinnerAnimating = true;
    _statusVisible = true;
    _progressVisible = false;
    // Until the first answer the button looks like a check under way.
    _checkTitle = kTitleChecking;
    emit changed();
    checkForNewVersions();
}

void ZQAboutModel::checkForNewVersions() {
    struct Service {
        bool running = false;
        bool needsApproval = false;
    };
    inBackground<Service>(
        [] {
            Service service;
            service.running = isVeskoProcessExist(kServiceProcess);
            service.needsApproval =
                !service.running && ZQAuthUtility::veskoServiceRequireApprovalInBackground();
            return service;
        },
        [this](Service service) {
            if (!service.running) {
                _serviceNeedsApproval = service.needsApproval;
                resetViewWith(StateServiceMissing);
                return;
            }
            resetViewWith(StateChecking);
            if (!_observingCheckResult) {
                // One observation for the page's life; a repeated check re-uses it.
                _observingCheckResult = true;
                center()->addObserver(
                    this, kCheckResult,
                    [this](const QString&, const QVariantMap& payload) { newVersion(payload); });
            }
            SendDistributedNotification(kCheckUpdate);
        });
}

void ZQAboutModel::newVersion(const QVariantMap& payload) {
    ZQ_RUN_LOG_KV(kLogType, QStringLiteral("note"), payload);
    if (_viewState == StateInstalling || _viewState == StateInstalling6) {
        // A check answer (of another asker) while installing changes nothing.
        qCInfo(lcPages) << "check answer ignored during an installation";
        return;
    }
    struct Outcome {
        QString line;
        std::optional<QString> version;
        int state = StateCheckFailed;
    };
    inBackground<Outcome>(
        [payload] {
            Outcome outcome;
            const std::optional<QString> installed = GetInputMethodVersion();
            ZQ_RUN_LOG_KV(kLogType, QStringLiteral("curVer"), installed.value_or(QString()));
            outcome.line = versionLineFor(installed, ZQInputMethodIsInternalTestVersion(),
                                          ZQInputMethodIsPreviewTestVersion());
            outcome.version = platform::scalarText(payload.value(QStringLiteral("version")));
            if (!outcome.version) {
                return outcome;  // no payload, or no version in it: the check failed
            }
            const bool needed = VeskoInputNeedUpdate(*outcome.version);
            outcome.state = needed ? StateNewVersion : StateUpToDate;
            ZQ_RUN_LOG_KV(kLogType, QStringLiteral("result"), needed);
            return outcome;
        },
        [this](Outcome outcome) {
            _showVersion = outcome.line;
            if (outcome.version) {
                _updateVersion = *outcome.version;
                keepNewVersion(*outcome.version);
            }
            resetViewWith(outcome.state);
        });
}

void ZQAboutModel::checkUpdateBtnClickAction() {
    const QString title = _checkTitle;
    if (title.isEmpty()) {
        return;
    }
    inBackground<bool>(
        [] {
            if (!ZQAuthUtility::veskoServiceRequireApprovalInBackground()) {
                return false;
            }
            CallAuthPanel(kAuthTypeBackground, kAuthSourceAbout);
            return true;
        },
        [this, title](bool sentToApproval) {
            // A click counts for the title it was made on.
            if (sentToApproval || title != _checkTitle) {
                return;
            }
            if (title == kTitleCheck) {
                checkForNewVersions();
            } else if (title == kTitleUpdate) {
                startUpdateAPP();
                report(QStringLiteral("mac_clck"),
                       {{QStringLiteral("mac_icon"), QStringLiteral("13")}});
            }
        });
}

void ZQAboutModel::startUpdateAPP() {
    if (_installStarting) {
        return;  // the probes of a start are running
    }
    _installStarting = true;
    ZQ_RUN_LOG(kLogType, QStringLiteral("beg"));
    inBackground<bool>(
        [] {
            const bool root =
                probeWritable(zq::utility::installedBundleRoot() + QStringLiteral("/test.plist"));
            const bool contents =
                probeWritable(zq::utility::bundleContentsPath(QStringLiteral("test.plist")));
            return root && contents;
        },
        [this](bool writable) {
            _installStarting = false;
            installAfterProbe(writable);
        });
}

void ZQAboutModel::installAfterProbe(bool writable) {
    if (!_observingUpdateResult) {
        _observingUpdateResult = true;
        center()->addObserver(
            this, kUpdateResult,
            [this](const QString&, const QVariantMap& payload) { updateResult(payload); });
    }
    SendDistributedNotification(writable ? kRemoteVersion : kDownloadInstaller);
    resetViewWith(StateInstalling);
    _stopProgress = false;
    _isUpdateSus = false;
    _progressStep.reset();  // a step chain of an earlier installation ends here
    updateProgress();
    startTimer();
}

void ZQAboutModel::updateResult(const QVariantMap& payload) {
    ZQ_RUN_LOG_KV(kLogType, QStringLiteral("note"), payload);
    const QVariant result = payload.value(QStringLiteral("result"));
    const bool success =
        result.typeId() == QMetaType::QString && result.toString() == QLatin1String("1");
    inBackground<QString>(
        [] {
            return versionLineFor(GetCurrentInputMethodVersion(),
                                  ZQInputMethodIsInternalTestVersion(),
                                  ZQInputMethodIsPreviewTestVersion());
        },
        [this, success](QString line) {
            _showVersion = line;
            if (!success) {
                _stopProgress = true;
                stopTimer();
                resetViewWith(StateInstallFailed);
                return;
            }
            if (_isUpdateSus) {  // the animation has ended
                stopTimer();
                resetViewWith(StateUpToDate);
            } else {
                _isUpdateSus = true;  // the animation ends the installation
            }
            report(QStringLiteral("mac_upd_suc"), {});
        });
}

void ZQAboutModel::updateProgress() {
    _progressStep.reset();
    if (_stopProgress) {
        _progress = 5;
        return;
    }
    const int old = _progress;
    if (old < 95) {
        if (!_isUpdateSus) {
            _progress = old + 2;
            scheduleProgressStep(old < 69 ? _progress * 0.015 : _progress * 0.01);
        } else {
            _progress = old + 1;
            scheduleProgressStep(0.01);
        }
        _progressShown = _progress;
        emit progressShownChanged(_progressShown);
        return;
    }
    _progress = 5;
    if (_isUpdateSus) {
        stopTimer();
        resetViewWith(StateUpToDate);
    } else {
        _isUpdateSus = true;
    }
}

void ZQAboutModel::scheduleProgressStep(double seconds) {
    const auto delay = platform::Clock::Milliseconds(qRound64(seconds * 1000));
    _progressStep = _clock->startTimer(delay, false, this, [this] { updateProgress(); });
}

bool ZQAboutModel::watchdogRunning() const {
    return _timer && _timer->isActive();
}

void ZQAboutModel::startTimer() {
    if (watchdogRunning()) {
        return;
    }
    _checkCount = 0;
    _timer = _clock->startTimer(std::chrono::seconds(kWatchdogSeconds), true, this,
                                [this] { updateUpdateResult(); });
}

void ZQAboutModel::stopTimer() {
    _timer.reset();
    // The installation's answer is awaited as long as the watchdog runs.
    stopObservingUpdateResult();
}

void ZQAboutModel::stopObservingUpdateResult() {
    if (_observingUpdateResult) {
        _observingUpdateResult = false;
        center()->removeObserver(this, kUpdateResult);
    }
}

void ZQAboutModel::updateUpdateResult() {
    ++_checkCount;
    if (_checkCount > kWatchdogLastTick) {
        stopTimer();
        resetViewWith(StateInstallFailed);
        return;
    }
    const std::optional<QString> fresh = GetCurrentInputMethodVersion();
    const std::optional<QString> cached = GetInputMethodVersion();
    const bool installed = (fresh && *fresh == _updateVersion) ||
                           (cached && zq::utility::compareVersions(*cached, _updateVersion) >= 0);
    if (installed) {
        stopTimer();
        _showVersion = versionLineFor(fresh, ZQInputMethodIsInternalTestVersion(),
                                      ZQInputMethodIsPreviewTestVersion());
        resetViewWith(StateUpToDate);
    }
}

void ZQAboutModel::resetViewWith(int state) {
    _spinnerAnimating = false;
    auto buttons = [this](const QString& title, bool enabled) {
        _checkVisible = true;
        _checkTitle = title;
        _checkEnabled = enabled;
        _evaluationVisible = true;
        _progressVisible = false;
    };
    switch (state) {
        case StateChecking:
            _spinnerVisible = true;
            _spinnerAnimating = true;
            _statusVisible = false;
            buttons(kTitleChecking, true);
            break;
        case StateNewVersion:
        case StateUpToDate:
            _spinnerVisible = false;
            _statusVisible = false;
            buttons(state == StateNewVersion ? kTitleUpdate : kTitleLatest,
                    state == StateNewVersion);
            break;
        case StateServiceMissing:
            _spinnerVisible = false;
            //% "输入法服务未运行，暂时无法检查更新"
            _statusText = qtTrId("CloudFail");
            _statusVisible = !_serviceNeedsApproval;
            buttons(kTitleCheck, true);
            break;
        case StateCheckFailed:
            _spinnerVisible = false;
            //% "网络异常，检查更新失败，请稍后重试"
            _statusText = qtTrId("NetworkErrorWhileCheckUpdate");
            _statusVisible = true;
            buttons(kTitleCheck, true);
            break;
        case StateInstalling:
        case StateInstalling6:
            _spinnerVisible = false;
            _statusVisible = false;
            _progressVisible = true;
            _progressShown = 0;
            _checkVisible = false;
            _evaluationVisible = false;
            emit progressShownChanged(0);
            break;
        case StateInstallFailed:
            _spinnerVisible = false;
            //% "更新失败"
            _statusText = qtTrId("zq-about-update-failed");
            _statusVisible = true;
            buttons(kTitleUpdate, true);
            break;
        default:
            emit changed();
            return;
    }
    _viewState = state;
    emit changed();
}

void ZQAboutModel::showEvaluationView() {
    clickCommitEvalutionStatistics();
    emit switchToEvaluationRequested();
}

void ZQAboutModel::openLink(const QUrl& url) {
    platform::Workspace::openUrl(url, this);
}

void ZQAboutModel::openOfficialWeb() {
    openLink(officialWebUrl());
}

void ZQAboutModel::openUsrAgreementUrl() {
    openLink(userAgreementUrl());
}

void ZQAboutModel::openUsrInfoPolicyUrl() {
    openLink(infoPolicyUrl());
}

void ZQAboutModel::openUsrMessageUrl() {
    openLink(dataListUrl());
}

void ZQAboutModel::iconImageViewDoubleClick() {
    emit debugModeOfferRequested(debugOfferTitle(), debugOfferText());
}

void ZQAboutModel::debugModeOfferAnswered(bool confirmed) {
    if (confirmed) {
        emit debugModeWindowRequested();
    }
}

void ZQAboutModel::report(const QString& code, const QVariantMap& params) {
    if (!_reporterSet) {
        _heldReports.append({code, params});
    } else if (_reporter) {
        _reporter->reportDataWithEventCode(code, params);
    }
}

// The meta-object code in this file's own object, so that a module linking
// another page does not pull this one in.
#include "moc_ZQAboutModel.cpp"
