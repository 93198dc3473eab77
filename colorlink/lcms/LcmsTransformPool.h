// The process-wide pool of built lcms2 transforms: at most kCapacity of them, the one used least
// recently going first. It owns its transforms and deletes an evicted one at once, whether or not
// an ILcmsTransform still holds it: the capacity is meant for a few live conversions at a time.
//
// Threads: Find and Insert hold the pool's mutex to their end; the singleton accessor holds a
// mutex of its own, released before either is called. Building a transform happens outside both,
// so two threads may build the same one at once; Insert keeps the first.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "colorlink/lcms/ILcmsTransformPool.h"

class CLcmsTransformPool : public ILcmsTransformPool {
public:
    static constexpr size_t kCapacity = 6;
    using TransformDeleter = void (*)(cmsHTRANSFORM);

    // `deleter` disposes of evicted and surplus transforms (tests count them); `firstUse` is the
    // use counter's start, 0 in the process-wide pool.
    explicit CLcmsTransformPool(TransformDeleter deleter = cmsDeleteTransform,
                                unsigned long long firstUse = 0);
    ~CLcmsTransformPool() override;
    CLcmsTransformPool(const CLcmsTransformPool&) = delete;
    CLcmsTransformPool& operator=(const CLcmsTransformPool&) = delete;

    // The process-wide pool, made at the first call and deleted at process exit.
    static CLcmsTransformPool& Instance();

    cmsHTRANSFORM Find(const std::wstring& key) override;
    void Insert(const std::wstring& key, cmsHTRANSFORM& transform) override;

    // Transforms held now.
    size_t Count() const;
    // Whether the key is there, without counting as a use.
    bool Contains(const std::wstring& key) const;

private:
    struct SPoolEntry {
        unsigned long long nLastUse;
        cmsHTRANSFORM hTransform;
    };

    void EvictLeastRecent();

    mutable std::mutex Mutex;               // no time-out: a waiter waits as long as it takes
    std::map<std::wstring, SPoolEntry> Map; // by case-sensitive key text
    unsigned long long nUseCounter;
    TransformDeleter Delete;
};
