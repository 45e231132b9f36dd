// The evaluation page's model: the stars' hit rule, the overview's
// acceptance rules and shown values, and submissions against the reference
// web service on loopback.

#include "pages/models/ZQEvaluationModel.h"
#include "platform/Plist.h"
#include "platform/Translations.h"
#include "tests/support/RefService.h"
#include "utility/ProductLocations.h"

#include <QJsonObject>
#include <QSignalSpy>
#include <QtTest>

class TestEvaluationModel : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QVERIFY(platform::installTranslations(qApp));
        QVERIFY(platform::Plist::writeFile(zq::utility::infoPlistPath(),
                                           QVariantMap{{"CFBundleFullVersion", "1.0.0"}}));
        QVERIFY(
            platform::Plist::writeFile(zq::utility::userDataFilePath(".uuid.dat"),
                                       QVariantMap{{"uuid", "0123456789ABCDEF0123456789ABCDEF"}}));
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
    }
    void init() { QVERIFY(_service.clearFaults()); }

    void starHit_data();
    void starHit();
    void overview_data();
    void overview();
    void publishedOverview();
    void submit_data();
    void submit();

private:
    zq::test::RefService _service;
};

void TestEvaluationModel::starHit_data() {
    QTest::addColumn<QPointF>("point");  // from the star view's lower left
    QTest::addColumn<int>("index");
    QTest::newRow("the origin exactly is no star") << QPointF(0, 0) << -1;
    QTest::newRow("left edge of the first star") << QPointF(0, 1) << 0;
    QTest::newRow("last point of the first star") << QPointF(21.9, 25.9) << 0;
    QTest::newRow("right edge belongs to the gap") << QPointF(22, 10) << -1;
    QTest::newRow("fifth star") << QPointF(133, 0) << 4;
    QTest::newRow("above the stars") << QPointF(60, 26) << -1;
    QTest::newRow("right of the stars") << QPointF(134, 10) << -1;
}

void TestEvaluationModel::starHit() {
    QFETCH(QPointF, point);
    QFETCH(int, index);
    QCOMPARE(ZQEvaluationModel::imageViewIndexWithPoint(point), index);
    // A release lights the stars up to the one hit; elsewhere nothing changes.
    ZQEvaluationModel model;
    model.setSelectIndex(4);
    model.starViewReleasedAt(point);
    QCOMPARE(model.selectIndex(), index < 0 ? 4 : index + 1);
}

void TestEvaluationModel::overview_data() {
    const QVariantMap full{{"1", 1.5}, {"2", "2.5"}, {"3", 6}, {"4", 20}, {"5", 33.9}};
    QVariantMap fourKeys = full;
    fourKeys.remove("5");
    QVariantMap extraKey = fourKeys;
    extraKey.insert("6", 70);
    QVariantMap nullRatio = full;
    nullRatio.insert("3", QVariant());
    QTest::addColumn<QVariant>("data");
    QTest::addColumn<QString>("score");
    QTest::addColumn<QList<int>>("bars");  // 1 to 5 stars

    const QList<int> defaults{0, 0, 5, 15, 80};
    QTest::newRow("complete") << QVariant(QVariantMap{{"avg", 4.25}, {"ratio", full}}) << "4.2"
                              << QList<int>{1, 2, 6, 20, 33};
    QTest::newRow("average as text") << QVariant(QVariantMap{{"avg", "3.96"}, {"ratio", full}})
                                     << "4.0" << QList<int>{1, 2, 6, 20, 33};
    QTest::newRow("ratio with keys 1 to 4 only")
        << QVariant(QVariantMap{{"avg", 4.1}, {"ratio", fourKeys}}) << "4.8" << defaults;
    QTest::newRow("five entries but no key 5")
        << QVariant(QVariantMap{{"avg", 4.1}, {"ratio", extraKey}}) << "4.8" << defaults;
    QTest::newRow("no average") << QVariant(QVariantMap{{"ratio", full}}) << "4.8" << defaults;
    QTest::newRow("ratio not a dictionary")
        << QVariant(QVariantMap{{"avg", 4.1}, {"ratio", QVariantList{1, 2, 3, 4, 5}}}) << "4.8"
        << defaults;
    QTest::newRow("a null percentage")
        << QVariant(QVariantMap{{"avg", 4.1}, {"ratio", nullRatio}}) << "4.8" << defaults;
    QTest::newRow("not a dictionary") << QVariant(QVariantList{4.1}) << "4.8" << defaults;
}

void TestEvaluationModel::overview() {
    QFETCH(QVariant, data);
    QFETCH(QString, score);
    QFETCH(QList<int>, bars);
    ZQEvaluationModel model;
    model.setUp();
    model.updateViewWithScoreDict(data);
    QCOMPARE(model.scoreText(), score);
    QList<int> shown;
    for (int stars = 1; stars <= 5; ++stars) {
        shown << model.barValue(stars);
    }
    QCOMPARE(shown, bars);
}

void TestEvaluationModel::publishedOverview() {
    ZQEvaluationModel model;
    model.setUp();
    QSignalSpy changed(&model, &ZQEvaluationModel::scoreChanged);
    model.getScoringOverview();
    QVERIFY(changed.wait(20000));
    // The service's published ratings: 4, 3, 12, 41 and 140 of 200.
    QCOMPARE(model.scoreText(), QStringLiteral("4.5"));
    QCOMPARE(model.barValue(5), 70);
    QCOMPARE(model.barValue(3), 6);
}

void TestEvaluationModel::submit_data() {
    QTest::addColumn<int>("stars");
    QTest::addColumn<QString>("fault");  // on the wall endpoint
    QTest::addColumn<QString>("alert");
    QTest::addColumn<int>("starsAfter");
    QTest::newRow("no star: only the alert") << 0 << ""
                                             << "请先点亮星星，再提交" << 0;
    QTest::newRow("accepted: the form is cleared") << 5 << ""
                                                   << "提交成功，感谢您的评分" << 0;
    QTest::newRow("service down: the form stays") << 3 << "status"
                                                  << "提交失败，请重试" << 3;
}

void TestEvaluationModel::submit() {
    QFETCH(int, stars);
    QFETCH(QString, fault);
    QFETCH(QString, alert);
    QFETCH(int, starsAfter);
    if (!fault.isEmpty()) {
        QVERIFY(_service.setFault(QStringLiteral("/q"), fault, {{"status", 503}}));
    }
    ZQEvaluationModel model;
    model.setSelectIndex(stars);
    QSignalSpy alerts(&model, &ZQEvaluationModel::alertRequested);
    QSignalSpy cleared(&model, &ZQEvaluationModel::evaluationCleared);
    const qint64 mark = _service.mark();
    model.commitEvaluation(QStringLiteral("好&用=1"));
    if (stars > 0) {
        model.commitEvaluation(QStringLiteral("a second click while the first is under way"));
    }
    QTRY_COMPARE_WITH_TIMEOUT(alerts.size(), 1, 20000);
    QCOMPARE(alerts.at(0).at(0).toString(), alert);
    QCOMPARE(model.selectIndex(), starsAfter);
    QCOMPARE(cleared.size(), stars > 0 && starsAfter == 0 ? 1 : 0);
    const QJsonArray saved = _service.entries(QStringLiteral("/macfb/v1/click_save"), mark);
    QCOMPARE(saved.size(), stars > 0 ? 1 : 0);
    if (stars > 0 && fault.isEmpty()) {
        const QJsonObject args = saved.at(0).toObject().value("endpoint_args").toObject();
        QCOMPARE(args.value("score").toString(), QString::number(stars));
        QCOMPARE(args.value("feedcont").toString(), QStringLiteral("好"));  // "&" ends the value
    }
}

QTEST_GUILESS_MAIN(TestEvaluationModel)
#include "tst_evaluationmodel.moc"
