#include "pages/widgets/ZQAboutWindowController.h"

#include "controls/ZQCustomWindow.h"
#include "controls/ZQWindowButtonView.h"
#include "pages/models/ZQAboutModel.h"
#include "pages/models/ZQAboutServices.h"
#include "pages/models/ZQEvaluationModel.h"
#include "pages/widgets/PageAnalytics.h"
#include "pages/widgets/ZQAbout.h"
#include "pages/widgets/ZQEvaluationViewController.h"

#include <QEvent>
#include <QTimer>

#include <utility>

ZQAboutWindowController::ZQAboutWindowController(platform::Clock* clock)
    : _window(new ZQCustomWindow(QSize(kWidth, kHeight))) {
    _window->setObjectName(QStringLiteral("ZQAboutWindowController"));
    //% "关于Vesko输入法"
    _window->setWindowTitle(qtTrId("zq-about-window-title"));
    _aboutViewController = std::make_unique<ZQAbout>(_window->contentView(), clock);
    awakeFromNib();
}

ZQAboutWindowController::~ZQAboutWindowController() {
    // The pages' views go with the window; the pages themselves first.
    _aboutViewController.reset();
    _evaluationViewController.reset();
    delete _window;
}

QWidget* ZQAboutWindowController::window() const {
    return _window;
}

void ZQAboutWindowController::awakeFromNib() {
    QWidget* content = _window->contentView();
    connect(_aboutViewController.get(), &ZQAbout::switchToEvaluationView, this,
            &ZQAboutWindowController::switchToEvaluationView);
    _aboutViewController->view()->lower();
    auto* strip = ZQWindowButtonView::initCloseButtonViewWithFrame(QRectF(9, 271, 40, 16), content);
    strip->raise();
    showAboutView();
    _aboutViewController->awakeFromNib();
    // The evaluation page is made once the window has been painted (or when
    // it is first asked for), and then asks for the published overview.
    _window->installEventFilter(this);
}

ZQEvaluationViewController* ZQAboutWindowController::evaluationViewController() {
    if (!_evaluationViewController) {
        _evaluationViewController =
            std::make_unique<ZQEvaluationViewController>(_window->contentView());
        connect(_evaluationViewController.get(), &ZQEvaluationViewController::switchToAboutView,
                this, &ZQAboutWindowController::switchToAboutView);
        QWidget* view = _evaluationViewController->view();
        view->setVisible(!_aboutViewController->view()->isVisibleTo(_window));
        view->lower();  // below the About page and the close strip
        _evaluationViewController->awakeFromNib();
        attachServices();
        _evaluationViewController->model()->getScoringOverview();
    }
    return _evaluationViewController.get();
}

bool ZQAboutWindowController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == _window && event->type() == QEvent::Paint && !_painted) {
        _painted = true;
        // On the second turn of the event loop after the paint, so that the
        // painted window reaches the screen before the services' libraries load.
        QTimer::singleShot(0, this, [this] {
            QTimer::singleShot(0, this, [this] {
                attachServices();
                evaluationViewController();
            });
        });
    } else if (watched == _window && event->type() == QEvent::Hide && !_painted) {
        attachServices();  // gone before its first paint: what is held goes out now
    }
    return QObject::eventFilter(watched, event);
}

void ZQAboutWindowController::attachServices() {
    if (std::exchange(_servicesAttached, true)) {
        return;
    }
    // Analytics through the pages' reporter, like every page's; the public
    // store through the About services.
    ZQAboutModel* about = _aboutViewController->model();
    about->setReporter(zq::pages::pageReporter());
    about->setServices(zq::pages::aboutServices());
}

void ZQAboutWindowController::showAboutView() {
    _aboutViewController->view()->show();
    if (_evaluationViewController) {
        _evaluationViewController->view()->hide();
    }
}

void ZQAboutWindowController::showEvaluationView() {
    evaluationViewController()->view()->show();
    _aboutViewController->view()->hide();
}

// The meta-object code in this file's own object, so that a module linking
// another page does not pull this one in.
#include "moc_ZQAboutWindowController.cpp"
