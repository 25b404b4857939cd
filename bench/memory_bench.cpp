// Private memory that an instance costs the host beyond the effect's own objects and its meter ring (which exist for
// all 127 from the device's start on): buffers, records and, where a machine has processors for them, the worker's
// stack.
#include <cstdio>
#include <cstring>
#include <memory>

#include "engine/host.h"
#include "engine/pool_control.h"
#include "platform/text.h"
#include "support/engine_rig.h"

namespace tarnwick::bench {
namespace {

constexpr int32_t kInstances = 127;

// Private pages of this process in kB.
long privateKilobytes() {
  std::FILE* file = std::fopen("/proc/self/smaps_rollup", "r");
  long total = 0;
  char line[256];
  while (file != nullptr && std::fgets(line, sizeof line, file) != nullptr) {
    long value = 0;
    if (std::sscanf(line, "Private_Clean: %ld", &value) == 1 || std::sscanf(line, "Private_Dirty: %ld", &value) == 1) {
      total += value;
    }
  }
  if (file != nullptr) {
    std::fclose(file);
  }
  return total;
}

engine::InstanceRow row() {
  engine::InstanceRow instance;
  instance.config = {0, 0};
  return instance;
}

void run(int32_t frames) {
  tests::EngineRig rig;
  engine::Host host(rig.engine, rig.user.ui());
  rig.startDevice(frames);
  host.pluginPath = platform::WideFromUtf8(TARNWICK_TEST_MODULES "/gain.vst3");
  host.rows = {row()};
  std::wstring error;
  if (!StartHost(host, &error, false)) {
    return;
  }
  rig.device.runBlock();
  const long one = privateKilobytes();
  while (host.rows.size() < kInstances && AddInstance(host, row(), &error)) {
  }
  engine::ReleasePool(rig.engine, engine::TakePool(rig.engine));
  for (int block = 0; block < 4; ++block) {
    rig.device.runBlock();
  }
  const long all = privateKilobytes();
  const engine::PoolEnvironment environment{&rig.engine.mmcssEnabled, &rig.steering, nullptr, nullptr, nullptr};
  long workers = 0;
  {
    engine::RealtimeThreadPool pool(kInstances, kInstances, environment);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    workers = privateKilobytes();
  }
  const double each = static_cast<double>(all - one) / (kInstances - 1);
  const double stack = static_cast<double>(workers - all) / kInstances;
  std::printf(
      "%d frames: %.1f kB an instance with a trivial effect, %.1f kB more with a worker of its own (limit 16)\n",
      frames, each, stack);
}

}  // namespace
}  // namespace tarnwick::bench

int main() {
  tarnwick::bench::run(64);
  tarnwick::bench::run(256);
}
