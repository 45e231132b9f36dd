#pragma once

#include <QDateTime>
#include <QString>

#include <functional>

// The statistics stores name days by the local date "yyyyMMdd". The clock is
// replaceable so that day changes can be exercised without waiting for
// midnight.
namespace zq::stats {

// The current local date and time (the installed clock, else the system's).
QDateTime currentDateTime();

// Installs a clock; an empty function restores the system clock.
void setClockForTesting(std::function<QDateTime()> clock);

// "yyyyMMdd" of `dateTime` in local time, with ASCII digits whatever the locale.
QString dayKey(const QDateTime& dateTime);

// Today's and yesterday's day keys. Yesterday is the moment 86400 seconds
// before now, formatted the same way.
QString todayKey();
QString yesterdayKey();

}  // namespace zq::stats
