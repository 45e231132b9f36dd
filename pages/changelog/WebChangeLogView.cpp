// The change-log view module: a Qt WebEngine view behind the ChangeLogView
// interface. Only this module loads Qt WebEngine; the update detail page
// loads the module when a change log is about to be shown.
//
// The view is a Qt Quick window (the WebEngineView of the QtWebEngine QML
// module) held in a window container. A Qt WebEngine widget would make the
// page's top-level window switch to OpenGL composition, which re-creates the
// native window of a window already on screen; the container instead adds a
// native child window and leaves the page's window alone.
#include "pages/widgets/ChangeLogView.h"

#include <QColor>
#include <QObject>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QWidget>

namespace {

// The view's page, with one signal for the end of every load.
constexpr char kViewSource[] = R"(
import QtWebEngine

WebEngineView {
    signal loadEnded(bool ok)
    onLoadingChanged: function(info) {
        if (info.status === WebEngineView.LoadSucceededStatus)
            loadEnded(true)
        else if (info.status === WebEngineView.LoadFailedStatus)
            loadEnded(false)
    }
}
)";

class WebChangeLogView : public QObject, public ChangeLogView {
    Q_OBJECT
public:
    explicit WebChangeLogView(QWidget* parent) : _view(new QQuickView) {
        _view->setResizeMode(QQuickView::SizeRootObjectToView);
        _view->setColor(Qt::white);
        QQmlComponent component(_view->engine());
        component.setData(kViewSource, QUrl());
        _root = qobject_cast<QQuickItem*>(component.create());
        if (_root) {
            _view->setContent(QUrl(), nullptr, _root);
            connect(_root, SIGNAL(loadEnded(bool)), this, SLOT(loadEnded(bool)));
        }
        // The container owns the Quick window; this object lives as long as the container.
        _container = QWidget::createWindowContainer(_view, parent);
        _container->setAccessibleName(QStringLiteral("ChangeLog"));
        setParent(_container);
    }
    bool isValid() const { return _root != nullptr; }

    QWidget* widget() override { return _container; }
    void load(const QUrl& url) override { _root->setProperty("url", url); }
    void setBackgroundColor(const QColor& color) override {
        _root->setProperty("backgroundColor", color);
    }
    void setLoadFinishedHandler(std::function<void(bool ok)> handler) override {
        _handler = std::move(handler);
    }

private slots:
    void loadEnded(bool ok) {
        if (_handler) {
            _handler(ok);
        }
    }

private:
    QQuickView* _view;
    QQuickItem* _root = nullptr;
    QWidget* _container = nullptr;
    std::function<void(bool)> _handler;
};

}  // namespace

class WebChangeLogViewFactory : public QObject, public ChangeLogViewFactory {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID ChangeLogViewFactory_iid FILE "ZQChangeLogView.json")
    Q_INTERFACES(ChangeLogViewFactory)
public:
    ChangeLogView* createView(QWidget* parent) override {
        auto* view = new WebChangeLogView(parent);
        if (!view->isValid()) {
            // The QtWebEngine QML module is missing: no web view on this machine.
            delete view->widget();
            return nullptr;
        }
        return view;
    }
};

#include "WebChangeLogView.moc"
