// An engine on a fake device, with the texts that reach the user written down.
#pragma once

#include <string>
#include <vector>

#include "engine/audio_control.h"
#include "engine/callback.h"
#include "engine/host_rows.h"
#include "engine/pool_control.h"
#include "platform/clock.h"
#include "support/fake_driver.h"

namespace tarnwick::tests {

struct UserSees {
  std::vector<std::wstring> log;
  std::vector<std::wstring> boxes;  // "title: text"
  bool recording = false;
  bool playing = false;
  int windowsDestroyed = 0;
  std::atomic<int> stopsFinished{0};

  engine::HostUi ui() {
    engine::HostUi ui;
    ui.log = [this](const std::wstring& line) { log.push_back(line); };
    ui.messageBox = [this](engine::BoxKind, const std::wstring& title, const std::wstring& text) {
      boxes.push_back(title + L": " + text);
    };
    ui.recordRunning = [this] { return recording; };
    ui.playbackRunning = [this] { return playing; };
    ui.postStopFinished = [this] {
      stopsFinished.fetch_add(1);
      return true;
    };
    ui.hostQuiet = [] {};
    ui.destroyMainWindow = [this] { windowsDestroyed += 1; };
    return ui;
  }
};

struct EngineRig {
  FakeDevice device;
  UserSees user;
  system::CpuSteering steering;
  engine::Engine engine{steering};

  // Blocks run on the test's own thread, which must not become a real-time one: its spinning children would inherit
  // that.
  EngineRig() {
    engine.mmcssEnabled = false;
    engine.enginePriority = 2;
  }

  // From now on the engine's time passes only as the test says.
  void stopTheClock() {
    counter = 0;
    engine.counterNow = []() noexcept { return counter.load(); };
  }
  static void pass(std::chrono::milliseconds time) { counter += time.count() * platform::CounterFrequency() / 1000; }
  static inline std::atomic<int64_t> counter;

  bool startDevice(int32_t blockLength = 64, double rate = 48000.0, std::wstring* error = nullptr) {
    engine::SessionRequest request;
    request.deviceName = L"Fake";
    request.blockLength = blockLength;
    request.sampleRate = rate;
    return engine::StartAsio(engine, device.backEnd(), request, user.ui(), error, false);
  }

  // Publishes an instance with buffers of the present block length, as a host start does.
  engine::InstanceSlot& addInstance(int32_t input, int32_t output) {
    engine::InstanceSlot* slot = engine.instances.prepareSlot();
    slot->config.inputChannel = input;
    slot->config.outputChannel = output;
    engine::EquipSlot(*slot, nullptr, engine.session.blockLength);
    engine.instances.append(slot, engine.session.epoch);
    return *slot;
  }

  // A pool of this many threads for this many instances, whatever the machine has.
  void usePool(uint64_t instances, uint64_t threads) {
    const engine::PoolEnvironment environment{&engine.mmcssEnabled, &steering, &engine.granted.workers, nullptr,
                                              &engine.enginePriority};
    engine::ReleasePool(engine, engine::TakePool(engine, std::make_shared<engine::RealtimeThreadPool>(
                                                             instances, threads, environment)));
  }

  // As if the host had started long enough ago for dropouts to count.
  void runHost() {
    engine.glitchesArmed.store(true);
    engine.hostStartTimestamp.store(engine.counterNow() - 10 * platform::CounterFrequency());
    engine.meteringEnabled.store(true);
    engine.hostRunning.store(true);
  }
};

}  // namespace tarnwick::tests
