#include "pages/models/ZQDebugModeModel.h"

#include "platform/Clock.h"
#include "platform/Plist.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"
#include "utility/ZQSiblingApps.h"

#include <cmath>

namespace {

const QString kStartDebugMode = QStringLiteral("kVeskoNotifyStartDebugModeByHand");
const QString kStatusKey = QStringLiteral("debugmodestatus");
const QString kFinishedTimeKey = QStringLiteral("ZQSettingLogFinishedTime");

QString timeLine(const QString& range) {
    //% "开启时间：%1"
    return QLatin1Char('\n') + qtTrId("zq-debug-mode-period").arg(range);
}

QString rangeText(const QString& start, const QString& end) {
    return start + QStringLiteral("～") + end;
}

}  // namespace

ZQDebugModeModel::ZQDebugModeModel(platform::Clock* clock, QObject* parent)
    : QObject(parent), _clock(clock ? clock : platform::Clock::system()) {}

ZQDebugModeModel::~ZQDebugModeModel() = default;

QString ZQDebugModeModel::onText() {
    //% "协助调试模式开启后，输入法会即时上传您的基础配置和同步日志文件，定时收集"
    //% "核心模块的按键日志，并实时开启性能监测。\n协助调试模式收集的所有信息，"
    //% "将用于且只用于排查和解决产品问题。"
    return qtTrId("zq-debug-mode-on-text");
}

QString ZQDebugModeModel::offText() {
    //% "协助调试模式已关闭，输入法将不再上传您的基础配置和同步日志文件，停止收集"
    //% "核心模块的按键日志，性能监测已关闭。\n已收集的信息，将用于且只用于排查"
    //% "和解决产品问题，感谢您对Vesko输入法的信任与配合。"
    return qtTrId("zq-debug-mode-off-text");
}

QString ZQDebugModeModel::versionText() const {
    //% "当前版本号：%1"
    return qtTrId("zq-debug-mode-version").arg(GetInputMethodVersion().value_or(QString()));
}

QString ZQDebugModeModel::formatTime(const QDateTime& time) {
    // The format's digits are ASCII whatever the locale; the zone is local.
    return time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString ZQDebugModeModel::getDebugModeTimeString() const {
    const QDateTime now = _clock->now();
    return rangeText(formatTime(now), formatTime(now.addSecs(kPeriodSeconds)));
}

std::optional<qint64> ZQDebugModeModel::storedFinishTime() {
    const std::optional<QVariantMap> store =
        platform::Plist::readDictionary(zq::utility::userDataFilePath(QStringLiteral("stat3.dat")));
    const QVariant value = store ? store->value(kFinishedTimeKey) : QVariant();
    bool ok = false;
    double seconds = 0;
    switch (value.typeId()) {
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::UInt:
        case QMetaType::ULongLong:
        case QMetaType::Double:
            seconds = value.toDouble(&ok);
            break;
        case QMetaType::QString:
            seconds = value.toString().trimmed().toDouble(&ok);
            break;
        default:
            break;
    }
    // Whole seconds; beyond a few thousand years there is no date to show.
    if (!ok || !std::isfinite(seconds) || std::abs(seconds) > 1e11) {
        return std::nullopt;
    }
    return static_cast<qint64>(std::trunc(seconds));
}

void ZQDebugModeModel::showDebugModeEnabled() {
    _onSwitchOn = true;
    _offSwitchOn = false;  // the pair always shows one state
    stopCloseTimer();
    _countdownVisible = false;
    _detailText = onText();
    if (const std::optional<qint64> end = storedFinishTime()) {
        _detailText +=
            timeLine(rangeText(formatTime(QDateTime::fromSecsSinceEpoch(*end - kPeriodSeconds)),
                               formatTime(QDateTime::fromSecsSinceEpoch(*end))));
    }
    emit changed();
}

void ZQDebugModeModel::setDebugModeEnabled() {
    _onSwitchOn = false;
    setDebugModeState(TagOn);
}

void ZQDebugModeModel::setDebugModeState(int tag) {
    _debugModeType = tag;
    if (tag == TagOn && !_onSwitchOn) {
        _onSwitchOn = true;
        _offSwitchOn = false;
        post(QStringLiteral("1"));
        _countdownVisible = false;
        stopCloseTimer();
        _detailText = onText() + timeLine(getDebugModeTimeString());
    } else if (tag == TagOff && !_offSwitchOn) {
        _offSwitchOn = true;
        _onSwitchOn = false;
        post(QStringLiteral("0"));
        updateTimer();
        _detailText = offText();
    }
    emit changed();
}

void ZQDebugModeModel::post(const QString& status) {
    SendDistributedNotification(kStartDebugMode, QVariantMap{{kStatusKey, status}});
}

bool ZQDebugModeModel::countdownRunning() const {
    return _closeTimer && _closeTimer->isActive();
}

void ZQDebugModeModel::updateTimer() {
    if (_debugModeType != TagOff) {
        return;
    }
    _timeCount = kCountdownSeconds;
    stopCloseTimer();
    _countdownVisible = true;
    updateCloseText();
    _closeTimer =
        _clock->startTimer(std::chrono::seconds(1), true, this, [this] { updateCloseText(); });
}

void ZQDebugModeModel::stopCloseTimer() {
    _closeTimer.reset();
}

void ZQDebugModeModel::updateCloseText() {
    //% "此窗口将在%1秒钟后自动关闭"
    _countdownText = qtTrId("zq-debug-mode-countdown").arg(_timeCount);
    _highlightLength = _timeCount < 10 ? 3 : 4;
    if (_timeCount == 0) {
        stopCloseTimer();
        emit changed();
        emit hideRequested();
        return;
    }
    --_timeCount;
    emit changed();
}

// The meta-object code in this file's own object, so that a module linking
// another page does not pull this one in.
#include "moc_ZQDebugModeModel.cpp"
