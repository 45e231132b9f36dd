#pragma once

#include "controls/ZQCustomBgView.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQCustomProgress.h"
#include "pages/widgets/ZQIconImageView.h"

#include <QLabel>
#include <QObject>
#include <QPointer>

#include <memory>

class ZQAboutModel;
class ZQDebugModeController;
class ZQSpinnerView;

namespace platform {
class Clock;
}

// The About page of the About window: the product icon, the version line,
// the check / install button with its spinner and progress bar, the failure
// text, the evaluation button and the four links. Its behaviour is
// ZQAboutModel's; this class binds the controls to it, shows the debug-mode
// offer in the in-window alert and opens the debug-mode window.
class ZQAbout : public QObject {
    Q_OBJECT

public:
    // The page's view, made as a child of `parent` (the window's content).
    ZQAbout(QWidget* parent, platform::Clock* clock = nullptr);
    ~ZQAbout() override;

    QWidget* view() const;
    ZQAboutModel* model() const { return _model; }

    // Page set-up: the version line and the first check.
    void awakeFromNib();

    // The debug-mode window opened from this page (created on first use).
    ZQDebugModeController* modeController() const { return _modeController.get(); }

    // Controls, for tests.
    ZQCustomButton* checkUpdateBtn() const { return _checkUpdateBtn; }
    ZQCustomButton* evaluationBtn() const { return _evaluationBtn; }
    ZQCustomProgress* progressView() const { return _customProView; }
    QLabel* versionLabel() const { return m_TxtCtrlAbout; }
    QLabel* statusLabel() const { return _statusLabel; }
    ZQIconImageView* iconImageView() const { return _iconImageView; }

signals:
    // The window should turn over to the evaluation page.
    void switchToEvaluationView();

private:
    void buildView(QWidget* parent);
    void applyState();
    void iconImageViewDoubleClick();
    void showDebugModeWindow();

    platform::Clock* _clock;
    ZQAboutModel* _model;
    QPointer<ZQCustomBgView> _view;
    std::unique_ptr<ZQDebugModeController> _modeController;
    QPointer<QLabel> m_TxtCtrlAbout;
    QPointer<ZQSpinnerView> updateCheckIndicator;
    QPointer<QLabel> _statusLabel;
    QPointer<ZQCustomProgress> _customProView;
    QPointer<ZQCustomButton> _usrAgreementBtn, _officialBtn, _usrInfoPolicyBtn, _usrMessageBtn;
    QPointer<ZQIconImageView> _iconImageView;
    QPointer<ZQCustomButton> _checkUpdateBtn;
    QPointer<ZQCustomButton> _evaluationBtn;
};
