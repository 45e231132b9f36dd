#include "pages/models/ZQAccesAuthorizeModel.h"

#include "app/core/ZQAssistConfig.h"
#include "pages/models/ZQPageReporter.h"
#include "platform/Values.h"
#include "utility/SystemInfo.h"
#include "utility/ZQSettingsPanes.h"
#include "utility/ZQSiblingApps.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThreadPool>

#include <utility>

namespace {

const QString kAccesAuthorize = QStringLiteral("ZQAccesAuthorize");
const QString kContactAuthorize = QStringLiteral("ZQContactAuthorize");
const QString kAuthorize = QStringLiteral("ZQAuthorize");

// The system settings application, in the input method's process table.
constexpr qint64 kSystemSettingsProcess = 10;

// The prompts (text ids; the Chinese source text above each).
//% "“斗图”功能的使用，需要您授权“辅助功能”权限"
constexpr char kPromptStickers[] = QT_TRID_NOOP("zq-auth-prompt-stickers");
//% "语音结果输入重复，需要您授权“辅助功能”权限"
constexpr char kPromptVoiceRepeat[] = QT_TRID_NOOP("zq-auth-prompt-voice-repeat");
//% "“中文标点配对”功能的使用，需要您授权“辅助功能”权限"
constexpr char kPromptPunctuation[] = QT_TRID_NOOP("zq-auth-prompt-punctuation");
//% "“手写输入”删除键的使用，需要您授权“辅助功能”权限"
constexpr char kPromptHandwriting[] = QT_TRID_NOOP("zq-auth-prompt-handwriting");
//% "TouchBar点击无响应，需要您手动前往授权解决"
constexpr char kPromptTouchBar[] = QT_TRID_NOOP("zq-auth-prompt-touchbar");
//% "“智能调整数字后标点”全部生效，需要您授权“辅助功能”权限"
constexpr char kPromptNumberPunctuation[] = QT_TRID_NOOP("zq-auth-prompt-number-punctuation");
//% "通讯录功能的使用，需要您手动前往授权"
constexpr char kPromptContactPage[] = QT_TRID_NOOP("zq-auth-prompt-contact-page");
//% "“通讯录”功能的使用，需要您授权“通讯录”权限"
constexpr char kPromptContacts[] = QT_TRID_NOOP("zq-auth-prompt-contacts");
//% "“知乎内引号替换”功能的使用，需要您授权“屏幕录制”权限"
constexpr char kPromptZhihuQuotes[] = QT_TRID_NOOP("zq-auth-prompt-zhihu-quotes");
//% "“截图”功能的使用，需要您授权“屏幕录制”权限"
constexpr char kPromptScreenshot[] = QT_TRID_NOOP("zq-auth-prompt-screenshot");
//% "“语音输入”功能的使用，需要您授权“麦克风”“辅助功能”权限"
constexpr char kPromptVoiceBoth[] = QT_TRID_NOOP("zq-auth-prompt-voice-both");
//% "“语音输入”功能的使用，需要您授权“麦克风”权限"
constexpr char kPromptVoice[] = QT_TRID_NOOP("zq-auth-prompt-voice");
//% "“自定义表情”功能的使用，需要您授权“辅助功能”权限"
constexpr char kPromptCustomEmoji[] = QT_TRID_NOOP("zq-auth-prompt-custom-emoji");
//% "“登录”功能的使用，需要您允许Vesko输入法在后台运行"
constexpr char kPromptLogin[] = QT_TRID_NOOP("zq-auth-prompt-login");
//% "“同步”功能的使用，需要您允许Vesko输入法在后台运行"
constexpr char kPromptSync[] = QT_TRID_NOOP("zq-auth-prompt-sync");
//% "“升级”功能的使用，需要您允许Vesko输入法在后台运行"
constexpr char kPromptUpgrade[] = QT_TRID_NOOP("zq-auth-prompt-upgrade");

// Accessibility prompts by "AccesType"; every one is counted with function "2".
struct SimulateKeyPrompt {
    qint64 type;
    const char* text;
    const char* reason;
};
constexpr SimulateKeyPrompt kSimulateKeyPrompts[] = {
    {1, kPromptStickers, "1"}, {2, kPromptVoiceRepeat, "4"},       {3, kPromptPunctuation, "2"},
    {4, kPromptStickers, "1"}, {5, kPromptHandwriting, "5"},       {6, kPromptTouchBar, "6"},
    {7, kPromptTouchBar, "7"}, {8, kPromptNumberPunctuation, "3"},
};

// Permission prompts by "ZQAuthorizeSourceType": counted once per function
// given (none for the background prompts, which carry the bottom line).
struct AuthorizePrompt {
    qint64 source;
    const char* text;
    const char* reason;
    const char* functions[2];
    bool background;
};
constexpr AuthorizePrompt kAuthorizePrompts[] = {
    {1, kPromptPunctuation, "2", {"2", nullptr}, false},
    {2, kPromptStickers, "1", {"2", nullptr}, false},
    {3, kPromptContacts, "12", {"5", nullptr}, false},
    {4, kPromptZhihuQuotes, "9", {"4", nullptr}, false},
    {5, kPromptScreenshot, "10", {"4", nullptr}, false},
    {6, kPromptVoiceBoth, "4", {"1", "2"}, false},
    {7, kPromptVoiceBoth, "4", {"1", "2"}, false},
    {8, kPromptVoice, "4", {"1", nullptr}, false},
    {9, kPromptVoice, "4", {"1", nullptr}, false},
    {10, kPromptCustomEmoji, "8", {"2", nullptr}, false},
    {11, kPromptLogin, nullptr, {nullptr, nullptr}, true},
    {12, kPromptSync, nullptr, {nullptr, nullptr}, true},
    {13, kPromptUpgrade, nullptr, {nullptr, nullptr}, true},
};

QString str(const char* text) {
    return QString::fromLatin1(text);
}

}  // namespace

ZQAccesAuthorizeModel::ZQAccesAuthorizeModel(ZQAssistConfig* config, QObject* parent)
    : QObject(parent), _config(config ? config : ZQAssistConfig::sharedInstance()) {}

ZQAccesAuthorizeModel::~ZQAccesAuthorizeModel() = default;

void ZQAccesAuthorizeModel::setReporter(ZQPageReporter* reporter) {
    _reporter = reporter;
    _reporterSet = true;
    const auto held = std::exchange(_heldReports, {});
    for (const auto& [code, params] : held) {
        report(code, params);
    }
}

void ZQAccesAuthorizeModel::report(const QString& code, const QVariantMap& params) {
    if (!_reporterSet) {
        _heldReports.append({code, params});
    } else if (_reporter) {
        _reporter->reportDataWithEventCode(code, params);
    }
}

QString ZQAccesAuthorizeModel::settingsAddress(qint64 authType) {
    switch (authType) {
        case Contacts:
            return str(zq::utility::kContactsPrivacyAddress);
        case ScreenRecording:
        case TextRecognitionScreenRecording:
            return str(zq::utility::kScreenCapturePrivacyAddress);
        case Microphone:
            return str(zq::utility::kMicrophonePrivacyAddress);
        case Background:
            return str(zq::utility::kLoginItemsAddress);
        default:
            return str(zq::utility::kAccessibilityPrivacyAddress);
    }
}

void ZQAccesAuthorizeModel::updateWindowWithAuthString(const QString& pageName) {
    _currentAuthString = pageName;
    _actionVisible =
        platform::integerValue(_config->objectForKey(QStringLiteral("AccesAction"))) != 0;
    _windowHeight = _actionVisible ? kWindowHeight : kWindowHeight - kActionButtonHeight;
    if (updatePromptTextWithAuthString(pageName)) {
        _infoTextVisible = true;
        updateImageViewWithAuthString(pageName);
    }
    emit changed();
}

bool ZQAccesAuthorizeModel::updatePromptTextWithAuthString(const QString& pageName) {
    if (pageName == kAccesAuthorize) {
        return updatePromptTexOfSimulateKey();
    }
    if (pageName == kContactAuthorize) {
        _currentSimulateKeyType = 0;
        _currentAuthSourceType = 3;
        setPrompt(kPromptContactPage);
        statisticAuthPageWithReason(QStringLiteral("12"), QStringLiteral("5"));
        return true;
    }
    if (pageName == kAuthorize) {
        return updatePromptTextOfAuthorizeXibName();
    }
    return true;
}

bool ZQAccesAuthorizeModel::updatePromptTexOfSimulateKey() {
    const QVariant value = _config->objectForKey(QStringLiteral("AccesType"));
    const qint64 type = platform::integerValue(value);
    if (type == _currentSimulateKeyType) {
        return false;
    }
    _currentSimulateKeyType = type;
    _currentAuthSourceType = 0;
    for (const SimulateKeyPrompt& prompt : kSimulateKeyPrompts) {
        if (prompt.type == type) {
            setPrompt(prompt.text);
            statisticAuthPageWithReason(str(prompt.reason), QStringLiteral("2"));
            break;
        }
    }
    // The input method learns which feature asked, whether or not it has a prompt.
    SendDistributedNotification(QStringLiteral("kVeskoNotifyHandleStatistician"),
                                QVariantMap{{QStringLiteral("kSimulateKeyType"), value}});
    return true;
}

bool ZQAccesAuthorizeModel::updatePromptTextOfAuthorizeXibName() {
    _currentSimulateKeyType = 0;
    const QVariant value = _config->objectForKey(QStringLiteral("ZQAuthorizeSourceType"));
    if (!value.isValid()) {
        return false;
    }
    const qint64 source = platform::integerValue(value);
    if (source == _currentAuthSourceType) {
        return false;
    }
    _currentAuthSourceType = source;
    for (const AuthorizePrompt& prompt : kAuthorizePrompts) {
        if (prompt.source != source) {
            continue;
        }
        setPrompt(prompt.text);
        for (const char* function : prompt.functions) {
            if (function) {
                statisticAuthPageWithReason(str(prompt.reason), str(function));
            }
        }
        if (prompt.background) {
            //% "允许在后台中，找到“Vesko输入法”，打开允许在后台运行的开关"
            _bottomDetailText = qtTrId("zq-auth-background-detail");
        }
        break;
    }
    return true;
}

void ZQAccesAuthorizeModel::setPrompt(const char* textId) {
    _promptText = qtTrId(textId);
    // The bottom line belongs to the background prompts only.
    _bottomDetailText.clear();
}

void ZQAccesAuthorizeModel::updateImageViewWithAuthString(const QString& pageName) {
    if (pageName == kContactAuthorize) {
        setPictures(Contacts, QStringLiteral("contact_tip"), QStringLiteral("contact_title"));
        return;
    }
    if (pageName != kAuthorize) {
        setPictures(Accessibility, QStringLiteral("access_tip"), QStringLiteral("access_step"));
        return;
    }
    const qint64 type =
        platform::integerValue(_config->objectForKey(QStringLiteral("ZQAuthorizeType")));
    switch (type) {
        case Accessibility:
            setPictures(type, QStringLiteral("access_tip"), QStringLiteral("access_step"));
            break;
        case Contacts:
            setPictures(type, QStringLiteral("contact_tip"), QStringLiteral("contact_title"));
            break;
        case ScreenRecording:
            setPictures(type, QStringLiteral("veskoInput_screenRecording"),
                        QStringLiteral("screen_step"));
            break;
        case TextRecognitionScreenRecording:
            setPictures(type,
                        isCurrentSystemVersionLargerThanOrEqualTo(QStringLiteral("13.0"))
                            ? QStringLiteral("veskoInput_screenRecording")
                            : QStringLiteral("textRecognition_screenRecording"),
                        QStringLiteral("screen_step"));
            break;
        case Microphone:
            if (_currentAuthSourceType == 6 || _currentAuthSourceType == 7) {
                setPictures(type, QStringLiteral("microphone_access_tip"),
                            QStringLiteral("microphone_access_step"));
            } else {
                setPictures(type, QStringLiteral("microphone_tip"),
                            QStringLiteral("microphone_step"));
            }
            break;
        case Background:
            setPictures(type, QStringLiteral("loginBackground_tip"),
                        QStringLiteral("loginBackground_title"));
            break;
        default:
            // An unknown kind keeps the pictures; the button then opens accessibility.
            if (type > Background) {
                setPictures(type, _tipImage, _stepImage);
            }
            break;
    }
}

void ZQAccesAuthorizeModel::setPictures(qint64 authType, const QString& tip, const QString& step) {
    if (authType != _currentAuthType) {
        // An address shown for another kind no longer applies.
        _manualSettingsText.clear();
    }
    _currentAuthType = authType;
    _tipImage = tip;
    _stepImage = step;
}

void ZQAccesAuthorizeModel::statisticAuthPageWithReason(const QString& reason,
                                                        const QString& function) {
    if (reason.isEmpty() || function.isEmpty()) {
        return;
    }
    report(QStringLiteral("mac_prompt_imp"), QVariantMap{{QStringLiteral("auth_rea"), reason},
                                                         {QStringLiteral("mac_cont"), function}});
}

void ZQAccesAuthorizeModel::open() {
    emit moveToRightEdgeRequested();
    SendDistributedNotification(QStringLiteral("kZQAccessClickForwardOpen"));
    // The process list is read on a worker thread; the rest follows here.
    QPointer<ZQAccesAuthorizeModel> self(this);
    QThreadPool::globalInstance()->start([self] {
        const bool running = isVeskoProcessExist(kSystemSettingsProcess);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, running] {
                if (self) {
                    self->openSettings(running);
                }
            },
            Qt::QueuedConnection);
    });
}

void ZQAccesAuthorizeModel::openSettings(bool settingsApplicationRuns) {
    if (settingsApplicationRuns) {
        zq::utility::openSettingsPane(str(zq::utility::kSecurityPaneFile), this);
    }
    zq::utility::openSettingsPane(
        settingsAddress(_currentAuthType), this,
        [this](bool started, const zq::utility::SettingsPaneTarget& target) {
            _manualSettingsText = started ? QString() : target.displayText();
            emit changed();
            emit settingsOpened(started, target.displayText());
        });
    report(QStringLiteral("mac_clck"),
           QVariantMap{{QStringLiteral("mac_icon"), QStringLiteral("2")}});
}

// The meta-object here, not among the library's others: only modules using the class pull it in.
#include "moc_ZQAccesAuthorizeModel.cpp"
