#include "pages/widgets/ZQUpdateDetail.h"

#include "app/host/PageWindow.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "pages/widgets/ChangeLogView.h"

#include <QCloseEvent>
#include <QColor>
#include <QLabel>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <utility>

// The top-level window: asks the model before it closes, and tells the page
// when it has been painted for the first time.
class ZQUpdateDetailWindow : public QWidget {
public:
    ZQUpdateDetailWindow(ZQUpdateDetailModel* model, std::function<void()> firstPainted)
        : _model(model), _firstPainted(std::move(firstPainted)) {}

protected:
    void closeEvent(QCloseEvent* event) override {
        if (_model->windowShouldClose()) {
            event->accept();
        } else {
            event->ignore();
        }
    }
    void paintEvent(QPaintEvent* event) override {
        QWidget::paintEvent(event);
        if (_firstPainted) {
            // After this paint has reached the screen.
            QTimer::singleShot(0, this, std::exchange(_firstPainted, nullptr));
        }
    }

private:
    ZQUpdateDetailModel* _model;
    std::function<void()> _firstPainted;
};

namespace {

const QColor kTextColor(0x33, 0x33, 0x33);

ZQCustomButton* makeButton(QWidget* parent, const QString& title, bool primary) {
    auto* button = new ZQCustomButton(parent);
    if (primary) {
        // The product's orange, lighter under the pointer, darker when pressed.
        button->setBgColorForNormal(QColor(255, 100, 44), QColor(255, 128, 80), QColor(226, 84, 32),
                                    6);
        button->setTitle(title, Qt::white, Qt::white, Qt::white,
                         zq::controls::namedFont(QStringLiteral("PingFangSC-Medium"), 14));
    } else {
        button->setBgColorForNormal(QColor(0xF0, 0xF1, 0xF5), QColor(0xE4, 0xE6, 0xEC),
                                    QColor(0xD8, 0xDB, 0xE3), 6);
        button->setTitle(title, kTextColor, kTextColor, kTextColor,
                         zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 14));
    }
    button->setIsHandCursor(true);
    return button;
}

}  // namespace

ZQUpdateDetail::ZQUpdateDetail(ZQAssistConfig* config)
    : _model(new ZQUpdateDetailModel(config, this)) {
    buildWindow();
    connect(_model, &ZQUpdateDetailModel::changed, this, &ZQUpdateDetail::applyState);
    connect(_model, &ZQUpdateDetailModel::loadRequested, this, &ZQUpdateDetail::loadPage);
    connect(_model, &ZQUpdateDetailModel::centerRequested, this,
            [this] { zq::pagehost::centerOnScreen(mWindow); });
    connect(_model, &ZQUpdateDetailModel::windowLevelChanged, this,
            &ZQUpdateDetail::applyWindowLevel);
    connect(_model, &ZQUpdateDetailModel::closeRequested, mWindow, &QWidget::close);
    _model->setUp();
}

ZQUpdateDetail::~ZQUpdateDetail() {
    disconnect(_model, nullptr, this, nullptr);
    delete mWindow;
}

void ZQUpdateDetail::buildWindow() {
    using zq::controls::placeAt;
    mWindow = new ZQUpdateDetailWindow(_model, [this] { attachWebView(); });
    mWindow->setObjectName(QStringLiteral("ZQUpdateDetail"));
    //% "Vesko输入法更新"
    mWindow->setWindowTitle(qtTrId("zq-update-detail-window-title"));
    mWindow->setFixedSize(kWindowWidth, kWindowHeight);
    // The input method opens this window while the user works elsewhere.
    mWindow->setAttribute(Qt::WA_ShowWithoutActivating);
    mWindow->setAutoFillBackground(true);
    QPalette palette = mWindow->palette();
    palette.setColor(QPalette::Window, Qt::white);
    mWindow->setPalette(palette);

    _sloganString = new QLabel(mWindow);
    _sloganString->setTextFormat(Qt::PlainText);
    _sloganString->setObjectName(QStringLiteral("sloganString"));
    _sloganString->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Semibold"), 20));
    _sloganString->setStyleSheet(QStringLiteral("color: #333333;"));
    placeAt(_sloganString, 40, 420, 520, 32);

    _localVerString = new QLabel(mWindow);
    _localVerString->setTextFormat(Qt::PlainText);
    _localVerString->setObjectName(QStringLiteral("localVerString"));
    _localVerString->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 13));
    _localVerString->setStyleSheet(QStringLiteral("color: #888888;"));
    placeAt(_localVerString, 40, 394, 520, 22);

    // Where the change log goes once the window has been painted.
    _webArea = new QWidget(mWindow);
    _webArea->setObjectName(QStringLiteral("webView"));
    placeAt(_webArea, 40, 84, 520, 296);

    //% "忽略该版本"
    _ignoreThisBtn = makeButton(mWindow, qtTrId("zq-update-detail-ignore"), false);
    placeAt(_ignoreThisBtn, 40, 28, 140, 36);
    //% "稍后提醒"
    _promptLaterBtn = makeButton(mWindow, qtTrId("zq-update-detail-prompt-later"), false);
    placeAt(_promptLaterBtn, 284, 28, 130, 36);
    //% "立即安装"
    _updateBtn = makeButton(mWindow, qtTrId("zq-update-detail-install"), true);
    placeAt(_updateBtn, 430, 28, 130, 36);
    //% "好的"
    _okBtn = makeButton(mWindow, qtTrId("zq-update-detail-ok"), true);
    placeAt(_okBtn, 430, 28, 130, 36);
    // Keyboard order: the decision first, then the alternatives.
    QWidget::setTabOrder(_updateBtn, _okBtn);
    QWidget::setTabOrder(_okBtn, _promptLaterBtn);
    QWidget::setTabOrder(_promptLaterBtn, _ignoreThisBtn);

    _updateBtn->addTarget(_model, &ZQUpdateDetailModel::installPackage);
    _promptLaterBtn->addTarget(_model, &ZQUpdateDetailModel::promptLater);
    _ignoreThisBtn->addTarget(_model, &ZQUpdateDetailModel::ignoreThisVersion);
    _okBtn->addTarget(_model, &ZQUpdateDetailModel::okBtnClick);

    applyState();
}

QWidget* ZQUpdateDetail::window() const {
    return mWindow;
}

void ZQUpdateDetail::loadRequestReceived(const QVariantMap& payload) {
    _model->rearrangeUI(payload);
}

void ZQUpdateDetail::attachWebView() {
    if (_webView) {
        return;
    }
    if (ChangeLogViewFactory* factory = zq::pages::webChangeLogViews()) {
        _webView = factory->createView(_webArea);
    }
    const bool web = _webView != nullptr;
    if (!web) {
        _webView = zq::pages::createLocalPageView(_webArea);
    }
    _webView->setLoadFinishedHandler([this](bool ok) { _model->webLoadFinished(ok); });
    _webView->widget()->setGeometry(_webArea->rect());
    _webView->widget()->show();
    applyState();
    if (!web) {
        _model->webViewUnavailable();  // asks for the offline page
    } else if (_pendingUrl.isValid()) {
        _webView->load(_pendingUrl);
    }
    _pendingUrl = QUrl();
    emit webViewAttached();
}

void ZQUpdateDetail::applyState() {
    _sloganString->setText(_model->headline());
    _sloganString->setVisible(_model->headlineVisible());
    _localVerString->setText(_model->installedVersionText());
    _localVerString->setVisible(_model->installedVersionVisible());
    _updateBtn->setVisible(_model->installVisible());
    _ignoreThisBtn->setVisible(_model->ignoreVisible());
    _promptLaterBtn->setVisible(_model->promptLaterVisible());
    _okBtn->setVisible(_model->okVisible());
    if (_webView) {
        _webView->setBackgroundColor(_model->drawsWebBackground() ? QColor(Qt::white)
                                                                  : QColor(Qt::transparent));
    }
}

void ZQUpdateDetail::applyWindowLevel(int level) {
    const bool above = level >= ZQUpdateDetailModel::kModalPanelWindowLevel;
    if (above) {
        if (!mWindow->testAttribute(Qt::WA_WState_Created) ||
            !(mWindow->windowFlags() & Qt::WindowStaysOnTopHint)) {
            const bool visible = mWindow->isVisible();
            mWindow->setWindowFlag(Qt::WindowStaysOnTopHint, true);
            if (visible) {
                mWindow->show();  // changing the flags hid the window
            }
        }
        return;
    }
    // Back to the normal level once the window has gone: changing the flags of
    // a visible window would re-create it.
    QTimer::singleShot(0, mWindow, [this] {
        if (!mWindow->isVisible() &&
            _model->windowLevel() < ZQUpdateDetailModel::kModalPanelWindowLevel) {
            mWindow->setWindowFlag(Qt::WindowStaysOnTopHint, false);
        }
    });
}

void ZQUpdateDetail::loadPage(const QUrl& url) {
    applyState();
    if (_webView) {
        _webView->load(url);
    } else {
        _pendingUrl = url;  // loaded once the view exists
    }
}
