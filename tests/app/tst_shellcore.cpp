// The shell core without windows or buses: the request rules that every
// channel (launch, load notification, bus interface) uses, and what they store.
#include "app/core/PageRequest.h"
#include "app/core/ZQAssistConfig.h"

#include <QtTest>

using namespace zq::shell;

namespace {

const QString kName = "kVeskoPreferencesXibName";

// Values compare by type and content: the text "1" is not the number 1.
void compareStore(const ZQAssistConfig& config, const QVariantMap& expected) {
    const QVariantMap& actual = config.userData();
    QCOMPARE(actual.keys(), expected.keys());
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        const QVariant value = actual.value(it.key());
        QVERIFY2(value.metaType() == it.value().metaType() && value == it.value(),
                 qPrintable(it.key() + ": " + QString::fromLatin1(value.typeName()) + u' ' +
                            value.toString()));
    }
}
}  // namespace

class TestShellCore : public QObject {
    Q_OBJECT
private slots:
    void launch_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("page");  // "" = no page: the process ends
        QTest::addColumn<QVariantMap>("stored");
        const auto row = [](const char* name, const QStringList& arguments, const QString& page,
                            const QVariantMap& stored = {}) {
            QTest::newRow(name) << arguments << page << stored;
        };
        row("no arguments", {}, "");
        row("lower-case page name, parameters ignored", {"-zqabout", "-1", "-2"}, "");
        row("about without hyphen", {"ZQAbout", "-x"}, "ZQAbout");
        row("update detail without parameters", {"-ZQUpdateDetail"}, "ZQUpdateDetail");
        row("update detail, fifth argument not read, non-ASCII path",
            {"-ZQUpdateDetail", "-/home/用户/新版本.pkg", "-UpdateByPkg", "--2.1", "-d"},
            "ZQUpdateDetail",
            {{"UpdatePkgPath", "/home/用户/新版本.pkg"},
             {"UpdateMode", "UpdateByPkg"},
             {"UpdateVersion", "-2.1"}});
        row("accessibility, fourth argument not read", {"-ZQAccesAuthorize", "-2", "-5", "-9"},
            "ZQAccesAuthorize", {{"AccesAction", "2"}, {"AccesType", "5"}});
        row("contacts: action is the number 1", {"-ZQContactAuthorize", "-7", "-8"},
            "ZQContactAuthorize", {{"AccesAction", qint64(1)}});
        row("authorize, type and source", {"-ZQAuthorize", "-4", "-6"}, "ZQAuthorize",
            {{"AccesAction", qint64(1)}, {"ZQAuthorizeType", "4"}, {"ZQAuthorizeSourceType", "6"}});
        row("Qt's own option names are page parameters",
            {"-ZQUpdateDetail", "-platform", "-style", "-reverse"}, "ZQUpdateDetail",
            {{"UpdatePkgPath", "platform"}, {"UpdateMode", "style"}, {"UpdateVersion", "reverse"}});
    }

    void launch() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, page);
        QFETCH(QVariantMap, stored);
        ZQAssistConfig config;
        QCOMPARE(applyLaunchArguments(QStringList{"/opt/ZQAssistPanel"} + arguments, config), page);
        compareStore(config, stored);
    }

    void payload_data() {
        QTest::addColumn<QVariantMap>("payload");
        QTest::addColumn<QString>("page");
        QTest::addColumn<QVariantMap>("stored");

        const QString upd = "ZQUpdateDetail";
        const QVariantMap update{{kName, upd},
                                 {"UpdatePkgPath", "/p.pkg"},
                                 {"UpdateMode", qint64(2)},
                                 {"Flag", true},
                                 {"Ratio", 0.5},
                                 {"Nested", QVariantMap{{"a", "b"}}},
                                 {"UpdateVersion", QString()},
                                 {"Absent", QVariant()}};
        QVariantMap updateStored = update;
        updateStored.remove("Absent");  // an absent value is never stored; an empty text is
        QTest::newRow("update detail copies every key, of every type")
            << update << upd << updateStored;
        const QVariantMap access{{kName, "ZQAccesAuthorize"}, {"AccesAction", "2"}, {"Other", "x"}};
        QTest::newRow("accessibility copies every key") << access << "ZQAccesAuthorize" << access;
        QTest::newRow("authorize copies only its own keys")
            << QVariantMap{{kName, "ZQAuthorize"},
                           {"ZQAuthorizeType", qint64(4)},
                           {"Other", "x"},
                           {"UpdateMode", "Silent"}}
            << "ZQAuthorize"
            << QVariantMap{{"AccesAction", qint64(1)}, {"ZQAuthorizeType", qint64(4)}};
        QTest::newRow("contacts stores nothing")
            << QVariantMap{{kName, "ZQContactAuthorize"}, {"AccesAction", "9"}}
            << "ZQContactAuthorize" << QVariantMap{};
        QTest::newRow("page name of another type")
            << QVariantMap{{kName, qint64(2)}, {"UpdateMode", "Silent"}} << QString()
            << QVariantMap{};
        QTest::newRow("page name in lower case stores nothing")
            << QVariantMap{{kName, "zqupdatedetail"}, {"UpdateMode", "Silent"}} << "zqupdatedetail"
            << QVariantMap{};
    }

    void payload() {
        QFETCH(QVariantMap, payload);
        QFETCH(QString, page);
        QFETCH(QVariantMap, stored);
        ZQAssistConfig config;
        QCOMPARE(applyLoadPayload(payload, config), page);
        compareStore(config, stored);
    }
};

QTEST_GUILESS_MAIN(TestShellCore)
#include "tst_shellcore.moc"
