#include "engine/pool_control.h"

#include <bit>
#include <system_error>
#include <thread>
#include <utility>

namespace tarnwick::engine {
namespace {

uint64_t workersFor(const Engine& engine, uint64_t instances) {
  const uint64_t machine = system::ProcessorsOf(engine.steering);
  const uint64_t chosen = system::ChosenMasks(engine.steering)[static_cast<size_t>(system::SteeringGroup::engine)];
  const uint64_t mine = system::GroupMask(chosen, machine);
  return WorkerThreadsFor(instances, static_cast<uint64_t>(std::popcount(mine)), mine == machine);
}

std::shared_ptr<RealtimeThreadPool> makePool(Engine& engine, uint64_t instances) {
  const uint64_t threads = workersFor(engine, instances);
  if (threads == 0) {
    return nullptr;
  }
  try {
    return std::make_shared<RealtimeThreadPool>(
        instances, threads,
        PoolEnvironment{&engine.mmcssEnabled, &engine.steering, &engine.granted.workers, &engine.granted.workersValue,
                        &engine.enginePriority});
  } catch (const std::exception&) {
    return nullptr;  // no threads, or no memory for them: the instances run one by one
  }
}

}  // namespace

void ReconfigurePool(Engine& engine, bool force) {
  if (!engine.hostRunning.load() && !force) {
    ReleasePool(engine, TakePool(engine));
    return;
  }
  const auto instances = static_cast<uint64_t>(engine.instances.count());
  if (instances >= 2) {
    const std::lock_guard<std::mutex> lock(engine.poolMutex);
    if (engine.pool && engine.pool->workerCount() == instances) {
      return;
    }
  }
  ReleasePool(engine, TakePool(engine, instances >= 2 ? makePool(engine, instances) : nullptr));
}

void RefitPool(Engine& engine) {
  if (!engine.hostRunning.load() || engine.hostStopping.load()) {
    return;
  }
  const auto instances = static_cast<uint64_t>(engine.instances.count());
  const uint64_t workers = workersFor(engine, instances);
  {
    const std::lock_guard<std::mutex> lock(engine.poolMutex);
    if ((engine.pool ? engine.pool->threadCount() : 0) == workers) {
      return;
    }
  }
  ReleasePool(engine, TakePool(engine, makePool(engine, instances)));
}

std::shared_ptr<RealtimeThreadPool> TakePool(Engine& engine, std::shared_ptr<RealtimeThreadPool> next) {
  const std::lock_guard<std::mutex> lock(engine.poolMutex);
  return std::exchange(engine.pool, std::move(next));
}

void ReleasePool(Engine& engine, std::shared_ptr<RealtimeThreadPool> pool) {
  if (!pool) {
    return;
  }
  // Held in a box, so that no copy on this thread can turn out to be the last one.
  const auto box = std::make_shared<std::shared_ptr<RealtimeThreadPool>>(std::move(pool));
  const auto release = [&engine, box] {
    AwaitCallbackIdle(engine.session.epoch);
    box->reset();
  };
  engine.pendingReleases.fetch_add(1);
  try {
    std::thread([&engine, release] {
      release();
      engine.pendingReleases.fetch_sub(1);
    }).detach();
  } catch (const std::system_error&) {
    engine.pendingReleases.fetch_sub(1);
    release();
  }
}

}  // namespace tarnwick::engine
