#pragma once

#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariantMap>

class ZQAssistConfig;

// The behaviour of the update detail window, without widgets: which layout
// the window shows for the update mode, the headline and installed-version
// texts, the change-log page with its offline fallback, the window level, and
// the actions of the four buttons. ZQUpdateDetail binds its controls to it.
//
// Parameters come from the assist config store: "UpdateMode" ("Silent" or
// "UpdateByPkg"), "UpdatePkgPath" and "UpdateVersion". The user's choice
// (ignore this version, remind later) is written as "notifyType" into the
// installed input method's "updateInfo.plist".
//
// Main thread only.
class ZQUpdateDetailModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString mode READ mode NOTIFY changed)
    Q_PROPERTY(QString headline READ headline NOTIFY changed)
    Q_PROPERTY(QString installedVersionText READ installedVersionText NOTIFY changed)
    Q_PROPERTY(int windowLevel READ windowLevel NOTIFY windowLevelChanged)

public:
    static constexpr const char* kModeSilent = "Silent";
    static constexpr const char* kModeUpdateByPkg = "UpdateByPkg";
    static constexpr const char* kChangeLogPath = "/mac/proxy/?f=embeddedchangelog";
    static constexpr int kNormalWindowLevel = 0;
    static constexpr int kModalPanelWindowLevel = 8;

    // `config` defaults to ZQAssistConfig::sharedInstance().
    explicit ZQUpdateDetailModel(ZQAssistConfig* config = nullptr, QObject* parent = nullptr);
    ~ZQUpdateDetailModel() override;

    // Set-up of a new window: reads the installed version and the
    // parameters, arranges the layout, asks for the change log, centres the
    // window and raises it to the modal-panel level.
    void setUp();

    // A load request arrived while the window exists (the shell has stored
    // its parameters): re-reads the parameters and arranges the layout again
    // (only for "ZQUpdateDetail").
    void rearrangeUI(const QVariantMap& userInfo);

    // The web view's load of the current page ended.
    void webLoadFinished(bool ok);
    // No web view can be made on this machine: the offline page is shown
    // (by a viewer of local pages) and the window stays fully usable.
    void webViewUnavailable();

    // Button actions.
    void installPackage();
    void ignoreThisVersion();
    void promptLater();
    void okBtnClick();
    // The window is about to close: back to the normal level; always true.
    bool windowShouldClose();

    // State the window shows.
    QString mode() const { return s_mode; }
    QString pathToPKG() const { return s_pathToPKG; }
    QString updateVersion() const { return s_updateVersion; }
    QString headline() const { return _headline; }
    bool headlineVisible() const { return _headlineVisible; }
    QString installedVersionText() const { return _installedVersionText; }
    bool installedVersionVisible() const { return _installedVersionVisible; }
    bool installVisible() const { return _installVisible; }
    bool ignoreVisible() const { return _ignoreVisible; }
    bool promptLaterVisible() const { return _promptLaterVisible; }
    bool okVisible() const { return _okVisible; }
    int windowLevel() const { return _windowLevel; }
    bool drawsWebBackground() const { return _drawsWebBackground; }
    bool showsOfflinePage() const { return _showingOffline; }
    // Whether the change log (not the offline page) has arrived in the view.
    bool changeLogArrived() const { return _contentArrived && !_showingOffline; }
    // True while the package is being handed to the desktop's handler.
    bool isInstalling() const { return _installing; }

    // http://<web host>/mac/proxy/?f=embeddedchangelog
    static QUrl changeLogUrl();
    // "offline.html" among the application's resources, as a file address
    // (the compiled-in copy when the resource folder has none).
    static QUrl offlinePageUrl();
    // The installed input method's "updateInfo.plist".
    static QString choiceFilePath();

signals:
    // Any shown state changed.
    void changed();
    void windowLevelChanged(int level);
    // The web view should load `url`.
    void loadRequested(const QUrl& url);
    // The window should be centred on its screen.
    void centerRequested();
    // The window should close.
    void closeRequested();
    // The choice was written to (or failed to reach) the choice file.
    void choiceWritten(const QString& notifyType, bool ok);

private:
    enum class Occasion { SetUp, Rearrange };
    void readParameters();
    void arrange(Occasion occasion);
    void setWindowLevel(int level);
    void writeChoice(const QString& notifyType);
    void closeWindow();
    void showOfflinePage();

    ZQAssistConfig* _config;

    // The parameters of the current request.
    QString s_mode;
    QString s_pathToPKG;
    QString s_updateVersion;

    QString _headline;
    bool _headlineVisible = false;
    QString _installedVersionText;
    bool _installedVersionVisible = true;
    bool _installVisible = false;
    bool _ignoreVisible = false;
    bool _promptLaterVisible = false;
    bool _okVisible = true;
    int _windowLevel = kNormalWindowLevel;
    bool _drawsWebBackground = true;
    bool _contentArrived = false;
    bool _showingOffline = false;
    bool _installing = false;
};
