#include "pages/widgets/ZQAccesAuthorize.h"

#include "app/host/PageWindow.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "controls/ZQImage.h"
#include "pages/widgets/PageAnalytics.h"
#include "pages/widgets/ZQAccessibilityWindow.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QTimer>

#include <utility>

// A picture of the window, drawn from its outlines at the screen's ratio;
// assistive technology sees a graphic with a name and, for the step
// pictures, a description of the steps.
class ZQImageView : public QWidget {
public:
    explicit ZQImageView(QWidget* parent) : QWidget(parent) {}

    void setImageName(const QString& name) {
        if (name == _name) {
            return;
        }
        _name = name;
        _image = name.isEmpty() ? ZQImage() : ZQImage::named(name);
        setAccessibleDescription(describe(name));
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        if (_image) {
            QPainter painter(this);
            painter.setRenderHint(QPainter::Antialiasing);
            _image.draw(&painter, QRectF(rect()));
        }
    }

private:
    // What a step picture shows, for those who cannot see it.
    static QString describe(const QString& name) {
        if (name == QLatin1String("access_step")) {
            //% "打开“设置”，进入“辅助功能”，打开辅助技术的开关"
            return qtTrId("zq-auth-step-accessibility");
        }
        if (name == QLatin1String("contact_title")) {
            //% "打开“设置”，进入“在线帐户”，选择存有通讯录的帐户，打开其中的“通讯录”"
            return qtTrId("zq-auth-step-contacts");
        }
        if (name == QLatin1String("screen_step")) {
            //% "打开“设置”，进入“应用”，选择“Vesko输入法”，打开屏幕录制的开关"
            return qtTrId("zq-auth-step-screen");
        }
        if (name == QLatin1String("microphone_step")) {
            //% "打开“设置”，进入“隐私”中的“麦克风”，打开麦克风，并允许Vesko输入法使用"
            return qtTrId("zq-auth-step-microphone");
        }
        if (name == QLatin1String("microphone_access_step")) {
            //% "打开“设置”，在“隐私”中的“麦克风”里允许Vesko输入法，再进入“辅助功能”打开辅助技术"
            return qtTrId("zq-auth-step-microphone-accessibility");
        }
        if (name == QLatin1String("loginBackground_title")) {
            //% "打开“设置”，进入“应用”，选择“Vesko输入法”，打开“在后台运行”的开关"
            return qtTrId("zq-auth-step-background");
        }
        return {};
    }

    QString _name;
    ZQImage _image;
};

namespace {

// Assistive technology sees the window as a frame and the pictures as graphics.
QAccessibleInterface* accessibleFor(const QString&, QObject* object) {
    if (auto* view = dynamic_cast<ZQImageView*>(object)) {
        return new QAccessibleWidget(view, QAccessible::Graphic);
    }
    if (auto* window = dynamic_cast<ZQAccessibilityWindow*>(object)) {
        return new QAccessibleWidget(window, QAccessible::Window);
    }
    return nullptr;
}

const QColor kTextColor(42, 43, 44);
const QColor kInfoColor(128, 129, 130);
const QColor kOrange(255, 100, 44);

// The window's frames, measured from the top of a window kWindowHeight tall;
// every control keeps its distance to the top when the height changes.
constexpr int kHeight = ZQAccesAuthorizeModel::kWindowHeight;
// How long after the first paint the counts go out.
constexpr int kReporterDelayMs = 200;

void placeFromTop(QWidget* widget, int x, int top, int width, int height) {
    zq::controls::placeAt(widget, x, kHeight - top - height, width, height,
                          zq::controls::Autoresizing::MinYMargin);
}

QLabel* makeLabel(QWidget* parent, const QFont& font, const QColor& color, const char* name) {
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
    label->setWordWrap(true);
    return label;
}

}  // namespace

ZQAccesAuthorize::ZQAccesAuthorize(ZQAssistConfig* config)
    : _model(new ZQAccesAuthorizeModel(config, this)) {
    buildWindow();
    connect(_model, &ZQAccesAuthorizeModel::changed, this, &ZQAccesAuthorize::applyState);
    connect(_model, &ZQAccesAuthorizeModel::moveToRightEdgeRequested, _window,
            &ZQAccessibilityWindow::moveToRightEdgeOfScreen);
    // The analytics module is loaded off the way to the first paint.
    connect(_window, &ZQAccessibilityWindow::firstPainted, _model,
            [this] { QTimer::singleShot(kReporterDelayMs, _model, [this] { attachReporter(); }); });
    connect(_window, &ZQAccessibilityWindow::hidden, _model, [this] { attachReporter(); });
}

ZQAccesAuthorize::~ZQAccesAuthorize() {
    disconnect(_model, nullptr, this, nullptr);
    disconnect(_window, nullptr, _model, nullptr);  // no analytics on the way out
    delete _window;
}

void ZQAccesAuthorize::buildWindow() {
    static const bool accessible = (QAccessible::installFactory(accessibleFor), true);
    Q_UNUSED(accessible);
    _window = new ZQAccessibilityWindow(QSize(kWindowWidth, kHeight));
    _window->setObjectName(QStringLiteral("ZQAccesAuthorize"));
    //% "Vesko输入法权限设置"
    _window->setWindowTitle(qtTrId("zq-auth-window-title"));
    QWidget* content = _window->contentView();
    using zq::controls::namedFont;

    closeBtn_ = new ZQCustomButton(content);
    closeBtn_->setObjectName(QStringLiteral("closeBtn"));
    closeBtn_->setBgImageForNormal(ZQImage::named(QStringLiteral("closeNormal")),
                                   ZQImage::named(QStringLiteral("closeHover")),
                                   ZQImage::named(QStringLiteral("closeActive")));
    //% "关闭"
    closeBtn_->setAccessibleName(qtTrId("zq-auth-close"));
    placeFromTop(closeBtn_, kWindowWidth - 30, 14, 16, 16);
    closeBtn_->addTarget(_window, &QWidget::close);

    promptText_ = makeLabel(content, namedFont(QStringLiteral("PingFangSC-Medium"), 14), kTextColor,
                            "promptText");
    placeFromTop(promptText_, 40, 20, 440, 26);

    infoTextSG_ = makeLabel(content, namedFont(QStringLiteral("PingFangSC-Regular"), 12),
                            kInfoColor, "infoTextSG");
    //% "请按下图的步骤，在系统设置中为Vesko输入法打开对应的权限，打开后即可正常使用该功能。"
    infoTextSG_->setText(qtTrId("zq-auth-info"));
    placeFromTop(infoTextSG_, 40, 50, 440, 34);

    tipImageView_ = new ZQImageView(content);
    tipImageView_->setObjectName(QStringLiteral("tipImageView"));
    //% "需要的权限"
    tipImageView_->setAccessibleName(qtTrId("zq-auth-tip-picture"));
    placeFromTop(tipImageView_, 40, 92, 440, 150);
    stepImageView_ = new ZQImageView(content);
    stepImageView_->setObjectName(QStringLiteral("stepImageView"));
    //% "授权步骤"
    stepImageView_->setAccessibleName(qtTrId("zq-auth-step-picture"));
    placeFromTop(stepImageView_, 40, 250, 440, 260);

    bottomDetailTextField_ = makeLabel(content, namedFont(QStringLiteral("PingFangSC-Regular"), 12),
                                       kTextColor, "bottomDetailTextField");
    placeFromTop(bottomDetailTextField_, 40, 514, 440, 20);

    // The settings page to open by hand, when the desktop has none to start.
    manualLabel_ = makeLabel(content, namedFont(QStringLiteral("PingFangSC-Regular"), 12), kOrange,
                             "manualSettingsLabel");
    manualLabel_->setWordWrap(false);
    //% "请手动打开："
    manualLabel_->setText(qtTrId("zq-auth-manual-label"));
    placeFromTop(manualLabel_, 40, 536, 84, 24);
    manualField_ = new QLineEdit(content);
    manualField_->setObjectName(QStringLiteral("manualSettingsField"));
    manualField_->setReadOnly(true);
    manualField_->setFont(namedFont(QStringLiteral("PingFangSC-Regular"), 12));
    //% "系统设置页面"
    manualField_->setAccessibleName(qtTrId("zq-auth-manual-field"));
    manualLabel_->setBuddy(manualField_);
    placeFromTop(manualField_, 124, 536, 292, 24);
    copyBtn_ = new ZQCustomButton(content);
    copyBtn_->setObjectName(QStringLiteral("copyBtn"));
    copyBtn_->setBgColorForNormal(QColor(0xF0, 0xF1, 0xF5), QColor(0xE4, 0xE6, 0xEC),
                                  QColor(0xD8, 0xDB, 0xE3), 4);
    //% "复制"
    copyBtn_->setTitle(qtTrId("zq-auth-copy"), kTextColor, kTextColor, kTextColor,
                       namedFont(QStringLiteral("PingFangSC-Regular"), 12));
    placeFromTop(copyBtn_, 424, 536, 56, 24);
    copyBtn_->addTarget(this, &ZQAccesAuthorize::copyManualSettings);

    actionBtn_ = new ZQCustomButton(content);
    actionBtn_->setObjectName(QStringLiteral("actionBtn"));
    actionBtn_->setBgImageForNormal(ZQImage::named(QStringLiteral("access_normal")),
                                    ZQImage::named(QStringLiteral("access_hover")),
                                    ZQImage::named(QStringLiteral("access_click")),
                                    QRectF(20, 10, 160, 20));
    //% "前往授权"
    actionBtn_->setTitle(qtTrId("zq-auth-action"), Qt::white, Qt::white, Qt::white,
                         zq::controls::systemFont(13));
    actionBtn_->setIsHandCursor(true);
    placeFromTop(actionBtn_, 160, 567, 200, ZQAccesAuthorizeModel::kActionButtonHeight);
    actionBtn_->addTarget(_model, &ZQAccesAuthorizeModel::open);

    // Keyboard order: the action first (focused when the window opens), then the address and
    // its copy, then close; the window itself takes no focus.
    _window->setFocusPolicy(Qt::NoFocus);
    QWidget::setTabOrder(actionBtn_, manualField_);
    QWidget::setTabOrder(manualField_, copyBtn_);
    QWidget::setTabOrder(copyBtn_, closeBtn_);
    applyState();
}

QWidget* ZQAccesAuthorize::window() const {
    return _window;
}

void ZQAccesAuthorize::showPage(const QString& pageName) {
    if (_window->isVisible()) {
        _window->show();
        _window->raise();
        updateWindowWithAuthString(pageName);
        return;
    }
    // A hidden window takes its content and height before it is mapped.
    updateWindowWithAuthString(pageName);
    if (!_placed) {
        zq::pagehost::centerOnScreen(_window);
        _placed = true;
    }
    _window->show();
    _window->raise();
    if (actionBtn_->isVisible()) {
        actionBtn_->setFocus(Qt::OtherFocusReason);
    }
}

void ZQAccesAuthorize::updateWindowWithAuthString(const QString& pageName) {
    _model->updateWindowWithAuthString(pageName);
}

void ZQAccesAuthorize::applyState() {
    promptText_->setText(_model->promptText());
    infoTextSG_->setVisible(_model->infoTextVisible());
    tipImageView_->setImageName(_model->tipImage());
    stepImageView_->setImageName(_model->stepImage());
    bottomDetailTextField_->setText(_model->bottomDetailText());
    bottomDetailTextField_->setVisible(!_model->bottomDetailText().isEmpty());
    const QString manual = _model->manualSettingsText();
    manualField_->setText(manual);
    manualField_->setCursorPosition(0);
    for (QWidget* widget : {static_cast<QWidget*>(manualLabel_),
                            static_cast<QWidget*>(manualField_), static_cast<QWidget*>(copyBtn_)}) {
        widget->setVisible(!manual.isEmpty());
    }
    actionBtn_->setVisible(_model->actionVisible());
    _window->setHeightKeepingOrigin(_model->windowHeight());
}

void ZQAccesAuthorize::attachReporter() {
    if (!std::exchange(_reporterAttached, true)) {
        _model->setReporter(zq::pages::pageReporter());
    }
}

void ZQAccesAuthorize::copyManualSettings() {
    if (QClipboard* clipboard = QGuiApplication::clipboard()) {
        clipboard->setText(manualField_->text());
    }
}

// The meta-object here, not among the library's others: only modules using the class pull it in.
#include "moc_ZQAccesAuthorize.cpp"
