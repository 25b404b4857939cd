#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "platform/virtual/wav_reader.h"
#include "temporary_folder.h"
#include "virtual_host.h"

namespace tarnwick::platform {
namespace {

using namespace std::chrono_literals;

TEST(VirtualDriver, OperationsOutOfOrderAreAnswered) {
  VirtualDevice device(FastOptions(-1));
  {
    Host early(device);
    EXPECT_EQ(early.init(), ASE_NotPresent) << "before prepare";
  }
  ASSERT_TRUE(device.prepare(nullptr));
  Host host(device);
  int32_t a = 0;
  int32_t b = 0;
  EXPECT_EQ(host->ASIOGetChannels(a, b), ASE_NotPresent);
  EXPECT_EQ(host->ASIOStart(), ASE_NotPresent);
  EXPECT_EQ(host.create(), ASE_NotPresent);
  EXPECT_EQ(host->ASIOExit(), ASE_NotPresent);

  ASSERT_EQ(host.init(), ASE_OK);
  EXPECT_EQ(host->ASIOStart(), ASE_InvalidMode);
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  EXPECT_EQ(host->ASIODisposeBuffers(), ASE_InvalidMode);
  ASSERT_EQ(host.create(), ASE_OK);
  EXPECT_EQ(host.create(), ASE_InvalidMode);
  EXPECT_EQ(host.init(), ASE_InvalidMode);
  ASSERT_EQ(host->ASIOStart(), ASE_OK);
  EXPECT_EQ(host->ASIOStart(), ASE_InvalidMode);
  ASSERT_TRUE(Eventually([&] { return host.calls > 10; }));
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  const int64_t calls = host.calls;
  EXPECT_FALSE(host.inside);
  std::this_thread::sleep_for(5ms);
  EXPECT_EQ(host.calls, calls);
  EXPECT_EQ(device.blocks(), calls);
  EXPECT_EQ(host.wrongHalves, 0);

  ASSERT_EQ(host->ASIOStart(), ASE_OK);
  EXPECT_EQ(host->ASIODisposeBuffers(), ASE_OK) << "while running";
  EXPECT_EQ(host->ASIOStart(), ASE_InvalidMode);
  ASSERT_EQ(host.create(128), ASE_OK);
  ASSERT_EQ(host->ASIOStart(), ASE_OK);
  EXPECT_EQ(host->ASIOExit(), ASE_OK) << "while running";
  EXPECT_EQ(host->ASIOStop(), ASE_NotPresent);
}

TEST(VirtualDriver, ASecondDriverLeavesARunningOneAlone) {
  TemporaryFolder folder;
  VirtualOptions options = FastOptions(50);
  options.captureFile = folder.wide("capture.wav");
  VirtualDevice device(options);
  ASSERT_TRUE(device.prepare(nullptr));
  Host running(device);
  running.onBlock = [](int64_t) { std::this_thread::sleep_for(1ms); };
  running.run();
  {
    Host second(device);
    EXPECT_EQ(second.init(44100.0), ASE_OK);
    EXPECT_EQ(second.create(), ASE_InvalidMode);
    EXPECT_EQ(second->ASIOStart(), ASE_InvalidMode);
    EXPECT_EQ(second->ASIODisposeBuffers(), ASE_InvalidMode);
    EXPECT_EQ(second->ASIOStop(), ASE_OK);
    EXPECT_EQ(second->ASIOControlPanel(), ASE_NotPresent);
    EXPECT_EQ(second->ASIOExit(), ASE_OK);
  }
  ASSERT_TRUE(Eventually([&] { return device.limitReached(); }));
  EXPECT_EQ(running->ASIODisposeBuffers(), ASE_OK);
  WavSamples captured;
  ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
  EXPECT_EQ(captured.frames, 50u * kBlock);
}

TEST(VirtualDriver, ADriverThatOutlivesItsDeviceFindsItGone) {
  TemporaryFolder folder;
  VirtualOptions options = FastOptions(-1);
  options.captureFile = folder.wide("capture.wav");
  auto device = std::make_unique<VirtualDevice>(options);
  ASSERT_TRUE(device->prepare(nullptr));
  Host host(*device);
  host.run();
  ASSERT_TRUE(Eventually([&] { return host.calls > 3; }));
  device.reset();
  const int64_t calls = host.calls;
  WavSamples captured;
  ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
  EXPECT_EQ(static_cast<int64_t>(captured.frames), calls * kBlock);
  EXPECT_EQ(host->ASIOStop(), ASE_NotPresent);
  EXPECT_EQ(host->ASIODisposeBuffers(), ASE_NotPresent);
  EXPECT_EQ(host.init(), ASE_NotPresent);
  EXPECT_EQ(host.calls, calls);
}

TEST(VirtualDriver, BuffersAreRefusedForWrongRequests) {
  VirtualDevice device(FastOptions(-1));
  ASSERT_TRUE(device.prepare(nullptr));
  Host host(device);
  ASSERT_EQ(host.init(), ASE_OK);
  const AudioCallbacks callbacks{.bufferSwitch = [](void*, int32_t, bool) {}};
  struct Case {
    const char* name;
    std::vector<AudioBufferInfo> infos;
    int32_t blockLength;
    AsioError result;
  };
  Case cases[] = {
      {"no channel", {}, kBlock, ASE_InvalidParameter},
      {"unknown input", {{.isInput = true, .channelNum = 4}}, kBlock, ASE_InvalidParameter},
      {"negative output", {{.isInput = false, .channelNum = -1}}, kBlock, ASE_InvalidParameter},
      {"twice", {{.isInput = true}, {.isInput = true}}, kBlock, ASE_InvalidParameter},
      {"too short", {{.isInput = true}}, 15, ASE_InvalidParameter},
      {"too long", {{.isInput = true}}, 8193, ASE_InvalidParameter},
      {"some of the channels", {{.isInput = true, .channelNum = 3}, {.isInput = false}}, 100, ASE_OK},
  };
  for (Case& c : cases) {
    EXPECT_EQ(host->ASIOCreateBuffers(c.infos.data(), static_cast<int32_t>(c.infos.size()), c.blockLength, callbacks),
              c.result)
        << c.name;
    EXPECT_TRUE(c.result == ASE_OK || c.infos.empty() || !c.infos[0].buffers[0]) << c.name;
  }
  AudioChannelInfo info{.channel = 3, .isInput = true};
  EXPECT_EQ(host->ASIOGetChannelInfo(info), ASE_OK);
  EXPECT_TRUE(info.isActive);
  EXPECT_STREQ(info.name, "Virtual In 4");
  info.isInput = false;
  EXPECT_EQ(host->ASIOGetChannelInfo(info), ASE_OK);
  EXPECT_FALSE(info.isActive);
  EXPECT_STREQ(info.name, "Virtual Out 4");
  info.channel = 4;
  EXPECT_EQ(host->ASIOGetChannelInfo(info), ASE_InvalidParameter);
  int32_t input = 0;
  int32_t output = 0;
  EXPECT_EQ(host->ASIOGetLatencies(input, output), ASE_OK);
  EXPECT_EQ(input, 100);
  EXPECT_EQ(output, 100);
}

TEST(VirtualDriver, WrongOptionsAreToldInWords) {
  TemporaryFolder folder;
  WriteBytes(folder.name("text.wav"), {'h', 'e', 'l', 'l', 'o'});
  struct Case {
    const wchar_t* words;
    std::function<void(VirtualOptions&)> change;
  };
  const Case cases[] = {
      {L"Virtual device: the number of inputs must be 1 to 1024.", [](auto& o) { o.inputs = 0; }},
      {L"Virtual device: the number of inputs must be 1 to 1024.", [](auto& o) { o.inputs = 1025; }},
      {L"Virtual device: the number of outputs must be 1 to 1024.", [](auto& o) { o.outputs = -1; }},
      {L"Virtual device: the block lengths must be", [](auto& o) { o.minimumBlock = 0; }},
      {L"Virtual device: the block lengths must be", [](auto& o) { o.maximumBlock = o.minimumBlock - 1; }},
      {L"Virtual device: the block lengths must be", [](auto& o) { o.maximumBlock = 65537; }},
      {L"Virtual device: the preferred block length must be 16 to 8192.", [](auto& o) { o.preferredBlock = 8193; }},
      {L"Virtual device: a latency must not be negative.", [](auto& o) { o.outputLatency = -1; }},
      {L"Virtual device: the source file \"", [&](auto& o) { o.sourceFile = folder.wide("text.wav"); }},
      {L"Virtual device: the capture file \"", [&](auto& o) { o.captureFile = folder.wide(""); }},
  };
  for (const Case& c : cases) {
    VirtualOptions options;
    c.change(options);
    VirtualDevice device(options);
    std::wstring error;
    EXPECT_FALSE(device.prepare(&error)) << c.words;
    EXPECT_EQ(error.find(c.words), 0u) << error;
  }
}

TEST(VirtualDriver, AStartBeginsWithSilentBuffers) {
  VirtualDevice device(FastOptions(2));
  ASSERT_TRUE(device.prepare(nullptr));
  Host host(device);
  ASSERT_EQ(host.init(), ASE_OK);
  struct Output {
    AudioBufferInfo info{.isInput = false};
    int64_t sounding = 0;
  } output;
  const AudioCallbacks callbacks{.context = &output, .bufferSwitch = [](void* context, int32_t half, bool) {
                                   auto& out = *static_cast<Output*>(context);
                                   auto* samples = static_cast<float*>(out.info.buffers[half]);
                                   out.sounding +=
                                       std::count_if(samples, samples + kBlock, [](float s) { return s != 0; });
                                   std::fill_n(samples, kBlock, 1.0f);
                                 }};
  ASSERT_EQ(host->ASIOCreateBuffers(&output.info, 1, kBlock, callbacks), ASE_OK);
  for (int start = 0; start < 2; ++start) {
    ASSERT_EQ(host->ASIOStart(), ASE_OK);
    ASSERT_TRUE(Eventually([&] { return device.limitReached(); }));
    ASSERT_EQ(host->ASIOStop(), ASE_OK);
    EXPECT_EQ(output.sounding, 0) << start;
  }
}

TEST(VirtualDriver, FaultsComeAsOrdered) {
  struct Case {
    const char* name;
    VirtualFaults faults;
    AsioError results[3];  // init, create, start
  };
  const Case cases[] = {
      {"init", {.initResult = ASE_HWMalfunction}, {ASE_HWMalfunction, ASE_NotPresent, ASE_NotPresent}},
      {"create", {.createBuffersFails = true}, {ASE_OK, ASE_NoMemory, ASE_InvalidMode}},
      {"start", {.startResult = ASE_NoClock}, {ASE_OK, ASE_OK, ASE_NoClock}},
  };
  for (const Case& c : cases) {
    VirtualOptions options = FastOptions(-1);
    options.faults = c.faults;
    VirtualDevice device(options);
    ASSERT_TRUE(device.prepare(nullptr));
    Host host(device);
    EXPECT_EQ(host.init(), c.results[0]) << c.name;
    EXPECT_EQ(host.create(), c.results[1]) << c.name;
    EXPECT_EQ(host->ASIOStart(), c.results[2]) << c.name;
    EXPECT_EQ(device.blocks(), 0) << c.name;
  }
}

}  // namespace
}  // namespace tarnwick::platform
