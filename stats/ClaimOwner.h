#pragma once

#include <QString>
#include <QtGlobal>

namespace zq::stats {

// The process that holds a claim on queued analytics events.
//
// A process id alone is not enough: ids are reused, so a claim also records
// when its process started (clock ticks after boot, field 22 of
// /proc/PID/stat) and where those two numbers mean something: the boot and
// the process-id namespace ("scope"). A claim made in another scope (another
// boot, a sandbox with its own process ids, another machine sharing the home
// folder) cannot be judged from here; its lease decides.
struct ClaimOwner {
    qint64 pid = 0;
    qint64 startTicks = 0;
    QString scope;

    // This process; pid 0 when this system cannot name it.
    static const ClaimOwner& current();

    enum class State { Running, Gone, Unknown };
    // Running, Gone (no such process, a zombie, or another process that
    // reuses the id), or Unknown (another scope, or nothing to go by).
    State state() const;

    bool operator==(const ClaimOwner& other) const = default;
};

}  // namespace zq::stats
