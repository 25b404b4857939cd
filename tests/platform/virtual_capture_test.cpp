#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/virtual/wav_reader.h"
#include "platform/virtual/wav_writer.h"
#include "temporary_folder.h"
#include "virtual_host.h"

namespace tarnwick::platform {
namespace {

using namespace std::chrono_literals;

TEST(VirtualCapture, FastRunsRepeatBitForBitAndStopAtTheirLimit) {
  TemporaryFolder folder;
  constexpr int64_t kBlocks = 3000;
  VirtualOptions options = FastOptions(kBlocks);
  for (const char* name : {"first.wav", "second.wav"}) {
    options.captureFile = folder.wide(name);
    VirtualDevice device(options);
    ASSERT_TRUE(device.prepare(nullptr));
    Host host(device);
    host.run();
    ASSERT_TRUE(Eventually([&] { return device.limitReached(); }));
    std::this_thread::sleep_for(2ms);
    EXPECT_EQ(host.calls, kBlocks);
    EXPECT_EQ(device.captureFramesLost(), 0u);
    EXPECT_EQ(host->ASIOStop(), ASE_OK);
    // Another start begins with the same sound and goes on in the same file.
    ASSERT_EQ(host->ASIOStart(), ASE_OK);
    EXPECT_TRUE(Eventually([&] { return device.limitReached(); }));
    EXPECT_EQ(host->ASIODisposeBuffers(), ASE_OK);
  }
  const Bytes bytes = ReadBytes(folder.name("second.wav"));
  EXPECT_TRUE(ReadBytes(folder.name("first.wav")) == bytes);
  uint32_t statedSize = 0;
  std::memcpy(&statedSize, bytes.data() + 4, sizeof(statedSize));
  EXPECT_EQ(statedSize, bytes.size() - 8);
  WavSamples captured;
  ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
  ASSERT_EQ(captured.frames, 2u * kBlocks * kBlock);
  for (int32_t c = 0; c < captured.channels; ++c) {
    const float* run = captured.channel(c);
    EXPECT_EQ(std::memcmp(run, run + captured.frames / 2, captured.frames / 2 * sizeof(float)), 0) << c;
  }
}

TEST(VirtualCapture, TheSourceFileIsNeverOverwritten) {
  TemporaryFolder folder;
  VirtualOptions options = FastOptions(1);
  options.captureFile = folder.wide("sound.wav");
  {
    VirtualDevice device(options);
    ASSERT_TRUE(device.prepare(nullptr));
    Host host(device);
    host.run();
    ASSERT_TRUE(Eventually([&] { return device.limitReached(); }));
  }
  const Bytes before = ReadBytes(folder.name("sound.wav"));
  options.sourceFile = options.captureFile;
  VirtualDevice device(options);
  std::wstring error;
  EXPECT_FALSE(device.prepare(&error));
  EXPECT_NE(error.find(L"cannot be the capture file as well"), std::wstring::npos) << error;
  EXPECT_EQ(ReadBytes(folder.name("sound.wav")), before);
}

TEST(VirtualCapture, WhatADiskDoesNotTakeIsCounted) {
  if (!std::filesystem::exists("/dev/full")) {
    GTEST_SKIP() << "no device here that is always full";
  }
  VirtualOptions options = FastOptions(1000);
  options.captureFile = L"/dev/full";
  VirtualDevice device(options);
  ASSERT_TRUE(device.prepare(nullptr));
  Host host(device);
  host.run();
  ASSERT_TRUE(Eventually([&] { return device.limitReached(); }));
  ASSERT_EQ(host->ASIODisposeBuffers(), ASE_OK);
  EXPECT_EQ(device.captureFramesLost(), 1000u * kBlock);
  EXPECT_EQ(device.captureError(), L"\"/dev/full\" cannot be written: No space left on device.");
}

TEST(VirtualCapture, ARunAtAnotherRateIsLeftOutOfTheFile) {
  TemporaryFolder folder;
  VirtualOptions options = FastOptions(10);
  options.captureFile = folder.wide("capture.wav");
  VirtualDevice device(options);
  ASSERT_TRUE(device.prepare(nullptr));
  for (const double rate : {48000.0, 44100.0, 48000.0}) {
    Host host(device);
    host.run(rate);
    ASSERT_TRUE(Eventually([&] { return device.limitReached(); }));
  }
  WavSamples captured;
  ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
  EXPECT_EQ(captured.sampleRate, 48000u);
  EXPECT_EQ(captured.frames, 20u * kBlock);
  EXPECT_EQ(device.captureFramesLost(), 10u * kBlock);
  EXPECT_NE(device.captureError().find(L"at another rate"), std::wstring::npos) << device.captureError();
}

class VirtualFifo : public testing::Test {
 protected:
  void SetUp() override {
    if (std::system(("mkfifo '" + folder_.name("pipe") + "' 2>/dev/null").c_str()) != 0) {
      GTEST_SKIP() << "no named pipes here";
    }
  }
  TemporaryFolder folder_;
};

TEST_F(VirtualFifo, GetsAStreamThatIsWhole) {
  Bytes received;
  std::thread reader([&] { received = ReadBytes(folder_.name("pipe")); });
  {
    VirtualOptions options = FastOptions(500);
    options.captureFile = folder_.wide("pipe");
    VirtualDevice device(options);
    ASSERT_TRUE(device.prepare(nullptr));
    Host host(device);
    host.run();
    EXPECT_TRUE(Eventually([&] { return device.limitReached(); }));
    EXPECT_EQ(host->ASIODisposeBuffers(), ASE_OK);
    EXPECT_EQ(device.captureFramesLost(), 0u);
  }
  reader.join();
  WriteBytes(folder_.name("received.wav"), received);
  WavSamples captured;
  std::wstring error;
  ASSERT_TRUE(ReadWav(folder_.wide("received.wav"), captured, &error)) << error;
  EXPECT_EQ(captured.frames, 500u * kBlock);
}

TEST_F(VirtualFifo, ItsHeaderIsLeftAlone) {
  Bytes received;
  std::thread reader([&] { received = ReadBytes(folder_.name("pipe")); });
  const float samples[2] = {0.5f, -0.5f};
  {
    WavWriter writer;
    EXPECT_TRUE(writer.open(folder_.wide("pipe"), 1, nullptr) && writer.begin(48000.0, nullptr));
    EXPECT_TRUE(writer.write(samples, 2, nullptr) && writer.refreshHeader() && writer.write(samples, 2, nullptr));
  }
  reader.join();
  ASSERT_GT(received.size(), 4 * sizeof(float));
  const size_t headBytes = received.size() - 4 * sizeof(float);
  EXPECT_EQ(std::memcmp(received.data() + headBytes, samples, sizeof(samples)), 0);
  EXPECT_EQ(std::memcmp(received.data() + headBytes + sizeof(samples), samples, sizeof(samples)), 0);
  EXPECT_EQ(std::memcmp(received.data() + headBytes - 4, "\xFF\xFF\xFF\xFF", 4), 0) << "the size of the data";
}

// Neither a reader that is too slow nor one that goes away holds up the real clock or ends the program.
TEST_F(VirtualFifo, ASlowReaderCostsFramesNotTime) {
  std::atomic<bool> letGo{false};
  std::thread reader([&] {
    std::ifstream pipe(folder_.name("pipe"), std::ios::binary);
    Eventually([&] { return letGo.load(); });
  });
  VirtualOptions options = FastOptions(-1);
  options.clock = VirtualClock::real;
  options.outputs = 512;
  options.captureFile = folder_.wide("pipe");
  VirtualDevice device(options);
  ASSERT_TRUE(device.prepare(nullptr));
  Host host(device);
  ASSERT_EQ(host.init(192000.0), ASE_OK);
  ASSERT_EQ(host.create(8192), ASE_OK);  // four blocks fill the ring
  ASSERT_EQ(host->ASIOStart(), ASE_OK);
  EXPECT_TRUE(Eventually([&] { return device.captureFramesLost() >= 2 * 8192; }));
  letGo = true;
  reader.join();
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  EXPECT_EQ(host->ASIODisposeBuffers(), ASE_OK);
  EXPECT_EQ(device.captureFramesLost(), static_cast<uint64_t>(host.calls) * 8192);
  EXPECT_NE(device.captureError().find(L"cannot be written"), std::wstring::npos) << device.captureError();
}

}  // namespace
}  // namespace tarnwick::platform
