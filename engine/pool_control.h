// The life of the current pool. User-interface thread, but for TakePool.
#pragma once

#include <memory>

#include "engine/engine.h"

namespace tarnwick::engine {

// Makes the current pool fit the instances: one is built when there are two or more and processors left for workers,
// otherwise none is current. Without `force`, a host that does not run has none. When threads cannot be had the
// instances run serially. Never waits for workers to end.
void ReconfigurePool(Engine& engine, bool force);

// After a change of the Engine group's processors: replaces the current pool when they now allow for another number of
// workers. Nothing happens while the host does not run or is being stopped. Never waits for workers to end.
void RefitPool(Engine& engine);

// Exchanges the current pool under the mutex and returns the old one. Any thread but the callback's.
std::shared_ptr<RealtimeThreadPool> TakePool(Engine& engine, std::shared_ptr<RealtimeThreadPool> next = nullptr);

// Drops a pool on a short-lived thread of its own, after the last block that may hold it. Any thread but the
// callback's.
void ReleasePool(Engine& engine, std::shared_ptr<RealtimeThreadPool> pool);

}  // namespace tarnwick::engine
