#include "controls/ZQCustomContentView.h"

#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>

ZQCustomContentView::ZQCustomContentView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TranslucentBackground);
    _backColor = palette().color(QPalette::Window);
}

void ZQCustomContentView::updateBackgroundColor(const QColor& color, qreal cornerRadius) {
    _backColor = color;
    _cornerRadius = cornerRadius;
    update();
}

void ZQCustomContentView::paintEvent(QPaintEvent* event) {
    if (!_backColor.isValid()) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setClipRect(event->rect());
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()), _cornerRadius, _cornerRadius);
    painter.fillPath(path, _backColor);
}
