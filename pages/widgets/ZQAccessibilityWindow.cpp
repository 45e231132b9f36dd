#include "pages/widgets/ZQAccessibilityWindow.h"

#include "pages/widgets/ZQAccessibilityView.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTimer>

#include <utility>

ZQAccessibilityWindow::ZQAccessibilityWindow(const QSize& contentSize, QWidget* parent)
    : ZQCustomWindow(parent), _view(new ZQAccessibilityView) {
    // Above normal and floating windows. Set before the window exists:
    // changing it later re-creates the native window.
    setWindowFlag(Qt::WindowStaysOnTopHint, true);
    setContentView(_view);
    setContentSize(contentSize);
}

void ZQAccessibilityWindow::setHeightKeepingOrigin(int height) {
    const int delta = height - this->height();
    if (delta == 0) {
        return;
    }
    setGeometry(QRect(QPoint(x(), y() - delta), QSize(width(), height)));
    // A hidden window gets its resize event only when shown.
    contentView()->setGeometry(rect());
}

void ZQAccessibilityWindow::paintEvent(QPaintEvent* event) {
    ZQCustomWindow::paintEvent(event);
    if (!std::exchange(_painted, true)) {
        // After this paint has reached the screen.
        QTimer::singleShot(0, this, &ZQAccessibilityWindow::firstPainted);
    }
}

void ZQAccessibilityWindow::hideEvent(QHideEvent* event) {
    ZQCustomWindow::hideEvent(event);
    emit hidden();
}

void ZQAccessibilityWindow::moveToRightEdgeOfScreen() {
    QScreen* screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    if (!screen) {
        return;
    }
    const QRect area = screen->availableGeometry();
    move(area.x() + area.width() - frameGeometry().width(), pos().y());
}

// The meta-object here, not among the library's others: only modules using the class pull it in.
#include "moc_ZQAccessibilityWindow.cpp"
