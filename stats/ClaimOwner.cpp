#include "stats/ClaimOwner.h"

#include "platform/FileRead.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <optional>

#include <unistd.h>

namespace zq::stats {
namespace {

QByteArray readSmallFile(const QString& path) {
    return platform::readFile(path, platform::ReadLimit::kSystemFact).value_or(QByteArray());
}

struct ProcessStat {
    char state = '?';
    qint64 startTicks = 0;
};

// The state and start time of a process, from /proc/PID/stat. The command
// name (field 2) is in parentheses and may itself hold spaces and ")", so
// the fields are counted from the last ")".
std::optional<ProcessStat> readStat(qint64 pid) {
    const QByteArray text = readSmallFile(QStringLiteral("/proc/%1/stat").arg(pid));
    const qsizetype close = text.lastIndexOf(')');
    if (close < 0) {
        return std::nullopt;
    }
    // Fields 3 (state) onwards; the start time is field 22.
    const QList<QByteArray> fields = text.mid(close + 1).simplified().split(' ');
    constexpr qsizetype kStartTime = 22 - 3;
    if (fields.size() <= kStartTime || fields.first().size() != 1) {
        return std::nullopt;
    }
    bool ok = false;
    const qint64 start = fields.at(kStartTime).toLongLong(&ok);
    if (!ok) {
        return std::nullopt;
    }
    return ProcessStat{fields.first().at(0), start};
}

QString currentScope() {
    const QByteArray boot = readSmallFile(QStringLiteral("/proc/sys/kernel/random/boot_id"));
    char link[256];
    const ssize_t length = ::readlink("/proc/self/ns/pid", link, sizeof link - 1);
    if (boot.trimmed().isEmpty() || length <= 0) {
        return {};
    }
    return QString::fromLatin1(boot.trimmed()) + u'/' +
           QString::fromLatin1(link, static_cast<qsizetype>(length));
}

}  // namespace

const ClaimOwner& ClaimOwner::current() {
    static const ClaimOwner owner = [] {
        ClaimOwner self;
        const qint64 pid = ::getpid();
        const std::optional<ProcessStat> stat = readStat(pid);
        const QString scope = currentScope();
        if (stat && !scope.isEmpty()) {
            self = {pid, stat->startTicks, scope};
        }
        return self;
    }();
    return owner;
}

ClaimOwner::State ClaimOwner::state() const {
    const ClaimOwner& self = current();
    if (pid <= 0 || self.pid <= 0 || scope != self.scope) {
        return State::Unknown;
    }
    if (*this == self) {
        return State::Running;
    }
    const std::optional<ProcessStat> stat = readStat(pid);
    if (!stat) {
        // No such process now. (Unreadable for another reason, /proc/PID/stat
        // would still exist; it is readable by everyone.)
        return QFile::exists(QStringLiteral("/proc/%1").arg(pid)) ? State::Unknown : State::Gone;
    }
    // A zombie has ended: it only waits for its parent to collect its status.
    if (stat->startTicks != startTicks || stat->state == 'Z' || stat->state == 'X') {
        return State::Gone;
    }
    return State::Running;
}

}  // namespace zq::stats
