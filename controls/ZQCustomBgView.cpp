#include "controls/ZQCustomBgView.h"

#include <QEnterEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QResizeEvent>

#include "controls/ZQGeometry.h"

namespace {

// The backdrop standing in for a behind-window blur.
class BackdropView : public QWidget {
public:
    explicit BackdropView(QWidget* parent) : QWidget(parent) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setObjectName(QStringLiteral("visualEffectView"));
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()), 5, 5);
        painter.fillPath(path, QColor(246, 246, 246, 235));
    }
};

// Keeps the backdrop over the whole background view.
class BackdropFollower : public QObject {
public:
    BackdropFollower(QWidget* backdrop, QWidget* owner) : QObject(backdrop), _backdrop(backdrop) {
        owner->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize) {
            _backdrop->setGeometry(static_cast<QWidget*>(watched)->rect());
        }
        return false;
    }

private:
    QWidget* _backdrop;
};

}  // namespace

ZQCustomBgView::ZQCustomBgView(QWidget* parent) : QWidget(parent) {
    setup();
}

ZQCustomBgView::ZQCustomBgView(const QRectF& frame, QWidget* parent) : QWidget(parent) {
    setup();
    zq::controls::placeAt(this, frame);
}

ZQCustomBgView::~ZQCustomBgView() = default;

void ZQCustomBgView::setup() {
    setAttribute(Qt::WA_TranslucentBackground);
    _isTristateBg = false;
    _activityBgState = ActivityNone;
}

void ZQCustomBgView::setBgImage(const ZQImage& image) {
    _bgImage = image;
    update();
}

void ZQCustomBgView::setBgColor(const QColor& color, qreal xRadius, qreal yRadius) {
    _bgColor = color;
    _xRadius = xRadius;
    _yRadius = yRadius;
    update();
}

void ZQCustomBgView::setBgColor(const QColor& color, qreal xRadius, qreal yRadius, int cornerType) {
    _cornerType = cornerType;
    setBgColor(color, xRadius, yRadius);
}

void ZQCustomBgView::setBgStrokeColor(const QColor& color, qreal xRadius, qreal yRadius) {
    _bgStrokeColor = color;
    _xRadius = xRadius;
    _yRadius = yRadius;
    update();
}

void ZQCustomBgView::setBgGradient(const QColor& top, const QColor& bottom) {
    setBgGradientStops({{0.0, top}, {1.0, bottom}});
}

void ZQCustomBgView::setBgGradientStops(const QGradientStops& stops) {
    _bgGradientY = stops;
    update();
}

void ZQCustomBgView::setBgStrokeColorForNormal(const QColor& normal, const QColor& hover,
                                               const QColor& click, qreal radius) {
    _isTristateBg = true;
    _bgStrokeColorNormal = normal;
    _bgStrokeColorHover = hover;
    _bgStrokeColorClick = click;
    _xRadius = radius;
    _yRadius = radius;
    update();
}

void ZQCustomBgView::setBgStrokeColorForActive(const QColor& active, const QColor& inactive,
                                               qreal radius) {
    _bgStrokeColorActive = active;
    _bgStrokeColorInactive = inactive;
    _xRadius = radius;
    _yRadius = radius;
    update();
}

void ZQCustomBgView::updateBgStrokeColorWithActive(bool active) {
    _activityBgState = active ? ActivityActive : ActivityInactive;
    update();
}

QWidget* ZQCustomBgView::addVisualEffectView() {
    if (_effectView) {
        return _effectView;
    }
    auto* backdrop = new BackdropView(this);
    backdrop->setGeometry(rect());
    backdrop->lower();
    backdrop->show();
    new BackdropFollower(backdrop, this);
    _effectView = backdrop;
    return backdrop;
}

void ZQCustomBgView::enterEvent(QEnterEvent* event) {
    QWidget::enterEvent(event);
    if (_isTristateBg) {
        _tristateBgState = TristateHover;
        update();
    }
}

void ZQCustomBgView::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    if (_isTristateBg) {
        _tristateBgState = TristateNormal;
        update();
    }
}

void ZQCustomBgView::mousePressEvent(QMouseEvent* event) {
    if (_isTristateBg) {
        _tristateBgState = TristatePressed;
        update();
    }
    // The press may move the window: it goes on to the window.
    event->ignore();
}

void ZQCustomBgView::mouseReleaseEvent(QMouseEvent* event) {
    event->ignore();
}

void ZQCustomBgView::fillWithCornerMask(QPainter& painter, const QRectF& b) {
    const qreal rx = _xRadius;
    const qreal ry = _yRadius;
    const qreal w = 2 * rx;
    const qreal h = 2 * ry;
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    const struct {
        int bit;
        QRectF rect;
    } corners[] = {
        {CornerTopLeft, QRectF(b.left(), b.top(), w, h)},
        {CornerTopRight, QRectF(b.right() - w, b.top(), w, h)},
        {CornerBottomLeft, QRectF(b.left(), b.bottom() - h, w, h)},
        {CornerBottomRight, QRectF(b.right() - w, b.bottom() - h, w, h)},
    };
    for (const auto& corner : corners) {
        if (_cornerType & corner.bit) {
            path.addRoundedRect(corner.rect, rx, ry);
        } else {
            path.addRect(corner.rect);
        }
    }
    // The rest: the band between the left and right corners over the full
    // height, and the bands between the top and bottom corners.
    path.addRect(QRectF(b.left() + rx, b.top(), b.width() - w, b.height()));
    path.addRect(QRectF(b.left(), b.top() + ry, b.width(), b.height() - h));
    // One fill of the union, so translucent colours are not laid twice.
    painter.fillPath(path.simplified(), _bgColor);
}

void ZQCustomBgView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds(rect());
    // 1. Image.
    if (!_bgImage.isNull()) {
        _bgImage.draw(&painter, bounds);
    }
    // 2. Colour.
    if (_bgColor.isValid()) {
        if (_cornerType == 0 || _cornerType == 15) {
            QPainterPath path;
            path.addRoundedRect(bounds, _xRadius, _yRadius);
            painter.fillPath(path, _bgColor);
        } else {
            fillWithCornerMask(painter, bounds);
        }
    }
    // 3. Gradient, top to bottom.
    if (_bgGradientY) {
        QLinearGradient gradient(bounds.topLeft(), bounds.bottomLeft());
        gradient.setStops(*_bgGradientY);
        painter.fillRect(bounds, gradient);
    }
    // 4-6. Borders.
    const QRectF outline(0.5, 0.5, bounds.width() - 1, bounds.height() - 1);
    auto stroke = [&](const QColor& color) {
        if (!color.isValid()) {
            return;
        }
        painter.save();
        painter.setPen(QPen(color, 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(outline, _xRadius, _yRadius);
        painter.restore();
    };
    stroke(_bgStrokeColor);
    if (_isTristateBg) {
        stroke(_tristateBgState == TristateHover     ? _bgStrokeColorHover
               : _tristateBgState == TristatePressed ? _bgStrokeColorClick
                                                     : _bgStrokeColorNormal);
    }
    if (_activityBgState == ActivityInactive) {
        stroke(_bgStrokeColorInactive);
    } else if (_activityBgState == ActivityActive) {
        stroke(_bgStrokeColorActive);
    }
}
