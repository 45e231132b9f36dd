#include "help/widgets/ZQImageShowWindow.h"

#include "controls/ZQCustomBgView.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQGeometry.h"
#include "help/models/ZQHelpGeometry.h"
#include "help/widgets/ZQSolutionImageView.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QWindow>

using zq::controls::placeAt;

namespace {

ZQImageShowWindow* gViewer = nullptr;

void deleteViewer() {
    delete gViewer;
    gViewer = nullptr;
}

// The picture; presses fall through to the window, which moves.
class ZQHelpInfoImageView : public QWidget {
public:
    ZQHelpInfoImageView(QWidget* parent, const QImage* image) : QWidget(parent), _image(image) {}

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        zqDrawPictureFitting(painter, *_image, rect());
    }

private:
    const QImage* _image;
};

}  // namespace

ZQImageShowWindow* ZQImageShowWindow::sharedInstance() {
    if (!gViewer) {
        gViewer = new ZQImageShowWindow();
        // Windows must go before the application object does.
        qAddPostRoutine(deleteViewer);
    }
    return gViewer;
}

ZQImageShowWindow::ZQImageShowWindow() : ZQCustomWindow(QSize(848, 764)) {
    setObjectName(QStringLiteral("ZQImageShowWindow"));
    // Above the help window, without a task bar entry of its own.
    setWindowFlags(windowFlags() | Qt::Tool | Qt::WindowStaysOnTopHint);
    //% "查看图片"
    setWindowTitle(qtTrId("zq-help-viewer-title"));
    _backgroundView = new ZQCustomBgView(contentView());
    // Linux desktops offer no behind-window blur: a light translucent fill.
    _backgroundView->setBgColor(QColor(220, 220, 221, qRound(0.94 * 255)), 6, 6);
    _backgroundView->setBgStrokeColor(QColor(168, 168, 168), 6, 6);
    _contentImageView = new ZQHelpInfoImageView(_backgroundView, &_image);
    //% "帮助图片"
    _contentImageView->setAccessibleName(qtTrId("zq-help-viewer-picture"));
    _closeButton = new ZQCustomButton(_backgroundView);
    _closeButton->setImageForNormal(ZQImage::named(QStringLiteral("close_icon_black")), {}, {});
    //% "关闭"
    _closeButton->setAccessibleName(qtTrId("zq-help-viewer-close"));
    _closeButton->addTarget(this, &ZQImageShowWindow::closeWindow);
    if (QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        move(area.center() - rect().center());
    }
}

void ZQImageShowWindow::showImage(const QImage& image, QWidget* helpWindow) {
    _image = image;
    QScreen* screen = helpWindow && helpWindow->screen() ? helpWindow->screen()
                                                         : QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
    const zq::help::geometry::ViewerLayout layout =
        zq::help::geometry::viewerLayout(image.deviceIndependentSize(), area.size());
    setContentSize(layout.window.size().toSize());
    // The frame is measured from the screen's lower left.
    const QRectF onScreen = zq::controls::toTopLeft(layout.window, area.height());
    move(area.topLeft() + onScreen.topLeft().toPoint());
    placeAt(_backgroundView, layout.background);
    placeAt(_closeButton, layout.closeButton);
    placeAt(_contentImageView, layout.picture);
    _contentImageView->update();
    if (helpWindow && helpWindow->windowHandle()) {
        winId();
        windowHandle()->setTransientParent(helpWindow->windowHandle());
    }
    if (!isVisible()) {
        show();
    }
    raise();
    activateWindow();
}

void ZQImageShowWindow::closeWindow() {
    hide();
}

void ZQImageShowWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        closeWindow();
        return;
    }
    ZQCustomWindow::keyPressEvent(event);
}
