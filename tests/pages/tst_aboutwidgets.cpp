// The About page's two mouse-driven views, clicked as a user clicks them:
// the star view measures its stars from its lower left, and the product icon
// answers a double click only.

#include "pages/models/ZQEvaluationModel.h"
#include "pages/widgets/ZQEvalutionStarView.h"
#include "pages/widgets/ZQIconImageView.h"

#include <QApplication>
#include <QSignalSpy>
#include <QStyleHints>
#include <QtTest>

class TestAboutWidgets : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        // A whole minute for a double click: a loaded machine never splits one.
        QGuiApplication::styleHints()->setMouseDoubleClickInterval(60000);
    }

    void starClicks_data() {
        QTest::addColumn<QPoint>("pos");  // in the view, from its upper left
        QTest::addColumn<int>("stars");   // lit after the release; 4 before
        QTest::newRow("middle of the second star") << QPoint(39, 13) << 2;
        QTest::newRow("bottom row of the fifth star") << QPoint(120, 25) << 5;
        // The view's top row is the frames' top edge, which no star owns.
        QTest::newRow("top row of the first star") << QPoint(5, 0) << 4;
    }
    void starClicks() {
        QFETCH(QPoint, pos);
        QFETCH(int, stars);
        ZQEvaluationModel model;
        model.setSelectIndex(4);
        ZQEvalutionStarView view(&model, nullptr);
        view.resize(134, 26);
        QTest::mouseClick(&view, Qt::RightButton, {}, QPoint(39, 13));
        QCOMPARE(model.selectIndex(), 4);
        QTest::mouseClick(&view, Qt::LeftButton, {}, pos);
        QCOMPARE(model.selectIndex(), stars);
    }

    void iconClicks_data() {
        QTest::addColumn<QList<QPoint>>("clicks");
        QTest::addColumn<int>("count");  // the click count of the last release
        QTest::addColumn<int>("emitted");
        QTest::newRow("single click") << QList<QPoint>{{10, 10}} << 1 << 0;
        QTest::newRow("double click") << QList<QPoint>{{10, 10}, {11, 10}} << 2 << 1;
        QTest::newRow("triple click") << QList<QPoint>{{10, 10}, {10, 10}, {10, 10}} << 3 << 1;
        QTest::newRow("second click far away") << QList<QPoint>{{2, 2}, {60, 60}} << 1 << 0;
    }
    void iconClicks() {
        QFETCH(QList<QPoint>, clicks);
        QFETCH(int, count);
        QFETCH(int, emitted);
        ZQIconImageView icon;
        icon.resize(64, 64);
        QSignalSpy doubleClicks(&icon, &ZQIconImageView::iconImageViewDoubleClick);
        for (const QPoint& pos : clicks) {
            QTest::mouseClick(&icon, Qt::LeftButton, {}, pos);
        }
        QCOMPARE(icon.clickCount(), count);
        QCOMPARE(doubleClicks.count(), emitted);
    }
};

QTEST_MAIN(TestAboutWidgets)
#include "tst_aboutwidgets.moc"
