// The switch button: the two variants, looks per state, hover reports and
// width fitting.

#include <QAccessible>
#include <QAccessibleActionInterface>
#include <QCheckBox>
#include <QFontMetricsF>
#include <QtTest>

#include "ControlsTestSupport.h"
#include "controls/ZQCustomSwitchButton.h"
#include "controls/ZQFonts.h"

namespace {

ZQImage solid(const QColor& color, QSize size = QSize(12, 12)) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(color);
    return ZQImage::fromImage(image);
}

class HoverRecorder : public QObject, public ZQCustomSwitchButtonHoverDelegate {
public:
    void customSwithchButtonIsHover(bool isHover, ZQCustomSwitchButton* button) override {
        reports << qMakePair(isHover, button);
    }
    QList<QPair<bool, ZQCustomSwitchButton*>> reports;
};
}  // namespace

class TestSwitchButton : public QObject {
    Q_OBJECT

private slots:
    void init() {
        _window = new QWidget;
        _window->resize(300, 100);
        _switch = new ZQCustomSwitchButton(QRectF(20, 30, 200, 30), _window);
        _window->show();
        QVERIFY(QTest::qWaitForWindowExposed(_window));
        _actions.clear();
        _switch->addTarget(this, [this](ZQCustomButton* sender) {
            _actions << static_cast<ZQCustomSwitchButton*>(sender)->isSwitchON();
        });
    }

    void cleanup() {
        delete _window;
        _window = nullptr;
    }

    // Two clicks each, from off, by the pointer, the keyboard or a screen reader.
    void clicks_data() {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("checkBox");
        QTest::addColumn<QList<bool>>("statesAfterClicks");  // also what each action sees
        QTest::newRow("icon only: the owner decides")
            << "mouse" << false << QList<bool>{false, false};
        for (const char* how : {"mouse", "space", "accessible toggle"}) {
            QTest::addRow("check box: flips, then sends, %s", how)
                << QString::fromLatin1(how) << true << QList<bool>{true, false};
        }
    }

    void clicks() {
        QFETCH(QString, how);
        QFETCH(bool, checkBox);
        QFETCH(QList<bool>, statesAfterClicks);
        QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(_switch);
        QVERIFY(accessible);
        QCOMPARE(accessible->role(), QAccessible::CheckBox);
        _switch->setBtnIconOFF(solid(Qt::gray), solid(Qt::red), {4, 0, 0, 9});
        if (checkBox) {
            _switch->setCheckBoxWithMargin(4, 0);
            QVERIFY(!_switch->checkBox()->isChecked());
        }
        for (int i = 0; i < statesAfterClicks.size(); ++i) {
            if (how == QLatin1String("mouse")) {
                QTest::mouseClick(_switch, Qt::LeftButton, {}, QPoint(150, 15));
            } else if (how == QLatin1String("space")) {
                QTest::keyClick(_switch, Qt::Key_Space);
            } else {
                accessible->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
            }
            QCOMPARE(_switch->isSwitchON(), statesAfterClicks.at(i));
            QCOMPARE(accessible->state().checked, statesAfterClicks.at(i));
            if (checkBox) {
                QCOMPARE(_switch->checkBox()->isChecked(), statesAfterClicks.at(i));
            }
            QTRY_COMPARE(_actions.size(), i + 1);  // exactly one action per click
        }
        QCOMPARE(_actions, statesAfterClicks);
        // The owner of an icon-only switch sets the state.
        if (!checkBox) {
            _switch->setIsSwitchON(true);
            QVERIFY(_switch->isSwitchON());
        }
    }

    void clickOnTheCheckBoxItself() {
        _switch->setCheckBoxWithMargin(4, 0);
        QCheckBox* box = _switch->checkBox();
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(9, 9));
        QVERIFY(box->isChecked());
        QVERIFY(_switch->isSwitchON());
        QTRY_COMPARE(_actions, QList<bool>{true});
        _switch->setCheckBoxState(false);
        QVERIFY(!box->isChecked());
        QVERIFY(!_switch->isSwitchON());
    }

    void onSwitchShowsNoPressedLook() {
        _switch->setBgColorOFFNormal(Qt::white, Qt::lightGray, Qt::gray, Qt::red, 4);
        _switch->setIsSwitchON(true);
        QTest::mousePress(_switch, Qt::LeftButton, {}, QPoint(10, 10));
        QCOMPARE(_switch->btnState(), int(ZQCustomButton::StateNormal));
        QTest::mouseRelease(_switch, Qt::LeftButton, {}, QPoint(10, 10));
        QTRY_COMPARE(_actions, QList<bool>{true});
        // Off, a press shows the pressed look: the "on" colour.
        _switch->setIsSwitchON(false);
        QTest::mousePress(_switch, Qt::LeftButton, {}, QPoint(10, 10));
        QCOMPARE(_switch->btnState(), int(ZQCustomButton::StatePressed));
        QCOMPARE(_switch->bgColor(), QColor(Qt::red));
        QTest::mouseRelease(_switch, Qt::LeftButton, {}, QPoint(10, 10));
    }

    void looksPerState() {
        const QColor off(240, 240, 240), on(255, 100, 44), borderOff(200, 200, 200),
            borderOn(229, 82, 28);
        ZQCustomSwitchButton button;
        button.resize(120, 30);
        button.setBgColorNormal(off, on, 0);
        button.setBgStrokeColorOFFNormal(QColor(), QColor(), QColor(), borderOn, 0);
        button.setBgColor(off, borderOff, 0);
        button.setBtnIconOFF(solid(Qt::blue), solid(Qt::green), {5, 0, 0, 9});

        // Off: the off colours and the off icon at its origin (5, 9) from the lower left.
        QImage image = controls_test::render(&button, 2.0);
        COMPARE_COLOR(controls_test::at(image, 60, 15), off);
        COMPARE_COLOR(controls_test::at(image, 60, 0.5), borderOff);
        COMPARE_COLOR(controls_test::atFromBottom(image, 10, 15), QColor(Qt::blue));

        button.setIsSwitchON(true);
        image = controls_test::render(&button, 2.0);
        COMPARE_COLOR(controls_test::at(image, 60, 15), on);
        COMPARE_COLOR(controls_test::at(image, 60, 0.5), borderOn);
        COMPARE_COLOR(controls_test::atFromBottom(image, 10, 15), QColor(Qt::green));
    }

    void hoverReports() {
        HoverRecorder recorder;
        _switch->setHoverDelegate(&recorder);
        QTest::mouseMove(_window, QPoint(290, 5));
        QTest::mouseMove(_switch, QPoint(20, 10));
        QTest::mouseMove(_window, QPoint(290, 95));
        const QList<QPair<bool, ZQCustomSwitchButton*>> enteredAndLeft{{true, _switch},
                                                                       {false, _switch}};
        QCOMPARE(recorder.reports, enteredAndLeft);
        // A delegate without the interface is simply not told.
        QObject plain;
        _switch->setHoverDelegate(&plain);
        QTest::mouseMove(_switch, QPoint(20, 10));
        QCOMPARE(recorder.reports, enteredAndLeft);
    }

    void widthFitting_data() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<qreal>("minWidth");
        QTest::addColumn<qreal>("maxWidth");
        QTest::addColumn<QString>("expected");  // "natural", "min" or "max"
        QTest::newRow("between the bounds") << "协助调试" << 10.0 << 500.0 << "natural";
        QTest::newRow("raised to the minimum") << "开" << 200.0 << 500.0 << "min";
        QTest::newRow("lowered to the maximum")
            << "开启协助调试模式并上传日志" << 10.0 << 60.0 << "max";
    }

    void widthFitting() {
        QFETCH(QString, title);
        QFETCH(qreal, minWidth);
        QFETCH(qreal, maxWidth);
        QFETCH(QString, expected);
        const QFont font = zq::controls::namedFont("PingFangSC-Regular", 13);
        _switch->setBtnTitle(QString(), font, Qt::black, Qt::red, 0, {24, 8, 0, 0});
        const ZQImage onIcon = solid(Qt::red, QSize(14, 14));
        _switch->setBtnIconON(onIcon, {0, 6, 0, 8});
        const qreal natural = QFontMetricsF(font).horizontalAdvance(title) + 24 + 8;
        const qreal width = _switch->sizeUpdateWithTitle(title, minWidth, maxWidth);
        const qreal want = expected == QLatin1String("min")   ? minWidth
                           : expected == QLatin1String("max") ? maxWidth
                                                              : natural;
        QCOMPARE(width, want);
        QCOMPARE(_switch->titleON().title, title);
        QCOMPARE(_switch->titleOFF().title, title);
        // The on icon moves to the right end, less the second margin.
        QCOMPARE(qreal(_switch->iconMargin()[0]), qreal(float(width - 6 - 14)));
    }

    void titleRecordsAreCutUnlessWhole() {
        const QFont font = zq::controls::namedFont("PingFangSC-Regular", 13);
        const QString longTitle = "WWWWWWWWWWWWWWWWWWWWWWWWWWWWWW";
        ZQCustomSwitchButton cut;
        cut.resize(100, 24);
        cut.setBtnTitle(longTitle, font, Qt::black, 0, {4, 20, 0, 0});
        ZQCustomSwitchButton whole;
        whole.resize(100, 24);
        whole.setBtnTitle(longTitle, font, Qt::black, 1, {4, 20, 0, 0});
        const QImage cutImage = controls_test::render(&cut, 1.0, Qt::white);
        const QImage wholeImage = controls_test::render(&whole, 1.0, Qt::white);
        // Both stay inside the margins; the cut one ends with an ellipsis, so the
        // two drawings differ.
        for (int y = 0; y < 24; ++y) {
            for (int x = 81; x < 100; ++x) {
                QCOMPARE(QColor::fromRgba(cutImage.pixel(x, y)), QColor(Qt::white));
                QCOMPARE(QColor::fromRgba(wholeImage.pixel(x, y)), QColor(Qt::white));
            }
        }
        QVERIFY(cutImage != wholeImage);
        cut.clearBtnTitle();
        QVERIFY(cut.titles().isEmpty());
    }

private:
    QWidget* _window = nullptr;
    ZQCustomSwitchButton* _switch = nullptr;
    QList<bool> _actions;  // the state seen by each action
};

QTEST_MAIN(TestSwitchButton)
#include "tst_switchbutton.moc"
