#pragma once

#include <QList>
#include <QObject>
#include <QPair>
#include <QString>
#include <QVariantMap>

class ZQAssistConfig;
class ZQPageReporter;

// The behaviour of the permission guidance window, without widgets: which
// prompt, pictures and settings page a request shows, which prompts are
// counted, the window's height, and the "前往授权" sequence. The window
// (ZQAccesAuthorize) binds its controls to it.
//
// One model serves the three page names for the life of the process:
//   "ZQAccesAuthorize"    accessibility, the feature in "AccesType"
//   "ZQContactAuthorize"  contacts
//   "ZQAuthorize"         any permission ("ZQAuthorizeType"), asked for by the
//                         feature "ZQAuthorizeSourceType"
// Parameters come from the assist config store; "AccesAction" decides whether
// the action button is offered. The model remembers the last feature shown,
// so a repeated request for the same feature neither rewrites the window nor
// counts the prompt again.
//
// Main thread only.
class ZQAccesAuthorizeModel : public QObject {
    Q_OBJECT

public:
    // Permission kinds (currentAuthType): what "前往授权" opens.
    enum AuthType : qint64 {
        Accessibility = 0,
        Contacts = 1,
        ScreenRecording = 2,
        TextRecognitionScreenRecording = 3,
        Microphone = 4,
        Background = 5,
    };

    // The window's height with the action button, and the button's height.
    static constexpr int kWindowHeight = 617;
    static constexpr int kActionButtonHeight = 40;

    // `config` defaults to the shared store.
    explicit ZQAccesAuthorizeModel(ZQAssistConfig* config = nullptr, QObject* parent = nullptr);
    ~ZQAccesAuthorizeModel() override;

    // Every request for one of the three page names, after the window was shown.
    void updateWindowWithAuthString(const QString& pageName);

    // The steps of a refill; each prompt step answers whether the prompt changed.
    bool updatePromptTextWithAuthString(const QString& pageName);
    bool updatePromptTexOfSimulateKey();
    bool updatePromptTextOfAuthorizeXibName();
    void updateImageViewWithAuthString(const QString& pageName);
    // Reports "mac_prompt_imp" when both are given.
    void statisticAuthPageWithReason(const QString& reason, const QString& function);

    // Where the counts go. Until it is set, they are held (in order) and
    // handed over when it is; null drops them, held and later ones alike.
    void setReporter(ZQPageReporter* reporter);

    // "前往授权": the window goes to the right edge of the screen, the input
    // method is told, the settings page of the current kind is opened (the
    // security page first while the system settings application runs), and
    // the click is reported. Returns at once; settingsOpened() follows.
    void open();

    // The settings address of a kind; kinds outside 1 to 5 open accessibility.
    static QString settingsAddress(qint64 authType);

    // State the window shows.
    QString currentAuthString() const { return _currentAuthString; }
    qint64 currentSimulateKeyType() const { return _currentSimulateKeyType; }
    qint64 currentAuthType() const { return _currentAuthType; }
    qint64 currentAuthSourceType() const { return _currentAuthSourceType; }
    QString promptText() const { return _promptText; }
    bool infoTextVisible() const { return _infoTextVisible; }
    QString bottomDetailText() const { return _bottomDetailText; }
    // Image names; empty before the first prompt.
    QString tipImage() const { return _tipImage; }
    QString stepImage() const { return _stepImage; }
    bool actionVisible() const { return _actionVisible; }
    int windowHeight() const { return _windowHeight; }
    // The settings page the user has to open by hand (no handler on this
    // desktop, or its program is missing); empty while there is none to show.
    QString manualSettingsText() const { return _manualSettingsText; }

signals:
    // Any shown state changed.
    void changed();
    // The window should move to the right edge of its screen, keeping its height.
    void moveToRightEdgeRequested();
    // The settings page of a "前往授权" click was started, or could not be.
    void settingsOpened(bool started, const QString& displayText);

private:
    void setPrompt(const char* textId);
    void setPictures(qint64 authType, const QString& tip, const QString& step);
    void openSettings(bool settingsApplicationRuns);
    void report(const QString& code, const QVariantMap& params);

    ZQAssistConfig* _config;
    ZQPageReporter* _reporter = nullptr;
    bool _reporterSet = false;
    QList<QPair<QString, QVariantMap>> _heldReports;

    QString _currentAuthString;
    qint64 _currentSimulateKeyType = 0;
    qint64 _currentAuthType = Accessibility;
    qint64 _currentAuthSourceType = 0;
    QString _promptText;
    bool _infoTextVisible = false;
    QString _bottomDetailText;
    QString _tipImage;
    QString _stepImage;
    bool _actionVisible = false;
    int _windowHeight = kWindowHeight - kActionButtonHeight;
    QString _manualSettingsText;
};
