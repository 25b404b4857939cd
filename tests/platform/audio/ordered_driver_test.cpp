// The order of a driver's operations: what reaches a back end, and what is answered in its place.
#include "platform/audio/ordered_driver.h"

#include <gtest/gtest.h>

#include <map>
#include <new>
#include <string>

namespace tarnwick::platform {
namespace {

struct Recorded {
  std::string hooks;                         // the hooks that ran, each with a blank before it
  std::map<std::string, AsioError> results;  // of the hooks; ASE_OK where absent
  std::string throwing;                      // the hook that throws
  AsioError state = ASE_OK;
  bool judges = true;

  AsioError note(const std::string& hook) {
    hooks += " " + hook;
    if (hook == throwing) {
      throw std::bad_alloc();
    }
    const auto found = results.find(hook);
    return found == results.end() ? ASE_OK : found->second;
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
  int32_t a = 0;
  int32_t b = 0;
  AudioChannelInfo info;
  return operation == "init"        ? driver.ASIOInit({})
         : operation == "exit"      ? driver.ASIOExit()
         : operation == "channels"  ? driver.ASIOGetChannels(a, b)
         : operation == "sizes"     ? driver.ASIOGetBufferSize(a, b, a, b)
         : operation == "latencies" ? driver.ASIOGetLatencies(a, b)
         : operation == "create"    ? create(driver, {{.isInput = true}, {.channelNum = 2}})
         : operation == "info"      ? driver.ASIOGetChannelInfo(info)
         : operation == "start"     ? driver.ASIOStart()
         : operation == "stop"      ? driver.ASIOStop()
         : operation == "dispose"   ? driver.ASIODisposeBuffers()
                                    : driver.ASIOControlPanel();
}

struct Step {
  const char* operation;
  AsioError result;
  const char* hooks;
};

void go(RecordingDriver& driver, Recorded& recorded, const std::vector<Step>& steps) {
  for (size_t k = 0; k < steps.size(); ++k) {
    SCOPED_TRACE(std::to_string(k) + " " + steps[k].operation);
    recorded.hooks.clear();
    EXPECT_EQ(perform(driver, steps[k].operation), steps[k].result);
    EXPECT_EQ(recorded.hooks, steps[k].hooks);
  }
}

TEST(OrderedDriver, OnlyWhatComesInOrderReachesTheBackEnd) {
  Recorded recorded;
  RecordingDriver driver(recorded);
  std::vector<Step> unopened;
  for (const char* operation :
       {"exit", "channels", "sizes", "latencies", "create", "info", "start", "stop", "dispose", "panel"}) {
    unopened.push_back({operation, ASE_NotPresent, ""});
  }
  go(driver, recorded, unopened);
  go(driver, recorded, {{"init", ASE_OK, " init"},        {"init", ASE_InvalidMode, ""},
                        {"start", ASE_InvalidMode, ""},   {"stop", ASE_OK, ""},
                        {"dispose", ASE_InvalidMode, ""}, {"latencies", ASE_OK, " latencies"},
                        {"panel", ASE_OK, " panel"},      {"create", ASE_OK, " create"},
                        {"create", ASE_InvalidMode, ""},  {"init", ASE_InvalidMode, ""},
                        {"start", ASE_OK, " start"},      {"start", ASE_InvalidMode, ""},
                        {"stop", ASE_OK, " stop"},        {"stop", ASE_OK, ""},
                        {"start", ASE_OK, " start"},      {"dispose", ASE_OK, " stop dispose"},
                        {"start", ASE_InvalidMode, ""},   {"create", ASE_OK, " create"},
                        {"start", ASE_OK, " start"},      {"exit", ASE_OK, " stop dispose exit"}});
  go(driver, recorded, unopened);
}

TEST(OrderedDriver, AFailureLeavesTheStateBeforeIt) {
  const struct {
    const char* hook;
    std::vector<Step> steps;
  } cases[] = {
      {"init", {{"init", -1, " init exit"}, {"create", ASE_NotPresent, ""}, {"exit", ASE_NotPresent, ""}}},
      {"create",
       {{"init", ASE_OK, " init"},
        {"create", -1, " create"},
        {"start", ASE_InvalidMode, ""},
        {"exit", ASE_OK, " exit"}}},
      {"start",
       {{"init", ASE_OK, " init"},
        {"create", ASE_OK, " create"},
        {"start", -1, " start"},
        {"stop", ASE_OK, ""},
        {"start", -1, " start"},
        {"exit", ASE_OK, " dispose exit"}}},
      // What ends has ended, whatever the device says.
      {"stop",
       {{"init", ASE_OK, " init"},
        {"create", ASE_OK, " create"},
        {"start", ASE_OK, " start"},
        {"stop", -1, " stop"},
        {"stop", ASE_OK, ""},
        {"dispose", ASE_OK, " dispose"}}},
      {"dispose",
       {{"init", ASE_OK, " init"},
        {"create", ASE_OK, " create"},
        {"exit", -1, " dispose exit"},
        {"exit", ASE_NotPresent, ""}}},
  };
  for (const auto& c : cases) {
    for (const bool throws : {false, true}) {
      SCOPED_TRACE(c.hook + std::string(throws ? " throws" : ""));
      Recorded recorded;
      (throws ? recorded.throwing : recorded.hooks) = c.hook;
      recorded.results[c.hook] = ASE_NoMemory;
      std::vector<Step> steps = c.steps;
      for (Step& step : steps) {
        step.result = step.result == -1 ? ASE_NoMemory : step.result;
      }
      RecordingDriver driver(recorded);
      go(driver, recorded, steps);
    }
  }
}

TEST(OrderedDriver, ALostDeviceCanOnlyBeClosed) {
  Recorded recorded;
  RecordingDriver driver(recorded);
  go(driver, recorded, {{"init", ASE_OK, " init"}, {"create", ASE_OK, " create"}, {"start", ASE_OK, " start"}});
  recorded.state = ASE_HWMalfunction;
  go(driver, recorded,
     {{"latencies", ASE_HWMalfunction, ""},
      {"info", ASE_HWMalfunction, ""},
      {"stop", ASE_OK, " stop"},
      {"start", ASE_HWMalfunction, ""},
      {"dispose", ASE_OK, " dispose"},
      {"create", ASE_HWMalfunction, ""},
      {"exit", ASE_OK, " exit"}});
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
      EXPECT_EQ(recorded.hooks, judges ? " init" : " init create");
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

TEST(OrderedDriver, ItsEndEndsWhatRuns) {
  Recorded recorded;
  {
    RecordingDriver driver(recorded);
    go(driver, recorded, {{"init", ASE_OK, " init"}, {"create", ASE_OK, " create"}, {"start", ASE_OK, " start"}});
    recorded.hooks.clear();
  }
  EXPECT_EQ(recorded.hooks, " stop dispose exit");
}

}  // namespace
}  // namespace tarnwick::platform
