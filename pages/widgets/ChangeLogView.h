#pragma once

#include <QString>
#include <QUrl>
#include <QtPlugin>

#include <functional>

class QColor;
class QWidget;

// A view that shows a change-log page. The web view lives in a module of its
// own ("ZQChangeLogView.so" among the application's plug-ins) so that Qt
// WebEngine is loaded only when a change log is about to be shown; where the
// module is missing or cannot be loaded, a viewer of local pages stands in
// for the offline page.
class ChangeLogView {
public:
    virtual ~ChangeLogView() = default;
    // The view's widget, owned by the parent it was made with.
    virtual QWidget* widget() = 0;
    virtual void load(const QUrl& url) = 0;
    virtual void setBackgroundColor(const QColor& color) = 0;
    // Called once at the end of every load, with its outcome.
    virtual void setLoadFinishedHandler(std::function<void(bool ok)> handler) = 0;
};

// The root object of the change-log view module implements this.
class ChangeLogViewFactory {
public:
    virtual ~ChangeLogViewFactory() = default;
    // A new view, a child of `parent` (which owns it).
    virtual ChangeLogView* createView(QWidget* parent) = 0;
};

#define ChangeLogViewFactory_iid "com.vesko.ZQAssistPanel.ChangeLogViewFactory/1"
Q_DECLARE_INTERFACE(ChangeLogViewFactory, ChangeLogViewFactory_iid)

namespace zq::pages {

// The web view module, loaded on the first call and kept loaded; null (with
// the reason in `error`) when it is missing or cannot be loaded.
ChangeLogViewFactory* webChangeLogViews(QString* error = nullptr);

// A viewer of local pages (the offline page) that needs no web engine.
ChangeLogView* createLocalPageView(QWidget* parent);

}  // namespace zq::pages
