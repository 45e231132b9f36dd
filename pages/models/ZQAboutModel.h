#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QThreadPool>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

class ZQAboutServices;
class ZQPageReporter;

namespace platform {
class Clock;
class ClockTimer;
}  // namespace platform

// The behaviour of the About page, without widgets: the version line, the
// update check and the installation, both done by the input method's service
// process and driven by distributed notifications, the progress animation
// and the installation watchdog, the links, the evaluation click and the
// debug-mode offer. ZQAbout binds its controls to it.
//
// Messages (platform::DistributedNotificationCenter):
//   posted    "kVeskoCloudManualCheckUpdate", "kVeskoNotifyRemoteVersion",
//             "kVeskoNotifyDownloadInstaller" (no payload)
//   observed  "kVeskoCloudManualCheckResult" {"version"}, "kVeskoCloudManualUpdateResult"
//   {"result"}
//
// What needs the disk or the bus (the process list, the background-approval
// question, the installed version read afresh, the public store, the write
// probes) runs in order on one worker thread; its outcome is applied on the
// main thread, where all of the page's state lives. Every time-driven step
// goes through the clock. Main thread only.
class ZQAboutModel : public QObject {
    Q_OBJECT

public:
    // The page's view states.
    enum ViewState {
        StateChecking = 0,
        StateNewVersion = 1,
        StateUpToDate = 2,
        StateServiceMissing = 3,
        StateCheckFailed = 4,
        StateInstalling = 5,
        StateInstalling6 = 6,
        StateInstallFailed = 7,
    };

    // The check button's titles; the title is also the button's state.
    static const QString kTitleCheck;     // "检查更新"
    static const QString kTitleChecking;  // "    检查更新" (room for the spinner)
    static const QString kTitleUpdate;    // "更新APP"
    static const QString kTitleLatest;    // "已是最新"
    static constexpr int kWatchdogSeconds = 5;
    static constexpr int kWatchdogLastTick = 120;  // 600 seconds
    static constexpr int kProgressMaximum = 100;

    // `clock` defaults to the system clock.
    explicit ZQAboutModel(platform::Clock* clock = nullptr, QObject* parent = nullptr);
    ~ZQAboutModel() override;

    // Where the analytics events ("mac_clck", "mac_upd_suc") go: the pages'
    // reporter, which the window attaches once it has been painted. Until it
    // is set, events are held in order and handed over when it is; null
    // drops them, held and later ones alike.
    void setReporter(ZQPageReporter* reporter);
    // Where the remote version is kept (the public store of the About
    // services), attached with the reporter. Until it is set, the last
    // version answered is held and written when it is; null drops it.
    void setServices(ZQAboutServices* services);

    // Page set-up: the version line, the spinner, then the first check.
    void setUp();

    // Actions.
    void checkForNewVersions();
    void checkUpdateBtnClickAction();
    void startUpdateAPP();
    void showEvaluationView();
    void openOfficialWeb();
    void openUsrAgreementUrl();
    void openUsrInfoPolicyUrl();
    void openUsrMessageUrl();
    // The icon was double-clicked: asks for the debug-mode offer.
    void iconImageViewDoubleClick();
    // The user's answer to the offer.
    void debugModeOfferAnswered(bool confirmed);

    // Calls `done` on the main thread once the outcome of every piece of
    // work started before has been applied (for tests and tools).
    void afterPendingWork(std::function<void()> done);

    // What the page shows.
    int viewState() const { return _viewState; }
    QString versionLine() const { return _showVersion; }
    bool spinnerVisible() const { return _spinnerVisible; }
    bool spinnerAnimating() const { return _spinnerAnimating; }
    bool statusVisible() const { return _statusVisible; }
    QString statusText() const { return _statusText; }
    bool progressVisible() const { return _progressVisible; }
    // The bar's shown value (the animation's value when it was last shown).
    int progressShown() const { return _progressShown; }
    bool checkButtonVisible() const { return _checkVisible; }
    QString checkButtonTitle() const { return _checkTitle; }
    bool checkButtonEnabled() const { return _checkEnabled; }
    bool evaluationButtonVisible() const { return _evaluationVisible; }

    // Inner state, for tests.
    int progress() const { return _progress; }
    bool stopProgress() const { return _stopProgress; }
    bool isUpdateSus() const { return _isUpdateSus; }
    int checkCount() const { return _checkCount; }
    bool watchdogRunning() const;
    bool observingUpdateResult() const { return _observingUpdateResult; }
    QString updateVersion() const { return _updateVersion; }

    // The version line for an installed version and its build kind.
    static QString versionLineFor(const std::optional<QString>& version, bool internalTest,
                                  bool previewTest);
    // Addresses of the four links on the configured web host.
    static QUrl officialWebUrl();
    static QUrl userAgreementUrl();
    static QUrl infoPolicyUrl();
    static QUrl dataListUrl();

    // The debug-mode offer's texts.
    static QString debugOfferTitle();
    static QString debugOfferText();

signals:
    // Any shown value changed.
    void changed();
    void progressShownChanged(int value);
    // The window should turn over to the evaluation page.
    void switchToEvaluationRequested();
    // The in-window alert should offer the debug mode; answer with debugModeOfferAnswered.
    void debugModeOfferRequested(const QString& title, const QString& text);
    // The user confirmed: close this window and show the debug-mode window, turned on.
    void debugModeWindowRequested();

private:
    void resetViewWith(int state);
    void newVersion(const QVariantMap& payload);
    void updateResult(const QVariantMap& payload);
    void installAfterProbe(bool writable);
    void updateProgress();
    void scheduleProgressStep(double seconds);
    void startTimer();
    void stopTimer();
    void updateUpdateResult();
    void stopObservingUpdateResult();
    void report(const QString& code, const QVariantMap& params);
    void keepNewVersion(const QString& version);
    void openLink(const QUrl& url);
    // Runs `work` on the page's worker thread, then `done` with its result
    // on the main thread (unless the model is gone by then).
    template <typename T>
    void inBackground(std::function<T()> work, std::function<void(T)> done);

    platform::Clock* _clock;
    QThreadPool _queue;

    ZQPageReporter* _reporter = nullptr;
    bool _reporterSet = false;
    QList<std::pair<QString, QVariantMap>> _heldReports;
    ZQAboutServices* _services = nullptr;
    bool _servicesSet = false;
    std::optional<QString> _heldNewVersion;
    std::unique_ptr<platform::ClockTimer> _timer;         // the installation watchdog
    std::unique_ptr<platform::ClockTimer> _progressStep;  // the next animation step
    int _progress = 0;
    QString _showVersion;
    QString _updateVersion;
    int _checkCount = 0;
    bool _stopProgress = false;
    bool _isUpdateSus = false;
    bool _observingCheckResult = false;
    bool _observingUpdateResult = false;
    bool _installStarting = false;

    int _viewState = -1;
    bool _spinnerVisible = true;
    bool _spinnerAnimating = true;
    bool _statusVisible = true;
    QString _statusText;
    bool _progressVisible = false;
    int _progressShown = 0;
    bool _checkVisible = true;
    QString _checkTitle;
    bool _checkEnabled = true;
    bool _evaluationVisible = true;
    bool _serviceNeedsApproval = false;
};
