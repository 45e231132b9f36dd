#include "controls/ZQCustomWindow.h"

#include <QMouseEvent>
#include <QResizeEvent>
#include <QWindow>

ZQCustomWindow::ZQCustomWindow(QWidget* parent) : QWidget(parent) {
    setup();
}

ZQCustomWindow::ZQCustomWindow(const QSize& contentSize, QWidget* parent) : QWidget(parent) {
    setup();
    setContentSize(contentSize);
}

ZQCustomWindow::~ZQCustomWindow() = default;

void ZQCustomWindow::setup() {
    // Borderless: no title bar is drawn; the content draws the frame.
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_NoSystemBackground);
    setAutoFillBackground(false);
    setFocusPolicy(Qt::StrongFocus);
    auto* content = new QWidget(this);
    content->setAttribute(Qt::WA_TranslucentBackground);
    setContentView(content);
}

void ZQCustomWindow::setContentView(QWidget* view) {
    if (view == _contentView) {
        return;
    }
    QWidget* old = _contentView;
    _contentView = view;
    if (view) {
        view->setParent(this);
        view->setGeometry(rect());
        view->lower();
        view->show();
    }
    if (old) {
        old->deleteLater();
        old->hide();
    }
}

void ZQCustomWindow::setContentSize(const QSize& size) {
    resize(size);
    // A hidden window gets its resize event only when shown; the content
    // takes the size now so that controls can be placed in it at once.
    if (_contentView) {
        _contentView->setGeometry(rect());
    }
}

void ZQCustomWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (_contentView) {
        _contentView->setGeometry(rect());
    }
}

// Presses that no control takes arrive here: they move the window.
void ZQCustomWindow::mousePressEvent(QMouseEvent* event) {
    if (!_movable || event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    event->accept();
    _moving = false;
    _pressGlobal = event->globalPosition().toPoint();
    _pressWindowPos = pos();
    // The window manager moves the window when it can (Wayland needs this);
    // otherwise the move follows the pointer below.
    if (windowHandle() && windowHandle()->startSystemMove()) {
        return;
    }
    _moving = true;
}

void ZQCustomWindow::mouseMoveEvent(QMouseEvent* event) {
    if (_moving && (event->buttons() & Qt::LeftButton)) {
        move(_pressWindowPos + (event->globalPosition().toPoint() - _pressGlobal));
        event->accept();
        return;
    }
    QWidget::mouseMoveEvent(event);
}

void ZQCustomWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (_moving && event->button() == Qt::LeftButton) {
        _moving = false;
        event->accept();
        return;
    }
    QWidget::mouseReleaseEvent(event);
}
