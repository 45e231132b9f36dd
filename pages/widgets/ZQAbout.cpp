#include "pages/widgets/ZQAbout.h"

#include "app/host/PageWindow.h"
#include "controls/ZQAlertWindow.h"
#include "controls/ZQCustomBgView.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQCustomProgress.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "pages/models/ZQAboutModel.h"
#include "pages/widgets/ZQDebugModeController.h"
#include "pages/widgets/ZQIconImageView.h"
#include "platform/Clock.h"

#include <QAccessible>
#include <QPainter>

// The spinner beside the check button's title while a check runs: twelve
// ticks, the brightest one turning once a second.
class ZQSpinnerView : public QWidget {
public:
    ZQSpinnerView(platform::Clock* clock, QWidget* parent) : QWidget(parent), _clock(clock) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        //% "正在检查更新"
        setAccessibleName(qtTrId("zq-about-checking"));
    }
    void setAnimating(bool animating) {
        if (!animating) {
            _ticker.reset();
        } else if (!_ticker) {
            _ticker = _clock->startTimer(std::chrono::milliseconds(83), true, this, [this] {
                _step = (_step + 1) % 12;
                update();
            });
        }
    }
    bool isAnimating() const { return _ticker && _ticker->isActive(); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(width() / 2.0, height() / 2.0);
        const qreal radius = std::min(width(), height()) / 2.0;
        for (int i = 0; i < 12; ++i) {
            QColor color(Qt::white);
            color.setAlphaF(0.25 + 0.75 * ((i - _step + 12) % 12) / 11.0);
            painter.setPen(QPen(color, 1.6, Qt::SolidLine, Qt::RoundCap));
            painter.drawLine(QPointF(0, -radius * 0.45), QPointF(0, -radius * 0.95));
            painter.rotate(30);
        }
    }

private:
    platform::Clock* _clock;
    std::unique_ptr<platform::ClockTimer> _ticker;
    int _step = 0;
};

namespace {

const QColor kOrange(255, 100, 44);
const QColor kOrangeHover(255, 120, 71);
const QColor kOrangePressed(229, 82, 28);
const QColor kLinkGrey = QColor::fromRgbF(0.4f, 0.4f, 0.4f);

ZQCustomButton* makeLink(QWidget* parent, const QString& title, qreal x) {
    auto* link = new ZQCustomButton(QRectF(x, 10, 56, 16), parent);
    link->setText(title);
    link->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 11));
    link->setTitHoverUndLineWithTitColor(kLinkGrey);
    return link;
}

}  // namespace

ZQAbout::ZQAbout(QWidget* parent, platform::Clock* clock)
    : _clock(clock ? clock : platform::Clock::system()), _model(new ZQAboutModel(_clock, this)) {
    buildView(parent);
    connect(_model, &ZQAboutModel::changed, this, &ZQAbout::applyState);
    connect(_model, &ZQAboutModel::progressShownChanged, _customProView.data(),
            &ZQCustomProgress::setPresent);
    connect(_model, &ZQAboutModel::switchToEvaluationRequested, this,
            &ZQAbout::switchToEvaluationView);
    connect(_model, &ZQAboutModel::debugModeOfferRequested, this,
            [this](const QString& title, const QString& text) {
                // The answer is for this page only if it still exists then.
                QPointer<ZQAbout> page(this);
                ZQAlertWindow::sharedInstance()->showInWindow(
                    _view->window(), title, text, [page](bool confirmed) {
                        if (page) {
                            page->_model->debugModeOfferAnswered(confirmed);
                        }
                    });
            });
    connect(_model, &ZQAboutModel::debugModeWindowRequested, this, &ZQAbout::showDebugModeWindow);
}

ZQAbout::~ZQAbout() = default;

QWidget* ZQAbout::view() const {
    return _view;
}

void ZQAbout::buildView(QWidget* parent) {
    using zq::controls::placeAt;
    _view = new ZQCustomBgView(QRectF(0, 0, 390, 287), parent);
    _view->setObjectName(QStringLiteral("ZQAbout"));
    _view->setBgImage(ZQImage::named(QStringLiteral("about_view_bg")));

    _iconImageView = new ZQIconImageView(_view);
    _iconImageView->setImage(ZQImage::named(QStringLiteral("vesko_app_icon")));
    //% "Vesko输入法"
    _iconImageView->setAccessibleName(qtTrId("zq-about-product-name"));
    placeAt(_iconImageView, 159, 179, 72, 72);
    connect(_iconImageView.data(), &ZQIconImageView::iconImageViewDoubleClick, _model,
            &ZQAboutModel::iconImageViewDoubleClick);

    auto* name = new QLabel(qtTrId("zq-about-product-name"), _view);
    name->setAlignment(Qt::AlignCenter);
    name->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Medium"), 18));
    name->setStyleSheet(QStringLiteral("color: rgb(42, 43, 44);"));
    placeAt(name, 0, 147, 390, 26);

    m_TxtCtrlAbout = new QLabel(_view);
    m_TxtCtrlAbout->setTextFormat(Qt::PlainText);
    m_TxtCtrlAbout->setObjectName(QStringLiteral("versionLine"));
    m_TxtCtrlAbout->setAlignment(Qt::AlignCenter);
    m_TxtCtrlAbout->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 12));
    m_TxtCtrlAbout->setStyleSheet(QStringLiteral("color: rgb(102, 102, 102);"));
    placeAt(m_TxtCtrlAbout, 0, 127, 390, 18);

    _statusLabel = new QLabel(_view);
    _statusLabel->setTextFormat(Qt::PlainText);
    _statusLabel->setObjectName(QStringLiteral("statusLabel"));
    _statusLabel->setAlignment(Qt::AlignCenter);
    _statusLabel->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 12));
    _statusLabel->setStyleSheet(QStringLiteral("color: rgb(229, 82, 28);"));
    placeAt(_statusLabel, 0, 107, 390, 16);

    _checkUpdateBtn = new ZQCustomButton(QRectF(120, 69, 150, 32), _view);
    _checkUpdateBtn->setObjectName(QStringLiteral("checkUpdateBtn"));
    _checkUpdateBtn->setIsHandCursor(true);
    _checkUpdateBtn->addTarget(_model, &ZQAboutModel::checkUpdateBtnClickAction);

    // Inside the check button's leading blanks.
    updateCheckIndicator = new ZQSpinnerView(_clock, _view);
    placeAt(updateCheckIndicator, 149, 78, 14, 14);

    _customProView = new ZQCustomProgress(QRectF(95, 83, 200, 6), _view);
    _customProView->setObjectName(QStringLiteral("progress"));
    //% "更新进度"
    _customProView->setAccessibleName(qtTrId("zq-about-progress"));
    _customProView->setMaxValue(ZQAboutModel::kProgressMaximum);
    _customProView->setBgColor(Qt::white,
                               QColor::fromRgbF(0.996078431372549f, 0.4f, 0.1843137254901961f));
    _customProView->setCornerRadius(3);

    _evaluationBtn = new ZQCustomButton(QRectF(120, 33, 150, 28), _view);
    _evaluationBtn->setObjectName(QStringLiteral("evaluationBtn"));
    _evaluationBtn->setBgColorForNormal(QColor(255, 237, 229), QColor(255, 226, 214),
                                        QColor(255, 214, 197), 6);
    //% "给Vesko输入法评分"
    _evaluationBtn->setTitle(qtTrId("zq-about-evaluate"), kOrangePressed, kOrangePressed,
                             kOrangePressed,
                             zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 13));
    _evaluationBtn->setIsHandCursor(true);
    _evaluationBtn->addTarget(_model, &ZQAboutModel::showEvaluationView);

    //% "官方网站"
    _officialBtn = makeLink(_view, qtTrId("zq-about-link-official"), 62);
    //% "用户协议"
    _usrAgreementBtn = makeLink(_view, qtTrId("zq-about-link-agreement"), 132);
    //% "隐私政策"
    _usrInfoPolicyBtn = makeLink(_view, qtTrId("zq-about-link-privacy"), 202);
    //% "数据清单"
    _usrMessageBtn = makeLink(_view, qtTrId("zq-about-link-data-list"), 272);
    _officialBtn->addTarget(_model, &ZQAboutModel::openOfficialWeb);
    _usrAgreementBtn->addTarget(_model, &ZQAboutModel::openUsrAgreementUrl);
    _usrInfoPolicyBtn->addTarget(_model, &ZQAboutModel::openUsrInfoPolicyUrl);
    _usrMessageBtn->addTarget(_model, &ZQAboutModel::openUsrMessageUrl);

    QWidget::setTabOrder(_checkUpdateBtn, _evaluationBtn);
    QWidget::setTabOrder(_evaluationBtn, _officialBtn);
    QWidget::setTabOrder(_officialBtn, _usrAgreementBtn);
    QWidget::setTabOrder(_usrAgreementBtn, _usrInfoPolicyBtn);
    QWidget::setTabOrder(_usrInfoPolicyBtn, _usrMessageBtn);
    QWidget::setTabOrder(_usrMessageBtn, _iconImageView);
}

void ZQAbout::awakeFromNib() {
    _model->setUp();
}

void ZQAbout::applyState() {
    updateCheckIndicator->setVisible(_model->spinnerVisible());
    updateCheckIndicator->setAnimating(_model->spinnerVisible() && _model->spinnerAnimating());
    _statusLabel->setText(_model->statusText());
    _statusLabel->setVisible(_model->statusVisible());
    _customProView->setVisible(_model->progressVisible());

    const QString title = _model->checkButtonTitle();
    const bool enabled = _model->checkButtonEnabled();
    if (title != _checkUpdateBtn->titleString() || enabled != _checkUpdateBtn->isEnabled()) {
        const QFont font = zq::controls::namedFont(QStringLiteral("PingFangSC-Medium"), 14);
        if (enabled) {
            _checkUpdateBtn->setBgColorForNormal(kOrange, kOrangeHover, kOrangePressed, 6);
            _checkUpdateBtn->setTitle(title, Qt::white, Qt::white, Qt::white, font);
        } else {
            const QColor grey(232, 232, 232);
            const QColor text(153, 153, 153);
            _checkUpdateBtn->setBgColorForNormal(grey, grey, grey, 6);
            _checkUpdateBtn->setTitle(title, text, text, text, font);
        }
        _checkUpdateBtn->setEnabled(enabled);
        // Screen readers hear the new title.
        QAccessibleEvent nameChanged(_checkUpdateBtn.data(), QAccessible::NameChanged);
        QAccessible::updateAccessibility(&nameChanged);
    }
    _checkUpdateBtn->setVisible(_model->checkButtonVisible());
    _evaluationBtn->setVisible(_model->evaluationButtonVisible());

    if (m_TxtCtrlAbout->text() != _model->versionLine()) {
        m_TxtCtrlAbout->setText(_model->versionLine());
    }
}

void ZQAbout::showDebugModeWindow() {
    if (!_modeController) {
        _modeController = std::make_unique<ZQDebugModeController>(_clock);
    }
    _modeController->setDebugModeEnabled();
    QWidget* window = _modeController->window();
    // Level 8: above ordinary windows.
    window->setWindowFlag(Qt::WindowStaysOnTopHint, true);
    zq::pagehost::centerOnScreen(window);
    // The new window shows before this one closes, so the application never
    // finds itself without a window in between.
    window->show();
    zq::pagehost::bringToFront(window);
    _view->window()->close();
}

// The meta-object code in this file's own object, so that a module linking
// another page does not pull this one in.
#include "moc_ZQAbout.cpp"
