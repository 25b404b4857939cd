// The device thread on a scripted device: what it makes of errors, and what the host and the log get to know.
#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

#include "alsa_fake_pcm.h"
#include "platform/audio/alsa/alsa_recovery.h"
#include "platform/audio/alsa/alsa_report.h"
#include "platform/audio/alsa/alsa_thread.h"

namespace tarnwick::platform {
namespace {

constexpr int kForEver = 1'000'000;
constexpr auto kMoment = std::chrono::milliseconds(1);

// A host that plays what it hears.
class EchoHost {
 public:
  explicit EchoHost(FakePcm& pcm) : pcm_(pcm) {
    run_.callbacks = {
        .context = this,
        .bufferSwitch = [](void* host, int32_t half, bool) { return static_cast<EchoHost*>(host)->process(half); },
        .asioMessage =
            [](void* host, int32_t selector, int32_t) {
              static_cast<EchoHost*>(host)->messages.push_back(selector);
              return 1;
            }};
    run_.blockLength = kFakeBlock;
    run_.sampleRate = 48000.0;
    for (const size_t half : {0, 1}) {
      run_.inputs[half] = {in_[half]};
      run_.outputs[half] = {out_[half]};
    }
  }

  AlsaRun& run() { return run_; }
  std::vector<int32_t> messages;
  std::vector<int32_t> halves;
  int64_t letsPass = -1;  // a block that it does not touch

 private:
  bool process(int32_t half) {
    halves.push_back(half);
    const bool passes = pcm_.hostCalls++ == letsPass;
    if (!passes) {
      std::copy_n(in_[half], kFakeBlock, out_[half]);
    }
    return !passes;
  }

  FakePcm& pcm_;
  AlsaRun run_;
  int32_t in_[2][kFakeBlock] = {};
  int32_t out_[2][kFakeBlock] = {};
};

// Runs until the host has been called `blocks` times or the device is lost.
void runFor(AlsaThread& thread, EchoHost& host, uint64_t blocks) {
  ASSERT_EQ(thread.start(host.run()), 0);
  const AlsaStatus& status = thread.status();
  for (int k = 0; k < 10'000 && status.blocks.load() < blocks && status.lost.load() == 0; ++k) {
    std::this_thread::sleep_for(kMoment);
  }
  thread.stop();
  EXPECT_TRUE(status.blocks.load() >= blocks || status.lost.load() != 0) << status.blocks.load() << " blocks";
}

TEST(AlsaThreadTest, ErrorsAreRecoveredFromAndCounted) {
  struct Case {
    const char* name;
    std::vector<FakeFault> faults;
    AlsaCounts counts;
    int restarts;
    int lost = 0;
  };
  using C = FakeCall;
  for (const Case& one : std::vector<Case>{
           {"xrun seen in the state", {{C::available, 5, -EPIPE}}, {1, 0, 0, 0}, 1},
           {"xrun seen by the wait", {{C::wait, 5, -EPIPE}}, {1, 0, 0, 0}, 1},
           {"xrun in the midst of capture", {{C::capture, 5, -EPIPE}}, {1, 0, 0, 0}, 1},
           {"xrun in the midst of playback", {{C::playback, 5, -EPIPE}}, {1, 0, 0, 0}, 1},
           {"xrun again at the restart", {{C::wait, 5, -EPIPE}, {C::start, 5, -EPIPE, 2}}, {3, 0, 0, 0}, 3},
           {"overload for a while", {{C::playback, 5, -EPIPE, 100}}, {100, 0, 0, 0}, 100},
           {"xruns and no block", {{C::available, 5, -EPIPE, kForEver}}, {33, 0, 0, 0}, 32, -EPIPE},
           {"suspend", {{C::available, 5, -ESTRPIPE}, {C::resume, 5, -EAGAIN, 3}}, {0, 1, 0, 0}, 1},
           {"suspend without resume", {{C::wait, 5, -ESTRPIPE}, {C::resume, 5, -ENOSYS}}, {0, 1, 0, 0}, 1},
           {"suspends and no block", {{C::wait, 5, -ESTRPIPE, kForEver}}, {0, 33, 0, 0}, 32, -ESTRPIPE},
           {"unplugged while suspended", {{C::wait, 5, -ESTRPIPE}, {C::resume, 5, -ENODEV}}, {0, 1, 0, 0}, 0, -ENODEV},
           {"unplugged", {{C::wait, 5, -ENODEV, kForEver}}, {}, 0, -ENODEV},
           {"unplugged after an xrun", {{C::wait, 5, -EPIPE}, {C::prepare, 5, -ENODEV}}, {1, 0, 0, 0}, 1, -ENODEV},
           {"input/output error", {{C::wait, 5, -EIO}}, {0, 0, 0, 1}, 1},
           {"errors in every block", {{C::playback, 5, -EIO, kForEver}}, {0, 0, 0, 33}, 32, -EIO},
           {"a wait without end", {{C::wait, 5, kEndlessWait}}, {0, 0, 1, 0}, 1},
           {"only waits without end", {{C::wait, 5, kEndlessWait, kForEver}}, {0, 0, 5, 0}, 4, AlsaStalled()},
           {"interrupted", {{C::wait, 5, -EINTR, 3}, {C::playback, 6, -EAGAIN, 3}, {C::capture, 7, -EINTR}}, {}, 0},
       }) {
    SCOPED_TRACE(one.name);
    FakePcm pcm;
    pcm.faults = one.faults;
    EchoHost host(pcm);
    AlsaThread thread(pcm);
    runFor(thread, host, 300);
    const AlsaStatus& status = thread.status();
    EXPECT_EQ(CountsOf(status), one.counts);
    EXPECT_EQ(status.lost.load(), one.lost);
    EXPECT_EQ(pcm.prepares, 1 + one.restarts);
    EXPECT_GE(pcm.naps, one.lost == -EPIPE || one.lost == -EIO ? one.restarts - 1 : 0) << "it tries without a pause";
    // Nobody hears the rest of a block that an error has cut off: after a restart silence comes first.
    const auto failedPrepares = std::count_if(one.faults.begin(), one.faults.end(),
                                              [](const FakeFault& fault) { return fault.call == C::prepare; });
    EXPECT_EQ(static_cast<long>(pcm.silences.size()), pcm.prepares - failedPrepares);
    for (size_t k = 0; k < host.halves.size(); ++k) {
      ASSERT_EQ(host.halves[k], static_cast<int32_t>(k & 1)) << "block " << k;
    }
  }
}

TEST(AlsaThreadTest, SoundComesThroughWholeAndWithTheSameDelay) {
  struct Case {
    const char* name;
    long chunk;
    int falseWakes;
    bool captures;
    bool plays;
  };
  for (const Case& one :
       {Case{"both, with false wakes", 7, 5, true, true}, Case{"whole blocks, capture alone", 64, 0, true, false},
        Case{"playback alone", 7, 1, false, true}}) {
    SCOPED_TRACE(one.name);
    FakePcm pcm;
    pcm.chunk = one.chunk;
    pcm.falseWakes = one.falseWakes;
    pcm.captures = one.captures;
    pcm.plays = one.plays;
    EchoHost host(pcm);
    host.letsPass = 50;
    AlsaThread thread(pcm);
    runFor(thread, host, 100);
    EXPECT_EQ(CountsOf(thread.status()), AlsaCounts{});
    EXPECT_GE(pcm.naps, one.falseWakes > 0 ? 100 : 0);  // it does not ask without end
    if (one.plays) {
      ASSERT_GE(pcm.played.size(), static_cast<size_t>(kFakeHeld + 99 * kFakeBlock));
    }
    for (size_t k = 0; k < pcm.played.size(); ++k) {
      const int32_t heard = std::max(0, static_cast<int32_t>(k) + 1 - int32_t{kFakeHeld});
      const bool silent = !one.captures || (heard - 1) / kFakeBlock == host.letsPass;
      const int32_t expected = silent ? 0 : heard;
      ASSERT_EQ(pcm.played[k], expected) << "frame " << k;
    }
  }
}

TEST(AlsaThreadTest, AStalledDeviceIsStoppedAtOnceAndStartsAgain) {
  FakePcm pcm;
  pcm.stallsAfter = 10;
  EchoHost host(pcm);
  AlsaThread thread(pcm);
  ASSERT_EQ(thread.start(host.run()), 0);
  while (thread.status().blocks.load() < 10) {
    std::this_thread::sleep_for(kMoment);
  }
  const auto begin = std::chrono::steady_clock::now();
  thread.stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
  EXPECT_EQ(pcm.hostCalls, 10);

  pcm.stallsAfter = INT64_MAX;
  runFor(thread, host, 20);
  EXPECT_EQ(thread.status().lost.load(), 0);
}

TEST(AlsaThreadTest, AFailedStartLeavesNoThread) {
  for (const FakeCall call : {FakeCall::prepare, FakeCall::start}) {
    FakePcm pcm;
    pcm.faults = {{call, 0, -ENODEV}};
    EchoHost host(pcm);
    AlsaThread thread(pcm);
    EXPECT_EQ(thread.start(host.run()), -ENODEV);
    EXPECT_FALSE(thread.running());
    EXPECT_EQ(pcm.hostCalls, 0);
  }
}

TEST(AlsaThreadTest, TheHostHearsOfTheHardwaresDelayOnce) {
  struct Case {
    long delay;
    int32_t capture;
    int32_t playback;
    size_t messages;
  };
  for (const Case& one : {Case{24, 24, 48, 1}, Case{-5, 0, 0, 0}, Case{40'000, 40'000, 0, 1}}) {
    SCOPED_TRACE(one.delay);
    FakePcm pcm;
    pcm.delay = one.delay;
    EchoHost host(pcm);
    AlsaThread thread(pcm);
    runFor(thread, host, 100);
    EXPECT_EQ(thread.status().captureDelay.load(), one.capture);
    EXPECT_EQ(thread.status().playbackDelay.load(), one.playback);
    EXPECT_EQ(host.messages, std::vector<int32_t>(one.messages, kAsioLatenciesChanged));
  }
}

TEST(AlsaReporterTest, ALostDeviceIsToldOnceAndStopsCleanly) {
  FakePcm pcm;
  pcm.faults = {{FakeCall::wait, 3, -EPIPE, 2}, {FakeCall::wait, 5, -ENODEV, kForEver}};
  EchoHost host(pcm);
  AlsaThread thread(pcm);
  AlsaWake wake;
  host.run().lossSignal = &wake;
  std::vector<std::wstring> lines;
  std::vector<std::wstring> reasons;
  std::vector<uint64_t> xruns;
  std::atomic<int> losses{0};
  {
    AlsaReporter reporter(L"Card", thread.status(), wake,
                          {.log = [&](const std::wstring& line) { lines.push_back(line); },
                           .deviceLost =
                               [&](const std::wstring& reason) {
                                 reasons.push_back(reason);
                                 ++losses;
                               },
                           .waiting = {},
                           .xruns = [&](uint64_t total) { xruns.push_back(total); }});
    runFor(thread, host, 100);
    for (int k = 0; k < 500 && losses.load() == 0; ++k) {  // at once, and not with the next look a second later
      std::this_thread::sleep_for(kMoment);
    }
    for (int k = 0; k < 20; ++k) {
      wake.signal();
      std::this_thread::sleep_for(kMoment);
    }
  }
  EXPECT_EQ(losses.load(), 1);
  EXPECT_EQ(lines, std::vector<std::wstring>{L"ALSA: Card: 2 xruns."});
  EXPECT_EQ(reasons, std::vector<std::wstring>{L"ALSA: Card is gone (No such device)."});
  EXPECT_EQ(xruns, std::vector<uint64_t>{2});
}

TEST(AlsaReporterTest, LinesSayWhatIsNew) {
  EXPECT_EQ(AlsaReport(L"X", {5, 1, 2, 3}, {5, 1, 2, 3}, -EIO), L"");
  EXPECT_EQ(AlsaReport(L"X", {9, 0, 0, 0}, {12, 1, 0, 0}, 0), L"ALSA: X: 3 xruns (12 since the start), 1 suspend.");
  EXPECT_EQ(AlsaReport(L"X", {}, {0, 0, 1, 2}, -EIO), L"ALSA: X: 1 stall, 2 errors, the last one: Input/output error.");
}

}  // namespace
}  // namespace tarnwick::platform
