#pragma once

#include <QString>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace zq::utility {

// A process-wide cached value: filled on the first successful use, then read
// without a lock. The first fill is serialised, so racing threads run the fill
// once and all see the same value; a fill that finds nothing stores nothing,
// and the next call tries again.
//
// Values once published are kept until the process ends (or a test resets
// the caches), so a reader never holds a value that is being replaced.
class ProcessCacheBase {
public:
    explicit ProcessCacheBase(const char* name);
    virtual ~ProcessCacheBase();
    ProcessCacheBase(const ProcessCacheBase&) = delete;
    ProcessCacheBase& operator=(const ProcessCacheBase&) = delete;

    const char* name() const { return _name; }
    // How many times a fill published a value (for tests of the first fill).
    int fillCount() const { return _fills.load(std::memory_order_relaxed); }

protected:
    friend void resetProcessCachesForTesting();
    virtual void resetForTesting() = 0;

    const char* const _name;
    std::atomic<int> _fills{0};
};

template <typename T>
class ProcessCache : public ProcessCacheBase {
public:
    using ProcessCacheBase::ProcessCacheBase;

    // The cached value; when there is none, fill() runs (one thread at a
    // time) and a value it returns is published.
    template <typename Fill>
    std::optional<T> get(Fill&& fill) {
        if (const T* value = _value.load(std::memory_order_acquire)) {
            return *value;
        }
        std::lock_guard lock(_mutex);
        if (const T* value = _value.load(std::memory_order_relaxed)) {
            return *value;
        }
        std::optional<T> filled = fill();
        if (filled) {
            publish(std::move(*filled));
            return *_value.load(std::memory_order_relaxed);
        }
        return std::nullopt;
    }

    // The cached value, without filling.
    std::optional<T> peek() const {
        if (const T* value = _value.load(std::memory_order_acquire)) {
            return *value;
        }
        return std::nullopt;
    }

    // Forgets the value; the next get() fills again.
    void clear() {
        std::lock_guard lock(_mutex);
        _value.store(nullptr, std::memory_order_release);
    }

private:
    void publish(T value) {
        _kept.push_back(std::make_unique<const T>(std::move(value)));
        _value.store(_kept.back().get(), std::memory_order_release);
        _fills.fetch_add(1, std::memory_order_relaxed);
    }

    void resetForTesting() override {
        std::lock_guard lock(_mutex);
        _value.store(nullptr, std::memory_order_release);
        _kept.clear();
        _fills.store(0, std::memory_order_relaxed);
    }

    std::atomic<const T*> _value{nullptr};
    std::mutex _mutex;
    std::vector<std::unique_ptr<const T>> _kept;
};

// Empties every process cache of the utilities. Only for tests, and only while
// no other thread uses the utilities.
void resetProcessCachesForTesting();

// The fill count of the cache with this name (-1 when there is none).
int processCacheFillCount(const QString& name);

}  // namespace zq::utility
