// The permission guidance model without a window: what each sequence of requests shows,
// counts and posts, and what "前往授权" starts. Counts go to the reference web service through
// the real analytics client; messages travel over the private session bus; settings pages are
// recording programs named by the settings table.
#include "app/core/ZQAssistConfig.h"
#include "pages/models/ZQAccesAuthorizeModel.h"
#include "pages/models/ZQPageReporter.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/Plist.h"
#include "platform/Translations.h"
#include "stats/TesselReport.h"
#include "tests/support/RefService.h"
#include "utility/ZQSiblingApps.h"

#include <QtTest>

namespace {

const QString kBottomLine = "允许在后台中，找到“Vesko输入法”，打开允许在后台运行的开关";

// Requests ";"-separated, each "Page key=value ..." ("#3" stores the number 3, "3" the text)
// | prompt | height, explanation, bottom line, tip, step, kind | counts (reason/function)
// | values of "kSimulateKeyType" posted
const char* const kRefills = R"(
ZQAccesAuthorize AccesAction=#1 AccesType=#1 | “斗图”功能的使用，需要您授权“辅助功能”权限 | 617 info - access_tip access_step 0 | 1/2 | #1
ZQAccesAuthorize AccesAction=#1 AccesType=#2 | 语音结果输入重复，需要您授权“辅助功能”权限 | 617 info - access_tip access_step 0 | 4/2 | #2
ZQAccesAuthorize AccesAction=#1 AccesType=3 | “中文标点配对”功能的使用，需要您授权“辅助功能”权限 | 617 info - access_tip access_step 0 | 2/2 | '3'
ZQAccesAuthorize AccesAction=#1 AccesType=#4 | “斗图”功能的使用，需要您授权“辅助功能”权限 | 617 info - access_tip access_step 0 | 1/2 | #4
ZQAccesAuthorize AccesAction=#1 AccesType=#5 | “手写输入”删除键的使用，需要您授权“辅助功能”权限 | 617 info - access_tip access_step 0 | 5/2 | #5
ZQAccesAuthorize AccesAction=#1 AccesType=#6 | TouchBar点击无响应，需要您手动前往授权解决 | 617 info - access_tip access_step 0 | 6/2 | #6
ZQAccesAuthorize AccesAction=#1 AccesType=#7 | TouchBar点击无响应，需要您手动前往授权解决 | 617 info - access_tip access_step 0 | 7/2 | #7
ZQAccesAuthorize AccesAction=#1 AccesType=#8 | “智能调整数字后标点”全部生效，需要您授权“辅助功能”权限 | 617 info - access_tip access_step 0 | 3/2 | #8
ZQAccesAuthorize AccesAction=1 AccesType=3; ZQAccesAuthorize | “中文标点配对”功能的使用，需要您授权“辅助功能”权限 | 617 info - access_tip access_step 0 | 2/2 | '3'
ZQAccesAuthorize AccesAction=1 AccesType=3; ZQAccesAuthorize AccesType=9 | “中文标点配对”功能的使用，需要您授权“辅助功能”权限 | 617 info - access_tip access_step 0 | 2/2 | '3' '9'
ZQAccesAuthorize AccesAction=0 AccesType=3; ZQAccesAuthorize; ZQAccesAuthorize | “中文标点配对”功能的使用，需要您授权“辅助功能”权限 | 577 info - access_tip access_step 0 | 2/2 | '3'
ZQAccesAuthorize AccesType=3; ZQAuthorize ZQAuthorizeType=1 ZQAuthorizeSourceType=3; ZQAccesAuthorize | “中文标点配对”功能的使用，需要您授权“辅助功能”权限 | 577 info - access_tip access_step 0 | 2/2 12/5 2/2 | '3' '3'
ZQContactAuthorize; ZQContactAuthorize | 通讯录功能的使用，需要您手动前往授权 | 577 info - contact_tip contact_title 1 | 12/5 12/5 |
ZQAuthorize AccesAction=#1 ZQAuthorizeType=0 ZQAuthorizeSourceType=1 | “中文标点配对”功能的使用，需要您授权“辅助功能”权限 | 617 info - access_tip access_step 0 | 2/2 |
ZQAuthorize AccesAction=#1 ZQAuthorizeType=0 ZQAuthorizeSourceType=2 | “斗图”功能的使用，需要您授权“辅助功能”权限 | 617 info - access_tip access_step 0 | 1/2 |
ZQAuthorize ZQAuthorizeType=1 ZQAuthorizeSourceType=3; ZQAuthorize | “通讯录”功能的使用，需要您授权“通讯录”权限 | 577 info - contact_tip contact_title 1 | 12/5 |
ZQAuthorize ZQAuthorizeType=2 ZQAuthorizeSourceType=4 | “知乎内引号替换”功能的使用，需要您授权“屏幕录制”权限 | 577 info - veskoInput_screenRecording screen_step 2 | 9/4 |
ZQAuthorize ZQAuthorizeType=#3 ZQAuthorizeSourceType=#5 | “截图”功能的使用，需要您授权“屏幕录制”权限 | 577 info - veskoInput_screenRecording screen_step 3 | 10/4 |
ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=6; ZQAuthorize | “语音输入”功能的使用，需要您授权“麦克风”“辅助功能”权限 | 577 info - microphone_access_tip microphone_access_step 4 | 4/1 4/2 |
ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=7 | “语音输入”功能的使用，需要您授权“麦克风”“辅助功能”权限 | 577 info - microphone_access_tip microphone_access_step 4 | 4/1 4/2 |
ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=8 | “语音输入”功能的使用，需要您授权“麦克风”权限 | 577 info - microphone_tip microphone_step 4 | 4/1 |
ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=9 | “语音输入”功能的使用，需要您授权“麦克风”权限 | 577 info - microphone_tip microphone_step 4 | 4/1 |
ZQAuthorize ZQAuthorizeType=0 ZQAuthorizeSourceType=10 | “自定义表情”功能的使用，需要您授权“辅助功能”权限 | 577 info - access_tip access_step 0 | 8/2 |
ZQAuthorize ZQAuthorizeType=5 ZQAuthorizeSourceType=11 | “登录”功能的使用，需要您允许Vesko输入法在后台运行 | 577 info bottom loginBackground_tip loginBackground_title 5 | |
ZQAuthorize ZQAuthorizeType=5 ZQAuthorizeSourceType=13; ZQAuthorize | “升级”功能的使用，需要您允许Vesko输入法在后台运行 | 577 info bottom loginBackground_tip loginBackground_title 5 | |
ZQAuthorize ZQAuthorizeType=5 ZQAuthorizeSourceType=12; ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=8 | “语音输入”功能的使用，需要您授权“麦克风”权限 | 577 info - microphone_tip microphone_step 4 | 4/1 |
ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=14 | | 577 info - microphone_tip microphone_step 4 | |
ZQContactAuthorize; ZQAuthorize ZQAuthorizeType=4 | 通讯录功能的使用，需要您手动前往授权 | 577 info - contact_tip contact_title 1 | 12/5 |
ZQAuthorize ZQAuthorizeType=2 ZQAuthorizeSourceType=5; ZQAuthorize ZQAuthorizeType=7 ZQAuthorizeSourceType=4 | “知乎内引号替换”功能的使用，需要您授权“屏幕录制”权限 | 577 info - veskoInput_screenRecording screen_step 7 | 10/4 9/4 |
ZQContactAuthorize; ZQAbout | 通讯录功能的使用，需要您手动前往授权 | 577 info - access_tip access_step 0 | 12/5 |
)";

// Requests | desktop | settings application running | pages started | shown to open by hand
const char* const kOpens = R"(
ZQAccesAuthorize AccesType=3 | ZQTest | no | Privacy_Accessibility |
ZQContactAuthorize | ZQTest | no | Privacy_Contacts |
ZQAuthorize ZQAuthorizeType=2 ZQAuthorizeSourceType=5 | ZQTest | no | Privacy_ScreenCapture |
ZQAuthorize ZQAuthorizeType=3 ZQAuthorizeSourceType=5 | ZQTest | no | Privacy_ScreenCapture |
ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=6 | ZQTest | no | Privacy_Microphone |
ZQAuthorize ZQAuthorizeType=5 ZQAuthorizeSourceType=13 | ZQTest | no | com.apple.LoginItems-Settings.extension |
ZQAuthorize ZQAuthorizeType=7 ZQAuthorizeSourceType=1 | ZQTest | no | Privacy_Accessibility |
ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=6 | ZQTest | yes | Privacy_Microphone Security.prefPane |
ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=6 | ZQNone | no | | x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone
ZQAuthorize ZQAuthorizeType=4 ZQAuthorizeSourceType=6 | ZQMissing | no | | zq-no-such-settings microphone
)";

// One table row per line of `table`, its columns as text.
void addRows(const char* table, std::initializer_list<const char*> columns) {
    for (const char* column : columns) {
        QTest::addColumn<QString>(column);
    }
    for (const QString& line : QString::fromUtf8(table).split('\n', Qt::SkipEmptyParts)) {
        QTestData& row = QTest::newRow(qPrintable(line));
        for (const QString& cell : line.split('|')) {
            row << cell.trimmed();
        }
    }
}

void request(ZQAssistConfig& config, ZQAccesAuthorizeModel& model, const QString& requests) {
    for (const QString& line : requests.split(';')) {
        const QStringList parts = line.split(' ', Qt::SkipEmptyParts);
        for (const QString& part : parts.mid(1)) {
            const QString v = part.section('=', 1);
            config.setObject(v.startsWith('#') ? QVariant(v.mid(1).toLongLong()) : QVariant(v),
                             part.section('=', 0, 0));
        }
        model.updateWindowWithAuthString(parts.first());
    }
}

}  // namespace

class TestAccesAuthorizeModel : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(platform::installTranslations(qApp));
        qputenv("VESKO_SYSTEM_ROOT", _scratch.path().toUtf8());
        QVERIFY(platform::Plist::writeFile(
            _scratch.filePath("System/Library/CoreServices/SystemVersion.plist"),
            QVariantMap{{"ProductVersion", "14.2"}}));
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
        for (const QString name :
             {"Privacy_Accessibility", "Privacy_Contacts", "Privacy_ScreenCapture",
              "Privacy_Microphone", "com.apple.LoginItems-Settings.extension",
              "Security.prefPane"}) {
            _service.setConfigValue("SettingsPanes.ZQTest/" + name, "zq-settings-stub " + name);
        }
        _service.setConfigValue("SettingsPanes.ZQMissing/Privacy_Microphone",
                                "zq-no-such-settings microphone");
        QFile stub(_scratch.filePath("zq-settings-stub"));  // one file per start, named by it
        QVERIFY(stub.open(QIODevice::WriteOnly));
        stub.write("#!/bin/sh\ntouch \"$STUB_DIR/$*\"\n");
        stub.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("STUB_DIR", _scratch.filePath("started").toUtf8());
        qputenv("PATH", _scratch.path().toUtf8() + ':' + qgetenv("PATH"));
        _reporter = qobject_cast<ZQPageReporter*>(_analytics.instance());  // the application's
        QVERIFY2(_reporter, qPrintable(_analytics.errorString()));
        platform::DistributedNotificationCenter::defaultCenter()->addObserver(
            this, {}, [this](const QString& name, const QVariantMap& info) {
                const QVariant key = info.value("kSimulateKeyType");
                _messages << (!key.isValid()                       ? name
                              : key.typeId() == QMetaType::QString ? "'" + key.toString() + "'"
                                                                   : "#" + key.toString());
            });
    }

    // The reporter's sender thread and database go before the application object.
    void cleanupTestCase() { TesselReport::shutdownSharedInstance(); }
    void init() {
        settle();
        _service.clearAnalytics();
        _messages.clear();
        QDir(_scratch.filePath("started")).removeRecursively();
        QDir().mkpath(_scratch.filePath("started"));
    }

    void refill_data() { addRows(kRefills, {"requests", "prompt", "shown", "counts", "keys"}); }
    void refill() {
        QFETCH(QString, requests);
        QFETCH(QString, prompt);
        QFETCH(QString, shown);
        QFETCH(QString, counts);
        QFETCH(QString, keys);
        ZQAssistConfig config;
        ZQAccesAuthorizeModel model(&config);
        model.setReporter(_reporter);
        request(config, model, requests);
        QCOMPARE(model.promptText(), prompt);
        const QStringList state{QString::number(model.windowHeight()),
                                model.infoTextVisible() ? "info" : "-",
                                model.bottomDetailText() == kBottomLine ? "bottom" : "-",
                                model.tipImage(),
                                model.stepImage(),
                                QString::number(model.currentAuthType())};
        QCOMPARE(state.join(' '), shown);
        QCOMPARE(model.actionVisible(), model.windowHeight() == 617);
        settle();
        QCOMPARE(events().join(' '), counts);
        QCOMPARE(_messages.join(' '), keys);
    }

    void open_data() { addRows(kOpens, {"requests", "desktop", "running", "started", "manual"}); }
    void open() {
        QFETCH(QString, requests);
        QFETCH(QString, desktop);
        QFETCH(QString, running);
        QFETCH(QString, started);
        QFETCH(QString, manual);
        qputenv("XDG_CURRENT_DESKTOP", desktop.toUtf8());
        QProcess settings;
        if (running == "yes") {
            settings.start("/usr/bin/python3", {"-c", "import sys; sys.stdin.read()",
                                                zq::utility::processTableText(10)});
            QVERIFY(settings.waitForStarted());
        }
        ZQAssistConfig config;
        ZQAccesAuthorizeModel model(&config);
        model.setReporter(_reporter);
        request(config, model, requests);
        init();  // counts and messages of the click only
        QSignalSpy opened(&model, &ZQAccesAuthorizeModel::settingsOpened);
        model.open();
        QTRY_COMPARE(opened.count(), 1);
        QCOMPARE(model.manualSettingsText(), manual);
        QTRY_COMPARE(QDir(_scratch.filePath("started")).entryList(QDir::Files).join(' '), started);
        settle();
        QCOMPARE(events(), QStringList{"mac_clck 2"});
        QCOMPARE(_messages, QStringList{"kZQAccessClickForwardOpen"});
        request(config, model, "ZQContactAuthorize");  // the line belongs to the kind it was for
        QCOMPARE(model.manualSettingsText(), requests == "ZQContactAuthorize" ? manual : QString());
    }

private:
    // Every message posted so far has arrived, every count has reached the service.
    void settle() {
        SendDistributedNotification("zq-test-sync");
        QTRY_VERIFY(_messages.contains("zq-test-sync"));
        _messages.removeAll("zq-test-sync");
        QTRY_COMPARE(TesselReport::sharedInstance()->pendingCount(), 0);
    }
    // The events the service holds: "reason/function" for a prompt, else "code icon".
    QStringList events() {
        QStringList list;
        for (const QJsonValue& entry : _service.analyticsEvents()) {
            const QJsonObject event = entry["event"].toObject(),
                              params = event["params"].toObject();
            const QString code = event["code"].toString();
            list << (code == "mac_prompt_imp"
                         ? params["auth_rea"].toString() + '/' + params["mac_cont"].toString()
                         : code + ' ' + params["mac_icon"].toString());
        }
        return list;
    }

    QTemporaryDir _scratch;
    zq::test::RefService _service;
    QPluginLoader _analytics{ZQ_BINARY_DIR "/PlugIns/ZQPageAnalytics.so"};
    ZQPageReporter* _reporter = nullptr;
    QStringList _messages;
};

QTEST_GUILESS_MAIN(TestAccesAuthorizeModel)
#include "tst_accesauthorizemodel.moc"
