// The driver on ALSA's software devices, and on one of our own that has a clock.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/alsa_back_end.h"
#include "temporary_folder.h"

namespace tarnwick::platform {
namespace {

constexpr wchar_t kName[] = L"Test device";
constexpr int32_t kBlock = 64;
constexpr auto kTick = std::chrono::milliseconds(1);

// ALSA with devices of our own in place of the machine's: `nothing` takes all and delivers silence, `hearing` delivers
// a file, `playing` fills one, `clocked` has a clock.
class AlsaDriverTest : public testing::Test {
 protected:
  // ALSA reads its configuration once.
  static void SetUpTestSuite() {
    static const TemporaryFolder folder;
    folder_ = &folder;
    const auto file = [](const char* name, const std::string& written, const std::string& read) {
      return std::string("pcm.") + name + " { type file slave.pcm nothing format raw file \"" + written +
             "\" infile \"" + read + "\" }\n";
    };
    const std::string text = "pcm.nothing { type null }\n" + file("hearing", "/dev/null", folder.name("heard")) +
                             file("playing", folder.name("played"), "/dev/null") +
                             "pcm_type.tarnwick_clocked.lib \"" ALSA_TEST_DEVICE
                             "\"\n"
                             "pcm.clocked.type tarnwick_clocked\n"
                             "pcm.pulled { type tarnwick_clocked unplug 100 }\n";
    WriteBytes(folder.name("alsa.conf"), Bytes(text.begin(), text.end()));
    setenv("ALSA_CONFIG_PATH", folder.name("alsa.conf").c_str(), 1);
  }

  std::unique_ptr<AudioDriver> load(AlsaDevice device) {
    device.name = kName;
    const AlsaHooks hooks{.log =
                              [this](const std::wstring& line) {
                                const std::lock_guard lock(mutex_);
                                lines_.push_back(line);
                              },
                          .deviceLost = [this](const std::wstring&) { ++losses_; }};
    return AlsaBackEnd(hooks, {.hardware = false, .devices = {std::move(device)}}).loadAsioDriver(kName);
  }

  static const TemporaryFolder* folder_;
  std::mutex mutex_;
  std::vector<std::wstring> lines_;
  std::atomic<int> losses_{0};
};
const TemporaryFolder* AlsaDriverTest::folder_ = nullptr;

// A host that plays what it hears, block for block; the software devices have no clock, so it sets the pace.
struct Host {
  explicit Host(AudioDriver& given) : driver(given) {}

  AsioError create(int32_t blockLength = kBlock) {
    int32_t inputs = 0;
    int32_t outputs = 0;
    driver.ASIOGetChannels(inputs, outputs);
    infos.clear();
    for (int32_t k = 0; k < inputs + outputs; ++k) {
      infos.push_back({.isInput = k < inputs, .channelNum = k < inputs ? k : k - inputs});
    }
    AudioChannelInfo info;
    info.isInput = inputs > 0;
    driver.ASIOGetChannelInfo(info);
    bytes = static_cast<size_t>(blockLength * BytesPerSample(info.type));
    const AudioCallbacks callbacks{
        .context = this,
        .bufferSwitch = [](void* host, int32_t half, bool) { static_cast<Host*>(host)->process(half); },
        .sampleRateDidChange = [](void* host, double told) { static_cast<Host*>(host)->rate.store(told); }};
    return driver.ASIOCreateBuffers(infos.data(), static_cast<int32_t>(infos.size()), blockLength, callbacks);
  }

  void process(int32_t half) {
    for (size_t k = 0; 2 * k < infos.size(); ++k) {
      AudioBufferInfo& out = infos[infos.size() / 2 + k];
      if (infos[k].isInput && !out.isInput) {
        std::memcpy(out.buffers[half], infos[k].buffers[half], bytes);
      }
    }
    std::this_thread::sleep_for(blocks.load() == lateBlock ? 300 * kTick : pause);
    blocks.fetch_add(1);
  }

  bool await(int64_t count) const {
    for (int k = 0; k < 5000 && blocks.load() < count; ++k) {
      std::this_thread::sleep_for(kTick);
    }
    return blocks.load() >= count;
  }

  AudioDriver& driver;
  std::vector<AudioBufferInfo> infos;
  size_t bytes = 0;
  int64_t lateBlock = -1;
  std::chrono::milliseconds pause = kTick;
  std::atomic<int64_t> blocks{0};
  std::atomic<double> rate{0.0};
};

TEST_F(AlsaDriverTest, DirectionsRunTogetherOrAlone) {
  struct Case {
    const char* capture;
    const char* playback;
    int32_t inputs;
    int32_t outputs;
    int32_t inputLatency;
    int32_t outputLatency;
    int32_t periods = 2;
  };
  for (const Case& one :
       {Case{"nothing", "nothing", 2, 2, kBlock, kBlock}, Case{"nothing", "", 2, 0, kBlock, 0},
        Case{"", "nothing", 0, 2, 0, kBlock}, Case{"nothing", "nothing", 2, 2, kBlock, 2 * kBlock, 3}}) {
    SCOPED_TRACE(std::string(one.capture) + "/" + one.playback);
    const auto driver = load({.capturePcm = one.capture, .playbackPcm = one.playback, .periods = one.periods});
    ASSERT_TRUE(driver);
    ASSERT_EQ(driver->ASIOInit({}), ASE_OK);
    int32_t inputs = -1;
    int32_t outputs = -1;
    ASSERT_EQ(driver->ASIOGetChannels(inputs, outputs), ASE_OK);
    EXPECT_EQ(inputs, one.inputs);
    EXPECT_EQ(outputs, one.outputs);
    Host host(*driver);
    ASSERT_EQ(host.create(), ASE_OK);
    for (int round = 1; round <= 2; ++round) {
      ASSERT_EQ(driver->ASIOStart(), ASE_OK);
      EXPECT_TRUE(host.await(10 * round));
      int32_t input = -1;
      int32_t output = -1;
      EXPECT_EQ(driver->ASIOGetLatencies(input, output), ASE_OK);
      EXPECT_EQ(input, one.inputLatency);
      EXPECT_EQ(output, one.outputLatency);
      ASSERT_EQ(driver->ASIOStop(), ASE_OK);
      const int64_t blocks = host.blocks.load();
      std::this_thread::sleep_for(10 * kTick);
      EXPECT_EQ(host.blocks.load(), blocks);
    }
    EXPECT_EQ(driver->ASIODisposeBuffers(), ASE_OK);
    EXPECT_EQ(driver->ASIOExit(), ASE_OK);
    EXPECT_EQ(lines_, std::vector<std::wstring>{});
    EXPECT_EQ(losses_.load(), 0);
  }
}

TEST_F(AlsaDriverTest, SoundPassesInEverySampleTypeMappedOrNot) {
  for (const int32_t type : {kFloat32LSB, kInt32LSB, kInt24LSB, kInt16LSB}) {
    for (const bool mapped : {true, false}) {
      SCOPED_TRACE(std::to_string(type) + (mapped ? " mapped" : " copied"));
      constexpr size_t kChannels = 3;
      constexpr size_t kFrames = 40 * kBlock;
      const size_t frameBytes = kChannels * static_cast<size_t>(BytesPerSample(type));
      Bytes heard(kFrames * frameBytes);
      for (size_t k = 0; k < heard.size(); ++k) {
        heard[k] = static_cast<uint8_t>(1 + k % 251);
      }
      WriteBytes(folder_->name("heard"), heard);
      const auto driver = load({.capturePcm = "hearing",
                                .playbackPcm = "playing",
                                .choice = {.channels = kChannels, .sampleTypes = {type}, .mapped = mapped}});
      ASSERT_EQ(driver->ASIOInit({}), ASE_OK);
      Host host(*driver);
      ASSERT_EQ(host.create(), ASE_OK);
      ASSERT_EQ(driver->ASIOStart(), ASE_OK);
      EXPECT_TRUE(host.await(30));
      ASSERT_EQ(driver->ASIOStop(), ASE_OK);
      ASSERT_EQ(driver->ASIOExit(), ASE_OK);

      const Bytes played = ReadBytes(folder_->name("played"));
      const size_t silence = 2 * kBlock * frameBytes;
      ASSERT_GE(played.size(), silence + 20 * kBlock * frameBytes);
      EXPECT_TRUE(std::all_of(played.begin(), played.begin() + static_cast<ptrdiff_t>(silence),
                              [](uint8_t byte) { return byte == 0; }));
      const size_t compared = std::min(played.size() - silence, heard.size());
      EXPECT_EQ(std::memcmp(played.data() + silence, heard.data(), compared), 0);
    }
  }
}

TEST_F(AlsaDriverTest, OperationsOutOfOrderAreAnswered) {
  const auto driver = load({.capturePcm = "nothing", .playbackPcm = "nothing"});
  int32_t a = 0;
  int32_t b = 0;
  int32_t c = 0;
  int32_t d = 0;
  Host host(*driver);
  AudioChannelInfo info;
  EXPECT_EQ(driver->ASIOGetChannels(a, b), ASE_NotPresent);
  EXPECT_EQ(driver->ASIOGetBufferSize(a, b, c, d), ASE_NotPresent);
  EXPECT_EQ(driver->ASIOGetLatencies(a, b), ASE_NotPresent);
  EXPECT_EQ(driver->ASIOGetChannelInfo(info), ASE_NotPresent);
  EXPECT_EQ(driver->ASIOStart(), ASE_NotPresent);
  EXPECT_EQ(driver->ASIOStop(), ASE_NotPresent);
  EXPECT_EQ(driver->ASIODisposeBuffers(), ASE_NotPresent);
  EXPECT_EQ(driver->ASIOExit(), ASE_NotPresent);

  ASSERT_EQ(driver->ASIOInit({}), ASE_OK);
  EXPECT_EQ(driver->ASIOStart(), ASE_InvalidMode);
  EXPECT_EQ(driver->ASIODisposeBuffers(), ASE_InvalidMode);
  ASSERT_EQ(driver->ASIOGetBufferSize(a, b, c, d), ASE_OK);
  EXPECT_EQ(host.create(a - 1), ASE_InvalidParameter);
  EXPECT_EQ(host.create(b + 1), ASE_InvalidParameter);
  ASSERT_EQ(host.create(c), ASE_OK);
  Host second(*driver);
  EXPECT_EQ(second.create(c), ASE_InvalidMode);
  EXPECT_EQ(driver->ASIOInit({}), ASE_InvalidMode);
  info.channel = 2;
  EXPECT_EQ(driver->ASIOGetChannelInfo(info), ASE_InvalidParameter);
  EXPECT_EQ(driver->ASIOStop(), ASE_OK);
  ASSERT_EQ(driver->ASIOStart(), ASE_OK);
  EXPECT_EQ(driver->ASIOStart(), ASE_InvalidMode);
  EXPECT_TRUE(host.await(3));
  EXPECT_EQ(driver->ASIOExit(), ASE_OK);  // stops
  const int64_t blocks = host.blocks.load();
  std::this_thread::sleep_for(10 * kTick);
  EXPECT_EQ(host.blocks.load(), blocks);
}

TEST_F(AlsaDriverTest, ADeviceThatIsNotThereDoesNotOpen) {
  for (const auto& [capture, playback] : {std::pair{"absent", "nothing"}, std::pair{"nothing", "absent"}}) {
    lines_.clear();
    const auto driver = load({.capturePcm = capture, .playbackPcm = playback});
    testing::internal::CaptureStderr();
    EXPECT_EQ(driver->ASIOInit({}), ASE_NotPresent);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(lines_, std::vector<std::wstring>{L"ALSA: Test device cannot be opened: No such file or directory."});
  }
  EXPECT_EQ(AlsaBackEnd({}, {.hardware = false}).loadAsioDriver(kName), nullptr);
}

TEST_F(AlsaDriverTest, TheDevicesClockSetsThePaceAndALateBlockIsAnXrun) {
  struct Case {
    int32_t block;
    int64_t lateBlock;
    std::vector<std::wstring> lines;
  };
  const std::wstring rate = L"ALSA: Test device does not run at 48000 Hz; it runs at 44100 Hz.";
  for (const Case& one : std::vector<Case>{
           {256, -1, {rate}},
           {300,
            -1,
            {rate, L"ALSA: Test device has periods of 256 for blocks of 300 in capture.",
             L"ALSA: Test device has periods of 256 for blocks of 300 in playback."}},
           {256, 5, {rate, L"ALSA: Test device: 1 xrun."}},
       }) {
    SCOPED_TRACE(one.block);
    lines_.clear();
    // Blocks enough that a busy machine is no xrun.
    const auto driver = load({.capturePcm = "clocked", .playbackPcm = "clocked", .periods = 16});
    ASSERT_EQ(driver->ASIOInit({.sampleRate = 48000.0}), ASE_OK);
    Host host(*driver);
    host.lateBlock = one.lateBlock;
    host.pause = 0 * kTick;
    ASSERT_EQ(host.create(one.block), ASE_OK);
    AudioChannelInfo info;
    ASSERT_EQ(driver->ASIOGetChannelInfo(info), ASE_OK);
    EXPECT_EQ(info.type, kInt16LSB);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(driver->ASIOStart(), ASE_OK);
    EXPECT_TRUE(host.await(60));
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(driver->ASIOStop(), ASE_OK);
    EXPECT_GE(passed.count(), 60.0 * one.block / 44100.0);
    EXPECT_LT(passed.count(), 60.0 * one.block / 44100.0 + 1.0);
    EXPECT_EQ(host.rate.load(), 44100.0);
    EXPECT_EQ(lines_, one.lines);
  }
}

TEST_F(AlsaDriverTest, ADeviceThatIsPulledOutEndsTheSession) {
  const auto driver = load({.capturePcm = "pulled", .playbackPcm = "pulled", .periods = 16});
  ASSERT_EQ(driver->ASIOInit({.sampleRate = 44100.0}), ASE_OK);
  Host host(*driver);
  ASSERT_EQ(host.create(256), ASE_OK);
  ASSERT_EQ(driver->ASIOStart(), ASE_OK);
  for (int k = 0; k < 3000 && losses_.load() == 0; ++k) {
    std::this_thread::sleep_for(kTick);
  }
  EXPECT_GE(host.blocks.load(), 10);
  const int64_t blocks = host.blocks.load();
  EXPECT_EQ(driver->ASIOStop(), ASE_OK);
  EXPECT_EQ(host.blocks.load(), blocks);
  EXPECT_EQ(driver->ASIOStart(), ASE_HWMalfunction);
  EXPECT_EQ(driver->ASIODisposeBuffers(), ASE_OK);
  EXPECT_EQ(driver->ASIOExit(), ASE_OK);
  EXPECT_EQ(losses_.load(), 1);
  // ALSA has some plug-ins show an xrun first, and the loss when they are prepared again.
  ASSERT_FALSE(lines_.empty());
  EXPECT_EQ(lines_.back(), L"ALSA: Test device does not start: No such device.");
}

}  // namespace
}  // namespace tarnwick::platform
