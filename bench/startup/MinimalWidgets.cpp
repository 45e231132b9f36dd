// The reference for the start-up benchmark: the smallest Qt Widgets program
// that shows a window, built with the same settings as the application.
#include "app/FirstPaintProbe.h"

#include <QApplication>
#include <QLabel>
#include <QVBoxLayout>
#include <QWidget>

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    zq::app::FirstPaintProbe::installIfRequested(&app);
    QWidget window;
    window.setWindowTitle(QStringLiteral("minimal"));
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(new QLabel(QStringLiteral("Hello"), &window));
    window.resize(600, 480);
    window.show();
    return QApplication::exec();
}
