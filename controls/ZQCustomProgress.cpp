#include "controls/ZQCustomProgress.h"

#include <QAccessible>
#include <QAccessibleValueInterface>
#include <QAccessibleWidget>
#include <QPainter>
#include <QPainterPath>
#include <QVariantAnimation>

#include <cmath>

#include "controls/ZQGeometry.h"
#include "controls/ZQGradientColorView.h"

namespace {

// Assistive technology reads the bar as a progress bar with its value.
class ZQProgressAccessible : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    explicit ZQProgressAccessible(ZQCustomProgress* bar)
        : QAccessibleWidget(bar, QAccessible::ProgressBar) {}
    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ValueInterface ? static_cast<QAccessibleValueInterface*>(this)
                                                   : QAccessibleWidget::interface_cast(type);
    }
    QVariant currentValue() const override { return bar()->value(); }
    void setCurrentValue(const QVariant&) override {}  // read only
    QVariant maximumValue() const override { return double(bar()->maxValue()); }
    QVariant minimumValue() const override { return 0; }
    QVariant minimumStepSize() const override { return 0; }

private:
    ZQCustomProgress* bar() const { return static_cast<ZQCustomProgress*>(object()); }
};

QAccessibleInterface* progressFactory(const QString& className, QObject* object) {
    if (className == QLatin1String("ZQCustomProgress") && object && object->isWidgetType()) {
        return new ZQProgressAccessible(static_cast<ZQCustomProgress*>(object));
    }
    return nullptr;
}

}  // namespace

ZQCustomProgress::ZQCustomProgress(QWidget* parent) : QWidget(parent) {
    setup();
}

ZQCustomProgress::ZQCustomProgress(const QRectF& frame, QWidget* parent) : QWidget(parent) {
    setup();
    zq::controls::placeAt(this, frame);
}

ZQCustomProgress::~ZQCustomProgress() = default;

void ZQCustomProgress::setup() {
    static const bool accessible = [] {
        QAccessible::installFactory(progressFactory);
        return true;
    }();
    Q_UNUSED(accessible);
    setAttribute(Qt::WA_TranslucentBackground);
    // The track is drawn by this view over its whole frame; the filled part
    // is a child from the left edge.
    _leftimgView = new ZQGradientColorView(this);
    _leftimgView->setCornerRadius(_cornerRadius);
    setFillWidth(0);
}

void ZQCustomProgress::setCornerRadius(qreal radius) {
    _cornerRadius = radius;
    _leftimgView->setCornerRadius(radius);
    update();
}

void ZQCustomProgress::setBgColor(const QColor& track, const QColor& left) {
    _trackColor = track;
    _leftimgView->setColor(left, _cornerRadius);
    update();
}

void ZQCustomProgress::setBgColor(const QColor& track, const QColor& leftStart,
                                  const QColor& endColor, qreal cornerRadius) {
    _trackColor = track;
    _cornerRadius = cornerRadius;
    _leftimgView->setGradientColorStart(leftStart, endColor, cornerRadius);
    update();
}

void ZQCustomProgress::setPresent(int value) {
    if (_animation) {
        _animation->stop();
        _animation->deleteLater();
    }
    if (value != _value) {
        _value = value;
        QAccessibleValueChangeEvent changed(this, value);
        QAccessible::updateAccessibility(&changed);
    }
    // A bar without a maximum has nothing to fill.
    const qreal width = _maxValue > 0 ? value * (qreal(this->width()) / _maxValue) : 0;
    setFillWidth(width);
}

void ZQCustomProgress::moveToValue(double percent, double duration) {
    const qreal target = percent * width() / 100.0;
    if (_animation) {
        _animation->stop();
        _animation->deleteLater();
    }
    if (!(duration > 0)) {
        setFillWidth(target);
        emit animationFinished();
        return;
    }
    auto* animation = new QVariantAnimation(this);
    animation->setStartValue(_fillWidth);
    animation->setEndValue(target);
    animation->setDuration(int(std::lround(duration * 1000)));
    animation->setEasingCurve(QEasingCurve::Linear);
    connect(animation, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { setFillWidth(value.toReal()); });
    connect(animation, &QVariantAnimation::finished, this, [this, target]() {
        setFillWidth(target);
        emit animationFinished();
    });
    _animation = animation;
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

qreal ZQCustomProgress::filledWidth() const {
    return _fillWidth;
}

bool ZQCustomProgress::isAnimating() const {
    return _animation && _animation->state() == QAbstractAnimation::Running;
}

void ZQCustomProgress::setFillWidth(qreal width) {
    _fillWidth = width;
    // x 0, y 0 from the lower left, the control's full height.
    const qreal shown = std::max<qreal>(0, width);
    _leftimgView->setGeometry(zq::controls::toTopLeftRect(QRectF(0, 0, shown, height()), height()));
    _leftimgView->setVisible(_leftimgView->width() > 0);
}

void ZQCustomProgress::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    setFillWidth(_fillWidth);
}

void ZQCustomProgress::paintEvent(QPaintEvent*) {
    if (!_trackColor.isValid()) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()), _cornerRadius, _cornerRadius);
    painter.fillPath(path, _trackColor);
}
