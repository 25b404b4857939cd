// The parts of the ALSA back end that need no device: names, rates, and the order of samples in memory.
#include <alsa/asoundlib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "platform/audio/alsa/alsa_copy.h"
#include "platform/audio/alsa/alsa_devices.h"
#include "platform/audio/alsa/alsa_parameters.h"

namespace tarnwick::platform {
namespace {

TEST(AlsaParametersTest, TheNearestRateIsTaken) {
  struct Case {
    uint32_t wanted;
    std::vector<uint32_t> has;  // from the lowest to the highest
    uint32_t expected;
  };
  for (const Case& one : std::vector<Case>{
           {48000, {44100, 48000, 96000}, 48000},
           {48000, {32000, 64000}, 64000},  // equally far
           {44100, {48000, 96000, 192000}, 48000},
           {48000, {47999, 52000}, 47999},  // rates that are nothing usual
           {48000, {}, 0},
       }) {
    EXPECT_EQ(NearestAlsaRate(one.wanted, one.has.empty() ? 0 : one.has.front(),
                              one.has.empty() ? UINT32_MAX : one.has.back(),
                              [&](uint32_t rate) { return std::count(one.has.begin(), one.has.end(), rate) > 0; }),
              one.expected)
        << one.wanted;
  }
}

TEST(AlsaDevicesTest, NamesAreThoseOfTheCardsShortAndUnique) {
  const std::wstring x(40, L'x');
  const std::vector<AlsaCardDevice> found = {{L"HDA", L"Analog", "hw:CARD=A,DEV=0", true, false},
                                             {L"HDA", L"HDMI", "hw:CARD=A,DEV=3", false, true},
                                             {L"Box", L"USB", "hw:CARD=B,DEV=0", true, true, true},
                                             {L"Box", L"USB", "hw:CARD=C,DEV=0"},
                                             {x, L"", "hw:CARD=D,DEV=0"},
                                             {x, L"", "hw:CARD=E,DEV=0"},
                                             {L"", L"", "hw:CARD=F,DEV=0"},
                                             {L"Taken", L"", "hw:CARD=G,DEV=0"}};
  const std::vector<AlsaDevice> named = NameAlsaDevices(found, {{.name = L"Taken"}});
  std::vector<std::wstring> names;
  for (const AlsaDevice& device : named) {
    names.push_back(device.name);
  }
  EXPECT_EQ(names, (std::vector<std::wstring>{L"HDA, Analog", L"HDA, HDMI", L"Box", L"Box (2)", x.substr(0, 32),
                                              x.substr(0, 28) + L" (2)", L"Sound card", L"Taken (2)"}));
  EXPECT_EQ(named[0].capturePcm + "|" + named[0].playbackPcm, "hw:CARD=A,DEV=0|");
  EXPECT_EQ(named[2].capturePcm + "|" + named[2].playbackPcm, "hw:CARD=B,DEV=0|hw:CARD=B,DEV=0");
  EXPECT_EQ(named[1].periods, 2);
  EXPECT_EQ(named[2].periods, 3);
}

// Frames 2 to 6 of the device are frames 1 to 5 of the host; channel 1 of three is of no interest to it.
TEST(AlsaCopyTest, ChannelsAreTakenApartAndPutTogether) {
  constexpr size_t kFrames = 8;
  for (const size_t bytes : {2, 3, 4}) {
    for (const bool interleaved : {true, false}) {
      SCOPED_TRACE(std::to_string(bytes) + (interleaved ? " interleaved" : " apart"));
      const size_t step = bytes * (interleaved ? 3 : 1);
      const size_t toNext = bytes * (interleaved ? 1 : kFrames);
      std::vector<uint8_t> memory(3 * kFrames * bytes);
      std::iota(memory.begin(), memory.end(), uint8_t{1});
      const std::vector<uint8_t> before = memory;
      std::vector<snd_pcm_channel_area_t> areas;
      for (size_t k = 0; k < 3; ++k) {
        areas.push_back({memory.data(), static_cast<unsigned>(8 * k * toNext), static_cast<unsigned>(8 * step)});
      }
      const AlsaFrames part{areas.data(), 3, 2, 5, static_cast<int32_t>(bytes)};
      std::vector<uint8_t> host[3];
      std::fill_n(host, 3, std::vector<uint8_t>(kFrames * bytes, 0xee));
      void* const buffers[] = {host[0].data(), nullptr, host[2].data()};
      CopyFromAlsa(part, buffers, 1);
      for (size_t k = 0; k < kFrames * bytes; ++k) {
        const size_t frame = k / bytes;
        const size_t at = (frame + 1) * step + k % bytes;
        EXPECT_EQ(host[0][k], frame >= 1 && frame < 6 ? before[at] : 0xee);
        EXPECT_EQ(host[2][k], frame >= 1 && frame < 6 ? before[at + 2 * toNext] : 0xee);
      }
      for (size_t frame = 2; frame < 7; ++frame) {
        std::fill_n(memory.begin() + static_cast<ptrdiff_t>(frame * step), bytes, uint8_t{0x55});
      }
      CopyToAlsa(part, buffers, 1);
      std::vector<uint8_t> expected = before;
      for (size_t frame = 2; frame < 7; ++frame) {
        std::fill_n(expected.begin() + static_cast<ptrdiff_t>(frame * step + toNext), bytes, uint8_t{0});
      }
      EXPECT_EQ(memory, expected);
    }
  }
}

}  // namespace
}  // namespace tarnwick::platform
