#include "app/AppDelegate.h"
#include "app/FirstPaintProbe.h"
#include "platform/Translations.h"

#include <QApplication>
#include <QTimer>

int main(int argc, char* argv[]) {
    // The arguments exactly as the system passed them: QApplication removes the
    // options it understands itself, and a page parameter must not be lost to that.
    QStringList arguments;
    arguments.reserve(argc);
    for (int i = 0; i < argc; ++i) {
        arguments.append(QString::fromLocal8Bit(argv[i]));
    }

    // The change-log web view shares the application's graphics contexts.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("ZQAssistPanel"));
    QApplication::setOrganizationDomain(QStringLiteral("vesko.com"));
    QApplication::setDesktopFileName(QStringLiteral("com.vesko.ZQAssistPanel"));
    platform::installTranslations(&app);
    zq::app::FirstPaintProbe::installIfRequested(&app);

    AppDelegate delegate(arguments);
    QObject::connect(&delegate, &AppDelegate::terminateRequested, &app,
                     [](int status) { QCoreApplication::exit(status); });
    // Start-up runs inside the event loop, like any other event.
    QTimer::singleShot(0, &delegate, &AppDelegate::applicationDidFinishLaunching);
    return QApplication::exec();
}
