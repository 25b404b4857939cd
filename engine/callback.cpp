// The driver's thread, once a block. Its neighbours: the workers of the pool, which process instances between publish
// and done; the user-interface thread, which writes the words it reads and awaits the end of a block before it takes
// anything away. It must not allocate, free, lock (but for the pool pointer), log, wait or throw.
#include "engine/callback.h"

#include <memory>

#include "engine/audio_thread.h"
#include "engine/instance_chain.h"
#include "engine/timing_report.h"

namespace tarnwick::engine {
namespace {

bool buffersHold(Engine& engine, const InstanceOrder& order, int32_t n) noexcept {
  for (int32_t i = 0; i < order.count; ++i) {
    const InstanceSlot& slot = engine.instances.slotOf(order, i);
    if (slot.input.size() < static_cast<size_t>(n) || slot.output.size() < static_cast<size_t>(n)) {
      return false;
    }
  }
  return true;
}

void instanceJob(void* context, uint64_t instance, uint32_t half, uint32_t length) noexcept {
  auto& engine = *static_cast<Engine*>(context);
  InstanceSlot& slot = engine.instances.slotOf(*engine.blockOrder, static_cast<int32_t>(instance));
  ProcessInstance(engine, slot, static_cast<int32_t>(half), static_cast<int32_t>(length));
}

void processInstances(Engine& engine, RealtimeThreadPool* pool, const InstanceOrder& order, int32_t half,
                      int32_t n) noexcept {
  const auto count = static_cast<uint64_t>(order.count);
  if (count > 1 && pool != nullptr && pool->workerCount() >= count) {
    engine.blockOrder = &order;
    pool->run(&engine, &instanceJob, count, static_cast<uint32_t>(half), static_cast<uint32_t>(n));
    for (int32_t i = 0; i < order.count; ++i) {
      SumInstance(engine, engine.instances.slotOf(order, i), half, n);
    }
    return;
  }
  for (int32_t i = 0; i < order.count; ++i) {
    InstanceSlot& slot = engine.instances.slotOf(order, i);
    ProcessInstance(engine, slot, half, n);
    SumInstance(engine, slot, half, n);
  }
}

void callHook(const BlockHook& hook, int32_t half, int32_t n) noexcept {
  if (hook) {
    hook(half, n);
  }
}

// Whether the instances are to be processed in this block.
bool hostProcesses(Engine& engine, const InstanceOrder& order, int32_t n) noexcept {
  if (!engine.hostRunning.load(std::memory_order_seq_cst) || engine.hostStopping.load(std::memory_order_seq_cst) ||
      order.count == 0) {
    return false;
  }
  if (!buffersHold(engine, order, n)) {
    engine.counters.skippedBlocks.fetch_add(1, std::memory_order_relaxed);
    return false;
  }
  return true;
}

// From the pink block to the glitch detection.
void runHost(Engine& engine, AudioThread& thread, const InstanceOrder& order, std::shared_ptr<RealtimeThreadPool>& pool,
             int32_t half, int32_t n) noexcept {
  const double rate = engine.session.sampleRate.load(std::memory_order_relaxed);
  FillPinkBlock(engine.pink, n, rate);
  engine.instanceMeters.adoptRate(rate);
  ApplyPriority(engine, thread);
  RegisterForRealtime(engine, thread);
  {
    const std::lock_guard<std::mutex> lock(engine.poolMutex);
    pool = engine.pool;
  }
  processInstances(engine, pool.get(), order, half, n);
  callHook(engine.mixHook, half, n);
  FeedOutputMeters(engine, half, n, true);
  DetectGlitches(engine, order, half, n, engine.counterNow());
}

// The rest of a block that touches nothing any more that may be taken away.
struct Tail {
  int64_t start = 0;
  bool timed = false;
  bool hostRan = false;
  platform::AudioDriver* announceTo = nullptr;  // the driver that wants to know that the output is ready
};

Tail processBlock(Engine& engine, int32_t half) noexcept {
  AudioThread thread = ThisAudioThread();
  system::ApplyIfChanged(engine.steering, system::SteeringGroup::engine, thread.steering);
  const int32_t n = engine.session.blockLength;
  if (n <= 0) {
    return {};
  }
  const int64_t start = engine.counterNow();
  SetFloatMode(thread);
  if (engine.metersStale.load(std::memory_order_relaxed) && engine.metersStale.exchange(false)) {
    for (MeterBank* bank : {&engine.instanceMeters, &engine.inputMeters, &engine.outputMeters}) {
      bank->markStale();
    }
  }
  FeedInputMeters(engine, half, n);
  callHook(engine.captureHook, half, n);
  ClearOutputs(engine, half, n);
  engine.counters.callbackCount.fetch_add(1, std::memory_order_relaxed);
  const InstanceOrder& order = engine.instances.order();
  std::shared_ptr<RealtimeThreadPool> pool;
  const bool hostRan = hostProcesses(engine, order, n);
  if (hostRan) {
    runHost(engine, thread, order, pool, half, n);
  } else {
    callHook(engine.mixHook, half, n);
    FeedOutputMeters(engine, half, n, false);
  }
  KeepAudioThread(thread);
  // The pool copy goes here. It is never the last one: a release thread holds the pool until no block can have it.
  return {start, true, hostRan, engine.session.outputReadySupported ? engine.session.currentDriver.get() : nullptr};
}

}  // namespace

bool BufferSwitch(Engine& engine, int32_t half, bool /*directProcess*/) noexcept {
  CallbackEpoch& epoch = engine.session.epoch;
  const uint32_t ticket = epoch.enter();
  if (ticket == 0) {
    engine.counters.refusedBlocks.fetch_add(1, std::memory_order_relaxed);
    return false;
  }
  Tail tail;
  Announcements* announcements = nullptr;
  if ((half == 0 || half == 1) && engine.session.acceptsBlocks.load(std::memory_order_seq_cst)) {
    tail = processBlock(engine, half);
    announcements = engine.session.announcements.get();
  }
  if (tail.announceTo == nullptr) {
    if (tail.timed) {
      AddBlockTime(engine, tail.start, tail.hostRan);
    }
    epoch.leave(ticket);
    return tail.timed;
  }
  // Outside the epoch, so that a driver which never returns from this call holds up its own thread alone.
  announcements->underWay.fetch_add(1, std::memory_order_seq_cst);
  epoch.leave(ticket);
  tail.announceTo->ASIOOutputReady();
  if (!announcements->givenUp.load(std::memory_order_seq_cst)) {
    AddBlockTime(engine, tail.start, tail.hostRan);
  }
  announcements->underWay.fetch_sub(1, std::memory_order_seq_cst);
  return true;
}

}  // namespace tarnwick::engine
