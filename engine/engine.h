// The audio engine's state: what the user-interface thread and the callback share. The operations stand in the files
// beside this one: callback.h (the block), timing_report.h, pool_control.h, audio_control.h (device), host.h (start and
// stop), host_rows.h (instances).
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "engine/device_session.h"
#include "engine/instance_table.h"
#include "engine/level_meter.h"
#include "engine/pink_noise.h"
#include "engine/realtime_thread_pool.h"
#include "platform/clock.h"
#include "system/cpu_steering.h"

namespace tarnwick::engine {

// Written by the callback, reset by the timing report and by start and stop. Ticks are those of the platform's counter.
struct EngineCounters {
  std::atomic<uint64_t> callbackCount{0};
  std::atomic<uint64_t> skippedBlocks{0};
  std::atomic<uint64_t> timedTicks{0};
  std::atomic<uint64_t> timedCount{0};
  std::atomic<uint64_t> maxTicks{0};
  std::atomic<std::chrono::milliseconds> lastReportTick{};  // platform's millisecond tick
  // As timedTicks, timedCount and maxTicks, but of the blocks that the host has finished since it started.
  std::atomic<uint64_t> hostTicks{0};
  std::atomic<uint64_t> hostCount{0};
  std::atomic<uint64_t> hostMaxTicks{0};
  std::atomic<uint64_t> refusedBlocks{0};  // calls that came while another thread was inside
};

// What the system granted the audio threads, as platform::RealtimeGrant; -1 = nothing asked yet. Written by those
// threads, read by the user-interface thread.
struct GrantedScheduling {
  std::atomic<int32_t> callback{-1};
  std::atomic<int32_t> callbackValue{0};
  std::atomic<int32_t> callbackPriority{0};  // thread priority level granted, as platform::SetThreadPriorityLevel
  std::atomic<int32_t> workers{-1};
  std::atomic<int32_t> workersValue{0};
};

// Called in every block with (buffer half, block length in samples). Set while no device is open; must be real-time
// safe. The capture hook sees the inputs, the mix hook adds to the outputs.
using BlockHook = std::function<void(int32_t half, int32_t n)>;

struct Engine {
  explicit Engine(const system::CpuSteering& cpuSteering);
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  // The device is closed and the pool given up; waits for release threads.
  ~Engine();

  const system::CpuSteering& steering;
  int64_t (*counterNow)() noexcept = &platform::CounterNow;  // ticks of CounterFrequency; set before any block

  DeviceSession session;
  MeterBank instanceMeters{kMaximumInstances};
  MeterBank inputMeters{kMeteredChannels};
  MeterBank outputMeters{kMeteredChannels};
  std::vector<ChannelTotals> outputTotals;  // one per metered output; callback writes while the host runs, if wanted
  InstanceTable instances{instanceMeters};
  PinkNoise pink;
  EngineCounters counters;
  GrantedScheduling granted;
  BlockHook captureHook;
  BlockHook mixHook;
  // Posts the latencies-changed message. Called on the driver's thread, perhaps inside a block: must be real-time safe.
  std::function<void()> postLatenciesChanged;

  // Flags, written by the user-interface thread and read by the callback.
  std::atomic<bool> asioRunning{false};
  std::atomic<bool> hostRunning{false};
  std::atomic<bool> hostStopping{false};
  std::atomic<bool> meteringEnabled{false};  // never switched off again
  std::atomic<bool> totalsWanted{false};     // a closing summary was asked for: outputTotals are kept
  std::atomic<bool> glitchesArmed{false};
  std::atomic<bool> testSignalAll{false};
  std::atomic<int64_t> hostStartTimestamp{-1};  // counter ticks
  std::atomic<bool> metersStale{false};         // set by the driver's rate notification, taken by the callback

  // Settings, written by the user-interface thread and read by the audio threads.
  std::atomic<int32_t> enginePriority{5};  // row of the priority table
  std::atomic<bool> mmcssEnabled{true};

  // The pool; the mutex guards the pointer alone.
  std::mutex poolMutex;
  std::shared_ptr<RealtimeThreadPool> pool;
  std::atomic<int32_t> pendingReleases{0};  // release threads that still run

  // The present block's view, written by the callback before the instances start and read by them.
  const InstanceOrder* blockOrder = nullptr;
};

}  // namespace tarnwick::engine
