#include "stats/StatsClock.h"

#include <QMutex>

namespace zq::stats {
namespace {

struct ClockState {
    QMutex mutex;
    std::function<QDateTime()> clock;
};

ClockState& clockState() {
    static ClockState state;
    return state;
}

}  // namespace

QDateTime currentDateTime() {
    ClockState& state = clockState();
    QMutexLocker lock(&state.mutex);
    return state.clock ? state.clock() : QDateTime::currentDateTime();
}

void setClockForTesting(std::function<QDateTime()> clock) {
    ClockState& state = clockState();
    QMutexLocker lock(&state.mutex);
    state.clock = std::move(clock);
}

QString dayKey(const QDateTime& dateTime) {
    const QDate date = dateTime.toLocalTime().date();
    return QStringLiteral("%1%2%3")
        .arg(date.year(), 4, 10, QLatin1Char('0'))
        .arg(date.month(), 2, 10, QLatin1Char('0'))
        .arg(date.day(), 2, 10, QLatin1Char('0'));
}

QString todayKey() {
    return dayKey(currentDateTime());
}

QString yesterdayKey() {
    return dayKey(currentDateTime().addSecs(-86400));
}

}  // namespace zq::stats
