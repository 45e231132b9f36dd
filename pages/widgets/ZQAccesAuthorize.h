#pragma once

#include "app/host/ZQPageController.h"
#include "pages/models/ZQAccesAuthorizeModel.h"

#include <QObject>

class QLabel;
class QLineEdit;
class ZQAccessibilityWindow;
class ZQAssistConfig;
class ZQCustomButton;
class ZQImageView;

// The permission guidance window: which feature needs which permission, a
// tip picture and a step picture, and "前往授权", which opens the matching
// settings page of this desktop. Where the desktop has no such page, the
// window shows it in a selectable line with a copy button. Serves the page
// names "ZQAccesAuthorize", "ZQContactAuthorize" and "ZQAuthorize"; created
// once and kept. Its behaviour lives in ZQAccesAuthorizeModel; this class only
// binds the controls to it. Only the close button (or the window manager's
// close command) closes the window.
class ZQAccesAuthorize : public QObject, public ZQPageController {
    Q_OBJECT

public:
    static constexpr int kWindowWidth = 520;

    // `config` defaults to the shared store. The counts go to the application's
    // analytics (zq::pages::pageReporter) a moment after the window has first
    // been painted, or when it is hidden before that.
    explicit ZQAccesAuthorize(ZQAssistConfig* config = nullptr);
    ~ZQAccesAuthorize() override;

    QWidget* window() const override;
    // Shows the window and refills it for the page name.
    void showPage(const QString& pageName) override;
    void updateWindowWithAuthString(const QString& pageName);

    ZQAccesAuthorizeModel* model() const { return _model; }

    // The controls, for tests.
    ZQCustomButton* actionBtn() const { return _actionBtn; }
    ZQCustomButton* closeBtn() const { return _closeBtn; }
    QLabel* promptText() const { return _promptText; }
    QLineEdit* manualSettingsField() const { return _manualField; }
    ZQCustomButton* copyBtn() const { return _copyBtn; }

private:
    void buildWindow();
    void applyState();
    void copyManualSettings();
    void attachReporter();

    ZQAccesAuthorizeModel* _model;
    ZQAccessibilityWindow* _window = nullptr;
    bool _placed = false;
    bool _reporterAttached = false;
    ZQCustomButton* _actionBtn = nullptr;
    ZQCustomButton* _closeBtn = nullptr;
    ZQImageView* _tipImageView = nullptr;
    ZQImageView* _stepImageView = nullptr;
    QLabel* _promptText = nullptr;
    QLabel* _infoTextSG = nullptr;
    QLabel* _bottomDetailTextField = nullptr;
    QLabel* _manualLabel = nullptr;
    QLineEdit* _manualField = nullptr;
    ZQCustomButton* _copyBtn = nullptr;
};
