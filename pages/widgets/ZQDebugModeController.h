#pragma once

#include "app/host/ZQPageController.h"
#include "controls/ZQCustomSwitchButton.h"

#include <QLabel>
#include <QObject>
#include <QPointer>

class QWidget;
class ZQDebugModeModel;

namespace platform {
class Clock;
}

// The debug-mode window ("ZQDebugMode"): the switch of the input method's
// assist debug mode, built in code (390 × 253 points). The two switches are
// a radio pair; after "关闭" the window hides itself when its 30-second
// countdown ends. Its behaviour is ZQDebugModeModel's; this class binds the
// controls to it. Opened by the page name (showing a mode that is on) or by
// the About page (turning the mode on).
class ZQDebugModeController : public QObject, public ZQPageController {
    Q_OBJECT

public:
    static constexpr int kWidth = 390;
    static constexpr int kHeight = 253;

    // `clock` defaults to the system clock.
    explicit ZQDebugModeController(platform::Clock* clock = nullptr);
    ~ZQDebugModeController() override;

    QWidget* window() const override;
    // "ZQDebugMode": shows the mode that is on, then the window.
    void showPage(const QString& pageName) override;

    void showDebugModeEnabled();
    void setDebugModeEnabled();

    ZQDebugModeModel* model() const { return _model; }
    ZQCustomSwitchButton* enabledButton() const { return _setEnabledButton; }
    ZQCustomSwitchButton* disableButton() const { return _setDisableButton; }
    QLabel* detailLabel() const { return _detailLabel; }
    QLabel* timeLabel() const { return _timeLabel; }

    // A switch of the window: icon-only, the check images at (0, 2), the
    // title in grey 34; its clicks go to the model.
    ZQCustomSwitchButton* createSwitchButtonWithFrame(const QRectF& frame, const QString& title,
                                                      QWidget* parent);

private:
    void buildWindow();
    void applyState();

    ZQDebugModeModel* _model;
    QWidget* _window = nullptr;
    QPointer<QLabel> _detailLabel;
    QPointer<QLabel> _timeLabel;
    QPointer<ZQCustomSwitchButton> _setEnabledButton;
    QPointer<ZQCustomSwitchButton> _setDisableButton;
};
