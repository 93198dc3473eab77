#include "colorlink/lcms/LcmsTransformPool.h"

#include <cstdint>
#include <memory>

CLcmsTransformPool::CLcmsTransformPool(TransformDeleter deleter, unsigned long long firstUse)
    : nUseCounter(firstUse), Delete(deleter) {}

CLcmsTransformPool::~CLcmsTransformPool() {
    for (auto& [key, entry] : Map) Delete(entry.hTransform);
}

CLcmsTransformPool& CLcmsTransformPool::Instance() {
    static std::mutex singletonLock;
    static std::unique_ptr<CLcmsTransformPool> pool;
    std::lock_guard<std::mutex> lock(singletonLock);
    if (!pool) pool = std::make_unique<CLcmsTransformPool>();
    return *pool;
}

cmsHTRANSFORM CLcmsTransformPool::Find(const std::wstring& key) {
    std::lock_guard<std::mutex> lock(Mutex);
    auto it = Map.find(key);
    if (it == Map.end()) return nullptr;
    it->second.nLastUse = ++nUseCounter;
    return it->second.hTransform;
}

void CLcmsTransformPool::Insert(const std::wstring& key, cmsHTRANSFORM& transform) {
    std::lock_guard<std::mutex> lock(Mutex);
    auto it = Map.find(key);
    if (it != Map.end()) {
        // Made twice at once: keep the first, and leave its last use as it was.
        if (transform != it->second.hTransform) Delete(transform);
        transform = it->second.hTransform;
        return;
    }
    Map.emplace(key, SPoolEntry{++nUseCounter, transform});
    if (Map.size() > kCapacity) EvictLeastRecent();
}

void CLcmsTransformPool::EvictLeastRecent() {
    // Uses compare as signed 32-bit values, as they always have: after 2^31 uses the order
    // wraps. The first of equal candidates in key order goes; the search starts from the
    // counter, so only a strictly smaller use is a candidate.
    int32_t least = int32_t(uint32_t(nUseCounter));
    auto victim = Map.end();
    for (auto it = Map.begin(); it != Map.end(); ++it) {
        const int32_t use = int32_t(uint32_t(it->second.nLastUse));
        if (use < least) {
            least = use;
            victim = it;
        }
    }
    if (victim == Map.end()) return;
    Delete(victim->second.hTransform);
    Map.erase(victim);
}

size_t CLcmsTransformPool::Count() const {
    std::lock_guard<std::mutex> lock(Mutex);
    return Map.size();
}

bool CLcmsTransformPool::Contains(const std::wstring& key) const {
    std::lock_guard<std::mutex> lock(Mutex);
    return Map.count(key) != 0;
}
