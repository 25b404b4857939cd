// Cost of a whole callback on one core: without effects beside a bare pass of memory copies over the same buffers, on
// devices of integers, by number of instances, with a trivial gain, and around a real effect beside that effect's bare
// process call.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <utility>

#include "bench/statistics.h"
#include "engine/host.h"
#include "engine/pool_control.h"
#include "platform/module.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "sound/sample_format.h"
#include "support/engine_rig.h"

namespace tarnwick::bench {
namespace {

constexpr int32_t kChannels = 128;
constexpr int32_t kFrames = 64;
constexpr int kRounds = 7;
constexpr int kBlocks = 6000;

struct BenchRig : tests::EngineRig {
  engine::Host host{engine, user.ui()};

  explicit BenchRig(int32_t sampleType = platform::kFloat32LSB) {
    device.sampleType = sampleType;
    device.inputs = device.outputs = kChannels;
    device.calls.reserve(1000);
    startDevice(kFrames);
    device.results["ASIOOutputReady"] = 0;
    std::mt19937 random(3);
    std::uniform_real_distribution<float> noise(-0.25f, 0.25f);
    float samples[kFrames];
    for (auto& half : device.inputBytes) {
      for (auto& channel : half) {
        std::generate_n(samples, kFrames, [&] { return noise(random); });
        sound::AddBlock(sampleType, channel.data(), samples, kFrames);
      }
    }
    engine.session.outputReadySupported = false;  // the fake driver's notes are no part of a callback
  }

  bool startHost(const std::wstring& module, int32_t instances) {
    host.pluginPath = module;
    host.rows.assign(static_cast<size_t>(instances), {});
    for (int32_t i = 0; i < instances; ++i) {
      host.rows[static_cast<size_t>(i)].config = {i, i};
    }
    std::wstring error;
    if (!StartHost(host, &error, false)) {
      std::printf("%s\n", platform::Utf8FromWide(error).c_str());
      return false;
    }
    engine.hostStartTimestamp = platform::CounterNow() - 10 * platform::CounterFrequency();
    engine::ReleasePool(engine, engine::TakePool(engine));  // one core
    return true;
  }
  // Without effects: the host runs, its instances pass through.
  void runBare(int32_t instances) {
    for (int32_t i = 0; i < instances; ++i) {
      addInstance(i, i);
    }
    runHost();
  }
  double medianCallback() {
    double best = 1e9;
    for (int round = 0; round < kRounds; ++round) {
      Samples samples(kBlocks);
      for (int block = 0; block < kBlocks; ++block) {
        samples.add(TicksOf([this] { device.runBlock(); }));
      }
      best = std::min(best, samples.microseconds(0.5));
    }
    return best;
  }
};

// The least that must move: each input to its instance, through it, and out.
double medianCopies() {
  std::vector<std::vector<float>> in(kChannels, std::vector<float>(kFrames, 0.1f));
  std::vector<std::vector<float>> middle = in;
  std::vector<std::vector<float>> out = in;
  double best = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    Samples samples(kBlocks);
    for (int block = 0; block < kBlocks; ++block) {
      samples.add(TicksOf([&] {
        for (size_t k = 0; k < kChannels; ++k) {
          std::memcpy(middle[k].data(), in[k].data(), kFrames * sizeof(float));
          std::memcpy(out[k].data(), middle[k].data(), kFrames * sizeof(float));
        }
        __asm__ __volatile__("" : : "r"(out.data()) : "memory");
      }));
    }
    best = std::min(best, samples.microseconds(0.5));
  }
  return best;
}

void wholeCallback() {
  BenchRig rig;
  rig.runBare(127);
  const double callback = rig.medianCallback();
  const double copies = medianCopies();
  std::printf(
      "127 instances, no effect, %d in, %d out, %d frames: %.1f us a callback (limit 20), copies alone %.2f us, "
      "ratio %.1f\n",
      kChannels, kChannels, kFrames, callback, copies, callback / copies);
  for (const auto& [type, name] : {std::pair(platform::kInt32LSB, "32"), {platform::kInt24LSB, "24"}}) {
    BenchRig integers(type);
    integers.runBare(127);
    std::printf("the same on a device of %s-bit integers: %.1f us a callback\n", name, integers.medianCallback());
  }
}

double callbackWith(int32_t instances) {
  BenchRig rig;
  rig.runBare(instances);
  return rig.medianCallback();
}

// Each further instance's share of the block's cost beyond the first (device meters, pink block, clearing).
void byInstances() {
  const double one = callbackWith(1);
  std::printf("   1 instance:  %6.2f us\n", one);
  for (const int32_t instances : {4, 8, 16, 32, 64, 127}) {
    const double callback = callbackWith(instances);
    std::printf("%4d instances: %6.2f us, %.3f us each further instance\n", instances, callback,
                (callback - one) / (instances - 1));
  }
}

void trivialGain(const std::wstring& module) {
  BenchRig rig;
  if (rig.startHost(module, 127)) {
    std::printf("127 instances of a trivial gain: %.1f us a callback (limit 90)\n", rig.medianCallback());
  }
}

// The effect's own process call in a tight loop over as many instances, fed the same noise.
double bareEffect(BenchRig& rig) {
  double best = 1e9;
  auto& instances = rig.host.module.instances;
  for (int round = 0; round < kRounds; ++round) {
    Samples samples(kBlocks);
    for (int block = 0; block < kBlocks / 4; ++block) {
      for (size_t i = 0; i < instances.size(); ++i) {
        std::memcpy(instances[i]->inputBuffer.data(), rig.device.input(static_cast<int32_t>(i), block % 2),
                    kFrames * sizeof(float));
      }
      samples.add(TicksOf([&] {
        for (auto& instance : instances) {
          instance->processData.numSamples = kFrames;
          instance->processor->process(instance->processData);
        }
      }));
    }
    best = std::min(best, samples.microseconds(0.5));
  }
  return best;
}

void aroundEffect(const std::wstring& path, int32_t count) {
  const std::wstring module = platform::ResolveModuleFile(path);
  if (!platform::FileExists(module)) {
    std::printf("%s is not there\n", platform::Utf8FromWide(path).c_str());
    return;
  }
  BenchRig idleRig;
  idleRig.runHost();
  const double idle = idleRig.medianCallback();
  BenchRig rig;
  if (!rig.startHost(module, count)) {
    return;
  }
  const double callback = rig.medianCallback();
  rig.engine.hostRunning = false;
  const double bare = bareEffect(rig);
  std::printf(
      "%d instances of %s: %.1f us a callback, bare effect %.1f us; beyond the effect %.3f us an instance and "
      "block (limit 1), device part %.1f us of it\n",
      count, platform::Utf8FromWide(path).c_str(), callback, bare, (callback - bare) / count, idle);
}

}  // namespace
}  // namespace tarnwick::bench

int main(int argc, char** argv) {
  using namespace tarnwick;
  bench::wholeCallback();
  bench::byInstances();
  bench::trivialGain(platform::WideFromUtf8(TARNWICK_TEST_MODULES "/gain.vst3"));
  const std::string effect = argc > 1 ? argv[1] : "/usr/lib/vst3/ZamComp.vst3";
  bench::aroundEffect(platform::WideFromUtf8(effect), 32);
  bench::aroundEffect(platform::WideFromUtf8(effect), 127);
}
