// The alert window: completion rules and its place over the parent window.

#include <QLabel>
#include <QtTest>

#include "ControlsTestSupport.h"
#include "controls/ZQAlertWindow.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQCustomWindow.h"
#include "controls/ZQGeometry.h"
#include "platform/Translations.h"

class TestAlertWindow : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { platform::installTranslations(qApp); }

    void init() {
        page_ = std::make_unique<ZQCustomWindow>(QSize(390, 287));
        page_->show();
        QVERIFY(QTest::qWaitForWindowExposed(page_.get()));
    }

    void cleanup() { page_.reset(); }
    void oneSharedInstance() {
        ZQAlertWindow* first = ZQAlertWindow::sharedInstance();
        QVERIFY(first);
        QCOMPARE(ZQAlertWindow::sharedInstance(), first);
        QVERIFY(!first->isVisible());
        QCOMPARE(first->cancelButton()->titleString(), "取消");
        QCOMPARE(first->confirmButton()->titleString(), "确认");
    }

    void answers_data() {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("answer");
        QTest::newRow("cancel button") << "cancelClick" << false;
        QTest::newRow("confirm button") << "confirmClick" << true;
        QTest::newRow("clickCancel") << "cancel" << false;
        QTest::newRow("clickActionYES") << "yes" << true;
        QTest::newRow("escape key") << "escape" << false;
    }

    void answers() {
        QFETCH(QString, how);
        ZQCustomWindow& page = *page_;
        ZQAlertWindow alert;
        QList<bool> calls;
        alert.showInWindow(&page, "标题", "正文", [&calls](bool yes) { calls << yes; });
        QVERIFY(alert.isVisible());
        QVERIFY(alert.hasPendingCompletion());
        if (how == QLatin1String("cancelClick")) {
            QTest::mouseClick(alert.cancelButton(), Qt::LeftButton);
        } else if (how == QLatin1String("confirmClick")) {
            QTest::mouseClick(alert.confirmButton(), Qt::LeftButton);
        } else if (how == QLatin1String("cancel")) {
            alert.clickCancel();
        } else if (how == QLatin1String("yes")) {
            alert.clickActionYES();
        } else {
            QTest::keyClick(&alert, Qt::Key_Escape);
        }
        QTRY_COMPARE(calls.size(), 1);
        QTEST(calls.first(), "answer");
        QVERIFY(!alert.isVisible());
        QVERIFY(!alert.hasPendingCompletion());
        // Called at most once, whatever comes after.
        alert.clickActionYES();
        alert.clickCancel();
        QCoreApplication::processEvents();
        QCOMPARE(calls.size(), 1);
    }

    void secondShowingReplacesTheCompletion() {
        ZQCustomWindow& page = *page_;
        ZQAlertWindow alert;
        int firstCalls = 0;
        QList<bool> secondCalls;
        alert.showInWindow(&page, "一", "一", [&firstCalls](bool) { ++firstCalls; });
        alert.showInWindow(&page, "二", "二", [&secondCalls](bool yes) { secondCalls << yes; });
        QCOMPARE(firstCalls, 0);  // replaced without being called
        QCOMPARE(alert.titleLabel()->text(), "二");
        QCOMPARE(alert.detailText(), "二");
        alert.clickActionYES();
        QCOMPARE(firstCalls, 0);
        QCOMPARE(secondCalls, QList<bool>{true});
    }

    void completionMayShowTheAlertAgain() {
        ZQCustomWindow& page = *page_;
        ZQAlertWindow alert;
        QList<bool> later;
        alert.showInWindow(&page, "一", QString(), [&](bool) {
            alert.showInWindow(&page, "二", QString(), [&later](bool yes) { later << yes; });
        });
        alert.clickCancel();
        QVERIFY(alert.isVisible());  // the new question stays up
        QVERIFY(alert.hasPendingCompletion());
        alert.clickCancel();
        QCOMPARE(later, QList<bool>{false});
        QVERIFY(!alert.isVisible());
    }

    void hideDropsTheCompletion() {
        ZQCustomWindow& page = *page_;
        ZQAlertWindow alert;
        int calls = 0;
        alert.showInWindow(&page, "t", "d", [&calls](bool) { ++calls; });
        alert.hideAlertView();
        QVERIFY(!alert.isVisible());
        alert.clickActionYES();
        QCOMPARE(calls, 0);
        // Closing the page takes the question away too, unanswered.
        alert.showInWindow(&page, "t", "d", [&calls](bool) { ++calls; });
        page.close();
        QVERIFY(!alert.isVisible());
        QCOMPARE(calls, 0);
    }

    void boxKeepsItsPlaceFromTheLowerLeft() {
        const QSize pageSize(390, 287);
        ZQCustomWindow& page = *page_;
        page.move(40, 30);
        ZQAlertWindow alert;
        alert.showInWindow(page.contentView(), "t", "d", {});
        // Laid exactly over the page's window.
        QCOMPARE(alert.geometry(), page.geometry());
        QCOMPARE(alert.backView()->geometry(), QRect(QPoint(0, 0), pageSize));
        // The box at (65, 35, 260, 182) from the lower left.
        QCOMPARE(zq::controls::frameOf(alert.contentView()), QRectF(65, 35, 260, 182));
        QCOMPARE(alert.contentView()->geometry(),
                 QRect(65, pageSize.height() - 35 - 182, 260, 182));
        // The page grows while the question is up: the alert follows it, the box
        // keeps its distance to the bottom.
        page.resize(pageSize + QSize(20, 40));
        QTRY_COMPARE(alert.geometry(), page.geometry());
        QCOMPARE(alert.backView()->size(), page.size());
        QCOMPARE(alert.contentView()->geometry().bottom(), page.height() - 35 - 1);
    }

    void drawsTheDimmedPageAndTheBox() {
        ZQCustomWindow& page = *page_;
        ZQAlertWindow alert;
        alert.showInWindow(&page, "是否进入协助调试模式？", "说明", {});
        const QImage image = controls_test::render(&alert, 2.0, Qt::white);
        // Dimmed: black at alpha 0.3 over white.
        COMPARE_COLOR(controls_test::at(image, 20, 20), QColor(178, 178, 178));
        // Rounded corners of the dimming layer leave the page as it was.
        COMPARE_COLOR(controls_test::at(image, 0.3, 0.3), QColor(Qt::white));
        // The box: grey 233 inside, its lower-left corner at (65, 35).
        COMPARE_COLOR(controls_test::atFromBottom(image, 65 + 130, 35 + 40), QColor(233, 233, 233));
        COMPARE_COLOR(controls_test::atFromBottom(image, 60, 35 + 90), QColor(178, 178, 178));
        // The buttons' colours.
        COMPARE_COLOR(controls_test::atFromBottom(image, 65 + 17 + 5, 35 + 16 + 14),
                      QColor(195, 196, 197));
        COMPARE_COLOR(controls_test::atFromBottom(image, 65 + 135 + 5, 35 + 16 + 14),
                      QColor(255, 120, 71));
    }

private:
    // The page window each alert is shown over, as on the About page.
    std::unique_ptr<ZQCustomWindow> page_;
};

QTEST_MAIN(TestAlertWindow)
#include "tst_alertwindow.moc"
