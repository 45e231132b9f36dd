#pragma once

#include "app/host/ZQPageController.h"

#include <QObject>

#include <memory>

class ZQAbout;
class ZQCustomWindow;
class ZQEvaluationViewController;

namespace platform {
class Clock;
}

// The About window ("ZQAbout"): a borderless window holding two pages that
// turn over in place, the About page and the evaluation page, with a close
// button over both. Created once and kept; a later request shows it again
// (on the page it was left on).
class ZQAboutWindowController : public QObject, public ZQPageController {
    Q_OBJECT

public:
    static constexpr int kWidth = 390;
    static constexpr int kHeight = 287;

    // `clock` defaults to the system clock.
    explicit ZQAboutWindowController(platform::Clock* clock = nullptr);
    ~ZQAboutWindowController() override;

    QWidget* window() const override;

    void showAboutView();
    void showEvaluationView();
    // The delegate operations the pages call.
    void switchToAboutView() { showAboutView(); }
    void switchToEvaluationView() { showEvaluationView(); }

    ZQAbout* aboutViewController() const { return _aboutViewController.get(); }
    // The evaluation page, made on first use.
    ZQEvaluationViewController* evaluationViewController();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void awakeFromNib();
    // Hands the About page its analytics reporter and services, loading their
    // modules: once, after the first paint (or when the window goes before it).
    void attachServices();

    ZQCustomWindow* _window;
    std::unique_ptr<ZQAbout> _aboutViewController;
    std::unique_ptr<ZQEvaluationViewController> _evaluationViewController;
    bool _painted = false;
    bool _servicesAttached = false;
};
