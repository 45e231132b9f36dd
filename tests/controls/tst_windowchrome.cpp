// Window chrome and backgrounds: the background view's corners and borders,
// the progress bar, the gradient view, the window button strip and the
// borderless window.

#include <QAbstractButton>
#include <QSignalSpy>
#include <QtTest>

#include "ControlsTestSupport.h"
#include "controls/ZQCustomBgView.h"
#include "controls/ZQCustomProgress.h"
#include "controls/ZQCustomWindow.h"
#include "controls/ZQGradientColorView.h"
#include "controls/ZQWindowButtonView.h"

using controls_test::at;

namespace {

class CloseRecorder : public QObject, public ZQWindowButtonViewDelegate {
public:
    void didCloseWindow() override { ++closes; }
    int closes = 0;
};
}  // namespace

class TestWindowChrome : public QObject {
    Q_OBJECT

private slots:
    void cornerMask() {
        // Mask 5 (1 top-left | 4 bottom-left) rounds the left corners only. Where
        // the corner shapes and the bands overlap, a translucent colour is not
        // laid twice.
        ZQCustomBgView view;
        view.resize(100, 60);
        view.setBgColor(QColor(0, 0, 0, 100), 10, 10, 5);
        const QImage image = controls_test::render(&view, 1.0);
        const int alphaInBand = at(image, 50, 30).alpha();
        QCOMPARE(at(image, 0.3, 0.3).alpha(), 0);
        QCOMPARE(at(image, 0.3, 59.7).alpha(), 0);
        QCOMPARE(at(image, 99.7, 0.3).alpha(), alphaInBand);
        QCOMPARE(at(image, 99.7, 59.7).alpha(), alphaInBand);
        QCOMPARE(at(image, 5, 30).alpha(), alphaInBand);
        QCOMPARE(at(image, 15, 5).alpha(), alphaInBand);
        QCOMPARE(at(image, 95, 5).alpha(), alphaInBand);
        // No mask: every corner round.
        view.setBgColor(QColor(0, 0, 0, 100), 10, 10, 0);
        QCOMPARE(at(controls_test::render(&view, 1.0), 99.7, 59.7).alpha(), 0);
    }

    void bordersFollowPointerAndFocus() {
        const QColor normal(200, 200, 200), hover(255, 100, 44), click(200, 60, 20),
            active(0, 120, 255), inactive(150, 150, 150);
        QWidget window;
        window.resize(200, 100);
        auto* view = new ZQCustomBgView(QRectF(20, 20, 100, 40), &window);
        view->setBgColor(Qt::white, 0, 0);
        view->setBgStrokeColorForNormal(normal, hover, click, 0);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        auto border = [&]() { return at(controls_test::render(view, 2.0), 50, 0.25); };
        COMPARE_COLOR(border(), normal);
        QTest::mouseMove(view, QPoint(10, 10));
        QCOMPARE(view->tristateBgState(), int(ZQCustomBgView::TristateHover));
        COMPARE_COLOR(border(), hover);
        QTest::mousePress(view, Qt::LeftButton, {}, QPoint(10, 10));
        COMPARE_COLOR(border(), click);
        QTest::mouseRelease(view, Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mouseMove(&window, QPoint(190, 90));
        COMPARE_COLOR(border(), normal);

        // The focus border is drawn over the tristate one.
        view->setBgStrokeColorForActive(active, inactive, 0);
        COMPARE_COLOR(border(), normal);  // no activity state yet
        view->updateBgStrokeColorWithActive(true);
        COMPARE_COLOR(border(), active);
        view->updateBgStrokeColorWithActive(false);
        COMPARE_COLOR(border(), inactive);
    }

    void gradientRunsTopToBottom() {
        ZQCustomBgView view;
        view.resize(40, 100);
        view.setBgGradient(QColor(255, 0, 0), QColor(0, 0, 255));
        const QImage image = controls_test::render(&view, 1.0);
        QVERIFY(at(image, 20, 1).red() > 240);
        QVERIFY(at(image, 20, 99).blue() > 240);
    }

    void progressFill_data() {
        QTest::addColumn<float>("maximum");
        QTest::addColumn<int>("value");
        QTest::addColumn<qreal>("filled");  // points of a 200-point bar
        QTest::newRow("quarter of 8") << 8.0f << 2 << 50.0;
        QTest::newRow("full") << 100.0f << 100 << 200.0;
        QTest::newRow("no maximum fills nothing") << 0.0f << 5 << 0.0;
    }

    void progressFill() {
        QFETCH(float, maximum);
        QFETCH(int, value);
        QFETCH(qreal, filled);
        const QColor track(230, 230, 230), fill(255, 100, 44);
        ZQCustomProgress bar;
        bar.resize(200, 6);
        bar.setCornerRadius(0);
        bar.setMaxValue(maximum);
        bar.setBgColor(track, fill);
        bar.setPresent(value);
        QCOMPARE(bar.filledWidth(), filled);
        // What is drawn ends where the fill ends.
        if (filled > 0 && filled < 200) {
            const QImage image = controls_test::render(&bar, 2.0);
            COMPARE_COLOR(at(image, filled - 0.25, 3), fill);
            COMPARE_COLOR(at(image, filled + 0.25, 3), track);
        }
    }

    void progressAnimates() {
        ZQCustomProgress bar;
        bar.resize(300, 6);
        bar.setBgColor(Qt::gray, Qt::red);
        bar.setPresent(10);
        QCOMPARE(bar.filledWidth(), 30.0);
        QSignalSpy finished(&bar, &ZQCustomProgress::animationFinished);
        bar.moveToValue(80, 0.2);
        QVERIFY(bar.isAnimating());
        QCOMPARE(bar.filledWidth(), 30.0);  // starts from the old width
        QVERIFY(finished.wait(5000));
        QCOMPARE(bar.filledWidth(), 240.0);
        QVERIFY(!bar.isAnimating());
        // A new move replaces a running one; no duration: at once.
        bar.moveToValue(10, 10);
        bar.moveToValue(50, 0);
        QCOMPARE(bar.filledWidth(), 150.0);
        QVERIFY(!bar.isAnimating());
        QCOMPARE(finished.count(), 2);
    }

    void gradientView() {
        ZQGradientColorView view;
        view.resize(100, 20);
        view.setGradientColorStart(QColor(255, 0, 0), QColor(0, 0, 255), 0);
        QImage image = controls_test::render(&view, 1.0);
        QVERIFY(at(image, 1, 10).red() > 240);
        QVERIFY(at(image, 99, 10).blue() > 240);
        // Only one colour of the gradient: nothing is drawn.
        view.setGradientColorStart(QColor(255, 0, 0), QColor(), 0);
        image = controls_test::render(&view, 1.0);
        QCOMPARE(at(image, 50, 10).alpha(), 0);
    }

    void windowButtonStrip() {
        QWidget window;
        window.resize(200, 100);
        auto* strip = new ZQWindowButtonView(QRectF(9, 71, 40, 16), &window);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(strip->closeButton());
        QVERIFY(strip->miniButton());
        // Symbols only while the pointer is over the strip, buttons included.
        const QImage plain = controls_test::render(strip, 2.0);
        QTest::mouseMove(strip, QPoint(2, 2));
        QVERIFY(strip->mouseInside());
        QTest::mouseMove(strip->closeButton(), QPoint(5, 5));
        QVERIFY(strip->mouseInside());
        const QImage hovered = controls_test::render(strip, 2.0);
        QVERIFY(plain != hovered);
        QTest::mouseMove(&window, QPoint(190, 90));
        QVERIFY(!strip->mouseInside());
        QCOMPARE(controls_test::render(strip, 2.0), plain);
    }

    void closeGoesToTheDelegate() {
        QWidget window;
        window.resize(200, 100);
        auto* strip =
            ZQWindowButtonView::initCloseButtonViewWithFrame(QRectF(0, 80, 40, 16), &window);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(!strip->miniButton());  // close only
        CloseRecorder recorder;
        strip->setDelegate(&recorder);
        QTest::mouseClick(strip->closeButton(), Qt::LeftButton);
        QCOMPARE(recorder.closes, 1);
        QVERIFY(window.isVisible());  // the delegate decides
        // A delegate that does not take the call: the window closes.
        QObject plain;
        strip->setDelegate(&plain);
        QTest::mouseClick(strip->closeButton(), Qt::LeftButton);
        QTRY_VERIFY(!window.isVisible());
        QCOMPARE(recorder.closes, 1);
    }

    void windowMovesByItsBackground() {
        ZQCustomWindow window(QSize(300, 200));
        QVERIFY(window.windowFlags() & Qt::FramelessWindowHint);
        QVERIFY(window.testAttribute(Qt::WA_TranslucentBackground));
        QCOMPARE(window.contentView()->geometry(), QRect(0, 0, 300, 200));
        auto* background = new ZQCustomBgView(QRectF(0, 0, 300, 200), window.contentView());
        background->setBgColor(Qt::white, 10, 10);
        window.move(100, 100);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const QPoint start = window.pos();
        QTest::mousePress(background, Qt::LeftButton, {}, QPoint(50, 50));
        QTest::mouseMove(background, QPoint(80, 70));
        QTest::mouseRelease(background, Qt::LeftButton, {}, QPoint(80, 70));
        QTRY_COMPARE(window.pos(), start + QPoint(30, 20));
        // The content follows the window's size.
        window.resize(320, 240);
        QCOMPARE(window.contentView()->size(), QSize(320, 240));
    }
};

QTEST_MAIN(TestWindowChrome)
#include "tst_windowchrome.moc"
