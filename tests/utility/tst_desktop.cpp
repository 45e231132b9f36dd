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
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("com.vesko.test.Desktop"), QStringLiteral("/control"),
        QStringLiteral("com.vesko.test.Desktop"), QString::fromLatin1(method));
    message.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toString()
                                                      : QStringLiteral("error");
}

}  // namespace

class TestDesktop : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        // Debian's interpreter, which has python3-dbus and python3-gi.
        m_services.start(QStringLiteral("/usr/bin/python3"),
                         {QStringLiteral(ZQ_SOURCE_DIR "/tests/utility/desktop_services.py")});
        QVERIFY(m_services.waitForReadyRead(20000));
        QCOMPARE(m_services.readLine().trimmed(), QByteArray("ready"));
        // Settings programs that record how they were started.
        for (const char* program : {"gnome-control-center", "systemsettings"}) {
            const QString path = m_scratch.filePath(QString::fromLatin1(program));
            writeFile(path, "#!/bin/sh\necho \"$(basename \"$0\") $*\" >> \"$STUB_LOG\"\n");
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        }
        qputenv("STUB_LOG", m_scratch.filePath(QStringLiteral("started.log")).toUtf8());
        qputenv("PATH", m_scratch.path().toUtf8() + ':' + qgetenv("PATH"));
    }
    void cleanupTestCase() {
        m_services.kill();
        m_services.waitForFinished();
    }
    void init() {
        QDir(m_configHome).removeRecursively();
        QFile::remove(m_scratch.filePath(QStringLiteral("started.log")));
        qunsetenv("VESKO_CONFIG");
        platform::Configuration::reload();
        resetFacadeModeParamNil();
    }
    void permissions_data() {
        QTest::addColumn<QByteArray>("services");
        QTest::addColumn<QByteArray>("session");
        QTest::addColumn<QByteArray>("desktop");
        QTest::addColumn<QByteArray>("file");  // a settings file of the desktop, "path=content"
        QTest::addColumn<bool>("accessibility");
        QTest::addColumn<bool>("screen");
        QTest::addColumn<qint64>("setting");
        QTest::addColumn<bool>("approval");

        const QByteArray all =
            R"({"a11y": true, "colorScheme": 1, "sourceTypes": 3, "background": 1,
            "decisions": {"com.vesko.VeskoServices": "no", "com.vesko.VeskoTaskManager": "yes"}})";
        const QByteArray kdeDark =
            B("kdeglobals=[General]\nColorScheme=BreezeDark\n[KDE]\nAutomaticLookAndFeel=true\n");
        const QByteArray gtkDark =
            B("gtk-3.0/settings.ini=[Settings]\ngtk-application-prefer-dark-theme=1\n");
        QTest::newRow("everything answers, dark")
            << all << B("wayland") << B("GNOME") << B("") << true << true << qint64(1) << true;
        QTest::newRow("off, light, windows only")
            << QByteArray(R"({"a11y": false, "colorScheme": 2, "sourceTypes": 2})") << B("wayland")
            << B("GNOME") << B("") << false << false << qint64(0) << false;
        QTest::newRow("no services, wayland")
            << QByteArray(R"({"own": []})") << B("wayland") << B("GNOME") << B("") << false << false
            << qint64(0) << false;
        QTest::newRow("no session") << QByteArray(R"({"own": []})") << B("") << B("") << B("")
                                    << false << false << qint64(0) << false;
        QTest::newRow("no preference, KDE dark and automatic")
            << QByteArray(R"({"colorScheme": 0})") << B("x11") << B("KDE") << kdeDark << false
            << true << qint64(2) << false;
        QTest::newRow("no portal, GTK prefers dark")
            << QByteArray(R"({"own": ["a11y"], "a11y": true})") << B("x11") << B("XFCE") << gtkDark
            << true << true << qint64(1) << false;
        QTest::newRow("portal light over dark files")
            << QByteArray(R"({"colorScheme": 2})") << B("x11") << B("XFCE") << gtkDark << false
            << true << qint64(0) << false;
        QTest::newRow("refusal stored, no Background portal")
            << QByteArray(R"({"decisions": {"com.vesko.VeskoServices": "no"}})") << B("x11")
            << B("GNOME") << B("") << false << true << qint64(0) << false;
        QTest::newRow("services never answer")
            << QByteArray(R"({"hang": true})") << B("wayland") << B("GNOME") << B("") << false
            << false << qint64(0) << false;
    }
    void permissions() {
        QFETCH(QByteArray, services);
        QFETCH(QByteArray, session);
        QFETCH(QByteArray, desktop);
        QFETCH(QByteArray, file);
        QFETCH(bool, accessibility);
        QFETCH(bool, screen);
        QFETCH(qint64, setting);
        QFETCH(bool, approval);
        QCOMPARE(control("Configure", {QString::fromUtf8(services)}), QString());
        setEnv("XDG_SESSION_TYPE", session);
        setEnv("XDG_CURRENT_DESKTOP", desktop);
        if (!file.isEmpty()) {
            const qsizetype at = file.indexOf('=');
            writeFile(m_configHome + QLatin1Char('/') + QString::fromUtf8(file.left(at)),
                      file.mid(at + 1));
        }

        std::optional<zq::utility::DesktopPermissions> got;
        QObject context;
        zq::utility::queryDesktopPermissions(&context, [&got](const auto& permissions) {
            QCOMPARE(QThread::currentThread(), QCoreApplication::instance()->thread());
            got = permissions;
        });
        QTRY_VERIFY_WITH_TIMEOUT(got.has_value(), 20000);
        QCOMPARE(got->accessibility, accessibility);
        QCOMPARE(got->screenRecording, screen);
        QCOMPARE(got->appearanceSetting, setting);
        QCOMPARE(got->serviceNeedsApproval, approval);
        QCOMPARE(got->taskManagerNeedsApproval, false);
        QCOMPARE(isScreenRecordEnabled(), screen);
        // The skin follows the desktop only in mode 0 and only for the default skin.
        const bool dark = setting == 1 || (setting == 2 && desktop == "KDE");
        QCOMPARE(hasSkinDarkMode(QStringLiteral("经典Vesko输入法默认皮肤"), 0), dark);
        QCOMPARE(hasDarkMode(1) || !hasDarkMode(2), false);
        QCOMPARE(hasSkinDarkMode(QStringLiteral("Vesko输入法默认皮肤 夜间"), 2), false);
    }
    void screenCastRequest_data() {
        QTest::addColumn<QByteArray>("services");
        QTest::addColumn<QByteArray>("session");
        QTest::addColumn<QByteArray>("expected");

        const QByteArray full = R"([["CreateSession", {}], ["SelectSources",
            {"types": 1, "multiple": false}], ["Start", {}], ["Close", {}]])";
        QTest::newRow("user answers")
            << QByteArray(R"({"sourceTypes": 7})") << B("wayland") << full;
        QTest::newRow("user cancels")
            << QByteArray(R"({"sourceTypes": 7, "responses": {"Start": 1}})") << B("wayland")
            << full;
        QTest::newRow("session refused")
            << QByteArray(R"({"sourceTypes": 7, "responses": {"CreateSession": 2}})")
            << B("wayland") << QByteArray(R"([["CreateSession", {}]])");
        QTest::newRow("x11 asks nothing")
            << QByteArray(R"({"sourceTypes": 7})") << B("x11") << QByteArray("[]");
        QTest::newRow("no ScreenCast portal")
            << QByteArray("{}") << B("wayland") << QByteArray("[]");
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
        QTest::newRow("GNOME, after another desktop name")
            << QByteArray("ubuntu:GNOME") << QByteArray() << mic << true
            << QStringLiteral("gnome-control-center microphone");
        QTest::newRow("KDE login items")
            << QByteArray("KDE") << QByteArray() << QString::fromLatin1(kLoginItemsAddress) << true
            << QStringLiteral("systemsettings kcm_autostart");
        QTest::newRow("desktop without a table")
            << QByteArray("XFCE") << QByteArray() << mic << false << mic;
        QTest::newRow("program not installed")
            << QByteArray("KDE")
            << QByteArray("[SettingsPanes.KDE]\nPrivacy_Microphone=vesko-none mic\n") << mic
            << false << QStringLiteral("vesko-none mic");
        QTest::newRow("generic address") << QByteArray("GNOME") << mixed << contacts << true
                                         << QStringLiteral("https://help.invalid/contacts");
        QTest::newRow("pane file")
            << QByteArray("GNOME") << mixed << QString::fromLatin1(kSecurityPaneFile) << true
            << QStringLiteral("gnome-control-center privacy");
        QTest::newRow("empty entry ends the search")
            << QByteArray("GNOME") << mixed << mic << false << mic;
    }
    void settingsPages() {
        QFETCH(QByteArray, desktop);
        QFETCH(QByteArray, table);
        QFETCH(QString, address);
        QFETCH(bool, started);
        QFETCH(QString, display);
        setEnv("XDG_CURRENT_DESKTOP", desktop);
        if (!table.isEmpty()) {
            writeFile(m_scratch.filePath(QStringLiteral("table.ini")), table);
            qputenv("VESKO_CONFIG", m_scratch.filePath(QStringLiteral("table.ini")).toUtf8());
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
            QFile log(m_scratch.filePath(QStringLiteral("started.log")));
            return log.open(QIODevice::ReadOnly) ? QString::fromUtf8(log.readAll()).trimmed()
                                                 : opened.join(QLatin1Char(' '));
        };
        QTRY_COMPARE(startedText(), started ? display : QString());
    }

private:
    QProcess m_services;
    QTemporaryDir m_scratch;
    QString m_configHome = QDir::homePath() + QStringLiteral("/.config");
};

QTEST_GUILESS_MAIN(TestDesktop)
#include "tst_desktop.moc"
