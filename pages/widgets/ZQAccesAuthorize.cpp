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
    label->setTextFormat(Qt::PlainText);
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

    _closeBtn = new ZQCustomButton(content);
    _closeBtn->setObjectName(QStringLiteral("closeBtn"));
    _closeBtn->setBgImageForNormal(ZQImage::named(QStringLiteral("closeNormal")),
                                   ZQImage::named(QStringLiteral("closeHover")),
                                   ZQImage::named(QStringLiteral("closeActive")));
    //% "关闭"
    _closeBtn->setAccessibleName(qtTrId("zq-auth-close"));
    placeFromTop(_closeBtn, kWindowWidth - 30, 14, 16, 16);
    _closeBtn->addTarget(_window, &QWidget::close);

    _promptText = makeLabel(content, namedFont(QStringLiteral("PingFangSC-Medium"), 14), kTextColor,
                            "promptText");
    placeFromTop(_promptText, 40, 20, 440, 26);

    _infoTextSG = makeLabel(content, namedFont(QStringLiteral("PingFangSC-Regular"), 12),
                            kInfoColor, "infoTextSG");
    //% "请按下图的步骤，在系统设置中为Vesko输入法打开对应的权限，打开后即可正常使用该功能。"
    _infoTextSG->setText(qtTrId("zq-auth-info"));
    placeFromTop(_infoTextSG, 40, 50, 440, 34);

    _tipImageView = new ZQImageView(content);
    _tipImageView->setObjectName(QStringLiteral("tipImageView"));
    //% "需要的权限"
    _tipImageView->setAccessibleName(qtTrId("zq-auth-tip-picture"));
    placeFromTop(_tipImageView, 40, 92, 440, 150);
    _stepImageView = new ZQImageView(content);
    _stepImageView->setObjectName(QStringLiteral("stepImageView"));
    //% "授权步骤"
    _stepImageView->setAccessibleName(qtTrId("zq-auth-step-picture"));
    placeFromTop(_stepImageView, 40, 250, 440, 260);

    _bottomDetailTextField = makeLabel(content, namedFont(QStringLiteral("PingFangSC-Regular"), 12),
                                       kTextColor, "bottomDetailTextField");
    placeFromTop(_bottomDetailTextField, 40, 514, 440, 20);

    // The settings page to open by hand, when the desktop has none to start.
    _manualLabel = makeLabel(content, namedFont(QStringLiteral("PingFangSC-Regular"), 12), kOrange,
                             "manualSettingsLabel");
    _manualLabel->setWordWrap(false);
    //% "请手动打开："
    _manualLabel->setText(qtTrId("zq-auth-manual-label"));
    placeFromTop(_manualLabel, 40, 536, 84, 24);
    _manualField = new QLineEdit(content);
    _manualField->setObjectName(QStringLiteral("manualSettingsField"));
    _manualField->setReadOnly(true);
    _manualField->setFont(namedFont(QStringLiteral("PingFangSC-Regular"), 12));
    //% "系统设置页面"
    _manualField->setAccessibleName(qtTrId("zq-auth-manual-field"));
    _manualLabel->setBuddy(_manualField);
    placeFromTop(_manualField, 124, 536, 292, 24);
    _copyBtn = new ZQCustomButton(content);
    _copyBtn->setObjectName(QStringLiteral("copyBtn"));
    _copyBtn->setBgColorForNormal(QColor(0xF0, 0xF1, 0xF5), QColor(0xE4, 0xE6, 0xEC),
                                  QColor(0xD8, 0xDB, 0xE3), 4);
    //% "复制"
    _copyBtn->setTitle(qtTrId("zq-auth-copy"), kTextColor, kTextColor, kTextColor,
                       namedFont(QStringLiteral("PingFangSC-Regular"), 12));
    placeFromTop(_copyBtn, 424, 536, 56, 24);
    _copyBtn->addTarget(this, &ZQAccesAuthorize::copyManualSettings);

    _actionBtn = new ZQCustomButton(content);
    _actionBtn->setObjectName(QStringLiteral("actionBtn"));
    _actionBtn->setBgImageForNormal(ZQImage::named(QStringLiteral("access_normal")),
                                    ZQImage::named(QStringLiteral("access_hover")),
                                    ZQImage::named(QStringLiteral("access_click")),
                                    QRectF(20, 10, 160, 20));
    //% "前往授权"
    _actionBtn->setTitle(qtTrId("zq-auth-action"), Qt::white, Qt::white, Qt::white,
                         zq::controls::systemFont(13));
    _actionBtn->setIsHandCursor(true);
    placeFromTop(_actionBtn, 160, 567, 200, ZQAccesAuthorizeModel::kActionButtonHeight);
    _actionBtn->addTarget(_model, &ZQAccesAuthorizeModel::open);

    // Keyboard order: the action first (focused when the window opens), then the address and
    // its copy, then close; the window itself takes no focus.
    _window->setFocusPolicy(Qt::NoFocus);
    QWidget::setTabOrder(_actionBtn, _manualField);
    QWidget::setTabOrder(_manualField, _copyBtn);
    QWidget::setTabOrder(_copyBtn, _closeBtn);
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
    if (_actionBtn->isVisible()) {
        _actionBtn->setFocus(Qt::OtherFocusReason);
    }
}

void ZQAccesAuthorize::updateWindowWithAuthString(const QString& pageName) {
    _model->updateWindowWithAuthString(pageName);
}

void ZQAccesAuthorize::applyState() {
    _promptText->setText(_model->promptText());
    _infoTextSG->setVisible(_model->infoTextVisible());
    _tipImageView->setImageName(_model->tipImage());
    _stepImageView->setImageName(_model->stepImage());
    _bottomDetailTextField->setText(_model->bottomDetailText());
    _bottomDetailTextField->setVisible(!_model->bottomDetailText().isEmpty());
    const QString manual = _model->manualSettingsText();
    _manualField->setText(manual);
    _manualField->setCursorPosition(0);
    for (QWidget* widget : {static_cast<QWidget*>(_manualLabel),
                            static_cast<QWidget*>(_manualField), static_cast<QWidget*>(_copyBtn)}) {
        widget->setVisible(!manual.isEmpty());
    }
    _actionBtn->setVisible(_model->actionVisible());
    _window->setHeightKeepingOrigin(_model->windowHeight());
}

void ZQAccesAuthorize::attachReporter() {
    if (!std::exchange(_reporterAttached, true)) {
        _model->setReporter(zq::pages::pageReporter());
    }
}

void ZQAccesAuthorize::copyManualSettings() {
    if (QClipboard* clipboard = QGuiApplication::clipboard()) {
        clipboard->setText(_manualField->text());
    }
}

// The meta-object here, not among the library's others: only modules using the class pull it in.
#include "moc_ZQAccesAuthorize.cpp"
