#include "app/ZQAssistConfig.h"

#include <QtTest>

class TestAssistConfig : public QObject {
    Q_OBJECT
private slots:
    void unsetKeyIsAbsent();
    void laterValueReplacesEarlier();
    void sharedInstanceIsOneStore();
    void absentValueIsRefused();
    void pageNameList();
};

void TestAssistConfig::unsetKeyIsAbsent() {
    ZQAssistConfig config;
    QVERIFY(!config.objectForKey(QStringLiteral("UpdateMode")).isValid());
    config.setObject(QString(), QStringLiteral("UpdateMode"));
    // An empty text is a value, not an absence.
    QVERIFY(config.objectForKey(QStringLiteral("UpdateMode")).isValid());
    config.removeObjectForKey(QStringLiteral("UpdateMode"));
    QVERIFY(!config.objectForKey(QStringLiteral("UpdateMode")).isValid());
}

void TestAssistConfig::laterValueReplacesEarlier() {
    ZQAssistConfig config;
    config.setObject(QStringLiteral("Silent"), QStringLiteral("UpdateMode"));
    config.setObject(QStringLiteral("UpdateByPkg"), QStringLiteral("UpdateMode"));
    QCOMPARE(config.objectForKey(QStringLiteral("UpdateMode")),
             QVariant(QStringLiteral("UpdateByPkg")));
    config.setObject(qint64(1), QStringLiteral("UpdateMode"));
    QCOMPARE(config.objectForKey(QStringLiteral("UpdateMode")), QVariant(qint64(1)));
}

void TestAssistConfig::sharedInstanceIsOneStore() {
    ZQAssistConfig* first = ZQAssistConfig::sharedInstance();
    ZQAssistConfig* second = ZQAssistConfig::sharedInstance();
    QCOMPARE(first, second);
    first->setObject(QStringLiteral("2.1.0"), QStringLiteral("UpdateVersion"));
    QCOMPARE(second->objectForKey(QStringLiteral("UpdateVersion")).toString(),
             QStringLiteral("2.1.0"));
}

void TestAssistConfig::absentValueIsRefused() {
    ZQAssistConfig config;
    config.setObject(QStringLiteral("x"), QStringLiteral("AccesType"));
    config.setObject(QVariant(), QStringLiteral("AccesType"));
    config.setObject(QVariant::fromValue(nullptr), QStringLiteral("AccesType"));
    QCOMPARE(config.objectForKey(QStringLiteral("AccesType")).toString(), QStringLiteral("x"));
}

void TestAssistConfig::pageNameList() {
    ZQAssistConfig config;
    config.addXib(QStringLiteral("ZQAbout"));
    config.addXib(QStringLiteral("ZQDebugMode"));
    config.addXib(QStringLiteral("ZQAbout"));
    QCOMPARE(config.xibArray().size(), 3);
    config.removeObject(QStringLiteral("ZQAbout"));
    QCOMPARE(config.xibArray(), QVariantList{QStringLiteral("ZQDebugMode")});
    config.removeObject(QStringLiteral("ZQFeedbackWindowController"));
    QCOMPARE(config.xibArray().size(), 1);
}

QTEST_APPLESS_MAIN(TestAssistConfig)
#include "tst_assistconfig.moc"
