#pragma once

// Pages for the dispatch tests: plain windows standing in for the page
// windows, recording what the shell asked of them.

#include "app/core/PageRequest.h"
#include "app/core/ZQAssistConfig.h"
#include "app/host/PageRegistry.h"
#include "app/host/ZQPageController.h"

#include <QMap>
#include <QStringList>
#include <QWidget>

#include <memory>

struct PageLog {
    QMap<QString, int> created;              // controller name -> controllers made
    const ZQAssistConfig* config = nullptr;  // the store a request is read back from
};

class RecordingPage : public ZQPageController {
public:
    RecordingPage(const QString& controllerName, PageLog* log)
        : _log(log), _window(std::make_unique<QWidget>()) {
        _window->setWindowTitle(controllerName);
        _window->resize(320, 240);
        // Only the shell's explicit activation may activate the window.
        _window->setAttribute(Qt::WA_ShowWithoutActivating);
        ++log->created[controllerName];
    }
    QWidget* window() const override { return _window.get(); }
    void showPage(const QString& pageName) override {
        events << "show " + pageName;
        ZQPageController::showPage(pageName);
    }
    // The page re-reads its parameters from the store: they must be there already.
    void loadRequestReceived(const QVariantMap& payload) override {
        events << QStringLiteral("request %1, UpdateMode %2")
                      .arg(payload.value(QLatin1String(zq::shell::kXibNameKey)).toString(),
                           _log->config->objectForKey(QStringLiteral("UpdateMode")).toString());
    }
    int shows() const { return int(events.filter(QStringLiteral("show ")).size()); }

    // "show <page name>" and "request <payload's page name>, UpdateMode <stored>", in order.
    QStringList events;

private:
    PageLog* _log;
    std::unique_ptr<QWidget> _window;
};

// A registry with a recording page for every controller name except `missing`.
inline zq::pagehost::PageRegistry recordingRegistry(PageLog* log, const QStringList& missing = {}) {
    zq::pagehost::PageRegistry registry;
    for (const zq::shell::PageInfo& page : zq::shell::pages()) {
        const QString name = page.controllerName;
        if (!missing.contains(name)) {
            registry.add(name, [name, log] { return std::make_unique<RecordingPage>(name, log); });
        }
    }
    return registry;
}
