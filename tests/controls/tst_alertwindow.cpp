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
        _page = std::make_unique<ZQCustomWindow>(QSize(390, 287));
        _page->show();
        QVERIFY(QTest::qWaitForWindowExposed(_page.get()));
    }

    void cleanup() { _page.reset(); }
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
        QTest::newRow("escape key") << "escape" << false;
        QTest::newRow("return key") << "return" << true;
    }

    void answers() {
        QFETCH(QString, how);
        ZQAlertWindow alert;
        QList<bool> calls;
        alert.showInWindow(_page.get(), "标题", "正文", [&calls](bool yes) { calls << yes; });
        QVERIFY(alert.isVisible());
        QVERIFY(alert.hasPendingCompletion());
        if (how == QLatin1String("cancelClick")) {
            QTest::mouseClick(alert.cancelButton(), Qt::LeftButton);
        } else if (how == QLatin1String("confirmClick")) {
            QTest::mouseClick(alert.confirmButton(), Qt::LeftButton);
        } else {
            QTest::keyClick(&alert,
                            how == QLatin1String("escape") ? Qt::Key_Escape : Qt::Key_Return);
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
        ZQAlertWindow alert;
        int firstCalls = 0;
        QList<bool> secondCalls;
        alert.showInWindow(_page.get(), "一", "一", [&firstCalls](bool) { ++firstCalls; });
        alert.showInWindow(_page.get(), "二", "二",
                           [&secondCalls](bool yes) { secondCalls << yes; });
        QCOMPARE(firstCalls, 0);  // replaced without being called
        QCOMPARE(alert.titleLabel()->text(), "二");
        QCOMPARE(alert.detailText(), "二");
        alert.clickActionYES();
        QCOMPARE(firstCalls, 0);
        QCOMPARE(secondCalls, QList<bool>{true});
    }

    void completionMayShowTheAlertAgain() {
        ZQAlertWindow alert;
        QList<bool> later;
        alert.showInWindow(_page.get(), "一", QString(), [&](bool) {
            alert.showInWindow(_page.get(), "二", QString(), [&later](bool yes) { later << yes; });
        });
        alert.clickCancel();
        QVERIFY(alert.isVisible());  // the new question stays up
        QVERIFY(alert.hasPendingCompletion());
        alert.clickCancel();
        QCOMPARE(later, QList<bool>{false});
        QVERIFY(!alert.isVisible());
    }

    void hideDropsTheCompletion() {
        ZQAlertWindow alert;
        int calls = 0;
        alert.showInWindow(_page.get(), "t", "d", [&calls](bool) { ++calls; });
        alert.hideAlertView();
        QVERIFY(!alert.isVisible());
        alert.clickActionYES();
        QCOMPARE(calls, 0);
        // Closing the page takes the question away too, unanswered.
        alert.showInWindow(_page.get(), "t", "d", [&calls](bool) { ++calls; });
        _page->close();
        QVERIFY(!alert.isVisible());
        QCOMPARE(calls, 0);
    }

    void boxKeepsItsPlaceFromTheLowerLeft() {
        const QSize pageSize(390, 287);
        _page->move(40, 30);
        ZQAlertWindow alert;
        alert.showInWindow(_page->contentView(), "t", "d", {});
        // Laid exactly over the page's window, the box 35 points above its bottom.
        QCOMPARE(alert.geometry(), _page->geometry());
        QCOMPARE(alert.contentView()->geometry(),
                 QRect(65, pageSize.height() - 35 - 182, 260, 182));
        // The page grows while the question is up: the alert follows it, the box
        // keeps its distance to the bottom.
        _page->resize(pageSize + QSize(20, 40));
        QTRY_COMPARE(alert.geometry(), _page->geometry());
        QCOMPARE(alert.backView()->size(), _page->size());
        QCOMPARE(alert.contentView()->geometry().bottom(), _page->height() - 35 - 1);
    }

    void drawsTheDimmedPageAndTheBox() {
        ZQAlertWindow alert;
        alert.showInWindow(_page.get(), "是否进入协助调试模式？", "说明", {});
        const QImage image = controls_test::render(&alert, 2.0, Qt::white);
        // The page is dimmed around the box; the box itself is opaque.
        COMPARE_COLOR(controls_test::at(image, 20, 20), QColor(178, 178, 178));
        COMPARE_COLOR(controls_test::atFromBottom(image, 65 + 130, 35 + 40), QColor(233, 233, 233));
    }

private:
    // The page window each alert is shown over, as on the About page.
    std::unique_ptr<ZQCustomWindow> _page;
};

QTEST_MAIN(TestAlertWindow)
#include "tst_alertwindow.moc"
