#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimer>
#include <QWidget>

namespace zq::app {

// Start-up measurement: when the environment variable ZQ_EXIT_AFTER_FIRST_PAINT
// is set, the process ends with status 0 right after the first paint of a
// top-level window, so that a driver can time the whole process from start to
// the first painted window (bench/startup).
class FirstPaintProbe : public QObject {
public:
    static void installIfRequested(QCoreApplication* app) {
        if (qEnvironmentVariableIsSet("ZQ_EXIT_AFTER_FIRST_PAINT")) {
            app->installEventFilter(new FirstPaintProbe(app));
        }
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (!m_fired && event->type() == QEvent::Paint && watched->isWidgetType() &&
            static_cast<QWidget*>(watched)->isWindow()) {
            m_fired = true;
            // After this paint has been flushed to the window.
            QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(0); });
        }
        return QObject::eventFilter(watched, event);
    }

private:
    explicit FirstPaintProbe(QObject* parent) : QObject(parent) {}
    bool m_fired = false;
};

}  // namespace zq::app
