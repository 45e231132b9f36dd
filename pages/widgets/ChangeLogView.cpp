#include "pages/widgets/ChangeLogView.h"
#include "pages/widgets/PageWidgetsLog.h"

#include "platform/FileRead.h"
#include "platform/Locations.h"

#include <QColor>
#include <QFileInfo>
#include <QPluginLoader>
#include <QTextBrowser>
#include <QTimer>

namespace zq::pages {

namespace {

// Local pages only, as rich text: links are not followed (the change log is
// not a browser).
class LocalPageView : public QTextBrowser, public ChangeLogView {
public:
    explicit LocalPageView(QWidget* parent) : QTextBrowser(parent) {
        setFrameShape(QFrame::NoFrame);
        setOpenLinks(false);
        setAccessibleName(QStringLiteral("ChangeLog"));
    }
    QWidget* widget() override { return this; }
    void load(const QUrl& url) override {
        bool ok = false;
        QString html;
        const QString path = url.isLocalFile()                      ? url.toLocalFile()
                             : url.scheme() == QLatin1String("qrc") ? u':' + url.path()
                                                                    : QString();
        if (const std::optional<QByteArray> page =
                platform::readFile(path, platform::ReadLimit::kDocument)) {
            html = QString::fromUtf8(*page);
            ok = true;
        }
        setHtml(html);
        // Like a web view, the outcome is told on a later turn of the event loop.
        QTimer::singleShot(0, this, [this, ok] {
            if (_handler) {
                _handler(ok);
            }
        });
    }
    void setBackgroundColor(const QColor& color) override {
        QPalette p = palette();
        p.setColor(QPalette::Base, color);
        setPalette(p);
        viewport()->setAutoFillBackground(color.alpha() != 0);
    }
    void setLoadFinishedHandler(std::function<void(bool ok)> handler) override {
        _handler = std::move(handler);
    }

private:
    std::function<void(bool)> _handler;
};

}  // namespace

ChangeLogViewFactory* webChangeLogViews(QString* error) {
    static QPluginLoader* loader = nullptr;
    static ChangeLogViewFactory* factory = nullptr;
    static QString failure;
    if (!loader) {
        const QString path =
            platform::Locations::pluginsDir() + QStringLiteral("/ZQChangeLogView.so");
        loader = new QPluginLoader(path);  // kept: the module is never unloaded
        if (!QFileInfo(path).isFile()) {
            failure = QStringLiteral("%1 is missing").arg(path);
        } else if (!(factory = qobject_cast<ChangeLogViewFactory*>(loader->instance()))) {
            failure = QStringLiteral("%1 cannot be loaded: %2").arg(path, loader->errorString());
        }
        if (!factory) {
            qCWarning(lcPageWidgets) << "no web change-log view:" << failure;
        }
    }
    if (!factory && error) {
        *error = failure;
    }
    return factory;
}

ChangeLogView* createLocalPageView(QWidget* parent) {
    return new LocalPageView(parent);
}

}  // namespace zq::pages
