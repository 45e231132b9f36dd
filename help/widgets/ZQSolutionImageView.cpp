#include "help/widgets/ZQSolutionImageView.h"

#include "controls/ZQImage.h"

#include <QCursor>
#include <QKeyEvent>
#include <QPainter>

void zqDrawPictureFitting(QPainter& painter, const QImage& image, const QRectF& target) {
    if (image.isNull() || target.isEmpty()) {
        return;
    }
    const QSizeF size = image.deviceIndependentSize();
    const qreal scale =
        std::min({1.0, target.width() / size.width(), target.height() / size.height()});
    QRectF frame(QPointF(), size * scale);
    frame.moveCenter(target.center());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(frame, image);
}

ZQSolutionImageView::ZQSolutionImageView(QWidget* parent) : QAbstractButton(parent) {
    setFocusPolicy(Qt::TabFocus);
    //% "查看大图"
    setAccessibleName(qtTrId("zq-help-picture-view"));
    const ZQImage magnifier = ZQImage::named(QStringLiteral("magnifier"));
    const qreal ratio = devicePixelRatio();
    // Its hot spot is the top left corner.
    setCursor(QCursor(magnifier.toPixmap(ratio), 0, 0));
}

void ZQSolutionImageView::setImage(const QImage& image) {
    _image = image;
    update();
}

void ZQSolutionImageView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    zqDrawPictureFitting(painter, _image, rect());
    if (hasFocus()) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(QColor(255, 100, 44), 2));
        painter.drawRect(QRectF(rect()).adjusted(1, 1, -1, -1));
    }
}

void ZQSolutionImageView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        click();
        return;
    }
    QAbstractButton::keyPressEvent(event);
}
