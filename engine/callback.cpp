// The driver's thread, once a block. Its neighbours: the workers of the pool, which process instances between publish
// and done; the user-interface thread, which writes the words it reads and awaits the end of a block before it takes
// anything away. It must not allocate, free, lock (but for the pool pointer), log, wait or throw.
#include "engine/callback.h"

#include <algorithm>
#include <cmath>
#include <cwchar>
#include <memory>
#include <utility>

#include "engine/atomic_word.h"
#include "engine/instance_chain.h"
#include "platform/clock.h"
#include "system/priority.h"

namespace tarnwick::engine {
namespace {

using system::SteeringGroup;

// What the callback thread has applied to itself, kept from block to block in the thread's word. A registration is
// never undone, as nobody tells of the end of a driver's thread.
struct ThreadState {
  system::ThreadSteering steering;
  int32_t priorityIndex = -1;
  bool floatModeSet = false;
  bool registered = false;
  uint32_t tries = 0;    // registrations asked for in vain, 3 bits
  uint32_t askedAt = 0;  // when the last of them was, in units of 2^10 ms, 19 bits
};
static_assert(platform::kRegistrationTries <= 7);

uint32_t nowInThreadUnits() noexcept {
  return static_cast<uint32_t>(platform::TickMilliseconds() >> 10 & 0x7ffff);
}

ThreadState threadState() noexcept {
  const uint64_t word = platform::ThreadWord();
  ThreadState thread;
  thread.steering.generation = static_cast<uint32_t>(word);
  thread.priorityIndex = static_cast<int32_t>(word >> 32 & 0xff) - 1;
  thread.floatModeSet = (word >> 40 & 1) != 0;
  thread.registered = (word >> 41 & 1) != 0;
  thread.tries = static_cast<uint32_t>(word >> 42 & 7);
  thread.askedAt = static_cast<uint32_t>(word >> 45);
  return thread;
}

void keep(const ThreadState& thread) noexcept {
  platform::SetThreadWord(uint64_t{thread.steering.generation} | static_cast<uint64_t>(thread.priorityIndex + 1) << 32 |
                          uint64_t{thread.floatModeSet} << 40 | uint64_t{thread.registered} << 41 |
                          uint64_t{thread.tries} << 42 | uint64_t{thread.askedAt} << 45);
}

void raiseTo(std::atomic<uint64_t>& maximum, uint64_t value) noexcept {
  uint64_t seen = maximum.load(std::memory_order_relaxed);
  while (value > seen && !maximum.compare_exchange_weak(seen, value, std::memory_order_relaxed)) {
  }
}

void applyPriority(Engine& engine, ThreadState& thread) noexcept {
  const int32_t index = system::ClampPriorityIndex(engine.enginePriority.load(std::memory_order_relaxed));
  if (index != thread.priorityIndex) {
    thread.priorityIndex = index;
    const int32_t granted = platform::SetThreadPriorityLevel(system::PriorityAt(index).threadPriority);
    engine.granted.callbackPriority.store(granted, std::memory_order_relaxed);
  }
}

void registerForRealtime(Engine& engine, ThreadState& thread) noexcept {
  if (thread.registered) {
    return;
  }
  if (!engine.mmcssEnabled.load(std::memory_order_relaxed)) {
    thread.tries = 0;
    return;
  }
  const uint32_t now = nowInThreadUnits();
  // A clock that has come round counts as the pause's end.
  const bool due = now < thread.askedAt || now - thread.askedAt > platform::kRegistrationPause >> 10;
  if (thread.tries == 0 || (thread.tries < platform::kRegistrationTries && due)) {
    platform::RealtimeRegistration registration;
    platform::RegisterProAudio(platform::RealtimeUse::blocks, registration);
    thread.registered = registration.registered;
    thread.tries += 1;
    thread.askedAt = now;
    engine.granted.callbackValue.store(registration.value, std::memory_order_relaxed);
    engine.granted.callback.store(static_cast<int32_t>(registration.grant), std::memory_order_relaxed);
  }
}

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
void runHost(Engine& engine, ThreadState& thread, const InstanceOrder& order, std::shared_ptr<RealtimeThreadPool>& pool,
             int32_t half, int32_t n) noexcept {
  const double rate = engine.session.sampleRate.load(std::memory_order_relaxed);
  FillPinkBlock(engine.pink, n, rate);
  engine.instanceMeters.adoptRate(rate);
  applyPriority(engine, thread);
  registerForRealtime(engine, thread);
  {
    const std::lock_guard<std::mutex> lock(engine.poolMutex);
    pool = engine.pool;
  }
  processInstances(engine, pool.get(), order, half, n);
  callHook(engine.mixHook, half, n);
  FeedOutputMeters(engine, half, n, true);
  DetectGlitches(engine, order, half, n, platform::CounterNow());
}

void addTime(Engine& engine, int64_t start, bool hostRan) noexcept {
  const int64_t end = platform::CounterNow();
  EngineCounters& counters = engine.counters;
  const auto ticks = static_cast<uint64_t>(std::max<int64_t>(0, end - start));
  if (ticks > 0) {
    counters.timedTicks.fetch_add(ticks, std::memory_order_relaxed);
    counters.timedCount.fetch_add(1, std::memory_order_relaxed);
    raiseTo(counters.maxTicks, ticks);
  }
  if (hostRan) {
    counters.hostTicks.fetch_add(ticks, std::memory_order_relaxed);
    counters.hostCount.fetch_add(1, std::memory_order_relaxed);
    raiseTo(counters.hostMaxTicks, ticks);
  }
}

// What is left of a block when it touches nothing any more that may be taken away.
struct Tail {
  int64_t start = 0;
  bool timed = false;
  bool hostRan = false;
  platform::AudioDriver* announceTo = nullptr;  // the driver that wants to know that the output is ready
};

Tail processBlock(Engine& engine, int32_t half) noexcept {
  ThreadState thread = threadState();
  system::ApplyIfChanged(engine.steering, SteeringGroup::engine, thread.steering);
  const int32_t n = engine.session.blockLength;
  if (n <= 0) {
    return {};
  }
  const int64_t start = platform::CounterNow();
  if (!thread.floatModeSet) {
    platform::SetFlushDenormals();
    thread.floatModeSet = true;
  }
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
  keep(thread);
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
      addTime(engine, tail.start, tail.hostRan);
    }
    epoch.leave(ticket);
    return tail.timed;
  }
  // Outside the epoch, so that a driver which never returns from this call holds up its own thread alone.
  announcements->underWay.fetch_add(1, std::memory_order_seq_cst);
  epoch.leave(ticket);
  tail.announceTo->ASIOOutputReady();
  if (!announcements->givenUp.load(std::memory_order_seq_cst)) {
    addTime(engine, tail.start, tail.hostRan);
  }
  announcements->underWay.fetch_sub(1, std::memory_order_seq_cst);
  return true;
}

std::optional<std::wstring> TimingReport(Engine& engine, uint64_t nowMilliseconds) {
  constexpr uint64_t kReportMilliseconds = 10000;
  const int64_t frequency = platform::CounterFrequency();
  EngineCounters& counters = engine.counters;
  uint64_t last = counters.lastReportTick.load();
  if (!engine.hostRunning.load() || frequency <= 0 || nowMilliseconds - last < kReportMilliseconds ||
      !counters.lastReportTick.compare_exchange_strong(last, nowMilliseconds)) {
    return std::nullopt;
  }
  const uint64_t ticks = counters.timedTicks.exchange(0);
  const uint64_t maximum = counters.maxTicks.exchange(0);
  const uint64_t count = counters.timedCount.exchange(0);
  if (count == 0) {
    return std::nullopt;
  }
  const auto perSecond = static_cast<double>(frequency);
  const double average = static_cast<double>(ticks) * 1000.0 / (static_cast<double>(count) * perSecond);
  wchar_t line[128];
  std::swprintf(line, std::size(line), L"ASIO callback (10s): avg=%.3f ms, max=%.3f ms, count=%llu", average,
                static_cast<double>(maximum) * 1000.0 / perSecond, static_cast<unsigned long long>(count));
  return line;
}

}  // namespace tarnwick::engine
