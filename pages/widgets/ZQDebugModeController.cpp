#include "pages/widgets/ZQDebugModeController.h"

#include "app/host/PageWindow.h"
#include "controls/ZQCustomSwitchButton.h"
#include "controls/ZQGeometry.h"
#include "pages/models/ZQDebugModeModel.h"
#include "utility/ZQIMDataHelpers.h"

#include <QAbstractTextDocumentLayout>
#include <QAccessible>
#include <QPainter>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

namespace {

const QColor kTitleColor =
    QColor::fromRgbF(0.29411764705882354f, 0.29411764705882354f, 0.2980392156862745f);
const QColor kDetailColor =
    QColor::fromRgbF(0.5725490196078431f, 0.5725490196078431f, 0.5725490196078431f);
const QColor kCountdownColor =
    QColor::fromRgbF(0.16470588235294117f, 0.16862745098039217f, 0.17254901960784313f);
const QColor kHighlightColor =
    QColor::fromRgbF(0.9803921568627451f, 0.4549019607843137f, 0.19215686274509805f);

// The window's fonts: getFontWithName (the named font, else the system font),
// sized in points as every frame here is, and with the weight its name gives,
// so that the system font stands in with the right weight.
QFont windowFont(const QString& name, double size) {
    QFont font = getFontWithName(name, size);
    font.setPixelSize(qRound(size));
    if (name.endsWith(QLatin1String("-Medium"))) {
        font.setWeight(QFont::Medium);
    } else if (name.endsWith(QLatin1String("-Light"))) {
        font.setWeight(QFont::Light);
    }
    return font;
}

QLabel* makeLabel(QWidget* parent, const QString& text, const QFont& font, const QColor& color,
                  const QRectF& frame) {
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
    label->setTextInteractionFlags(Qt::NoTextInteraction);  // not selectable
    zq::controls::placeAt(label, frame);
    return label;
}

// The explanation: justified, every line exactly 17 points high.
class DetailLabel : public QLabel {
public:
    using QLabel::QLabel;

protected:
    void paintEvent(QPaintEvent*) override {
        QTextDocument document;
        document.setDocumentMargin(0);
        document.setDefaultFont(font());
        document.setTextWidth(width());
        document.setPlainText(text());
        QTextCursor cursor(&document);
        cursor.select(QTextCursor::Document);
        QTextBlockFormat format;
        format.setAlignment(Qt::AlignJustify);
        format.setLineHeight(17, QTextBlockFormat::FixedHeight);
        cursor.mergeBlockFormat(format);
        QPainter painter(this);
        QAbstractTextDocumentLayout::PaintContext context;
        context.palette.setColor(QPalette::Text, kDetailColor);
        // Top-aligned like a wrapping text field.
        document.documentLayout()->draw(&painter, context);
    }
};

}  // namespace

ZQDebugModeController::ZQDebugModeController(platform::Clock* clock)
    : _model(new ZQDebugModeModel(clock, this)) {
    buildWindow();
    connect(_model, &ZQDebugModeModel::changed, this, &ZQDebugModeController::applyState);
    connect(_model, &ZQDebugModeModel::hideRequested, _window, &QWidget::hide);
    applyState();
    zq::pagehost::centerOnScreen(_window);
}

ZQDebugModeController::~ZQDebugModeController() {
    delete _window;
}

QWidget* ZQDebugModeController::window() const {
    return _window;
}

void ZQDebugModeController::showPage(const QString& pageName) {
    Q_UNUSED(pageName);
    showDebugModeEnabled();
    ZQPageController::showPage(pageName);
}

void ZQDebugModeController::showDebugModeEnabled() {
    _model->showDebugModeEnabled();
}

void ZQDebugModeController::setDebugModeEnabled() {
    _model->setDebugModeEnabled();
}

ZQCustomSwitchButton* ZQDebugModeController::createSwitchButtonWithFrame(const QRectF& frame,
                                                                         const QString& title,
                                                                         QWidget* parent) {
    auto* button = new ZQCustomSwitchButton(frame, parent);
    // 14-point check images, so that at (0, 2) they fit the 18-point frame.
    const auto icon = [](const char* name) {
        return ZQImage::fromImage(ZQImage::named(QLatin1String(name)).toImage(2.0, QSizeF(14, 14)));
    };
    button->setBtnIconOFF(icon("button_check_off"), icon("button_check_on"), {0, 53, 2, 2});
    button->setBtnTitle(
        title, windowFont(QStringLiteral("PingFangSC-Regular"), 13),
        QColor::fromRgbF(0.13333333333333333f, 0.13333333333333333f, 0.13333333333333333f), 1,
        {0, 0, 0, 0});
    button->setAccessibleRole(QAccessible::RadioButton);
    button->setAccessibleName(title.trimmed());
    button->setIsHandCursor(true);
    connect(button, &ZQCustomButton::action, _model, [this](ZQCustomButton* sender) {
        _model->setDebugModeState(sender->property("tag").toInt());
    });
    return button;
}

void ZQDebugModeController::buildWindow() {
    _window = new QWidget;
    _window->setObjectName(QStringLiteral("ZQDebugModeController"));
    //% "协助调试模式"
    const QString title = qtTrId("zq-debug-mode-title");
    _window->setWindowTitle(title);
    _window->setFixedSize(kWidth, kHeight);
    _window->setAutoFillBackground(true);
    QPalette palette = _window->palette();
    palette.setColor(QPalette::Window, QColor(246, 246, 246));
    _window->setPalette(palette);

    makeLabel(_window, title, windowFont(QStringLiteral("PingFangSC-Medium"), 13), kTitleColor,
              {22, 193, 90, 25});
    QLabel* version = makeLabel(_window, _model->versionText(),
                                windowFont(QStringLiteral("PingFangSC-Light"), 12), kDetailColor,
                                {216, 199, 152, 17});
    version->setAlignment(Qt::AlignRight | Qt::AlignVCenter);

    auto* panel = new QWidget(_window);
    panel->setObjectName(QStringLiteral("panel"));
    panel->setStyleSheet(QStringLiteral(
        "#panel { background: rgb(228, 228, 228); border: 0.5px solid rgb(221, 221, 221); }"));
    panel->setAttribute(Qt::WA_StyledBackground);
    zq::controls::placeAt(panel, 24, 33, 342, 156);

    //% "调试模式设置："
    makeLabel(panel, qtTrId("zq-debug-mode-setting"),
              windowFont(QStringLiteral("PingFangSC-Regular"), 13), kTitleColor,
              {18, 124, 100, 20});
    //% "    开启"
    const QString on = qtTrId("zq-debug-mode-on");
    //% "    关闭"
    const QString off = qtTrId("zq-debug-mode-off");
    _setEnabledButton = createSwitchButtonWithFrame({115, 122, 50, 18}, on, panel);
    _setEnabledButton->setProperty("tag", ZQDebugModeModel::TagOn);
    _setDisableButton = createSwitchButtonWithFrame({189, 122, 50, 18}, off, panel);
    _setDisableButton->setProperty("tag", ZQDebugModeModel::TagOff);

    _detailLabel = new DetailLabel(panel);
    _detailLabel->setTextFormat(Qt::PlainText);
    _detailLabel->setObjectName(QStringLiteral("detailLabel"));
    _detailLabel->setFont(windowFont(QStringLiteral("PingFangSC-Light"), 12));
    zq::controls::placeAt(_detailLabel, 18, 0, 303, 116);

    _timeLabel = makeLabel(_window, {}, windowFont(QStringLiteral("PingFangSC-Light"), 12),
                           kCountdownColor, {22, 9, 200, 18});
    _timeLabel->setObjectName(QStringLiteral("timeLabel"));
    _timeLabel->setTextFormat(Qt::RichText);
    _timeLabel->hide();
}

void ZQDebugModeController::applyState() {
    const auto setSwitch = [](ZQCustomSwitchButton* button, bool on) {
        if (button->isSwitchON() != on) {
            button->setIsSwitchON(on);
            QAccessible::State state;
            state.checked = true;
            QAccessibleStateChangeEvent changed(button, state);
            QAccessible::updateAccessibility(&changed);
        }
    };
    setSwitch(_setEnabledButton, _model->onSwitchOn());
    setSwitch(_setDisableButton, _model->offSwitchOn());
    // An empty text leaves the explanation as it was.
    if (!_model->detailText().isEmpty()) {
        _detailLabel->setText(_model->detailText());
    }
    const QString text = _model->countdownText();
    const int start = ZQDebugModeModel::kHighlightStart;
    _timeLabel->setText(text.left(start).toHtmlEscaped() +
                        QStringLiteral("<span style=\"color: %1\">%2</span>")
                            .arg(kHighlightColor.name(),
                                 text.mid(start, _model->highlightLength()).toHtmlEscaped()) +
                        text.mid(start + _model->highlightLength()).toHtmlEscaped());
    _timeLabel->setVisible(_model->countdownVisible());
}

// The meta-object code in this file's own object, so that a module linking
// another page does not pull this one in.
#include "moc_ZQDebugModeController.cpp"
