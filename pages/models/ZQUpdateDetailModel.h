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
    QString headline() const { return m_headline; }
    bool headlineVisible() const { return m_headlineVisible; }
    QString installedVersionText() const { return m_installedVersionText; }
    bool installedVersionVisible() const { return m_installedVersionVisible; }
    bool installVisible() const { return m_installVisible; }
    bool ignoreVisible() const { return m_ignoreVisible; }
    bool promptLaterVisible() const { return m_promptLaterVisible; }
    bool okVisible() const { return m_okVisible; }
    int windowLevel() const { return m_windowLevel; }
    bool drawsWebBackground() const { return m_drawsWebBackground; }
    bool showsOfflinePage() const { return m_showingOffline; }
    // Whether the change log (not the offline page) has arrived in the view.
    bool changeLogArrived() const { return m_contentArrived && !m_showingOffline; }
    // True while the package is being handed to the desktop's handler.
    bool isInstalling() const { return m_installing; }

    // http://<web host>/mac/proxy/?f=embeddedchangelog
    static QUrl changeLogUrl();
    // "offline.html" among the application's resources, as a file address
    // (the compiled-in copy when the resource folder has none).
    static QUrl offlinePageUrl();
    // The installed input method's "updateInfo.plist".
    static QString choiceFilePath();
    // The text of a config value as the page uses it: text as it is, numbers
    // in decimal, anything else empty.
    static QString textOf(const QVariant& value);

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

    ZQAssistConfig* m_config;

    // The parameters of the current request.
    QString s_mode;
    QString s_pathToPKG;
    QString s_updateVersion;

    QString m_headline;
    bool m_headlineVisible = false;
    QString m_installedVersionText;
    bool m_installedVersionVisible = true;
    bool m_installVisible = false;
    bool m_ignoreVisible = false;
    bool m_promptLaterVisible = false;
    bool m_okVisible = true;
    int m_windowLevel = kNormalWindowLevel;
    bool m_drawsWebBackground = true;
    bool m_contentArrived = false;
    bool m_showingOffline = false;
    bool m_installing = false;
};
