#include "controls/ZQGradientColorView.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

ZQGradientColorView::ZQGradientColorView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void ZQGradientColorView::setColor(const QColor& color, qreal cornerRadius) {
    _isGradientColor = false;
    _leftColor = color;
    _radius = cornerRadius;
    update();
}

void ZQGradientColorView::setGradientColorStart(const QColor& start, const QColor& end,
                                                qreal cornerRadius) {
    _isGradientColor = true;
    _startColor = start;
    _endColor = end;
    _radius = cornerRadius;
    update();
}

void ZQGradientColorView::setCornerRadius(qreal radius) {
    _radius = radius;
    update();
}

void ZQGradientColorView::paintEvent(QPaintEvent*) {
    const QRectF bounds(rect());
    if (bounds.isEmpty()) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(bounds, _radius, _radius);
    if (_isGradientColor) {
        if (!_startColor.isValid() || !_endColor.isValid()) {
            return;
        }
        // Left to right across the bounds.
        QLinearGradient gradient(bounds.topLeft(), bounds.topRight());
        gradient.setColorAt(0, _startColor);
        gradient.setColorAt(1, _endColor);
        painter.fillPath(path, gradient);
    } else if (_leftColor.isValid()) {
        painter.fillPath(path, _leftColor);
    }
}
