// The per-thread context: status, error mode, reporter and the caches of the
// transforms. Each thread gets its own at its first call; it is freed when
// the thread ends.
#pragma once

#include "zan.h"

#include <memory>

// A cache that a family of operations keeps per thread. Its destructor
// empties it when the thread ends.
struct OwnCache {
    virtual ~OwnCache() = default;
};

// Cache slots, emptied in this order when the thread ends.
enum class OwnCacheSlot { fourier = 0, cosine = 1, count = 2 };

struct OwnContext {
    ZanStatus status = ZAN_STATUS_OK;
    int mode = ZAN_ErrorModeLeaf;
    ZanReporter reporter = zanGuiBoxReport;
    std::unique_ptr<OwnCache> caches[static_cast<int>(OwnCacheSlot::count)];

    OwnContext() = default;
    OwnContext(const OwnContext&) = delete;
    OwnContext& operator=(const OwnContext&) = delete;
    ~OwnContext();
};

// The calling thread's context.
OwnContext& ownContext();

// The calling thread's cache in a slot, made on first use.
template <class Cache>
Cache& ownContextCache(OwnCacheSlot slot)
{
    std::unique_ptr<OwnCache>& entry = ownContext().caches[static_cast<int>(slot)];
    if (!entry)
        entry = std::make_unique<Cache>();
    return static_cast<Cache&>(*entry);
}
