// How late the virtual device's blocks come on the real clock, beside a bare thread that sleeps to the same schedule in
// the same run.
#include <time.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "bench/statistics.h"
#include "platform/threads.h"
#include "sound/virtual/virtual_driver.h"

namespace tarnwick::bench {
namespace {

constexpr int32_t kFrames = 64;
constexpr double kRate = 48000.0;
constexpr int kSeconds = 20;

void print(const char* what, Samples& samples) {
  std::printf("%-28s median %7.1f us, 99 %% %7.1f, 99.9 %% %7.1f, maximum %7.1f us late\n", what,
              samples.microseconds(0.5), samples.microseconds(0.99), samples.microseconds(0.999),
              samples.microseconds(1.0));
}

void registerForRealtime() {
  static thread_local platform::RealtimeRegistration registration;
  if (!registration.registered) {
    platform::RegisterProAudio(platform::RealtimeUse::blocks, registration);
  }
}

void bareSleeper(const std::atomic<bool>& stop, Samples& samples) {
  registerForRealtime();
  timespec due;
  clock_gettime(CLOCK_MONOTONIC, &due);
  while (!stop) {
    due.tv_nsec += static_cast<long>(kFrames / kRate * 1e9);
    if (due.tv_nsec >= 1000000000) {
      due.tv_nsec -= 1000000000;
      due.tv_sec += 1;
    }
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr);
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    samples.add((now.tv_sec - due.tv_sec) * 1000000000 + now.tv_nsec - due.tv_nsec);
  }
}

void run() {
  sound::VirtualOptions options;
  sound::VirtualDevice device(options);
  device.prepare(nullptr);
  const auto driver = device.backEnd().loadAsioDriver(sound::kVirtualDriverName);
  platform::AudioInitRequest init;
  init.sampleRate = kRate;
  driver->ASIOInit(init);
  std::vector<platform::AudioBufferInfo> infos;
  for (int32_t k = 0; k < options.inputs + options.outputs; ++k) {
    infos.push_back({k < options.inputs, k < options.inputs ? k : k - options.inputs, {nullptr, nullptr}});
  }
  platform::AudioCallbacks callbacks;
  callbacks.bufferSwitch = [](void*, int32_t, bool) {
    registerForRealtime();
    return true;
  };
  driver->ASIOCreateBuffers(infos.data(), static_cast<int32_t>(infos.size()), kFrames, callbacks);

  std::atomic<bool> stop{false};
  Samples bare(100000);
  std::thread sleeper([&] { bareSleeper(stop, bare); });
  driver->ASIOStart();
  std::this_thread::sleep_for(std::chrono::seconds(kSeconds));
  driver->ASIOStop();
  stop = true;
  sleeper.join();
  Samples blocks(65536);
  for (const int64_t ticks : device.lateness()) {
    blocks.add(ticks);
  }
  driver->ASIODisposeBuffers();
  driver->ASIOExit();
  std::printf("%d frames at %.0f Hz for %d s, both threads registered for real time:\n", kFrames, kRate, kSeconds);
  print("virtual device", blocks);
  print("bare sleeping thread", bare);
  std::printf("ratio of medians %.2f, of 99th percentiles %.2f\n", blocks.microseconds(0.5) / bare.microseconds(0.5),
              blocks.microseconds(0.99) / bare.microseconds(0.99));
}

}  // namespace
}  // namespace tarnwick::bench

int main() {
  tarnwick::platform::PrepareThreads();
  tarnwick::bench::run();
}
