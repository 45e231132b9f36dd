// The input method's data helpers: per-user copies of the shipped files, and
// the question-and-answer site in a browser window on a real X server, where
// the test plays the window manager's part of listing the client windows.

#include "platform/Plist.h"
#include "utility/ProductLocations.h"
#include "utility/ZQIMDataHelpers.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

namespace {

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

}  // namespace

class TestIMDataHelpers : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        _x = xcb_connect(nullptr, nullptr);
        QVERIFY(!xcb_connection_has_error(_x));
        _screen = xcb_setup_roots_iterator(xcb_get_setup(_x)).data;
        const xcb_window_t clients[] = {
            window("chrome\0Google-chrome", 21, "如何看待 - 知乎 - Google Chrome", true),
            window("gedit\0Gedit", 12, "知乎 - 草稿", true),
            window("Navigator\0firefox", 18, "知乎 - 首页", false),
            window("opera\0Opera", 12, "新闻", true),
        };
        xcb_change_property(_x, XCB_PROP_MODE_REPLACE, _screen->root, atom("_NET_CLIENT_LIST"),
                            XCB_ATOM_WINDOW, 32, 4, clients);
        // A round trip: the server has handled every request before it answers.
        free(xcb_get_input_focus_reply(_x, xcb_get_input_focus(_x), nullptr));
    }
    void cleanupTestCase() { xcb_disconnect(_x); }
    void browserWindows_data() {
        QTest::addColumn<QString>("browser");
        QTest::addColumn<QByteArray>("session");
        QTest::addColumn<bool>("shown");
        QTest::newRow("Chrome on the site") << "com.google.Chrome" << QByteArray("x11") << true;
        QTest::newRow("Opera elsewhere") << "com.operasoftware.Opera" << QByteArray("x11") << false;
        QTest::newRow("minimised Firefox") << "org.mozilla.firefox" << QByteArray("x11") << false;
        QTest::newRow("unlisted application") << "org.gnome.gedit" << QByteArray("x11") << false;
        QTest::newRow("Wayland") << "com.google.Chrome" << QByteArray("wayland") << false;
        QTest::newRow("no identifier") << QString() << QByteArray("x11") << false;
    }
    void browserWindows() {
        QFETCH(QString, browser);
        QFETCH(QByteArray, session);
        QFETCH(bool, shown);
        qputenv("XDG_SESSION_TYPE", session);
        QCOMPARE(IsInZhihuBrowser(browser), shown);
    }
    void copyAbbreviations() {
        QDir().mkpath(zq::utility::userDataFolder());
        const QString name = "phrases.bin";
        const QString userCopy = zq::utility::userDataFilePath(name);
        const QByteArray shipped = contents(zq::utility::imDataFilePath("zqim_phrases_user.bin"));
        QVERIFY(platform::Plist::parse(shipped).has_value());
        // No user folder: the user data copy is made from the shipped file, once.
        QVERIFY(ZQCopyAbbrUserSetFile(QString(), name, true));
        QCOMPARE(contents(userCopy), shipped);
        QVERIFY(!ZQCopyAbbrUserSetFile(QString(), name, true));
        // A user folder: the user data copy when preferred, else the shipped file; never
        // over an existing target.
        QFile(userCopy).resize(3);
        const QString folder = QDir::homePath();
        QVERIFY(ZQCopyAbbrUserSetFile(folder, name, true));
        QCOMPARE(contents(folder + u'/' + name), shipped.left(3));
        QVERIFY(QFile::copy(userCopy, zq::utility::userDataFilePath("other.bin")));
        QVERIFY(ZQCopyAbbrUserSetFile(folder, "other.bin", false));
        QCOMPARE(contents(folder + "/other.bin"), shipped);
        QVERIFY(!ZQCopyAbbrUserSetFile(folder, name, false));
        QCOMPARE(contents(folder + u'/' + name), shipped.left(3));
    }
    void symbolSubstitutesFirstRun() {
        QDir(zq::utility::userDataFolder()).removeRecursively();
        QDir().mkpath(zq::utility::userDataFolder());
        const std::optional<QVariantList> shown = ZQGetSymbolSubsituteArray(QString());
        const std::optional<QVariantList> written =
            platform::Plist::readArray(zq::utility::userDataFilePath("symbolSubsitute.plist"));
        QVERIFY(shown && written && shown->size() == written->size());
        QString shownKeys, writtenKeys;  // the one- and two-character keys, in order
        for (qsizetype i = 0; i < shown->size(); ++i) {
            shownKeys += shown->at(i).toMap().value("key").toString() + u' ';
            writtenKeys += written->at(i).toMap().value("key").toString() + u' ';
        }
        QVERIFY(writtenKeys.contains("【 】"));
        QCOMPARE(shownKeys, QString(writtenKeys).replace(u'【', u'[').replace(u'】', u']'));
    }

private:
    xcb_window_t window(const char* wmClass, size_t classSize, const char* title, bool mapped) {
        const xcb_window_t id = xcb_generate_id(_x);
        xcb_create_window(_x, XCB_COPY_FROM_PARENT, id, _screen->root, 0, 0, 100, 100, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, _screen->root_visual, 0, nullptr);
        xcb_change_property(_x, XCB_PROP_MODE_REPLACE, id, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                            uint32_t(classSize), wmClass);
        xcb_change_property(_x, XCB_PROP_MODE_REPLACE, id, atom("_NET_WM_NAME"),
                            atom("UTF8_STRING"), 8, uint32_t(strlen(title)), title);
        if (mapped) {
            xcb_map_window(_x, id);
        }
        return id;
    }
    xcb_atom_t atom(const char* name) {
        xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
            _x, xcb_intern_atom(_x, 0, uint16_t(strlen(name)), name), nullptr);
        const xcb_atom_t value = reply->atom;
        free(reply);
        return value;
    }

    xcb_connection_t* _x = nullptr;
    xcb_screen_t* _screen = nullptr;
};

QTEST_GUILESS_MAIN(TestIMDataHelpers)
#include "tst_imdatahelpers.moc"
