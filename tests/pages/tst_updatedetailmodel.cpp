#include "app/core/ZQAssistConfig.h"
#include "pages/models/ZQUpdateDetailModel.h"
#include "platform/Configuration.h"
#include "platform/Plist.h"
#include "platform/Translations.h"
#include "platform/Workspace.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString kInstalled = QStringLiteral("6.9.2");
const QString kName = QStringLiteral("kVeskoPreferencesXibName");

QString installRoot() {
    return qEnvironmentVariable("VESKO_INSTALL_ROOT");
}

QString choicePath() {
    return installRoot() + QStringLiteral("/Contents/updateInfo.plist");
}

// What the window shows, in one comparable line.
QString layoutOf(const ZQUpdateDetailModel& model) {
    const std::pair<bool, const char*> parts[] = {
        {model.headlineVisible(), "headline"}, {model.installedVersionVisible(), "version"},
        {model.installVisible(), "install"},   {model.ignoreVisible(), "ignore"},
        {model.promptLaterVisible(), "later"}, {model.okVisible(), "ok"}};
    QStringList shown;
    for (const auto& [visible, name] : parts) {
        if (visible) {
            shown << QLatin1String(name);
        }
    }
    return shown.join(QLatin1Char(' '));
}

const QString kPackageLayout = QStringLiteral("headline version install ignore later");
const QString kSilentLayout = QStringLiteral("headline ok");
const QString kDefaultLayout = QStringLiteral("version ok");

}  // namespace

class TestUpdateDetailModel : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void setUp_data();
    void setUp();
    void rearrange_data();
    void rearrange();
    void changeLogAddress();
    void offlineFallback_data();
    void offlineFallback();
    void choiceFile_data();
    void choiceFile();
    void choiceFileNotWritable();
    void install_data();
    void install();
    void installRunsOnce();

private:
    ZQAssistConfig _config;
    QList<QUrl> _opened;
    bool _openerResult = true;
};

void TestUpdateDetailModel::initTestCase() {
    QVERIFY(!installRoot().isEmpty());
    QVERIFY(platform::installTranslations(qApp));
    // The installed input method, read once and cached by the version functions.
    QVERIFY(platform::Plist::writeFile(
        installRoot() + QStringLiteral("/Contents/Info.plist"),
        QVariantMap{{QStringLiteral("CFBundleFullVersion"), kInstalled}}));
    platform::Workspace::setUrlOpener([this](const QUrl& url) {
        _opened.append(url);
        return _openerResult;
    });
}

void TestUpdateDetailModel::init() {
    _config = ZQAssistConfig();
    _opened.clear();
    _openerResult = true;
    QFile::remove(choicePath());
}

void TestUpdateDetailModel::cleanup() {
    QDir(choicePath()).removeRecursively();
    QFile::remove(choicePath());
}

void TestUpdateDetailModel::setUp_data() {
    QTest::addColumn<QVariant>("mode");
    QTest::addColumn<QVariant>("version");
    QTest::addColumn<QString>("headline");
    QTest::addColumn<QString>("layout");

    QTest::newRow("silent shows the installed version")
        << QVariant("Silent") << QVariant("7.0.1") << "Vesko输入法 已升级至 6.9.2" << kSilentLayout;
    // Package with its version: the window's own test (showsChangeLogAndPackageLayout).
    QTest::newRow("package without a version")
        << QVariant("UpdateByPkg") << QVariant() << "Vesko输入法 最新版本 " << kPackageLayout;
    QTest::newRow("package with a numeric version")
        << QVariant("UpdateByPkg") << QVariant(qint64(7)) << "Vesko输入法 最新版本 7"
        << kPackageLayout;
    QTest::newRow("mode in lower case keeps the layout")
        << QVariant("silent") << QVariant("7.0.1") << "" << kDefaultLayout;
}

void TestUpdateDetailModel::setUp() {
    QFETCH(QVariant, mode);
    QFETCH(QVariant, version);
    QFETCH(QString, headline);
    QFETCH(QString, layout);
    _config.setObject(mode, QStringLiteral("UpdateMode"));
    if (version.isValid()) {
        _config.setObject(version, QStringLiteral("UpdateVersion"));
    }
    ZQUpdateDetailModel model(&_config);
    QSignalSpy loads(&model, &ZQUpdateDetailModel::loadRequested);
    QSignalSpy centred(&model, &ZQUpdateDetailModel::centerRequested);
    model.setUp();

    QCOMPARE(model.headline(), headline);
    QCOMPARE(layoutOf(model), layout);
    QCOMPARE(model.installedVersionText(), QStringLiteral("您现在的Vesko输入法版本：6.9.2"));
    QCOMPARE(model.windowLevel(), ZQUpdateDetailModel::kModalPanelWindowLevel);
    QCOMPARE(loads.count(), 1);
    QCOMPARE(loads.first().first().toUrl(), ZQUpdateDetailModel::changeLogUrl());
    QCOMPARE(centred.count(), 1);
    QVERIFY(model.drawsWebBackground());
}

void TestUpdateDetailModel::rearrange_data() {
    QTest::addColumn<QString>("firstMode");
    QTest::addColumn<QVariantMap>("newParameters");  // written to the store before the notification
    QTest::addColumn<QVariantMap>("payload");
    QTest::addColumn<QString>("headline");
    QTest::addColumn<QString>("layout");

    const QVariantMap forPage{{kName, "ZQUpdateDetail"}};
    // Package, then silent: the window's own test (levelFollowsTheWindow).
    QTest::newRow("silent, then package")
        << "Silent" << QVariantMap{{"UpdateMode", "UpdateByPkg"}, {"UpdateVersion", "7.0.3"}}
        << forPage << "Vesko输入法 新版本7.0.3" << kPackageLayout;
    QTest::newRow("another page changes nothing")
        << "UpdateByPkg" << QVariantMap{{"UpdateMode", "Silent"}, {"UpdateVersion", "7.0.2"}}
        << QVariantMap{{kName, "ZQAbout"}} << "Vesko输入法 最新版本 7.0.1" << kPackageLayout;
    QTest::newRow("unknown mode keeps the layout")
        << "Silent" << QVariantMap{{"UpdateMode", "Later"}, {"UpdateVersion", "9"}} << forPage
        << "Vesko输入法 已升级至 6.9.2" << kSilentLayout;
}

void TestUpdateDetailModel::rearrange() {
    QFETCH(QString, firstMode);
    QFETCH(QVariantMap, newParameters);
    QFETCH(QVariantMap, payload);
    QFETCH(QString, headline);
    QFETCH(QString, layout);

    _config.setObject(firstMode, QStringLiteral("UpdateMode"));
    _config.setObject(QStringLiteral("7.0.1"), QStringLiteral("UpdateVersion"));
    ZQUpdateDetailModel model(&_config);
    model.setUp();
    QVERIFY(model.windowShouldClose());
    QCOMPARE(model.windowLevel(), ZQUpdateDetailModel::kNormalWindowLevel);

    for (auto it = newParameters.cbegin(); it != newParameters.cend(); ++it) {
        _config.setObject(it.value(), it.key());
    }
    model.rearrangeUI(payload);
    QCOMPARE(model.headline(), headline);
    QCOMPARE(layoutOf(model), layout);
    const bool forThisPage = payload.value(kName) == QVariant("ZQUpdateDetail");
    QCOMPARE(model.windowLevel(), forThisPage ? ZQUpdateDetailModel::kModalPanelWindowLevel
                                              : ZQUpdateDetailModel::kNormalWindowLevel);
}

void TestUpdateDetailModel::changeLogAddress() {
    QTemporaryDir dir;
    const QString ini = dir.filePath(QStringLiteral("ZQAssistPanel.ini"));
    QFile file(ini);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Web]\nHost=http://127.0.0.1:9/\n");
    file.close();
    qputenv("VESKO_CONFIG", ini.toUtf8());
    platform::Configuration::reload();
    QCOMPARE(ZQUpdateDetailModel::changeLogUrl(),
             QUrl(QStringLiteral("http://127.0.0.1:9/mac/proxy/?f=embeddedchangelog")));
    qunsetenv("VESKO_CONFIG");
    platform::Configuration::reload();

    const QUrl offline = ZQUpdateDetailModel::offlinePageUrl();
    QVERIFY(offline.isLocalFile());
    QCOMPARE(QFileInfo(offline.toLocalFile()).fileName(), QStringLiteral("offline.html"));
    QVERIFY(QFileInfo::exists(offline.toLocalFile()));
}

void TestUpdateDetailModel::offlineFallback_data() {
    QTest::addColumn<bool>("webView");
    QTest::addColumn<QList<bool>>("results");
    QTest::addColumn<bool>("offline");
    QTest::newRow("fails before any content") << true << QList<bool>{false} << true;
    QTest::newRow("content, then a failed navigation") << true << QList<bool>{true, false} << false;
    QTest::newRow("offline page fails as well") << true << QList<bool>{false, false} << true;
    QTest::newRow("no web view") << false << QList<bool>{} << true;
    QTest::newRow("no web view, offline page shown") << false << QList<bool>{true} << true;
}

void TestUpdateDetailModel::offlineFallback() {
    QFETCH(bool, webView);
    QFETCH(QList<bool>, results);
    QFETCH(bool, offline);
    ZQUpdateDetailModel model(&_config);
    model.setUp();
    QSignalSpy loads(&model, &ZQUpdateDetailModel::loadRequested);
    if (!webView) {
        model.webViewUnavailable();
    }
    for (bool ok : results) {
        model.webLoadFinished(ok);
    }
    QCOMPARE(model.showsOfflinePage(), offline);
    QCOMPARE(model.drawsWebBackground(), !offline);
    QCOMPARE(loads.count(), offline ? 1 : 0);
    if (offline) {
        QCOMPARE(loads.first().first().toUrl(), ZQUpdateDetailModel::offlinePageUrl());
    }
}

void TestUpdateDetailModel::choiceFile_data() {
    QTest::addColumn<QByteArray>("existing");
    QTest::addColumn<bool>("ignore");  // else remind later
    QTest::addColumn<QVariantMap>("expected");

    const QVariantMap others{{"version", "7.0.1"}, {"count", qint64(3)}, {"notifyType", "old"}};
    const QByteArray binary = platform::Plist::serialize(others, platform::Plist::Format::Binary);
    QVERIFY(!binary.isEmpty());

    // Remind later over a text file is the window's click (tst_updatedetailwindow).
    QTest::newRow("binary file keeps the other keys")
        << binary << true
        << QVariantMap{{"version", "7.0.1"}, {"count", qint64(3)}, {"notifyType", "ignore"}};
    QTest::newRow("truncated binary is replaced")
        << binary.left(binary.size() - 12) << false << QVariantMap{{"notifyType", "promptLater"}};
}

void TestUpdateDetailModel::choiceFile() {
    QFETCH(QByteArray, existing);
    QFETCH(bool, ignore);
    QFETCH(QVariantMap, expected);
    QFile file(choicePath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(existing), existing.size());
    file.close();
    ZQUpdateDetailModel model(&_config);
    model.setUp();
    QSignalSpy closed(&model, &ZQUpdateDetailModel::closeRequested);
    QSignalSpy written(&model, &ZQUpdateDetailModel::choiceWritten);
    if (ignore) {
        model.ignoreThisVersion();
    } else {
        model.promptLater();
    }
    QCOMPARE(written.count(), 1);
    QCOMPARE(written.first().at(1).toBool(), true);
    QCOMPARE(closed.count(), 1);
    QCOMPARE(model.windowLevel(), ZQUpdateDetailModel::kNormalWindowLevel);
    const std::optional<QVariantMap> onDisk = platform::Plist::readDictionary(choicePath());
    QVERIFY(onDisk);
    QCOMPARE(*onDisk, expected);
    // Nothing but the file itself is left in the folder (the write was atomic).
    const QStringList entries =
        QDir(installRoot() + QStringLiteral("/Contents")).entryList(QDir::Files | QDir::Hidden);
    QCOMPARE(entries, (QStringList{"Info.plist", "updateInfo.plist"}));
}

void TestUpdateDetailModel::choiceFileNotWritable() {
    // A folder where the file should be: nothing can be written there.
    QVERIFY(QDir().mkpath(choicePath()));
    QFile marker(choicePath() + QStringLiteral("/keep"));
    QVERIFY(marker.open(QIODevice::WriteOnly));
    marker.close();
    ZQUpdateDetailModel model(&_config);
    model.setUp();
    QSignalSpy closed(&model, &ZQUpdateDetailModel::closeRequested);
    QSignalSpy written(&model, &ZQUpdateDetailModel::choiceWritten);
    model.promptLater();
    QCOMPARE(written.count(), 1);
    QCOMPARE(written.first().at(1).toBool(), false);
    QCOMPARE(closed.count(), 1);
    QVERIFY(QFileInfo(choicePath()).isDir());
    QVERIFY(QFileInfo::exists(choicePath() + QStringLiteral("/keep")));
}

void TestUpdateDetailModel::install_data() {
    QTest::addColumn<QVariant>("path");
    QTest::addColumn<bool>("handlerResult");
    QTest::addColumn<bool>("opens");
    QTest::newRow("package") << QVariant("/tmp/dl/VeskoInput 7.0.1.pkg") << true << true;
    QTest::newRow("no handler for the package")
        << QVariant("/tmp/dl/VeskoInput.pkg") << false << true;
    QTest::newRow("empty package path") << QVariant("") << true << false;
}

void TestUpdateDetailModel::install() {
    QFETCH(QVariant, path);
    QFETCH(bool, handlerResult);
    QFETCH(bool, opens);
    _openerResult = handlerResult;
    _config.setObject(QStringLiteral("UpdateByPkg"), QStringLiteral("UpdateMode"));
    _config.setObject(path, QStringLiteral("UpdatePkgPath"));
    ZQUpdateDetailModel model(&_config);
    model.setUp();
    QSignalSpy closed(&model, &ZQUpdateDetailModel::closeRequested);
    model.installPackage();
    if (!opens) {
        QCOMPARE(closed.count(), 1);
        QCoreApplication::processEvents();
        QVERIFY(_opened.isEmpty());
        return;
    }
    // The caller never waits for the desktop's handler.
    QVERIFY(_opened.isEmpty());
    QCOMPARE(closed.count(), 0);
    QVERIFY(model.isInstalling());
    QTRY_COMPARE(closed.count(), 1);
    QCOMPARE(_opened, QList<QUrl>{QUrl::fromLocalFile(path.toString())});
    QVERIFY(!model.isInstalling());
    QCOMPARE(model.windowLevel(), ZQUpdateDetailModel::kNormalWindowLevel);
    QVERIFY(!QFileInfo::exists(choicePath()));
}

void TestUpdateDetailModel::installRunsOnce() {
    _config.setObject(QStringLiteral("/tmp/a.pkg"), QStringLiteral("UpdatePkgPath"));
    ZQUpdateDetailModel model(&_config);
    model.setUp();
    QSignalSpy closed(&model, &ZQUpdateDetailModel::closeRequested);
    model.installPackage();
    model.installPackage();
    QTRY_COMPARE(closed.count(), 1);
    QCOMPARE(_opened.size(), 1);
}

QTEST_MAIN(TestUpdateDetailModel)
#include "tst_updatedetailmodel.moc"
