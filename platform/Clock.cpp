#include "platform/Clock.h"

#include <QTimer>

#include <algorithm>

namespace platform {

namespace {

class SystemTimer : public ClockTimer {
public:
    explicit SystemTimer(QTimer* timer) : _timer(timer) {}
    // Deleted later: a timer may be dropped from its own tick.
    ~SystemTimer() override {
        if (_timer) {
            _timer->stop();
            _timer->deleteLater();
        }
    }
    bool isActive() const override { return _timer && _timer->isActive(); }
    void stop() override {
        if (_timer) {
            _timer->stop();
        }
    }

private:
    QPointer<QTimer> _timer;
};

class SystemClock : public Clock {
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
    std::unique_ptr<ClockTimer> startTimer(Milliseconds interval, bool repeating, QObject* context,
                                           std::function<void()> tick) override {
        auto* timer = new QTimer(context);
        timer->setTimerType(Qt::PreciseTimer);
        timer->setSingleShot(!repeating);
        timer->setInterval(interval);
        QObject::connect(timer, &QTimer::timeout, context, [tick = std::move(tick)] { tick(); });
        timer->start();
        return std::make_unique<SystemTimer>(timer);
    }
};

}  // namespace

Clock* Clock::system() {
    static SystemClock clock;
    return &clock;
}

struct ManualClock::Entry {
    quint64 sequence = 0;
    qint64 due = 0;  // milliseconds since the epoch
    qint64 interval = 0;
    bool repeating = false;
    bool active = true;
    bool hasContext = false;
    QPointer<QObject> context;
    std::function<void()> tick;
};

class ManualClock::Timer : public ClockTimer {
public:
    explicit Timer(std::weak_ptr<Entry> entry) : _entry(std::move(entry)) {}
    ~Timer() override { stop(); }
    bool isActive() const override {
        const auto entry = _entry.lock();
        return entry && entry->active;
    }
    void stop() override {
        if (const auto entry = _entry.lock()) {
            entry->active = false;
        }
    }

private:
    std::weak_ptr<Entry> _entry;
};

ManualClock::ManualClock(const QDateTime& start) : _now(start) {}

ManualClock::~ManualClock() = default;

std::unique_ptr<ClockTimer> ManualClock::startTimer(Milliseconds interval, bool repeating,
                                                    QObject* context, std::function<void()> tick) {
    auto entry = std::make_shared<Entry>();
    entry->sequence = ++_sequence;
    // A repeating timer moves time on by at least a millisecond per tick.
    entry->interval = std::max<qint64>(interval.count(), repeating ? 1 : 0);
    entry->due = _now.toMSecsSinceEpoch() + entry->interval;
    entry->repeating = repeating;
    entry->hasContext = context != nullptr;
    entry->context = context;
    entry->tick = std::move(tick);
    _entries.push_back(entry);
    return std::make_unique<Timer>(entry);
}

void ManualClock::advance(Milliseconds step) {
    const qint64 target = _now.toMSecsSinceEpoch() + step.count();
    for (;;) {
        std::shared_ptr<Entry> next;
        for (const auto& entry : _entries) {
            if (entry->active && entry->due <= target &&
                (!next || entry->due < next->due ||
                 (entry->due == next->due && entry->sequence < next->sequence))) {
                next = entry;
            }
        }
        if (!next) {
            break;
        }
        _now = QDateTime::fromMSecsSinceEpoch(next->due);
        if (next->hasContext && !next->context) {
            next->active = false;
            continue;
        }
        if (next->repeating) {
            next->due += next->interval;
            next->sequence = ++_sequence;
        } else {
            next->active = false;
        }
        const std::function<void()> tick = next->tick;
        tick();
    }
    _now = QDateTime::fromMSecsSinceEpoch(target);
    std::erase_if(_entries, [](const auto& entry) { return !entry->active; });
}

}  // namespace platform
