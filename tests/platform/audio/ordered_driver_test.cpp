// The order of a driver's operations: what reaches a back end, and what is answered in its place.
#include "platform/audio/ordered_driver.h"

#include <gtest/gtest.h>

#include <map>
#include <new>
#include <sstream>
#include <string>

namespace tarnwick::platform {
namespace {

struct Recorded {
  std::string hooks;  // that ran, divided by commas
  std::string failing;
  std::string throwing;
  AsioError state = ASE_OK;
  bool judges = true;

  AsioError note(const std::string& hook) {
    hooks += (hooks.empty() ? "" : ",") + hook;
    if (hook == throwing) {
      throw std::bad_alloc();
    }
    return hook == failing ? ASE_NoMemory : ASE_OK;
  }
};

// Two inputs, three outputs, blocks of 16 to 64.
class RecordingDriver final : public OrderedDriver {
 public:
  explicit RecordingDriver(Recorded& recorded) : recorded_(recorded) {}
  RecordingDriver(const RecordingDriver&) = delete;
  RecordingDriver& operator=(const RecordingDriver&) = delete;
  ~RecordingDriver() override { ASIOExit(); }

 private:
  AsioError init(const AudioInitRequest&) override { return recorded_.note("init"); }
  void exit() override { recorded_.note("exit"); }
  AsioError state() const override { return recorded_.state; }
  AsioError getChannels(int32_t& inputs, int32_t& outputs) override {
    inputs = 2;
    outputs = 3;
    return ASE_OK;
  }
  AsioError getBufferSize(int32_t& minimum, int32_t& maximum, int32_t&, int32_t&) override {
    minimum = 16;
    maximum = 64;
    return ASE_OK;
  }
  AsioError getLatencies(int32_t&, int32_t&) override { return recorded_.note("latencies"); }
  AsioError createBuffers(AudioBufferInfo*, int32_t, int32_t, const AudioCallbacks&) override {
    return recorded_.note("create");
  }
  AsioError getChannelInfo(AudioChannelInfo&) override { return ASE_OK; }
  AsioError start() override { return recorded_.note("start"); }
  AsioError stop() override { return recorded_.note("stop"); }
  AsioError disposeBuffers() override { return recorded_.note("dispose"); }
  AsioError controlPanel() override { return recorded_.note("panel"); }
  bool judgesHere() const override { return recorded_.judges; }

  Recorded& recorded_;
};

const AudioCallbacks kCallbacks = {.bufferSwitch = [](void*, int32_t, bool) { return true; }};

AsioError create(AudioDriver& driver, std::vector<AudioBufferInfo> infos, int32_t length = 32) {
  return driver.ASIOCreateBuffers(infos.data(), static_cast<int32_t>(infos.size()), length, kCallbacks);
}

AsioError perform(AudioDriver& driver, const std::string& operation) {
  int32_t number = 0;
  AudioChannelInfo info;
  return operation == "init"        ? driver.ASIOInit({})
         : operation == "exit"      ? driver.ASIOExit()
         : operation == "channels"  ? driver.ASIOGetChannels(number, number)
         : operation == "sizes"     ? driver.ASIOGetBufferSize(number, number, number, number)
         : operation == "latencies" ? driver.ASIOGetLatencies(number, number)
         : operation == "create"    ? create(driver, {{.isInput = true}, {.channelNum = 2}})
         : operation == "info"      ? driver.ASIOGetChannelInfo(info)
         : operation == "start"     ? driver.ASIOStart()
         : operation == "stop"      ? driver.ASIOStop()
         : operation == "dispose"   ? driver.ASIODisposeBuffers()
                                    : driver.ASIOControlPanel();
}

// Operations one after the other, each with a mark for its result: "!" ASE_InvalidMode, "?" ASE_NotPresent,
// "#" ASE_HWMalfunction, "~" ASE_NoMemory, none ASE_OK. The hooks that run stand behind a colon, divided by commas; not
// given, an operation without a mark or with "~" runs its own and the others none.
void go(RecordingDriver& driver, Recorded& recorded, const std::string& steps) {
  static const std::map<char, AsioError> marks = {
      {'!', ASE_InvalidMode}, {'?', ASE_NotPresent}, {'#', ASE_HWMalfunction}, {'~', ASE_NoMemory}};
  std::istringstream stream(steps);
  for (std::string step; stream >> step;) {
    SCOPED_TRACE(step);
    const size_t colon = step.find(':');
    std::string operation = step.substr(0, colon);
    const auto mark = marks.find(operation.back());
    if (mark != marks.end()) {
      operation.pop_back();
    }
    const bool runs = mark == marks.end() || mark->first == '~';
    recorded.hooks.clear();
    EXPECT_EQ(perform(driver, operation), mark == marks.end() ? ASE_OK : mark->second);
    EXPECT_EQ(recorded.hooks, colon != std::string::npos ? step.substr(colon + 1) : runs ? operation : "");
  }
}

TEST(OrderedDriver, OnlyWhatComesInOrderReachesTheBackEnd) {
  Recorded recorded;
  RecordingDriver driver(recorded);
  const std::string unopened = "exit? channels? sizes? latencies? create? info? start? stop? dispose? panel?";
  go(driver, recorded, unopened);
  go(driver, recorded,
     "init init! start! dispose! stop: latencies panel create create! init! start start! stop stop: start "
     "dispose:stop,dispose start! create start exit:stop,dispose,exit");
  go(driver, recorded, unopened);
}

TEST(OrderedDriver, AFailureLeavesTheStateBeforeIt) {
  const std::pair<std::string, const char*> cases[] = {
      {"init", "init~:init,exit create? exit?"},
      {"create", "init create~ start! exit"},
      {"start", "init create start~ stop: start~ exit:dispose,exit"},
      // An end is an end, whatever the device says.
      {"stop", "init create start stop~ stop: dispose"},
      {"dispose", "init create exit~:dispose,exit exit?"},
  };
  for (const auto& [hook, steps] : cases) {
    for (const bool throws : {false, true}) {
      SCOPED_TRACE(hook + (throws ? " throws" : " fails"));
      Recorded recorded;
      (throws ? recorded.throwing : recorded.failing) = hook;
      RecordingDriver driver(recorded);
      go(driver, recorded, steps);
    }
  }
}

TEST(OrderedDriver, ALostDeviceCanOnlyBeClosedAndItsEndEndsWhatRuns) {
  Recorded recorded;
  {
    RecordingDriver driver(recorded);
    go(driver, recorded, "init create start");
    recorded.state = ASE_HWMalfunction;
    go(driver, recorded, "latencies# info# stop start# dispose create# exit");
    recorded.state = ASE_OK;
    go(driver, recorded, "init create start");
    recorded.hooks.clear();
  }
  EXPECT_EQ(recorded.hooks, "stop,dispose,exit");
}

TEST(OrderedDriver, ChannelsAndBlockLengthsAreJudgedUnlessTheDeviceDoes) {
  const struct {
    std::vector<AudioBufferInfo> infos;
    int32_t length;
  } refused[] = {{{{.isInput = true, .channelNum = 2}}, 32},
                 {{{.isInput = false, .channelNum = 3}}, 32},
                 {{{.isInput = true, .channelNum = -1}}, 32},
                 {{{.isInput = true}, {.isInput = false}, {.isInput = true}}, 32},
                 {{{.isInput = true}}, 15},
                 {{{.isInput = true}}, 65}};
  for (const bool judges : {true, false}) {
    for (const auto& c : refused) {
      Recorded recorded;
      recorded.judges = judges;
      RecordingDriver driver(recorded);
      driver.ASIOInit({});
      EXPECT_EQ(create(driver, c.infos, c.length), judges ? ASE_InvalidParameter : ASE_OK);
      EXPECT_EQ(recorded.hooks, judges ? "init" : "init,create");
      AudioChannelInfo beyond{.channel = 3};
      EXPECT_EQ(driver.ASIOGetChannelInfo(beyond), judges ? ASE_InvalidParameter : ASE_OK);
    }
  }
  Recorded recorded;
  RecordingDriver driver(recorded);
  driver.ASIOInit({});
  AudioBufferInfo info;
  EXPECT_EQ(create(driver, {}), ASE_InvalidParameter);
  EXPECT_EQ(driver.ASIOCreateBuffers(&info, 1, 32, {}), ASE_InvalidParameter) << "without a bufferSwitch";
  EXPECT_EQ(create(driver, {{.isInput = true, .channelNum = 1}, {.isInput = false, .channelNum = 2}}, 16), ASE_OK);
  for (const bool isInput : {true, false}) {
    for (int32_t channel = 0; channel < (isInput ? 2 : 3); ++channel) {
      AudioChannelInfo asked{.channel = channel, .isInput = isInput};
      EXPECT_EQ(driver.ASIOGetChannelInfo(asked), ASE_OK);
      EXPECT_EQ(asked.isActive, channel == (isInput ? 1 : 2)) << isInput << channel;
    }
  }
}

}  // namespace
}  // namespace tarnwick::platform
