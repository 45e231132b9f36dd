// The permission guidance model without a window: what each sequence of requests shows,
// counts and posts, and what "前往授权" starts. Counts go to the reference web service through
// the real analytics client; messages travel over the private session bus; settings pages are
// recording programs named by the settings table.
#include "app/core/ZQAssistConfig.h"
#include "pages/models/ZQAccesAuthorizeModel.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Plist.h"
#include "platform/Translations.h"
#include "stats/TesselReport.h"
#include "stats/ZQTesselReportTool.h"
#include "tests/support/RefService.h"
#include "utility/ZQSiblingApps.h"

#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QHash<QString, QString> kPrompts{
    {"stickers", "“斗图”功能的使用，需要您授权“辅助功能”权限"},
    {"voiceRepeat", "语音结果输入重复，需要您授权“辅助功能”权限"},
    {"pairing", "“中文标点配对”功能的使用，需要您授权“辅助功能”权限"},
    {"handwriting", "“手写输入”删除键的使用，需要您授权“辅助功能”权限"},
    {"touchBar", "TouchBar点击无响应，需要您手动前往授权解决"},
    {"numbers", "“智能调整数字后标点”全部生效，需要您授权“辅助功能”权限"},
    {"contactPage", "通讯录功能的使用，需要您手动前往授权"},
    {"contacts", "“通讯录”功能的使用，需要您授权“通讯录”权限"},
    {"zhihu", "“知乎内引号替换”功能的使用，需要您授权“屏幕录制”权限"},
    {"screenshot", "“截图”功能的使用，需要您授权“屏幕录制”权限"},
    {"voiceBoth", "“语音输入”功能的使用，需要您授权“麦克风”“辅助功能”权限"},
    {"voice", "“语音输入”功能的使用，需要您授权“麦克风”权限"},
    {"emoji", "“自定义表情”功能的使用，需要您授权“辅助功能”权限"},
    {"login", "“登录”功能的使用，需要您允许Vesko输入法在后台运行"},
    {"upgrade", "“升级”功能的使用，需要您允许Vesko输入法在后台运行"},
    {"", ""}};
const QString kBottomLine = "允许在后台中，找到“Vesko输入法”，打开允许在后台运行的开关";
const QString kSync = "zq-test-sync";

// Requests separated by ";", each "Page key=value ..."; "#3" stores the number 3, "3" the text.
void request(ZQAssistConfig& config, ZQAccesAuthorizeModel& model, const QString& requests) {
    for (const QString& line : requests.split(';')) {
        QStringList parts = line.split(' ', Qt::SkipEmptyParts);
        const QString page = parts.takeFirst();
        for (const QString& part : parts) {
            const QString value = part.section('=', 1);
            config.setObject(
                value.startsWith('#') ? QVariant(value.mid(1).toLongLong()) : QVariant(value),
                part.section('=', 0, 0));
        }
        model.updateWindowWithAuthString(page);
    }
}

}  // namespace

class TestAccesAuthorizeModel : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(platform::installTranslations(qApp));
        qputenv("VESKO_SYSTEM_ROOT", m_scratch.path().toUtf8());
        QVERIFY(platform::Plist::writeFile(
            m_scratch.filePath("System/Library/CoreServices/SystemVersion.plist"),
            QVariantMap{{"ProductVersion", "14.2"}}));
        QVERIFY2(m_service.start(), qPrintable(m_service.errorString()));
        for (const char* name : {"Privacy_Accessibility", "Privacy_Contacts",
                                 "Privacy_ScreenCapture", "Privacy_Microphone",
                                 "com.apple.LoginItems-Settings.extension", "Security.prefPane"}) {
            m_service.setConfigValue(QString("SettingsPanes.ZQTest/") + name,
                                     QString("zq-settings-stub ") + name);
        }
        m_service.setConfigValue("SettingsPanes.ZQMissing/Privacy_Microphone",
                                 "zq-no-such-settings microphone");
        const QString stub = m_scratch.filePath("zq-settings-stub");
        QFile file(stub);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\necho \"$*\" >> \"$STUB_LOG\"\n");
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("STUB_LOG", m_scratch.filePath("started.log").toUtf8());
        qputenv("PATH", m_scratch.path().toUtf8() + ':' + qgetenv("PATH"));
        m_tool = std::make_unique<ZQTesselReportTool>(&m_report, m_scratch.filePath("Tessel"));
        platform::DistributedNotificationCenter::defaultCenter()->addObserver(
            this, {}, [this](const QString& name, const QVariantMap& info) {
                const QVariant key = info.value("kSimulateKeyType");
                m_messages << name + (key.typeId() == QMetaType::QString
                                          ? " '" + key.toString() + "'"
                                      : key.isValid() ? " " + key.toString()
                                                      : QString());
            });
    }
    void init() {
        settle();
        m_service.clearAnalytics();
        m_messages.clear();
        QFile::remove(m_scratch.filePath("started.log"));
    }

    void refill_data() {
        QTest::addColumn<QString>("requests");
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<QString>("shown");  // height, info line, bottom line, pictures, kind
        QTest::addColumn<QStringList>("events");
        QTest::addColumn<QStringList>("messages");
        const QString access = "617 info - access_tip access_step 0";
        const QString punct = "ZQAccesAuthorize AccesAction=1 AccesType=3";
        const QStringList pairingCount{"mac_prompt_imp 2/2"};
        const char* kinds[][4] = {{"1", "stickers", "1"}, {"2", "voiceRepeat", "4"},
                                  {"4", "stickers", "1"}, {"5", "handwriting", "5"},
                                  {"6", "touchBar", "6"}, {"7", "touchBar", "7"},
                                  {"8", "numbers", "3"}};
        for (const auto& k : kinds) {
            QTest::addRow("accessibility type %s", k[0])
                << QString("ZQAccesAuthorize AccesAction=#1 AccesType=#%1").arg(k[0]) << k[1]
                << access << QStringList{QString("mac_prompt_imp %1/2").arg(k[2])}
                << QStringList{QString("kVeskoNotifyHandleStatistician %1").arg(k[0])};
        }
        QTest::newRow("accessibility, the type as text")
            << punct << "pairing" << access << pairingCount
            << QStringList{"kVeskoNotifyHandleStatistician '3'"};
        QTest::newRow("the same request again: no count, no message")
            << punct + ";" + punct << "pairing" << access << pairingCount
            << QStringList{"kVeskoNotifyHandleStatistician '3'"};
        QTest::newRow("unknown type: prompt kept, message sent")
            << punct + "; ZQAccesAuthorize AccesType=9"
            << "pairing" << access << pairingCount
            << QStringList{"kVeskoNotifyHandleStatistician '3'",
                           "kVeskoNotifyHandleStatistician '9'"};
        QTest::newRow("no action: shorter window, every time")
            << "ZQAccesAuthorize AccesAction=0 AccesType=3; ZQAccesAuthorize; ZQAccesAuthorize"
            << "pairing"
            << "577 info - access_tip access_step 0" << pairingCount
            << QStringList{"kVeskoNotifyHandleStatistician '3'"};
        QTest::newRow("contacts page, counted each time")
            << "ZQContactAuthorize; ZQContactAuthorize"
            << "contactPage"
            << "577 info - contact_tip contact_title 1"
            << QStringList{"mac_prompt_imp 12/5", "mac_prompt_imp 12/5"} << QStringList{};
        QTest::newRow("another feature after a permission prompt counts again")
            << punct + "; ZQAuthorize ZQAuthorizeType=1 ZQAuthorizeSourceType=3;" + punct
            << "pairing" << access
            << QStringList{"mac_prompt_imp 2/2", "mac_prompt_imp 12/5", "mac_prompt_imp 2/2"}
            << QStringList{"kVeskoNotifyHandleStatistician '3'",
                           "kVeskoNotifyHandleStatistician '3'"};
        const char* sources[][5] = {
            {"0", "1", "pairing", "access_tip access_step 0", "2/2"},
            {"0", "2", "stickers", "access_tip access_step 0", "1/2"},
            {"1", "3", "contacts", "contact_tip contact_title 1", "12/5"},
            {"2", "4", "zhihu", "veskoInput_screenRecording screen_step 2", "9/4"},
            {"3", "5", "screenshot", "veskoInput_screenRecording screen_step 3", "10/4"},
            {"4", "6", "voiceBoth", "microphone_access_tip microphone_access_step 4", "4/1 4/2"},
            {"4", "7", "voiceBoth", "microphone_access_tip microphone_access_step 4", "4/1 4/2"},
            {"4", "8", "voice", "microphone_tip microphone_step 4", "4/1"},
            {"4", "9", "voice", "microphone_tip microphone_step 4", "4/1"},
            {"0", "10", "emoji", "access_tip access_step 0", "8/2"},
            {"5", "11", "login", "loginBackground_tip loginBackground_title 5", ""},
            {"5", "13", "upgrade", "loginBackground_tip loginBackground_title 5", ""},
            {"4", "14", "", "microphone_tip microphone_step 4", ""},
        };
        for (const auto& s : sources) {
            QStringList events;
            for (const QString& count : QString(s[4]).split(' ', Qt::SkipEmptyParts)) {
                events << "mac_prompt_imp " + count;
            }
            QTest::addRow("permission %s from source %s", s[0], s[1])
                << QString(
                       "ZQAuthorize AccesAction=#1 ZQAuthorizeType=%1 ZQAuthorizeSourceType=%2; "
                       "ZQAuthorize")
                       .arg(s[0], s[1])
                << s[2]
                << QString("617 info %1 %2").arg(events.isEmpty() && s[2][0] ? "bottom" : "-", s[3])
                << events << QStringList{};
        }
        QTest::newRow("no source: nothing changes")
            << "ZQContactAuthorize; ZQAuthorize ZQAuthorizeType=4"
            << "contactPage"
            << "577 info - contact_tip contact_title 1" << QStringList{"mac_prompt_imp 12/5"}
            << QStringList{};
        QTest::newRow("unknown kind keeps the pictures")
            << "ZQAuthorize ZQAuthorizeType=2 ZQAuthorizeSourceType=5; ZQAuthorize "
               "ZQAuthorizeType=7 "
               "ZQAuthorizeSourceType=4"
            << "zhihu"
            << "577 info - veskoInput_screenRecording screen_step 7"
            << QStringList{"mac_prompt_imp 10/4", "mac_prompt_imp 9/4"} << QStringList{};
        QTest::newRow("the bottom line goes with the background prompt")
            << "ZQAuthorize ZQAuthorizeType=5 ZQAuthorizeSourceType=12; ZQAuthorize "
               "ZQAuthorizeType=4 "
               "ZQAuthorizeSourceType=8"
            << "voice"
            << "577 info - microphone_tip microphone_step 4" << QStringList{"mac_prompt_imp 4/1"}
            << QStringList{};
        QTest::newRow("another page name: accessibility pictures")
            << "ZQContactAuthorize; ZQAbout"
            << "contactPage"
            << "577 info - access_tip access_step 0" << QStringList{"mac_prompt_imp 12/5"}
            << QStringList{};
    }
    void refill() {
        QFETCH(QString, requests);
        QFETCH(QString, prompt);
        ZQAssistConfig config;
        ZQAccesAuthorizeModel model(&config, m_tool.get());
        request(config, model, requests);
        QCOMPARE(model.promptText(), kPrompts.value(prompt, "?"));
        const QStringList shown{QString::number(model.windowHeight()),
                                model.infoTextVisible() ? "info" : "-",
                                model.bottomDetailText() == kBottomLine ? "bottom"
                                : model.bottomDetailText().isEmpty()    ? "-"
                                                                        : "?",
                                model.tipImage(),
                                model.stepImage(),
                                QString::number(model.currentAuthType())};
        QTEST(shown.join(' '), "shown");
        QCOMPARE(model.actionVisible(), model.windowHeight() == 617);
        settle();
        QTEST(events(), "events");
        QTEST(m_messages, "messages");
    }

    void open_data() {
        QTest::addColumn<QString>("requests");
        QTest::addColumn<QString>("desktop");
        QTest::addColumn<bool>("settingsRuns");
        QTest::addColumn<QString>("started");
        QTest::addColumn<QString>("manual");
        const QString mic = "ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=6";
        QTest::newRow("accessibility") << "ZQAccesAuthorize AccesType=3"
                                       << "ZQTest" << false << "Privacy_Accessibility"
                                       << "";
        QTest::newRow("contacts") << "ZQContactAuthorize"
                                  << "ZQTest" << false << "Privacy_Contacts"
                                  << "";
        for (const char* type : {"2", "3"}) {
            QTest::addRow("screen recording %s", type)
                << QString("ZQAuthorize ZQAuthorizeType=%1 ZQAuthorizeSourceType=5").arg(type)
                << "ZQTest" << false << "Privacy_ScreenCapture"
                << "";
        }
        QTest::newRow("microphone") << mic << "ZQTest" << false << "Privacy_Microphone"
                                    << "";
        QTest::newRow("background")
            << "ZQAuthorize ZQAuthorizeType=5 ZQAuthorizeSourceType=13"
            << "ZQTest" << false << "com.apple.LoginItems-Settings.extension"
            << "";
        QTest::newRow("unknown kind: accessibility")
            << "ZQAuthorize ZQAuthorizeType=7 ZQAuthorizeSourceType=1"
            << "ZQTest" << false << "Privacy_Accessibility"
            << "";
        QTest::newRow("settings running: security page too")
            << mic << "ZQTest" << true << "Privacy_Microphone,Security.prefPane"
            << "";
        QTest::newRow("no handler: the address to open by hand")
            << mic << "ZQNone" << false << ""
            << "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";
        QTest::newRow("program missing: the command to run by hand")
            << mic << "ZQMissing" << false << ""
            << "zq-no-such-settings microphone";
    }
    void open() {
        QFETCH(QString, requests);
        QFETCH(QString, desktop);
        QFETCH(bool, settingsRuns);
        QFETCH(QString, started);
        QFETCH(QString, manual);
        qputenv("XDG_CURRENT_DESKTOP", desktop.toUtf8());
        QProcess settings;
        if (settingsRuns) {
            settings.start("/usr/bin/python3", {"-c", "import sys; sys.stdin.read()",
                                                zq::utility::processTableText(10)});
            QVERIFY(settings.waitForStarted());
        }
        ZQAssistConfig config;
        ZQAccesAuthorizeModel model(&config, m_tool.get());
        request(config, model, requests);
        init();  // counts and messages of the click only
        QSignalSpy moved(&model, &ZQAccesAuthorizeModel::moveToRightEdgeRequested);
        QSignalSpy opened(&model, &ZQAccesAuthorizeModel::settingsOpened);
        model.open();
        QCOMPARE(moved.count(), 1);
        QTRY_COMPARE(opened.count(), 1);
        QCOMPARE(opened.at(0).at(0).toBool(), manual.isEmpty());
        QCOMPARE(model.manualSettingsText(), manual);
        const auto startedLines = [this] {
            QFile log(m_scratch.filePath("started.log"));
            QStringList lines =
                log.open(QIODevice::ReadOnly)
                    ? QString::fromUtf8(log.readAll()).split('\n', Qt::SkipEmptyParts)
                    : QStringList();
            lines.sort();
            return lines.join(',');
        };
        QTRY_COMPARE(startedLines(), started);
        settle();
        QCOMPARE(events(), QStringList{"mac_clck 2"});
        QCOMPARE(m_messages, QStringList{"kZQAccessClickForwardOpen"});
        request(config, model, "ZQContactAuthorize");  // the line belongs to the kind it was for
        QCOMPARE(model.manualSettingsText(), requests == "ZQContactAuthorize" ? manual : QString());
        settings.close();
    }

private:
    // Every message posted so far has arrived, every count has reached the service.
    void settle() {
        SendDistributedNotification(kSync);
        QTRY_VERIFY(m_messages.contains(kSync));
        m_messages.removeAll(kSync);
        QTRY_COMPARE(m_report.pendingCount(), 0);
    }
    QStringList events() {
        QStringList list;
        for (const QJsonValue& entry : m_service.analyticsEvents()) {
            const QJsonObject event = entry["event"].toObject(),
                              params = event["params"].toObject();
            list << event["code"].toString() + ' ' +
                        (params.contains("mac_icon")
                             ? params["mac_icon"].toString()
                             : params["auth_rea"].toString() + '/' + params["mac_cont"].toString());
        }
        return list;
    }

    QTemporaryDir m_scratch;
    zq::test::RefService m_service;
    TesselReport m_report;
    std::unique_ptr<ZQTesselReportTool> m_tool;
    QStringList m_messages;
};

QTEST_GUILESS_MAIN(TestAccesAuthorizeModel)
#include "tst_accesauthorizemodel.moc"
