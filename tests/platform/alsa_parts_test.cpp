// The parts of the ALSA back end that need no device: names, rates, and the order of samples in memory.
#include <alsa/asoundlib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "platform/linux/alsa_copy.h"
#include "platform/linux/alsa_devices.h"
#include "platform/linux/alsa_parameters.h"

namespace tarnwick::platform {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(AlsaParametersTest, TheNearestRateIsTaken) {
  struct Case {
    uint32_t wanted;
    uint32_t lowest;
    uint32_t highest;
    std::vector<uint32_t> has;
    uint32_t expected;
  };
  for (const Case& one : std::vector<Case>{
           {48000, 44100, 96000, {44100, 48000, 96000}, 48000},
           {48000, 44100, 44100, {44100}, 44100},
           {48000, 32000, 64000, {32000, 64000}, 64000},  // equally far
           {44100, 48000, 192000, {48000, 96000, 192000}, 48000},
           {192000, 32000, 96000, {32000, 48000, 96000}, 96000},
           {48000, 47999, 52000, {47999, 52000}, 47999},  // rates that are nothing usual
           {47123, 0, UINT32_MAX, {47123}, 47123},
           {48000, 0, UINT32_MAX, {}, 0},
       }) {
    EXPECT_EQ(NearestAlsaRate(one.wanted, one.lowest, one.highest,
                              [&](uint32_t rate) { return std::count(one.has.begin(), one.has.end(), rate) > 0; }),
              one.expected)
        << one.wanted;
  }
}

TEST(AlsaDevicesTest, NamesAreThoseOfTheCardsShortAndUnique) {
  struct Case {
    const char* name;
    std::vector<AlsaCardDevice> found;
    std::vector<std::wstring> taken;
    std::vector<std::wstring> expected;
  };
  const std::wstring x(40, L'x');
  for (const Case& one : std::vector<Case>{
           {"one device", {{L"HDA Intel", L"ALC", "hw:CARD=A,DEV=0"}}, {}, {L"HDA Intel"}},
           {"several of a card",
            {{L"HDA", L"Analog", "hw:CARD=A,DEV=0"}, {L"HDA", L"HDMI", "hw:CARD=A,DEV=3"}},
            {},
            {L"HDA, Analog", L"HDA, HDMI"}},
           {"two cards alike",
            {{L"Box", L"USB", "hw:CARD=A,DEV=0"}, {L"Box", L"USB", "hw:CARD=B,DEV=0"}},
            {},
            {L"Box", L"Box (2)"}},
           {"long names",
            {{x, L"", "hw:CARD=A,DEV=0"}, {x, L"", "hw:CARD=B,DEV=0"}, {x, L"", "hw:CARD=C,DEV=0"}},
            {},
            {x.substr(0, 32), x.substr(0, 28) + L" (2)", x.substr(0, 28) + L" (3)"}},
           {"a name that is taken", {{L"Box", L"", "hw:CARD=A,DEV=0"}}, {L"Box"}, {L"Box (2)"}},
           {"no name", {{L"", L"", "hw:CARD=A,DEV=0"}}, {}, {L"Sound card"}},
       }) {
    std::vector<AlsaDevice> taken;
    for (const std::wstring& name : one.taken) {
      taken.push_back({.name = name});
    }
    std::vector<std::wstring> names;
    for (const AlsaDevice& device : NameAlsaDevices(one.found, taken)) {
      names.push_back(device.name);
    }
    EXPECT_EQ(names, one.expected) << one.name;
  }
  const auto paired =
      NameAlsaDevices({{L"A", L"", "hw:CARD=A,DEV=0", true, true, true}, {L"B", L"", "hw:1,0", false, true}}, {});
  EXPECT_EQ(paired[0].capturePcm, "hw:CARD=A,DEV=0");
  EXPECT_EQ(paired[0].playbackPcm, "hw:CARD=A,DEV=0");
  EXPECT_EQ(paired[0].periods, 3);
  EXPECT_EQ(paired[1].capturePcm, "");
  EXPECT_EQ(paired[1].periods, 2);
}

TEST(AlsaCopyTest, ChannelsAreTakenApartAndPutTogether) {
  constexpr size_t kChannels = 3;
  constexpr size_t kFrames = 8;
  for (const int32_t sampleBytes : {2, 3, 4}) {
    for (const bool interleaved : {true, false}) {
      SCOPED_TRACE(std::to_string(sampleBytes) + (interleaved ? " interleaved" : " apart"));
      const auto bytes = static_cast<size_t>(sampleBytes);
      Bytes memory(kChannels * kFrames * bytes);
      std::iota(memory.begin(), memory.end(), uint8_t{1});
      std::vector<snd_pcm_channel_area_t> areas;
      for (size_t k = 0; k < kChannels; ++k) {
        const size_t first = k * bytes * (interleaved ? 1 : kFrames);
        areas.push_back({memory.data(), static_cast<unsigned>(8 * first),
                         static_cast<unsigned>(8 * bytes * (interleaved ? kChannels : 1))});
      }
      const auto at = [&](size_t channel, size_t frame) {
        return memory.data() + areas[channel].first / 8 + frame * areas[channel].step / 8;
      };
      // Frames 2 to 6 of the device are frames 1 to 5 of the host; channel 1 is of no interest to it.
      const AlsaFrames part{areas.data(), kChannels, 2, 5, sampleBytes};
      std::vector<Bytes> host(kChannels, Bytes(kFrames * bytes, 0xee));
      void* const buffers[] = {host[0].data(), nullptr, host[2].data()};
      CopyFromAlsa(part, buffers, 1);
      for (const size_t channel : {0, 2}) {
        for (size_t frame = 0; frame < kFrames; ++frame) {
          const Bytes expected = frame >= 1 && frame < 6 ? Bytes(at(channel, frame + 1), at(channel, frame + 1) + bytes)
                                                         : Bytes(bytes, 0xee);
          EXPECT_EQ(std::memcmp(host[channel].data() + frame * bytes, expected.data(), bytes), 0);
        }
      }
      const Bytes before = memory;
      for (const size_t channel : {0, 1, 2}) {
        std::memset(at(channel, 2), 0x55, bytes);
      }
      CopyToAlsa(part, buffers, 1);
      Bytes expected = before;
      for (size_t frame = 2; frame < 7; ++frame) {
        std::memset(expected.data() + (at(1, frame) - memory.data()), 0, bytes);
      }
      EXPECT_EQ(memory, expected);
    }
  }
}

}  // namespace
}  // namespace tarnwick::platform
