#include "app/AppDelegate.h"
#include "app/core/ZQAssistConfig.h"
#include "app/host/PageRegistry.h"
#include "controls/ZQCustomButton.h"
#include "pages/widgets/ChangeLogView.h"
#include "pages/widgets/ZQUpdateDetail.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Plist.h"
#include "platform/Translations.h"
#include "platform/Workspace.h"
#include "tests/support/RefService.h"

#include <QApplication>
#include <QDBusConnection>
#include <QLabel>
#include <QtTest>

using platform::DistributedNotificationCenter;

namespace {

const QString kLoad = QStringLiteral("kVeskoNotifyLoadXibInZQAssistPanel");
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

class TestUpdateDetailWindow : public QObject {
    Q_OBJECT
public:
    TestUpdateDetailWindow()
        : _posterBus(QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                                   QStringLiteral("zq-test-poster"))) {}

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void showsChangeLogAndPackageLayout();
    void showsOfflinePageWhenChangeLogFails();
    void levelFollowsTheWindow();
    void clickWritesChoiceAndCloses();
    void delegateCopiesPayloadBeforePageRereads();
    void firstOpenedByNotificationShowsSetUpTexts();

private:
    std::unique_ptr<AppDelegate> startDelegate(const QStringList& arguments);

    QDBusConnection _posterBus;
    zq::test::RefService _service;
    std::unique_ptr<DistributedNotificationCenter> _center;
    std::unique_ptr<DistributedNotificationCenter> _poster;
    std::unique_ptr<ZQAssistConfig> _config;
    zq::pagehost::PageRegistry _registry;
};

void TestUpdateDetailWindow::initTestCase() {
    QVERIFY(QDBusConnection::sessionBus().isConnected());
    QVERIFY(platform::installTranslations(qApp));
    QVERIFY(platform::Plist::writeFile(
        qEnvironmentVariable("VESKO_INSTALL_ROOT") + QStringLiteral("/Contents/Info.plist"),
        QVariantMap{{QStringLiteral("CFBundleFullVersion"), QStringLiteral("6.9.2")}}));
    QVERIFY2(_service.start(), qPrintable(_service.errorString()));
    _poster = std::make_unique<DistributedNotificationCenter>(_posterBus);
    platform::Workspace::setUrlOpener([](const QUrl&) { return true; });
}

void TestUpdateDetailWindow::init() {
    _center = std::make_unique<DistributedNotificationCenter>(QDBusConnection::sessionBus());
    _config = std::make_unique<ZQAssistConfig>();
    _registry = zq::pagehost::PageRegistry();
    _registry.add(QStringLiteral("ZQUpdateDetail"),
                  [this] { return std::make_unique<ZQUpdateDetail>(_config.get()); });
    _service.clearFaults();
    QFile::remove(choicePath());
}

void TestUpdateDetailWindow::cleanup() {
    _center.reset();
    _config.reset();
}

std::unique_ptr<AppDelegate> TestUpdateDetailWindow::startDelegate(const QStringList& arguments) {
    AppDelegate::Dependencies deps;
    deps.notificationCenter = _center.get();
    deps.config = _config.get();
    deps.registry = &_registry;
    deps.serveApplicationInterface = false;
    auto delegate = std::make_unique<AppDelegate>(
        QStringList{QStringLiteral("ZQAssistPanel")} + arguments, deps);
    delegate->applicationDidFinishLaunching();
    return delegate;
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
    QCOMPARE(page.webView()->widget()->parentWidget()->objectName(), QStringLiteral("webView"));
    QTRY_VERIFY_WITH_TIMEOUT(page.model()->changeLogArrived(), kWebTimeout);
    QVERIFY(!_service.entries(QStringLiteral("/mac/proxy/")).isEmpty());
}

void TestUpdateDetailWindow::showsOfflinePageWhenChangeLogFails() {
    // The connection is dropped without an answer.
    QVERIFY(_service.setFault(QStringLiteral("/mac/proxy/"), QStringLiteral("drop")));
    _config->setObject(QStringLiteral("Silent"), QStringLiteral("UpdateMode"));
    ZQUpdateDetail page(_config.get());
    page.showPage(QStringLiteral("ZQUpdateDetail"));
    QCOMPARE(page.sloganString()->text(), QStringLiteral("Vesko输入法 已升级至 6.9.2"));
    QVERIFY(page.okBtn()->isVisible());
    QVERIFY(!page.updateBtn()->isVisible());
    QVERIFY(!page.localVerString()->isVisible());

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

void TestUpdateDetailWindow::delegateCopiesPayloadBeforePageRereads() {
    auto delegate = startDelegate({QStringLiteral("-ZQUpdateDetail"), QStringLiteral("-/p.pkg"),
                                   QStringLiteral("-UpdateByPkg"), QStringLiteral("-2.0")});
    auto* page = static_cast<ZQUpdateDetail*>(delegate->controllerForPage("ZQUpdateDetail"));
    QVERIFY(page);
    QCOMPARE(page->sloganString()->text(), QStringLiteral("Vesko输入法 最新版本 2.0"));
    QVERIFY(_poster->post(kLoad, {{kName, QStringLiteral("ZQUpdateDetail")},
                                  {QStringLiteral("UpdateMode"), QStringLiteral("Silent")},
                                  {QStringLiteral("UpdateVersion"), QStringLiteral("3.0")}}));
    QTRY_COMPARE(page->sloganString()->text(), QStringLiteral("Vesko输入法 已经升至3.0"));
    QCOMPARE(page->model()->mode(), QStringLiteral("Silent"));
    QVERIFY(page->okBtn()->isVisible());
    QCOMPARE(delegate->controllerForPage("ZQUpdateDetail"), page);
}

void TestUpdateDetailWindow::firstOpenedByNotificationShowsSetUpTexts() {
    auto delegate = startDelegate({});
    QVERIFY(_poster->post(kLoad, {{kName, QStringLiteral("ZQUpdateDetail")},
                                  {QStringLiteral("UpdateMode"), QStringLiteral("UpdateByPkg")},
                                  {QStringLiteral("UpdateVersion"), QStringLiteral("2.5")}}));
    QTRY_VERIFY(delegate->controllerForPage("ZQUpdateDetail"));
    auto* page = static_cast<ZQUpdateDetail*>(delegate->controllerForPage("ZQUpdateDetail"));
    QVERIFY(page->window()->isVisible());
    // The notification that created the page is not also a re-arrangement.
    QCOMPARE(page->sloganString()->text(), QStringLiteral("Vesko输入法 最新版本 2.5"));
}

int main(int argc, char* argv[]) {
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    TestUpdateDetailWindow test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_updatedetailwindow.moc"
