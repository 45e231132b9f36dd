#include "pages/widgets/ZQIconImageView.h"

#include <QAccessibleWidget>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleHints>

namespace {

// For assistive technology the icon is a picture whose "Press" action is the
// double click.
class IconAccessible : public QAccessibleWidget {
public:
    explicit IconAccessible(ZQIconImageView* icon)
        : QAccessibleWidget(icon, QAccessible::Graphic) {}
    QStringList actionNames() const override {
        return QStringList{pressAction()} + QAccessibleWidget::actionNames();
    }
    void doAction(const QString& actionName) override {
        if (actionName == pressAction()) {
            emit static_cast<ZQIconImageView*>(object())->iconImageViewDoubleClick();
            return;
        }
        QAccessibleWidget::doAction(actionName);
    }
};

QAccessibleInterface* iconFactory(const QString& className, QObject* object) {
    if (className == QLatin1String("ZQIconImageView") && object && object->isWidgetType()) {
        return new IconAccessible(static_cast<ZQIconImageView*>(object));
    }
    return nullptr;
}

}  // namespace

ZQIconImageView::ZQIconImageView(QWidget* parent) : QWidget(parent) {
    static const bool accessible = [] {
        QAccessible::installFactory(iconFactory);
        return true;
    }();
    Q_UNUSED(accessible);
    setFocusPolicy(Qt::TabFocus);
}

void ZQIconImageView::setImage(const ZQImage& image) {
    _image = image;
    update();
}

void ZQIconImageView::paintEvent(QPaintEvent*) {
    if (_image) {
        QPainter painter(this);
        _image.draw(&painter, QRectF(rect()));
    }
}

void ZQIconImageView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    // The platform's click count: presses close in time and place make a run.
    const QStyleHints* hints = QGuiApplication::styleHints();
    const QPoint pos = event->position().toPoint();
    const bool inRun = _lastPress.isValid() &&
                       _lastPress.elapsed() <= hints->mouseDoubleClickInterval() &&
                       (pos - _lastPressPos).manhattanLength() <= hints->startDragDistance();
    _clickCount = inRun ? _clickCount + 1 : 1;
    _lastPress.start();
    _lastPressPos = pos;
}

void ZQIconImageView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    if (_clickCount == 2) {
        emit iconImageViewDoubleClick();
    }
}

void ZQIconImageView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        emit iconImageViewDoubleClick();
        return;
    }
    QWidget::keyPressEvent(event);
}

// The meta-object code in this file's own object, so that a module linking
// another page does not pull this one in.
#include "moc_ZQIconImageView.cpp"
