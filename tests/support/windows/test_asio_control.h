// Control of the test driver, tarnwick_test_asio.dll: an ASIO driver without a device that behaves, or misbehaves, as a
// test needs. The file holds two drivers. A test loads it, calls DllRegisterServer, and tells each driver its words:
// "name=value" separated by blanks; what is not named is at its default. Drivers made afterwards follow them. A program
// that does not load the file itself is given the words in the environment: TARNWICK_TEST_ASIO_1, TARNWICK_TEST_ASIO_2.
//
//   inputs=2 outputs=2            channels
//   input-types=18 output-types=18  sample types, comma-separated; channel k has type k mod their number
//   minimum=64 maximum=1024 preferred=256 granularity=64   block lengths
//   rate=48000                    of the clock
//   input-latency=32 output-latency=48
//   output-ready=1                whether outputReady is supported
//   clock=real|fast               a block each block length / rate seconds; or the next block at once
//   blocks=-1                     blocks of one start, then idle; negative: no end
//   signal=codes|tone|silence     inputs: bytes that tell channel and position; 440 Hz at 0.25; zero
//   panel-ms=0                    control panel: a window with its own message loop, closed after that time
//   report=FILE                   at the release: the statistics as one JSON object
//
// Misbehaviour (0 or empty: none):
//   init=TEXT                     init answers 0, with this message
//   channels= buffer-size= latencies= channel-info= create= start= stop=   result codes of those calls
//   null-buffers=1                createBuffers leaves the last buffer out
//   hang=init|create|start|stop|latencies|release|load|output-ready  and hang-ms: the call takes that long
//   rate-change-block=-1 new-rate=0   the rate notification before this block
//   late-every=0 late-ms=0        every such block comes late by that much
//   mute=1                        no callback ever
//   blocks-in-create=N blocks-in-start=N blocks-after-stop=N   calls at those times
//   time-info=1                   asks for time information and calls bufferSwitchTimeInfo where the host agrees
//   notify=1                      every notification before each block, and from inside outputReady
//   second-thread=1               a second thread that sends blocks and notifications all the time
//   bad-halves=1                  blocks with halves -1, 2 and 1000000 before each block
//   abrupt-release=1              stop and dispose do nothing: the clock calls on until 20 ms after the release
#pragma once

#include <cstdint>

namespace tarnwick::tests {

struct TestAsioStatistics {
  int32_t objects;        // driver objects alive
  int32_t bufferSets;     // sets of buffers alive
  int32_t threads;        // clock and other threads alive
  int32_t created;        // driver objects made so far
  int32_t wrongThread;    // calls, but for outputReady, on another thread than the object's own
  int32_t wrongOrder;     // calls that a driver may fall over: before init, a second start and so on
  int32_t panels;         // calls of the control panel
  int32_t outputReadies;  // calls of outputReady
  int32_t engineVersion;  // answers of the host when last asked: selector 2,
  int32_t timeInfo;       // selector 7, asked where selector 1 says that it is understood
  int32_t resetAnswer;    // selector 3
  int64_t blocks;         // delivered by the clock
  int64_t timedBlocks;    // through bufferSwitchTimeInfo
  int64_t strayBlocks;    // calls of the misbehaviours
  int64_t mismatches;     // blocks where an output did not repeat the input of the same number, byte for byte
  int64_t lateBlocks;     // of the real clock: due more than half a block before they came
  int64_t callbackTicks;  // all blocks together, 100 ns
  int64_t maximumTicks;   // the longest block, 100 ns
  double outputPeak;      // highest so far, all outputs
  void* window;           // what init was given
};

// The exports: driver 0 or 1.
using TestAsioConfigureFunction = bool (*)(int32_t driver, const char* words);  // false: a word that is not known
using TestAsioStatisticsFunction = void (*)(int32_t driver, TestAsioStatistics* statistics);
using TestAsioResetFunction = void (*)(int32_t driver);  // counts to zero; what is alive stays counted

inline constexpr wchar_t kTestAsioNames[2][32] = {L"Tarnwick Test ASIO", L"Tarnwick Test ASIO Two"};
inline constexpr wchar_t kTestAsioClassIds[2][40] = {L"{5B1E3C52-6B0D-4B7C-9C44-0E6B2A9C7A01}",
                                                     L"{5B1E3C52-6B0D-4B7C-9C44-0E6B2A9C7A02}"};

}  // namespace tarnwick::tests
