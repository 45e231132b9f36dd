#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace platform {

// A timer made by a Clock. It runs until stop() or until it is destroyed;
// destroying it is the usual way to stop it.
class ClockTimer {
public:
    virtual ~ClockTimer() = default;
    virtual bool isActive() const = 0;
    virtual void stop() = 0;
};

// The one source of the current time and of timers for everything that runs
// by the clock in the pages (animation steps, watchdogs, countdowns, time
// ranges shown to the user). The system clock runs on Qt's timers; a manual
// clock (below) lets tests move time on by hand, so that ten minutes of
// behaviour run in milliseconds and never depend on the machine's speed.
class Clock {
public:
    using Milliseconds = std::chrono::milliseconds;

    virtual ~Clock() = default;

    // The current date and time.
    virtual QDateTime now() const = 0;

    // Calls `tick` on `context`'s thread after `interval`, once, or every
    // `interval` when `repeating`, until the returned timer is stopped or
    // destroyed, or `context` is destroyed. Call it on `context`'s thread.
    virtual std::unique_ptr<ClockTimer> startTimer(Milliseconds interval, bool repeating,
                                                   QObject* context,
                                                   std::function<void()> tick) = 0;

    // The system clock (QDateTime::currentDateTime and QTimer). Process-wide.
    static Clock* system();
};

// A clock whose time moves only when advance() is called. Timers fire in the
// order of their due times (in the order they were started when equal), with
// now() set to each one's due time while it runs; a timer started by a
// running timer fires within the same advance when it falls due in it.
// Main thread only.
class ManualClock : public Clock {
public:
    explicit ManualClock(const QDateTime& start = QDateTime::fromSecsSinceEpoch(1700000000));
    ~ManualClock() override;

    QDateTime now() const override { return _now; }
    std::unique_ptr<ClockTimer> startTimer(Milliseconds interval, bool repeating, QObject* context,
                                           std::function<void()> tick) override;

    // Moves time on by `step`, firing every timer that falls due.
    void advance(Milliseconds step);
    // Sets the time without firing anything (a change of the system clock).
    void setNow(const QDateTime& now) { _now = now; }

private:
    struct Entry;
    class Timer;
    QDateTime _now;
    quint64 _sequence = 0;
    std::vector<std::shared_ptr<Entry>> _entries;
};

}  // namespace platform
