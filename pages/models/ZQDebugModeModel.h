#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace platform {
class Clock;
class ClockTimer;
}  // namespace platform

// The behaviour of the debug-mode window, without widgets: the two switches
// that act as a radio pair ("    开启" tag 0, "    关闭" tag 1), the message to
// the input method, the explanation with the period's time range, and the
// 30-second countdown after which the window hides itself.
//
// The input method keeps the mode and its end; this model stores nothing. It
// reads the end of a running period ("ZQSettingLogFinishedTime", seconds
// since 1970) from the cloud store, and tells the input method the user's
// choice with "kVeskoNotifyStartDebugModeByHand" {"debugmodestatus": "1" | "0"}.
// The current time and the countdown's ticks come from the clock. Main thread only.
class ZQDebugModeModel : public QObject {
    Q_OBJECT

public:
    enum Tag { TagOn = 0, TagOff = 1 };
    static constexpr qint64 kPeriodSeconds = 14400;
    static constexpr int kCountdownSeconds = 30;
    // Where the number starts in the countdown text.
    static constexpr int kHighlightStart = 5;

    // `clock` defaults to the system clock.
    explicit ZQDebugModeModel(platform::Clock* clock = nullptr, QObject* parent = nullptr);
    ~ZQDebugModeModel() override;

    // A mode that is already on (the page name "ZQDebugMode"): the on switch
    // and the running period's range; nothing is posted.
    void showDebugModeEnabled();
    // Turns the mode on now (from the About page).
    void setDebugModeEnabled();
    // Action of both switches; `tag` is the clicked switch's.
    void setDebugModeState(int tag);

    bool onSwitchOn() const { return _onSwitchOn; }
    bool offSwitchOn() const { return _offSwitchOn; }
    int debugModeType() const { return _debugModeType; }
    QString detailText() const { return _detailText; }
    bool countdownVisible() const { return _countdownVisible; }
    bool countdownRunning() const;
    int timeCount() const { return _timeCount; }
    QString countdownText() const { return _countdownText; }
    // The highlighted run of the countdown text: the number and "秒钟".
    int highlightLength() const { return _highlightLength; }
    QString versionText() const;

    // "%1～%2": now and now + four hours, "yyyy-MM-dd HH:mm" in local time.
    QString getDebugModeTimeString() const;
    static QString formatTime(const QDateTime& time);
    // The end of a running period as the cloud store ("stat3.dat", a plain
    // property list) holds it, or none. Read with the property-list reader,
    // as ZQCloudStatitician's getValueForKeyStat3 reads it, so that this
    // window does not load the statistics library with its analytics client.
    static std::optional<qint64> storedFinishTime();

    static QString onText();
    static QString offText();

signals:
    void changed();
    // The countdown reached 0: hide the window (it is not closed).
    void hideRequested();

private:
    void post(const QString& status);
    void updateTimer();
    void stopCloseTimer();
    void updateCloseText();

    platform::Clock* _clock;
    std::unique_ptr<platform::ClockTimer> _closeTimer;
    bool _onSwitchOn = false;
    bool _offSwitchOn = false;
    int _debugModeType = TagOn;
    QString _detailText;
    bool _countdownVisible = false;
    int _timeCount = 0;
    QString _countdownText;
    int _highlightLength = 0;
};
