#include "utility/Utility.h"

#include "UtilityTestSupport.h"

#include <QTemporaryDir>

using namespace testsupport;

class TestLocations : public QObject {
    Q_OBJECT

private:
    QByteArray _dataHome;
    QString _home;

    void restoreEnvironment() {
        qputenv("XDG_DATA_HOME", _dataHome);
        zq::utility::resetProcessCachesForTesting();
    }

private slots:
    void initTestCase() {
        _dataHome = qgetenv("XDG_DATA_HOME");
        _home = QString::fromLocal8Bit(qgetenv("HOME"));
        QVERIFY(!_dataHome.isEmpty());
        QVERIFY(!_home.isEmpty());
        QVERIFY(enableUtilityRunLog());
    }

    void init() { restoreEnvironment(); }
    void cleanupTestCase() { restoreEnvironment(); }

    void bothFormsNameTheSameFile() {
        const QString name = "stat2.dat";
        const QString fromPath = QStringLiteral("%1VeskoPY/%2").arg(GetUserImPath(), name);
        const QString fromHome = zq::utility::expandProductPath(
            _home + "/Library/Application Support/Vesko/InputMethod/VeskoPY/" + name);
        QCOMPARE(fromHome, fromPath);
        QCOMPARE(zq::utility::userDataFilePath(name), fromPath);
        QCOMPARE(GetAddressBookFilePath(), GetUserImPath() + "VeskoPY/peopleArray.book");
        // The log manager keeps its configuration in the same folder.
        QCOMPARE(ZQLogManager::sharedInstance()->logConfigFilePath(),
                 GetUserImPath() + "VeskoPY/logConfig.plist");
    }

    void applicationSupportChoices_data() {
        QTest::addColumn<QByteArray>("dataHome");  // empty: unset
        QTest::addColumn<QString>("expectedRelativeToRoot");
        const QString root = QString::fromLocal8Bit(qgetenv("ZQ_TEST_ROOT"));
        QTest::newRow("data home") << (root + "/alt").toLocal8Bit() << "/alt/Vesko/InputMethod";
        QTest::newRow("trailing separator")
            << (root + "/alt2/").toLocal8Bit() << "/alt2/Vesko/InputMethod";
        // Without a usable per-user data folder, the home's own one is used.
        QTest::newRow("unset") << QByteArray() << "/home/.local/share/Vesko/InputMethod";
        QTest::newRow("relative is ignored")
            << QByteArray("relative/dir") << "/home/.local/share/Vesko/InputMethod";
    }

    void applicationSupportChoices() {
        QFETCH(QByteArray, dataHome);
        QFETCH(QString, expectedRelativeToRoot);
        if (dataHome.isEmpty()) {
            qunsetenv("XDG_DATA_HOME");
        } else {
            qputenv("XDG_DATA_HOME", dataHome);
        }
        const QString expected =
            QString::fromLocal8Bit(qgetenv("ZQ_TEST_ROOT")) + expectedRelativeToRoot;
        QDir(expected).removeRecursively();  // show that the call creates it
        QCOMPARE(ZQGetUserLibAppSupportFolder(), expected);
        QVERIFY(QFileInfo(expected).isDir());
        QCOMPARE(GetUserImPath(), expected + u'/');
        // The input method's home form follows the same choice.
        QCOMPARE(zq::utility::expandProductPath("~/Library/Application Support/Vesko/InputMethod"),
                 expected);
    }

    void expandTilde() {
        QCOMPARE(zq::utility::expandTilde("~/a"), _home + "/a");
        QCOMPARE(zq::utility::expandTilde("~"), _home);
        QCOMPARE(zq::utility::expandTilde("~other/a"), "~other/a");
        QCOMPARE(zq::utility::expandTilde("/x/~/a"), "/x/~/a");
    }

    void pluginPaths_data() {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("pluginCopy");  // relative to the plugin folder; "" none
        QTest::addColumn<bool>("newSystem");
        QTest::addColumn<QString>("expected");  // "=" for the input unchanged
        const QString design = "/Library/Input Methods/VeskoInput.app/Contents/ZQSkinManager.app";
        const QString installed =
            platform::Locations::installRoot() + "/Contents/ZQSkinManager.app";
        const QString plugin =
            QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME")) + "/Vesko/Plugins/ZQSkinManager.app";
        const auto row = [](const char* name, const QString& input, const QString& pluginCopy,
                            bool newSystem, const QString& expected) {
            QTest::newRow(name) << input << pluginCopy << newSystem << expected;
        };
        const QString skin = "ZQSkinManager.app";
        row("plugin copy exists", design, skin, true, plugin);
        row("no plugin copy", design, "", true, "=");
        row("older system", design, skin, false, "=");
        row("installed location", installed, skin, true, plugin);
        row("no bundle prefix, no tilde", "/usr/bin/env", "", true, "=");
        row("bundle root is not the contents",
            "/Library/Input Methods/VeskoInput.app/ZQSkinManager.app", skin, true, "=");
        row("tilde expanded when it exists",
            "~/Library/Application Support/Vesko/Plugins/ZQSkinManager.app", skin, true, plugin);
        row("tilde kept when missing", "~/nothing/here.app", "", true, "=");
    }

    void pluginPaths() {
        QFETCH(QString, input);
        QFETCH(QString, pluginCopy);
        QFETCH(bool, newSystem);
        QFETCH(QString, expected);
        QTemporaryDir data(QString::fromLocal8Bit(qgetenv("ZQ_TEST_ROOT")) + "/pluginXXXXXX");
        QVERIFY(data.isValid());
        // Not the expected path of the data table: point the data home here.
        qputenv("XDG_DATA_HOME", QFile::encodeName(data.path()));
        const QString pluginFolder = data.path() + "/Vesko/Plugins";
        if (!pluginCopy.isEmpty()) {
            QVERIFY(QDir().mkpath(pluginFolder + u'/' + pluginCopy));
        }
        QString want = expected == u"=" ? input : expected;
        want.replace(QString::fromLocal8Bit(_dataHome), data.path());
        QString given = input;
        given.replace(QString::fromLocal8Bit(_dataHome), data.path());
        QCOMPARE(zq::utility::pluginPathFor(given, newSystem), want);
        if (newSystem) {
            QCOMPARE(macOS13NewAppPath(given), want);
        }
    }
};

QTEST_GUILESS_MAIN(TestLocations)
#include "tst_locations.moc"
