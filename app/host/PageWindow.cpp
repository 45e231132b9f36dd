#include "app/host/PageWindow.h"
#include "app/host/ZQPageController.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>
#include <QWindow>

void ZQPageController::showPage(const QString& pageName) {
    Q_UNUSED(pageName);
    QWidget* w = window();
    w->show();
    w->raise();
}

namespace zq::pagehost {

void centerOnScreen(QWidget* window) {
    QScreen* screen = window->screen() ? window->screen() : QGuiApplication::primaryScreen();
    if (!screen) {
        return;
    }
    QRect frame = window->frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    window->move(frame.topLeft());
}

void bringToFront(QWidget* window) {
    window->raise();
    window->activateWindow();
}

bool hasVisibleWindow() {
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (const QWindow* window : windows) {
        if (!window->isVisible()) {
            continue;
        }
        switch (window->type()) {
            case Qt::Popup:
            case Qt::ToolTip:
            case Qt::Desktop:
            case Qt::ForeignWindow:
                continue;
            default:
                return true;
        }
    }
    return false;
}

}  // namespace zq::pagehost
