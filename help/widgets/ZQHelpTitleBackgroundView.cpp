#include "help/widgets/ZQHelpTitleBackgroundView.h"

#include <QKeyEvent>
#include <QPainter>

ZQHelpTitleBackgroundView::ZQHelpTitleBackgroundView(QWidget* parent) : QAbstractButton(parent) {
    setCheckable(true);
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::PointingHandCursor);
}

void ZQHelpTitleBackgroundView::paintEvent(QPaintEvent*) {
    if (!hasFocus()) {
        return;
    }
    // The keyboard focus: an orange outline inside the strip.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(255, 100, 44), 1.5));
    painter.drawRoundedRect(QRectF(rect()).adjusted(2, 2, -2, -2), 4, 4);
}

void ZQHelpTitleBackgroundView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        click();
        return;
    }
    QAbstractButton::keyPressEvent(event);
}
