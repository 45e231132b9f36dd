#include "app/core/ZQAssistConfig.h"
#include "controls/ZQCustomButton.h"
#include "pages/widgets/ChangeLogView.h"
#include "pages/widgets/ZQUpdateDetail.h"
#include "platform/Plist.h"
#include "platform/Translations.h"
#include "platform/Workspace.h"
#include "tests/support/RefService.h"

#include <QApplication>
#include <QLabel>
#include <QtTest>

namespace {

const QString kName = QStringLiteral("kVeskoPreferencesXibName");
constexpr int kWebTimeout = 60000;

QString choicePath() {
    return qEnvironmentVariable("VESKO_INSTALL_ROOT") +
           QStringLiteral("/Contents/updateInfo.plist");
}

bool staysOnTop(QWidget* window) {
    return window->windowFlags().testFlag(Qt::WindowStaysOnTopHint);
}

}  // namespace

// The window's own part: what it shows, its level, the clicks and the web
// view. The layout rules are the model's (tst_updatedetailmodel); the
// requests' order of storing and re-reading is the shell's (tst_appdelegate).
class TestUpdateDetailWindow : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void showsChangeLogAndPackageLayout();
    void showsOfflinePageWhenChangeLogFails();
    void levelFollowsTheWindow();
    void clickWritesChoiceAndCloses();

private:
    zq::test::RefService _service;
    std::unique_ptr<ZQAssistConfig> _config;
};

void TestUpdateDetailWindow::initTestCase() {
    QVERIFY(platform::installTranslations(qApp));
    QVERIFY(platform::Plist::writeFile(
        qEnvironmentVariable("VESKO_INSTALL_ROOT") + QStringLiteral("/Contents/Info.plist"),
        QVariantMap{{QStringLiteral("CFBundleFullVersion"), QStringLiteral("6.9.2")}}));
    QVERIFY2(_service.start(), qPrintable(_service.errorString()));
    platform::Workspace::setUrlOpener([](const QUrl&) { return true; });
}

void TestUpdateDetailWindow::init() {
    _config = std::make_unique<ZQAssistConfig>();
    _service.clearFaults();
    QFile::remove(choicePath());
}

void TestUpdateDetailWindow::cleanup() {
    _config.reset();
}

void TestUpdateDetailWindow::showsChangeLogAndPackageLayout() {
    _config->setObject(QStringLiteral("UpdateByPkg"), QStringLiteral("UpdateMode"));
    _config->setObject(QStringLiteral("7.0.1"), QStringLiteral("UpdateVersion"));
    ZQUpdateDetail page(_config.get());
    page.showPage(QStringLiteral("ZQUpdateDetail"));
    QWidget* window = page.window();
    QVERIFY(window->isVisible());
    QVERIFY(staysOnTop(window));
    QCOMPARE(window->windowTitle(), QStringLiteral("Vesko输入法更新"));
    QCOMPARE(page.sloganString()->text(), QStringLiteral("Vesko输入法 最新版本 7.0.1"));
    QCOMPARE(page.localVerString()->text(), QStringLiteral("您现在的Vesko输入法版本：6.9.2"));
    QVERIFY(page.updateBtn()->isVisible());
    QVERIFY(page.ignoreThisBtn()->isVisible());
    QVERIFY(page.promptLaterBtn()->isVisible());
    QVERIFY(!page.okBtn()->isVisible());

    // The headline and buttons are painted before the web engine is loaded.
    QVERIFY(!page.webView());
    QTRY_VERIFY(page.webView());
    QTRY_VERIFY_WITH_TIMEOUT(page.model()->changeLogArrived(), kWebTimeout);
    QVERIFY(!_service.entries(QStringLiteral("/mac/proxy/")).isEmpty());
}

void TestUpdateDetailWindow::showsOfflinePageWhenChangeLogFails() {
    // The connection is dropped without an answer.
    QVERIFY(_service.setFault(QStringLiteral("/mac/proxy/"), QStringLiteral("drop")));
    ZQUpdateDetail page(_config.get());
    page.showPage(QStringLiteral("ZQUpdateDetail"));
    QTRY_VERIFY(page.webView());
    QTRY_VERIFY_WITH_TIMEOUT(page.model()->showsOfflinePage(), kWebTimeout);
    QVERIFY(!page.model()->drawsWebBackground());
    QVERIFY(!page.model()->changeLogArrived());
}

void TestUpdateDetailWindow::levelFollowsTheWindow() {
    _config->setObject(QStringLiteral("UpdateByPkg"), QStringLiteral("UpdateMode"));
    ZQUpdateDetail page(_config.get());
    page.showPage(QStringLiteral("ZQUpdateDetail"));
    QWidget* window = page.window();
    QVERIFY(staysOnTop(window));

    QVERIFY(window->close());
    QCOMPARE(page.model()->windowLevel(), ZQUpdateDetailModel::kNormalWindowLevel);
    QTRY_VERIFY(!staysOnTop(window));
    QVERIFY(!window->isVisible());

    // Shown again for a new request: in front again, and visible.
    page.showPage(QStringLiteral("ZQUpdateDetail"));
    _config->setObject(QStringLiteral("Silent"), QStringLiteral("UpdateMode"));
    _config->setObject(QStringLiteral("7.0.2"), QStringLiteral("UpdateVersion"));
    page.loadRequestReceived({{kName, QStringLiteral("ZQUpdateDetail")}});
    QTRY_COMPARE(page.sloganString()->text(), QStringLiteral("Vesko输入法 已经升至7.0.2"));
    QVERIFY(staysOnTop(window));
    QVERIFY(window->isVisible());
    QVERIFY(page.okBtn()->isVisible());
}

void TestUpdateDetailWindow::clickWritesChoiceAndCloses() {
    _config->setObject(QStringLiteral("UpdateByPkg"), QStringLiteral("UpdateMode"));
    QVERIFY(platform::Plist::writeFile(choicePath(), QVariantMap{{"remoteVersion", "7.0.1"}}));
    ZQUpdateDetail page(_config.get());
    page.showPage(QStringLiteral("ZQUpdateDetail"));
    QVERIFY(QTest::qWaitForWindowExposed(page.window()));
    QTest::mouseClick(page.promptLaterBtn(), Qt::LeftButton);
    QTRY_VERIFY(!page.window()->isVisible());
    const auto onDisk = platform::Plist::readDictionary(choicePath());
    QVERIFY(onDisk);
    QCOMPARE(*onDisk, (QVariantMap{{"remoteVersion", "7.0.1"}, {"notifyType", "promptLater"}}));
}

int main(int argc, char* argv[]) {
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    TestUpdateDetailWindow test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_updatedetailwindow.moc"
