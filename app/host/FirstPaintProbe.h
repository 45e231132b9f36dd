#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QObject>
#include <QTimer>
#include <QWidget>

namespace zq::pagehost {

// Start-up measurement: when the environment variable ZQ_EXIT_AFTER_FIRST_PAINT
// is set, the process ends with status 0 right after the first paint of a
// top-level window, so that a driver can time the whole process from start to
// the first painted window (bench/startup). When the variable holds a path
// (it starts with "/"), the painted window's title is written to that file,
// so the driver can tell a painted page from a process that showed nothing.
class FirstPaintProbe : public QObject {
public:
    static void installIfRequested(QCoreApplication* app) {
        if (qEnvironmentVariableIsSet("ZQ_EXIT_AFTER_FIRST_PAINT")) {
            app->installEventFilter(new FirstPaintProbe(app));
        }
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (!_fired && event->type() == QEvent::Paint && watched->isWidgetType() &&
            static_cast<QWidget*>(watched)->isWindow()) {
            _fired = true;
            const QString report = qEnvironmentVariable("ZQ_EXIT_AFTER_FIRST_PAINT");
            if (report.startsWith(QLatin1Char('/'))) {
                QFile file(report);
                if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
                    file.write(static_cast<QWidget*>(watched)->windowTitle().toUtf8());
                }
            }
            // After this paint has been flushed to the window.
            QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(0); });
        }
        return QObject::eventFilter(watched, event);
    }

private:
    explicit FirstPaintProbe(QObject* parent) : QObject(parent) {}
    bool _fired = false;
};

}  // namespace zq::pagehost
