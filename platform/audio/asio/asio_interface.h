// The COM interface of an ASIO driver as 64-bit Windows knows it: the order of its methods and the layout of its
// records, which are packed to four bytes. A driver's class identifier is also the identifier of this interface.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <unknwn.h>
#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace tarnwick::platform {

// A truth value: 0 or not.
using AsioBool = int32_t;

#pragma pack(push, 4)

// A 64-bit number in two halves, the upper one first.
struct AsioWide {
  uint32_t high;
  uint32_t low;
};

struct AsioTimeInfo {
  double speed;
  AsioWide systemTime;  // nanoseconds
  AsioWide samplePosition;
  double sampleRate;
  uint32_t flags;
  char reserved[12];
};

struct AsioTimeCode {
  double speed;
  AsioWide samples;
  uint32_t flags;
  char reserved[64];
};

struct AsioTime {
  int32_t reserved[4];
  AsioTimeInfo info;
  AsioTimeCode code;
};

struct AsioClockSource {
  int32_t index;
  int32_t channel;
  int32_t group;
  AsioBool isCurrent;
  char name[32];
};

struct AsioChannelInfo {
  int32_t channel;
  AsioBool isInput;
  AsioBool isActive;
  int32_t group;
  int32_t type;
  char name[32];
};

struct AsioBufferInfo {
  AsioBool isInput;
  int32_t channel;
  void* buffers[2];
};

// The host's functions for a driver. There is no word for a context in it. A driver may keep the address instead of a
// copy.
struct AsioCallbackRecord {
  void (*bufferSwitch)(int32_t half, AsioBool direct);
  void (*sampleRateDidChange)(double rate);
  int32_t (*asioMessage)(int32_t selector, int32_t value, void* message, double* option);
  AsioTime* (*bufferSwitchTimeInfo)(AsioTime* time, int32_t half, AsioBool direct);
};

#pragma pack(pop)

static_assert(sizeof(AsioWide) == 8);
static_assert(sizeof(AsioTimeInfo) == 48);
static_assert(sizeof(AsioTimeCode) == 84);
static_assert(sizeof(AsioTime) == 148 && offsetof(AsioTime, code) == 64);
static_assert(sizeof(AsioClockSource) == 48);
static_assert(sizeof(AsioChannelInfo) == 52 && offsetof(AsioChannelInfo, name) == 20);
static_assert(sizeof(AsioBufferInfo) == 24 && offsetof(AsioBufferInfo, buffers) == 8);
static_assert(sizeof(AsioCallbackRecord) == 32);

// Longest texts that drivers write: a name has 32 bytes, an error message 124. The buffers handed out are larger,
// because not every driver keeps to it.
inline constexpr size_t kAsioTextRoom = 512;

// Results are those of audio_driver.h but for `init`, which answers a truth value.
struct AsioComDriver : IUnknown {
  virtual AsioBool init(void* window) = 0;
  virtual void getDriverName(char* name) = 0;
  virtual int32_t getDriverVersion() = 0;
  virtual void getErrorMessage(char* text) = 0;
  virtual int32_t start() = 0;
  virtual int32_t stop() = 0;
  virtual int32_t getChannels(int32_t* inputs, int32_t* outputs) = 0;
  virtual int32_t getLatencies(int32_t* input, int32_t* output) = 0;
  virtual int32_t getBufferSize(int32_t* minimum, int32_t* maximum, int32_t* preferred, int32_t* granularity) = 0;
  virtual int32_t canSampleRate(double rate) = 0;
  virtual int32_t getSampleRate(double* rate) = 0;
  virtual int32_t setSampleRate(double rate) = 0;
  virtual int32_t getClockSources(AsioClockSource* sources, int32_t* count) = 0;
  virtual int32_t setClockSource(int32_t index) = 0;
  virtual int32_t getSamplePosition(AsioWide* position, AsioWide* time) = 0;
  virtual int32_t getChannelInfo(AsioChannelInfo* info) = 0;
  virtual int32_t createBuffers(AsioBufferInfo* infos, int32_t count, int32_t blockLength,
                                const AsioCallbackRecord* callbacks) = 0;
  virtual int32_t disposeBuffers() = 0;
  virtual int32_t controlPanel() = 0;
  virtual int32_t future(int32_t selector, void* parameter) = 0;
  virtual int32_t outputReady() = 0;
};

}  // namespace tarnwick::platform
