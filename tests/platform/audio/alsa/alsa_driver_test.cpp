// The driver on ALSA's software devices, and on one of our own that has a clock.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "platform/audio/alsa/alsa_back_end.h"
#include "platform/audio/device_host.h"
#include "platform/temporary_folder.h"

namespace tarnwick::platform {
namespace {

constexpr wchar_t kName[] = L"Test device";
constexpr int32_t kBlock = 64;
constexpr auto kTick = std::chrono::milliseconds(1);

struct AlsaHost : DeviceHost {
  explicit AlsaHost(AlsaDevice device)
      : DeviceHost(
            [&](const BackEndHooks& hooks) {
              device.name = kName;
              return AlsaBackEnd(hooks, {.hardware = false, .devices = {device}});
            },
            kName) {}
};

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
  static const TemporaryFolder* folder_;
};
const TemporaryFolder* AlsaDriverTest::folder_ = nullptr;

TEST_F(AlsaDriverTest, DirectionsRunTogetherOrAlone) {
  struct Case {
    const char* capture;
    const char* playback;
    int32_t periods;
    std::vector<int32_t> numbers;  // inputs, outputs, their latencies
  };
  for (const Case& one : {Case{"nothing", "nothing", 3, {2, 2, kBlock, 2 * kBlock}},
                          Case{"nothing", "", 2, {2, 0, kBlock, 0}}, Case{"", "nothing", 2, {0, 2, 0, kBlock}}}) {
    SCOPED_TRACE(std::string(one.capture) + "/" + one.playback);
    AlsaHost host({.capturePcm = one.capture, .playbackPcm = one.playback, .periods = one.periods});
    host.pause = kTick;  // these devices have no clock
    host.run(kBlock);
    EXPECT_TRUE(host.awaitBlocks(10));
    std::vector<int32_t> numbers(4, -1);
    EXPECT_EQ(host->ASIOGetChannels(numbers[0], numbers[1]), ASE_OK);
    EXPECT_EQ(host->ASIOGetLatencies(numbers[2], numbers[3]), ASE_OK);
    EXPECT_EQ(numbers, one.numbers);
    host.close();
    EXPECT_EQ(host.wrongHalves, 0);
    EXPECT_EQ(host.rates, 0);
    EXPECT_EQ(host.lines(), std::vector<std::wstring>{});
    EXPECT_EQ(host.losses(), std::vector<std::wstring>{});
  }
}

TEST_F(AlsaDriverTest, SoundPassesInEverySampleTypeMappedOrNot) {
  for (const int32_t type : {kFloat32LSB, kInt32LSB, kInt24LSB, kInt16LSB}) {
    for (const bool mapped : {true, false}) {
      SCOPED_TRACE(std::to_string(type) + (mapped ? " mapped" : " copied"));
      constexpr size_t kChannels = 3;
      const size_t blockBytes = kBlock * kChannels * static_cast<size_t>(BytesPerSample(type));
      Bytes heard(40 * blockBytes);
      for (size_t k = 0; k < heard.size(); ++k) {
        heard[k] = static_cast<uint8_t>(1 + k % 251);
      }
      WriteBytes(folder_->name("heard"), heard);
      AlsaHost host({.capturePcm = "hearing",
                     .playbackPcm = "playing",
                     .choice = {.channels = kChannels, .sampleTypes = {type}, .mapped = mapped}});
      host.pause = kTick;
      host.run(kBlock);
      EXPECT_TRUE(host.awaitBlocks(30));
      host.close();
      const Bytes played = ReadBytes(folder_->name("played"));
      ASSERT_GE(played.size(), 22 * blockBytes);
      Bytes expected(2 * blockBytes, 0);
      expected.insert(expected.end(), heard.begin(), heard.end());
      const size_t compared = std::min(played.size(), expected.size());
      EXPECT_EQ(std::memcmp(played.data(), expected.data(), compared), 0);
    }
  }
}

TEST_F(AlsaDriverTest, ADeviceThatIsNotThereDoesNotOpen) {
  for (const auto& [capture, playback] : {std::pair{"absent", "nothing"}, std::pair{"nothing", "absent"}}) {
    AlsaHost host({.capturePcm = capture, .playbackPcm = playback});
    testing::internal::CaptureStderr();
    EXPECT_EQ(host->ASIOInit({}), ASE_NotPresent);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(host.lines(),
              std::vector<std::wstring>{L"ALSA: Test device cannot be opened: No such file or directory."});
  }
}

TEST_F(AlsaDriverTest, TheDevicesClockSetsThePaceAndALateBlockIsAnXrun) {
  struct Case {
    int32_t block;
    int64_t lateBlock;
    std::vector<std::wstring> lines;
  };
  const std::wstring rate = L"ALSA: Test device does not run at 48000 Hz; it runs at 44100 Hz.";
  for (const Case& one : std::vector<Case>{
           {300,
            -1,
            {rate, L"ALSA: Test device has periods of 256 for blocks of 300 in capture.",
             L"ALSA: Test device has periods of 256 for blocks of 300 in playback."}},
           {256, 5, {rate, L"ALSA: Test device: 1 xrun."}},
       }) {
    SCOPED_TRACE(one.block);
    // Blocks enough that a busy machine is no xrun.
    AlsaHost host({.capturePcm = "clocked", .playbackPcm = "clocked", .periods = 16});
    host.onBlock = [&](int32_t, int64_t block) {
      if (block == one.lateBlock) {
        std::this_thread::sleep_for(300 * kTick);
      }
    };
    const auto begin = std::chrono::steady_clock::now();
    host.run(one.block);
    EXPECT_EQ(host.rate, 44100.0) << "not told before the start is over";
    AudioChannelInfo info;
    ASSERT_EQ(host->ASIOGetChannelInfo(info), ASE_OK);
    EXPECT_EQ(info.type, kInt16LSB);
    EXPECT_TRUE(host.awaitBlocks(60));
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    host.close();
    EXPECT_GE(passed.count(), 60.0 * one.block / 44100.0);
    EXPECT_LT(passed.count(), 60.0 * one.block / 44100.0 + 1.0);
    EXPECT_EQ(host.lines(), one.lines);
  }
}

TEST_F(AlsaDriverTest, ADeviceThatIsPulledOutEndsTheSession) {
  AlsaHost host({.capturePcm = "pulled", .playbackPcm = "pulled", .periods = 16});
  host.run(256, 44100.0);
  EXPECT_TRUE(tests::Eventually([&] { return !host.losses().empty(); }));
  EXPECT_GT(host.blocks, 0);
  host.ended = true;
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  EXPECT_EQ(host.callsAfterEnd, 0);
  EXPECT_EQ(host->ASIOStart(), ASE_HWMalfunction);
  EXPECT_EQ(host->ASIODisposeBuffers(), ASE_OK);
  EXPECT_EQ(host->ASIOExit(), ASE_OK);
  EXPECT_EQ(host.losses().size(), 1u);
  // ALSA has some plug-ins show an xrun first, and the loss when they are prepared again.
  ASSERT_FALSE(host.lines().empty());
  EXPECT_EQ(host.lines().back(), L"ALSA: Test device does not start: No such device.");
}

}  // namespace
}  // namespace tarnwick::platform
