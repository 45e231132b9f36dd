#pragma once

// Pages for the dispatch tests: plain windows standing in for pages whose
// windows other parts of the application provide. They record what the
// delegate asked of them.

#include "app/ZQPageController.h"

#include <QMap>
#include <QStringList>
#include <QWidget>

#include <memory>

struct PageLog {
    QMap<QString, int> created;  // controller name -> controllers made
};

class RecordingPage : public ZQPageController {
public:
    RecordingPage(const QString& controllerName, PageLog* log)
        : m_window(std::make_unique<QWidget>()), m_log(log) {
        m_window->setWindowTitle(controllerName);
        m_window->resize(320, 240);
        // Only the delegate's explicit activation may activate the window.
        m_window->setAttribute(Qt::WA_ShowWithoutActivating);
        ++m_log->created[controllerName];
    }
    QWidget* window() const override { return m_window.get(); }
    void showWindow() override {
        ++shows;
        ZQPageController::showWindow();
    }
    void updateWindowWithAuthString(const QString& pageName) override {
        authStrings.append(pageName);
    }
    void showDebugModeEnabled() override { ++debugStateRefreshes; }

    int shows = 0;
    int debugStateRefreshes = 0;
    QStringList authStrings;

private:
    std::unique_ptr<QWidget> m_window;
    PageLog* m_log;
};

// A registry with a recording page for every controller name except `missing`.
inline zq::app::PageRegistry recordingRegistry(PageLog* log, const QStringList& missing = {}) {
    zq::app::PageRegistry registry;
    for (const char* name : {"ZQAboutWindowController", "ZQDebugModeController", "ZQUpdateDetail",
                             "ZQAccesAuthorize", "ZQFeedbackWindowController"}) {
        const QString controllerName = QString::fromLatin1(name);
        if (missing.contains(controllerName)) {
            continue;
        }
        registry.add(controllerName, [controllerName, log] {
            return std::make_unique<RecordingPage>(controllerName, log);
        });
    }
    return registry;
}
