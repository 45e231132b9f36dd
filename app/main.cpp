#include "app/AppDelegate.h"
#include "app/host/FirstPaintProbe.h"
#include "platform/Translations.h"

#include <QApplication>
#include <QTimer>

int main(int argc, char* argv[]) {
    // The arguments exactly as the system passed them: every one after the
    // program's path is a page name or a page parameter.
    QStringList arguments;
    arguments.reserve(argc);
    for (int i = 0; i < argc; ++i) {
        arguments.append(QString::fromLocal8Bit(argv[i]));
    }

    // The application object gets the program's path only: Qt reads options
    // of its own ("-platform", "-style", "-reverse", ...) from what it is
    // given, and a page parameter must never be taken for one. The platform
    // plug-in is still chosen through QT_QPA_PLATFORM.
    static int qtArgc = 1;
    static char* qtArgv[] = {argv[0], nullptr};

    // The change-log view, loaded later as a module, shares the
    // application's graphics contexts; this must be set before the
    // application object exists.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(qtArgc, qtArgv);
    QApplication::setApplicationName(QStringLiteral("ZQAssistPanel"));
    QApplication::setOrganizationDomain(QStringLiteral("vesko.com"));
    QApplication::setDesktopFileName(QStringLiteral("com.vesko.ZQAssistPanel"));
    platform::installTranslations(&app);
    zq::pagehost::FirstPaintProbe::installIfRequested(&app);

    AppDelegate delegate(arguments);
    QObject::connect(&delegate, &AppDelegate::terminateRequested, &app,
                     [](int status) { QCoreApplication::exit(status); });
    // Start-up runs inside the event loop, like any other event.
    QTimer::singleShot(0, &delegate, &AppDelegate::applicationDidFinishLaunching);
    return QApplication::exec();
}
