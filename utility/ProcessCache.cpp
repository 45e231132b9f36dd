#include "utility/ProcessCache.h"

#include <algorithm>

namespace zq::utility {
namespace {

struct Registry {
    std::mutex mutex;
    std::vector<ProcessCacheBase*> caches;
};

Registry& registry() {
    static Registry instance;
    return instance;
}

}  // namespace

ProcessCacheBase::ProcessCacheBase(const char* name) : _name(name) {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    r.caches.push_back(this);
}

ProcessCacheBase::~ProcessCacheBase() {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    r.caches.erase(std::remove(r.caches.begin(), r.caches.end(), this), r.caches.end());
}

void resetProcessCachesForTesting() {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    for (ProcessCacheBase* cache : r.caches) {
        cache->resetForTesting();
    }
}

int processCacheFillCount(const QString& name) {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    for (const ProcessCacheBase* cache : r.caches) {
        if (name == QLatin1String(cache->name())) {
            return cache->fillCount();
        }
    }
    return -1;
}

}  // namespace zq::utility
