// Control of the test driver, tarnwick_test_asio.dll: an ASIO driver without a device that behaves, or misbehaves, as a
// test needs. A test loads it, calls DllRegisterServer, and tells it words: "name=value" separated by blanks; what is
// not named is at its default. Drivers made afterwards follow them. A program that does not load the file itself is
// given the words in the environment: TARNWICK_TEST_ASIO_1.
#pragma once

#include <atomic>
#include <cstdint>

namespace tarnwick::tests {

// The words with their defaults.
inline constexpr char kTestAsioWords[] =
    "inputs=2 outputs=2 input-types=18 output-types=18 "  // sample types with commas: channel k has type k mod number
    "minimum=64 maximum=1024 preferred=64 granularity=64 input-latency=32 output-latency=48 "
    "clock=real "  // a block each block length / 48 kHz; fast: the next block at once
    "blocks=-1 "   // of one start, then idle; negative: no end
    "panel-ms=0 "  // control panel: a window with its own message loop, closed after that time
    "report= "     // FILE: at the release, the statistics as one JSON object
    // Misbehaviour (0 or empty: none)
    "init= "                                                            // init answers 0, with this message
    "channels=0 buffer-size=0 channel-info=0 create=0 start=0 stop=0 "  // result codes of those calls
    "null-buffers=0 "                                                   // 1: createBuffers leaves the last buffer out
    "hang= hang-ms=0 "  // init, create, start, stop, latencies, release, load or output-ready takes that long
    "rate-change-block=-1 new-rate=0 "                           // the rate notification before this block
    "late-every=0 late-ms=0 "                                    // every such block comes late by that much
    "mute=0 "                                                    // 1: no callback ever
    "blocks-in-create=0 blocks-in-start=0 blocks-after-stop=0 "  // so many calls at those times
    "time-info=0 "                                               // 1: calls bufferSwitchTimeInfo, without asking
    "notify=0 "          // 1: every notification before each block, and from inside outputReady
    "second-thread=0 "   // 1: a second thread that sends blocks and notifications all the time
    "bad-halves=0 "      // 1: blocks with halves -1, 2 and 1000000 before each block
    "abrupt-release=0";  // 1: stop and dispose do nothing: the clock calls on until 20 ms after the release

struct TestAsioStatistics {
  std::atomic<int32_t> objects{0};        // driver objects alive
  std::atomic<int32_t> bufferSets{0};     // sets of buffers alive
  std::atomic<int32_t> threads{0};        // clock and other threads alive
  std::atomic<int32_t> wrongThread{0};    // calls, but for outputReady, on another thread than the object's own
  std::atomic<int32_t> wrongOrder{0};     // calls that a driver may fall over: before init, a second start and so on
  std::atomic<int32_t> panels{0};         // calls of the control panel
  std::atomic<int32_t> outputReadies{0};  // calls of outputReady
  std::atomic<int32_t> engineVersion{0};  // the host's answer to selector 2
  std::atomic<int64_t> blocks{0};         // delivered by the clock
  std::atomic<int64_t> strayBlocks{0};    // calls of the misbehaviours
  std::atomic<int64_t> mismatches{0};  // blocks where an output did not repeat the input of its number, byte for byte
  std::atomic<int64_t> lateBlocks{0};  // of the real clock: due more than half a block before they came
  std::atomic<int64_t> callbackTicks{0};  // all blocks together, of the counter
  std::atomic<int64_t> maximumTicks{0};   // the longest block, of the counter
  std::atomic<float> outputPeak{0.0f};    // highest so far of the outputs that are kFloat32LSB
  std::atomic<void*> window{nullptr};     // what init was given
};

// The exports.
using TestAsioConfigureFunction = bool (*)(const char* words);  // false: a word that is not known
// Counts from zero on; what is alive stays counted. The result is the driver's own and goes on changing.
using TestAsioResetFunction = const TestAsioStatistics* (*)();

inline constexpr wchar_t kTestAsioName[] = L"Tarnwick Test ASIO";
inline constexpr wchar_t kTestAsioClassId[] = L"{5B1E3C52-6B0D-4B7C-9C44-0E6B2A9C7A01}";

}  // namespace tarnwick::tests
