#include "pages/ZQUpdateDetail.h"

#include "controls/ZQCustomButton.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "platform/DistributedNotificationCenter.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineView>

// The top-level window; asks the model before it closes.
class ZQUpdateDetailWindow : public QWidget {
public:
    explicit ZQUpdateDetailWindow(ZQUpdateDetailModel* model) : m_model(model) {}

protected:
    void closeEvent(QCloseEvent* event) override {
        if (m_model->windowShouldClose()) {
            event->accept();
        } else {
            event->ignore();
        }
    }

private:
    ZQUpdateDetailModel* m_model;
};

namespace {

const QColor kTextColor(0x33, 0x33, 0x33);
const QColor kSecondaryTextColor(0x88, 0x88, 0x88);

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
    button->setAccessibleName(title);
    return button;
}

}  // namespace

ZQUpdateDetail::ZQUpdateDetail(ZQAssistConfig* config,
                               platform::DistributedNotificationCenter* center)
    : m_model(new ZQUpdateDetailModel(config, this)) {
    buildWindow();
    connect(m_model, &ZQUpdateDetailModel::changed, this, &ZQUpdateDetail::applyState);
    connect(m_model, &ZQUpdateDetailModel::loadRequested, this, &ZQUpdateDetail::loadPage);
    connect(m_model, &ZQUpdateDetailModel::centerRequested, this, &ZQUpdateDetail::centerWindow);
    connect(m_model, &ZQUpdateDetailModel::windowLevelChanged, this,
            &ZQUpdateDetail::applyWindowLevel);
    connect(m_model, &ZQUpdateDetailModel::closeRequested, mWindow, &QWidget::close);
    connect(webView_, &QWebEngineView::loadFinished, m_model,
            &ZQUpdateDetailModel::webLoadFinished);

    m_model->setUp(center ? center : platform::DistributedNotificationCenter::defaultCenter());
}

ZQUpdateDetail::~ZQUpdateDetail() {
    disconnect(m_model, nullptr, this, nullptr);
    delete mWindow;
}

void ZQUpdateDetail::buildWindow() {
    using zq::controls::placeAt;
    mWindow = new ZQUpdateDetailWindow(m_model);
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

    sloganString_ = new QLabel(mWindow);
    sloganString_->setObjectName(QStringLiteral("sloganString"));
    sloganString_->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Semibold"), 20));
    sloganString_->setStyleSheet(QStringLiteral("color: #333333;"));
    placeAt(sloganString_, 40, 420, 520, 32);

    localVerString_ = new QLabel(mWindow);
    localVerString_->setObjectName(QStringLiteral("localVerString"));
    localVerString_->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 13));
    localVerString_->setStyleSheet(QStringLiteral("color: #888888;"));
    placeAt(localVerString_, 40, 394, 520, 22);

    // Made with the window, before it is first shown: a web view added to a
    // window on screen makes Qt re-create the native window for its surface.
    webView_ = new QWebEngineView(mWindow);
    webView_->setObjectName(QStringLiteral("webView"));
    placeAt(webView_, 40, 84, 520, 296);

    //% "忽略该版本"
    ignoreThisBtn_ = makeButton(mWindow, qtTrId("zq-update-detail-ignore"), false);
    placeAt(ignoreThisBtn_, 40, 28, 140, 36);
    //% "稍后提醒"
    promptLaterBtn_ = makeButton(mWindow, qtTrId("zq-update-detail-prompt-later"), false);
    placeAt(promptLaterBtn_, 284, 28, 130, 36);
    //% "立即安装"
    updateBtn_ = makeButton(mWindow, qtTrId("zq-update-detail-install"), true);
    placeAt(updateBtn_, 430, 28, 130, 36);
    //% "好的"
    okBtn_ = makeButton(mWindow, qtTrId("zq-update-detail-ok"), true);
    placeAt(okBtn_, 430, 28, 130, 36);

    updateBtn_->addTarget(m_model, &ZQUpdateDetailModel::installPackage);
    promptLaterBtn_->addTarget(m_model, &ZQUpdateDetailModel::promptLater);
    ignoreThisBtn_->addTarget(m_model, &ZQUpdateDetailModel::ignoreThisVersion);
    okBtn_->addTarget(m_model, &ZQUpdateDetailModel::okBtnClick);

    applyState();
}

QWidget* ZQUpdateDetail::window() const {
    return mWindow;
}

void ZQUpdateDetail::showWindow() {
    mWindow->show();
    mWindow->raise();
}

void ZQUpdateDetail::applyState() {
    sloganString_->setText(m_model->headline());
    sloganString_->setVisible(m_model->headlineVisible());
    localVerString_->setText(m_model->installedVersionText());
    localVerString_->setVisible(m_model->installedVersionVisible());
    updateBtn_->setVisible(m_model->installVisible());
    ignoreThisBtn_->setVisible(m_model->ignoreVisible());
    promptLaterBtn_->setVisible(m_model->promptLaterVisible());
    okBtn_->setVisible(m_model->okVisible());
    webView_->page()->setBackgroundColor(m_model->drawsWebBackground() ? QColor(Qt::white)
                                                                       : QColor(Qt::transparent));
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
            m_model->windowLevel() < ZQUpdateDetailModel::kModalPanelWindowLevel) {
            mWindow->setWindowFlag(Qt::WindowStaysOnTopHint, false);
        }
    });
}

void ZQUpdateDetail::loadPage(const QUrl& url) {
    applyState();
    webView_->load(url);
}

void ZQUpdateDetail::centerWindow() {
    QScreen* screen = mWindow->screen() ? mWindow->screen() : QGuiApplication::primaryScreen();
    if (!screen) {
        return;
    }
    QRect frame = mWindow->frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    mWindow->move(frame.topLeft());
}

ZQ_REGISTER_PAGE_CONTROLLER("ZQUpdateDetail", [] { return std::make_unique<ZQUpdateDetail>(); })
