#pragma once

#include <QString>
#include <QWidget>

#include <functional>
#include <map>
#include <memory>

// The window controller of one page, as the application delegate drives it.
//
// A page plugs in by implementing this interface and registering a factory
// under its controller name in its own source file:
//
//     ZQ_REGISTER_PAGE_CONTROLLER("ZQAboutWindowController",
//                                 [] { return std::make_unique<ZQAboutWindowController>(); })
//
// Controller names: "ZQAboutWindowController", "ZQDebugModeController",
// "ZQUpdateDetail", "ZQAccesAuthorize" (shared by the three permission page
// names), "ZQFeedbackWindowController". The delegate creates a controller on
// the first request for its page and keeps it for the life of the process.
// The `pages` library is linked whole into the application, so a file that
// does nothing but register is enough.
class ZQPageController {
public:
    virtual ~ZQPageController() = default;

    // The page's top-level window; the same widget for the controller's whole life.
    virtual QWidget* window() const = 0;

    // Shows the window, or brings an open one to the front again. Never opens
    // a second window.
    virtual void showWindow() {
        QWidget* w = window();
        w->show();
        w->raise();
    }

    // Permission guidance only: selects texts and images for the page name
    // ("ZQAccesAuthorize", "ZQContactAuthorize", "ZQAuthorize").
    virtual void updateWindowWithAuthString(const QString& pageName) { Q_UNUSED(pageName); }

    // Debug mode only: refreshes the shown state of the debug collection.
    virtual void showDebugModeEnabled() {}
};

namespace zq::app {

using PageControllerFactory = std::function<std::unique_ptr<ZQPageController>()>;

// Controller factories by controller name. One process-wide registry filled by
// static registrations; tests may build their own and hand it to AppDelegate.
class PageRegistry {
public:
    static PageRegistry& global() {
        static PageRegistry registry;
        return registry;
    }

    void add(const QString& controllerName, PageControllerFactory factory) {
        m_factories[controllerName] = std::move(factory);
    }
    bool contains(const QString& controllerName) const {
        return m_factories.count(controllerName) != 0;
    }
    // Creates a controller, or returns null when none is registered under the name.
    std::unique_ptr<ZQPageController> create(const QString& controllerName) const {
        auto it = m_factories.find(controllerName);
        return it == m_factories.end() ? nullptr : it->second();
    }

private:
    std::map<QString, PageControllerFactory> m_factories;
};

struct PageRegistrar {
    PageRegistrar(const char* controllerName, PageControllerFactory factory) {
        PageRegistry::global().add(QString::fromLatin1(controllerName), std::move(factory));
    }
};

}  // namespace zq::app

#define ZQ_PAGE_CONCAT_INNER(a, b) a##b
#define ZQ_PAGE_CONCAT(a, b) ZQ_PAGE_CONCAT_INNER(a, b)
#define ZQ_REGISTER_PAGE_CONTROLLER(controllerName, factory)                                  \
    namespace {                                                                               \
    const ::zq::app::PageRegistrar ZQ_PAGE_CONCAT(zqPageRegistrar_, __LINE__){controllerName, \
                                                                              factory};       \
    }
