// The reference for the start-up benchmark: the smallest Qt Widgets program
// that shows a window, built with the same settings as the application.
// With --cjk its label is Chinese text, to show what the fonts of a Chinese
// interface cost on their own.
#include "app/host/FirstPaintProbe.h"

#include <QApplication>
#include <QLabel>
#include <QVBoxLayout>
#include <QWidget>

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    zq::pagehost::FirstPaintProbe::installIfRequested(&app);
    const bool cjk = argc > 1 && qstrcmp(argv[1], "--cjk") == 0;
    QWidget window;
    window.setWindowTitle(QStringLiteral("minimal"));
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(new QLabel(
        cjk ? QStringLiteral("Vesko输入法 版本更新") : QStringLiteral("Hello"), &window));
    window.resize(600, 480);
    window.show();
    return QApplication::exec();
}
