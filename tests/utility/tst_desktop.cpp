// The permission checks, the appearance decision, the screen-capture request
// and the settings pages against real services: the desktop's D-Bus services
// played by desktop_services.py on the private bus, and settings programs that
// are recording scripts on PATH.

#include "platform/Configuration.h"
#include "platform/Workspace.h"
#include "utility/ZQPermissions.h"
#include "utility/ZQSettingsPanes.h"
#include "utility/ZQSiblingApps.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

using B = QByteArray;

void setEnv(const char* name, const QByteArray& value) {
    value.isEmpty() ? void(qunsetenv(name)) : void(qputenv(name, value));
}

void writeFile(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
}

// A call to the services' control object; the text of its answer.
QString control(const char* method, const QVariantList& arguments = {}) {
    QDBusMessage message =
        QDBusMessage::createMethodCall("com.vesko.test.Desktop", "/control",
                                       "com.vesko.test.Desktop", QString::fromLatin1(method));
    message.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toString()
                                                      : "error";
}

}  // namespace

class TestDesktop : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        // Debian's interpreter, which has python3-dbus and python3-gi.
        _services.start("/usr/bin/python3",
                        {QStringLiteral(ZQ_SOURCE_DIR "/tests/utility/desktop_services.py")});
        QVERIFY(_services.waitForReadyRead(20000));
        QCOMPARE(_services.readLine().trimmed(), QByteArray("ready"));
        // Settings programs that record how they were started.
        for (const char* program : {"gnome-control-center", "systemsettings"}) {
            const QString path = _scratch.filePath(QString::fromLatin1(program));
            writeFile(path, "#!/bin/sh\necho \"$(basename \"$0\") $*\" >> \"$STUB_LOG\"\n");
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        }
        qputenv("STUB_LOG", _scratch.filePath("started.log").toUtf8());
        qputenv("PATH", _scratch.path().toUtf8() + ':' + qgetenv("PATH"));
    }
    void cleanupTestCase() {
        _services.kill();
        _services.waitForFinished();
    }
    void init() {
        QDir(_configHome).removeRecursively();
        QFile::remove(_scratch.filePath("started.log"));
        qunsetenv("VESKO_CONFIG");
        platform::Configuration::reload();
        resetFacadeModeParamNil();
    }
    void permissions_data() {
        // The services' answers, and the session, the desktop and a settings file of it.
        QTest::addColumn<QByteArray>("world");
        QTest::addColumn<QString>("expected");
        QTest::newRow("everything answers, dark")
            << B(R"({"a11y": true, "colorScheme": 1, "sourceTypes": 3, "background": 1,
                "decisions": {"com.vesko.VeskoServices": "no", "com.vesko.VeskoTaskManager": "yes"},
                "session": "wayland", "desktop": "GNOME"})")
            << "a11y 1 screen 1 setting 1 dark 1 approval 1/0";
        QTest::newRow("off, light, windows only")
            << B(R"({"a11y": false, "colorScheme": 2, "sourceTypes": 2, "session": "wayland"})")
            << "a11y 0 screen 0 setting 0 dark 0 approval 0/0";
        QTest::newRow("no services, wayland") << B(R"({"own": [], "session": "wayland"})")
                                              << "a11y 0 screen 0 setting 0 dark 0 approval 0/0";
        QTest::newRow("no preference, KDE dark and automatic")
            << B(R"({"colorScheme": 0, "session": "x11", "desktop": "KDE", "file": "kdeglobals",
                "content": "[General]\nColorScheme=BreezeDark\n[KDE]\nAutomaticLookAndFeel=true"})")
            << "a11y 0 screen 1 setting 2 dark 1 approval 0/0";
        const QByteArray gtkDark = R"("session": "x11", "desktop": "XFCE", "file":
            "gtk-3.0/settings.ini", "content": "[Settings]\ngtk-application-prefer-dark-theme=1"})";
        QTest::newRow("no portal, GTK prefers dark")
            << R"({"own": ["a11y"], "a11y": true, )" + gtkDark
            << "a11y 1 screen 1 setting 1 dark 1 approval 0/0";
        QTest::newRow("portal light over dark files")
            << R"({"colorScheme": 2, )" + gtkDark
            << "a11y 0 screen 1 setting 0 dark 0 approval 0/0";
        QTest::newRow("refusal stored, no Background portal")
            << B(R"({"decisions": {"com.vesko.VeskoServices": "no"}, "session": "x11"})")
            << "a11y 0 screen 1 setting 0 dark 0 approval 0/0";
        QTest::newRow("services never answer") << B(R"({"hang": true, "session": "wayland"})")
                                               << "a11y 0 screen 0 setting 0 dark 0 approval 0/0";
    }
    void permissions() {
        QFETCH(QByteArray, world);
        QFETCH(QString, expected);
        QCOMPARE(control("Configure", {QString::fromUtf8(world)}), QString());
        const QJsonObject env = QJsonDocument::fromJson(world).object();
        setEnv("XDG_SESSION_TYPE", env.value("session").toString().toUtf8());
        setEnv("XDG_CURRENT_DESKTOP", env.value("desktop").toString().toUtf8());
        if (env.contains("file")) {
            writeFile(_configHome + u'/' + env.value("file").toString(),
                      env.value("content").toString().toUtf8());
        }
        std::optional<zq::utility::DesktopPermissions> got;
        QObject context;
        zq::utility::queryDesktopPermissions(&context, [&got](const auto& permissions) {
            QCOMPARE(QThread::currentThread(), QCoreApplication::instance()->thread());
            got = permissions;
        });
        QTRY_VERIFY_WITH_TIMEOUT(got.has_value(), 20000);
        QCOMPARE(QStringLiteral("a11y %1 screen %2 setting %3 dark %4 approval %5/%6")
                     .arg(got->accessibility)
                     .arg(got->screenRecording)
                     .arg(got->appearanceSetting)
                     .arg(got->dark)
                     .arg(got->serviceNeedsApproval)
                     .arg(got->taskManagerNeedsApproval),
                 expected);
        QCOMPARE(isScreenRecordEnabled(), got->screenRecording);
        // The skin follows the desktop only in mode 0 and only for the default skin.
        QCOMPARE(hasSkinDarkMode("经典Vesko输入法默认皮肤", 0), got->dark);
        QCOMPARE(hasDarkMode(1) || !hasDarkMode(2), false);
        QCOMPARE(hasSkinDarkMode("Vesko输入法默认皮肤 夜间", 2), false);
    }
    void screenCastRequest_data() {
        QTest::addColumn<QByteArray>("services");
        QTest::addColumn<QByteArray>("session");
        QTest::addColumn<QByteArray>("expected");

        const QByteArray full = R"([["CreateSession", {}], ["SelectSources",
            {"types": 1, "multiple": false}], ["Start", {}], ["Close", {}]])";
        QTest::newRow("user answers") << B(R"({"sourceTypes": 7})") << B("wayland") << full;
        QTest::newRow("user cancels")
            << B(R"({"sourceTypes": 7, "responses": {"Start": 1}})") << B("wayland") << full;
        QTest::newRow("session refused")
            << B(R"({"sourceTypes": 7, "responses": {"CreateSession": 2}})") << B("wayland")
            << B(R"([["CreateSession", {}]])");
        QTest::newRow("x11 asks nothing") << B(R"({"sourceTypes": 7})") << B("x11") << B("[]");
        QTest::newRow("no ScreenCast portal") << B("{}") << B("wayland") << B("[]");
    }
    void screenCastRequest() {
        QFETCH(QByteArray, services);
        QFETCH(QByteArray, session);
        QFETCH(QByteArray, expected);
        QCOMPARE(control("Configure", {QString::fromUtf8(services)}), QString());
        setEnv("XDG_SESSION_TYPE", session);
        sendTriggerScreenCapture();
        QTRY_COMPARE(QJsonDocument::fromJson(control("Calls").toUtf8()),
                     QJsonDocument::fromJson(expected));
    }
    void settingsPages_data() {
        QTest::addColumn<QByteArray>("desktop");
        QTest::addColumn<QByteArray>("table");  // empty: the shipped configuration
        QTest::addColumn<QString>("address");
        QTest::addColumn<bool>("started");
        QTest::addColumn<QString>("display");

        using namespace zq::utility;
        const QString mic = QString::fromLatin1(kMicrophonePrivacyAddress);
        const QString contacts = QString::fromLatin1(kContactsPrivacyAddress);
        const QByteArray mixed =
            "[SettingsPanes.GNOME]\nSecurity.prefPane=gnome-control-center privacy\n"
            "Privacy_Microphone=\n[SettingsPanes]\n"
            "Privacy_Contacts=https://help.invalid/contacts\n"
            "Privacy_Microphone=https://help.invalid/microphone\n";
        const auto row = [](const char* name, const char* desktop, const QByteArray& table,
                            const QString& address, bool started, const QString& display) {
            QTest::newRow(name) << QByteArray(desktop) << table << address << started << display;
        };
        const QString login = QString::fromLatin1(kLoginItemsAddress);
        const QString pane = QString::fromLatin1(kSecurityPaneFile);
        row("GNOME, after another desktop name", "ubuntu:GNOME", {}, mic, true,
            "gnome-control-center microphone");
        row("KDE login items", "KDE", {}, login, true, "systemsettings kcm_autostart");
        row("desktop without a table", "XFCE", {}, mic, false, mic);
        row("program not installed", "KDE",
            "[SettingsPanes.KDE]\nPrivacy_Microphone=vesko-none mic\n", mic, false,
            "vesko-none mic");
        row("generic address", "GNOME", mixed, contacts, true, "https://help.invalid/contacts");
        row("pane file", "GNOME", mixed, pane, true, "gnome-control-center privacy");
        row("empty entry ends the search", "GNOME", mixed, mic, false, mic);
    }
    void settingsPages() {
        QFETCH(QByteArray, desktop);
        QFETCH(QByteArray, table);
        QFETCH(QString, address);
        QFETCH(bool, started);
        QFETCH(QString, display);
        setEnv("XDG_CURRENT_DESKTOP", desktop);
        if (!table.isEmpty()) {
            writeFile(_scratch.filePath("table.ini"), table);
            qputenv("VESKO_CONFIG", _scratch.filePath("table.ini").toUtf8());
            platform::Configuration::reload();
        }
        QStringList opened;
        platform::Workspace::setUrlOpener([&opened](const QUrl& url) {
            opened.append(url.toString());
            return true;
        });

        std::optional<bool> outcome;
        QString shown;
        QObject context;
        zq::utility::openSettingsPane(address, &context, [&](bool ok, const auto& target) {
            outcome = ok;
            shown = target.displayText();
        });
        QVERIFY2(!outcome, "the page opens on a later turn of the event loop");
        QTRY_VERIFY(outcome.has_value());
        platform::Workspace::setUrlOpener({});
        QCOMPARE(*outcome, started);
        QCOMPARE(shown, display);
        // What was started: the command line a settings program recorded, or the
        // address handed to the desktop.
        const auto startedText = [&] {
            QFile log(_scratch.filePath("started.log"));
            return log.open(QIODevice::ReadOnly) ? QString::fromUtf8(log.readAll()).trimmed()
                                                 : opened.join(QLatin1Char(' '));
        };
        QTRY_COMPARE(startedText(), started ? display : QString());
    }

private:
    QProcess _services;
    QTemporaryDir _scratch;
    QString _configHome = QDir::homePath() + "/.config";
};

QTEST_GUILESS_MAIN(TestDesktop)
#include "tst_desktop.moc"
