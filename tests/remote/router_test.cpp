#include "remote/router.h"

#include <gtest/gtest.h>

#include "remote/fake_callbacks.h"
#include "remote/http_query.h"

namespace tarnwick::remote {
namespace {

struct RouterClient {
  FakeApplication application;
  std::string broadcasts;
  RouterContext context{application.callbacks, 20831,
                        [](RemoteStatusSnapshot& status) { status.cpuUsagePercent = 12.5f; },
                        [this](const std::string& text) { broadcasts += text; },
                        [](RemoteGrants& grants) {
                          grants.priorities.push_back({L"Network", L"High", L"High"});
                        }};

  // `target` as in a request line.
  std::string ask(std::string_view method, std::string_view target, std::string_view body = "") {
    application.calls.clear();
    const SplitTarget split = ParseTarget(target);
    const ApiAnswer answer = RouteApiRequest(context, {method, split.path, split.query, body});
    return std::to_string(answer.status) + " " + answer.body;
  }
};

std::string errorAnswer(int status, const std::string& text) {
  return std::to_string(status) + " {\"error\":\"" + text + "\"}";
}

enum class Words { own, callback };  // which a refusal is told in when the callback explains it

struct RouteCase {
  std::string target;
  const char* called;
  std::string gives;       // an action's name, or a document's beginning
  std::string error = {};  // empty: it can only be that nobody takes it over
  Words words = Words::own;
  const char* body = "";
};

const RouteCase kReads[] = {
    {"/api/status", "status", R"({"service":"Tarnwick","running")", "snapshot unavailable"},
    {"/api/record/status", "record", R"({"windowOpen":false,"recordRunning")", "record snapshot unavailable"},
    {"/api/playback/status", "playback", R"({"windowOpen":false,"loaded")", "playback snapshot unavailable"},
    {"/api/cpu-steering/granted", "grants", R"({"processRefused":false,"engine":)", "grants unavailable"},
    {"/api/device/xruns", "xruns", R"({"count":0,"last":""})", "xruns unavailable"},
    {"/api/playback/files?path=/m", "playbackFiles /m", R"({"path":"","entries":[{"name":"a.wav")",
     "playback file list failed", Words::callback},
    {"/api/plugin/files", "pluginFiles ", R"({"path":"","entries":[{"name":"a.wav")", "plugin file list failed",
     Words::callback},
    {"/api/playback/search?root=/m&q=b", "search /m b", R"({"path":"/m","entries":[{"name":"a.wav")",
     "playback search failed"},
};

const RouteCase kActions[] = {
    {"/api/host/start", "startHost", "start", "host start failed", Words::callback},
    {"/api/host/stop", "stopHost", "stop"},
    {"/api/asio/refresh", "refreshAsio", "asio-refresh"},
    {"/api/asio/start", "status; startAsio", "asio-start", "snapshot unavailable"},
    {"/api/asio/stop", "stopAsio", "asio-stop", "asio stop failed", Words::callback},
    {"/api/system/reboot", "reboot", "system-reboot"},
    {"/api/system/shutdown", "shutdown", "system-shutdown"},
    {"/api/cpu-steering/open", "openCpuSteering", "cpu-steering-open"},
    {"/api/record/open", "openRecord", "record-open"},
    {"/api/playback/open", "openPlayback", "playback-open"},
    {"/api/instances/add", "addInstance", "add-instance"},
    {"/api/instances/remove-last", "removeLastInstance", "remove-last-instance"},
    {"/api/bypass-all/toggle", "toggleBypassAll", "bypass-all-toggle"},
    {"/api/test-signal-all/toggle", "toggleTestSignalAll", "test-signal-all-toggle"},
    {"/api/record/toggle", "toggleRecord", "record-toggle", "record toggle failed", Words::callback},
    {"/api/host/config?b=/p/\xC3\xB6&a=1&b=2", "host a=1 b=2", "host-config-patch", "host config patch rejected"},
    {"/api/host/config", "host", "host-config-patch", "host config patch rejected"},
    {"/api/cpu-steering/config?a=%C3%B6", "steering a=\xC3\xB6", "cpu-steering-patch", "cpu steering patch rejected"},
    {"/api/audio/config?a=", "audio a=", "audio-config-patch", "audio config patch rejected"},
    {"/api/record/config?isInput=true&channelIndex=3&enabled=false&name=Vox", "channel true 3 false Vox",
     "record-config", "record config failed"},
    {"/api/instances/126/config?name=A\tb&inputChannel=-1&outputChannel=7&inputGainDb=-6.5&outputGainDb=1e1&"
     "firstParamPercent=33&bypassEnabled=true&testSignalEnabled=false",
     "instance 126 Ab -1 7 -6.5 10 33 true false", "patch-instance\",\"index\":126}", "instance patch rejected"},
    {"/api/playback/add-path?path=/m/a.wav", "addPath /m/a.wav", "playback-add-path", "playback add path failed",
     Words::callback},
    {"/api/playback/add-paths", "addPaths a.wav \xC3\xB6\xF0\x9F\x8E\xB8", "playback-add-paths",
     "playback add paths failed", Words::callback, R"({"x":[[1]],"paths":["a.wav","\u0000\u00f6\ud83c\udfb8"]})"},
    {"/api/playback/tab?action=switch&tab=2", "tab switch 2 ", "playback-tab", "playback tab action failed"},
    {"/api/playback/tab?action=rename&name=Set 1", "tab rename -1 Set 1", "playback-tab", "playback tab action failed"},
    {"/api/playback/item?action=select&tab=1&item=4&mode=range&preserve=true", "item select 1 4 range true",
     "playback-item", "playback item action failed", Words::callback},
    {"/api/playback/item?action=move-top", "item move-top -1 -1  false", "playback-item", "playback item action failed",
     Words::callback},
    {"/api/playback/seek?position=12.25", "seek 12.25", "playback-seek", "playback seek failed", Words::callback},
    {"/api/playback/control?action=prev", "control prev", "playback-control", "playback control failed",
     Words::callback},
};

void expectRoute(const char* method, const RouteCase& c) {
  const bool reads = method == std::string("GET");
  RouterClient client;
  const auto ask = [&] { return client.ask(method, c.target, c.body); };
  const std::string begins = reads ? "200 " + c.gives : "202 {\"accepted\":true,\"action\":\"" + c.gives;
  EXPECT_TRUE(ask().starts_with(begins)) << c.target;
  EXPECT_EQ(client.application.calls, c.called) << c.target;
  EXPECT_EQ(client.ask(reads ? "POST" : "GET", c.target, c.body), errorAnswer(404, "not found")) << c.target;
  EXPECT_EQ(client.application.calls, "");

  const std::string refused = c.error.empty() ? errorAnswer(503, "action unavailable")
                                              : errorAnswer(c.error.ends_with("unavailable") ? 503 : 400, c.error);
  client.application.answer = false;
  EXPECT_EQ(ask(), refused);
  client.application.text = L"say \"why\"";
  EXPECT_EQ(ask(), c.words == Words::callback ? errorAnswer(400, "say \\\"why\\\"") : refused);
  client.application.callbacks = {};
  EXPECT_TRUE(ask().starts_with(c.error.empty() ? begins : refused)) << c.target;
}

TEST(Router, RequestsAreHandedOnAndAnswered) {
  for (const RouteCase& c : kReads) {
    expectRoute("GET", c);
  }
  for (const RouteCase& c : kActions) {
    expectRoute("POST", c);
  }
  RouterClient client;
  EXPECT_NE(client.ask("GET", "/api/status").find("\"cpuUsagePercent\":12.5,"), std::string::npos);
  EXPECT_NE(client.ask("GET", "/api/cpu-steering/granted").find("[{\"work\":\"Network\""), std::string::npos);
  EXPECT_EQ(client.ask("POST", "/api/host/stop"), "202 {\"accepted\":true,\"action\":\"stop\"}");
  client.ask("POST", "/api/playback/seek?position=1.5");
  client.application.refused = "seek 1.5";
  client.ask("POST", "/api/playback/seek?position=1.5");
  EXPECT_EQ(client.broadcasts,
            R"({"type":"playback-seek","path":"a.wav","currentSeconds":1.500,"totalSeconds":60.000})");
  client.application.refused = "startAsio";
  EXPECT_EQ(client.ask("POST", "/api/asio/start"), errorAnswer(503, "action unavailable"));
  client.application.callbacks.stopHost = []() -> bool { throw 1; };
  EXPECT_EQ(client.ask("POST", "/api/host/stop"), errorAnswer(500, "internal error"));
  for (const wchar_t* device :
       {L"(No ASIO drivers found)", L"(ASIO SDK not configured)", L"(No online ASIO devices)"}) {
    client.application.device = device;
    EXPECT_EQ(client.ask("POST", "/api/asio/start"),
              errorAnswer(400, "Please select an ASIO device or check the device power/cable connection."));
    EXPECT_EQ(client.application.calls, "status");
  }
}

TEST(Router, RequestsThatAreRefusedReachNobody) {
  const std::string notFound = errorAnswer(404, "not found");
  const std::string instance = errorAnswer(400, "instance patch rejected");
  const std::string tooLong(4097, 'a');
  const std::string deep(200'000, '[');
  struct Case {
    std::string method, target, answer, body = {};
  };
  std::vector<Case> cases = {
      {"GET", "/healthz", "200 {\"status\":\"ok\",\"service\":\"Tarnwick\",\"port\":20831}"},
      {"get", "/nowhere", errorAnswer(405, "method not allowed")},
      {"POST", "/healthz", notFound},
      {"POST", "/api/instances//config", notFound},
      {"POST", "/api/instances/1/configs", notFound},
      {"POST", "/api/instances/-1/config", notFound},
      {"POST", "/api/instances/4294967296/config", instance},
      {"POST", "/api/instances/1/config?inputGainDb=-infinity", instance},
      {"POST", "/api/instances/1/config?outputGainDb=1e400x", instance},
      {"POST", "/api/instances/1/config?name=" + std::string(20000, '\n'), instance},
      {"POST", "/api/record/config?channelIndex=1", errorAnswer(400, "record config missing params")},
      {"POST", "/api/record/config?isInput=yes&channelIndex=1", errorAnswer(400, "record config failed")},
      {"POST", "/api/record/config?isInput=true&channelIndex=1&enabled=", errorAnswer(400, "record config failed")},
      {"POST", "/api/playback/add-path", errorAnswer(400, "playback add path failed")},
      {"POST", "/api/playback/tab?action=burn&tab=1", errorAnswer(400, "playback tab action failed")},
      {"POST", "/api/playback/item?action=select&mode=all", errorAnswer(400, "playback item action failed")},
      {"POST", "/api/playback/seek", errorAnswer(400, "playback seek failed")},
      {"POST", "/api/playback/control?action=PLAY", errorAnswer(400, "playback control failed")},
      {"POST", "/api/playback/config", errorAnswer(400, "playback config empty")},
      {"GET", "/api/plugin/files?path=" + tooLong, errorAnswer(400, "plugin file list failed")},
      {"GET", "/api/playback/search?q=" + tooLong, errorAnswer(400, "playback search failed")},
  };
  for (const std::string& body :
       {"{\"paths\":" + deep, deep + std::string(deep.size(), ']'), "{\"paths\":[\"" + tooLong + "\"]}",
        std::string(4'300'000, ' ') + R"({"paths":["a"]})", std::string("{}"), std::string(R"({"paths":"a"})"),
        std::string(R"({"paths":["a",1]})"), std::string(R"({"paths":["\ud800"]})")}) {
    cases.push_back({"POST", "/api/playback/add-paths", errorAnswer(400, "playback add paths failed"), body});
  }
  for (const Case& c : cases) {
    RouterClient client;
    EXPECT_EQ(client.ask(c.method, c.target, c.body), c.answer) << c.target.substr(0, 90) << c.body.substr(0, 40);
    EXPECT_EQ(client.application.calls + client.broadcasts, "") << c.target.substr(0, 90);
  }
}

// The application brings a gain into its range, however far outside it is.
TEST(Router, NamesAreCutAtACharacterAndPathsAndGainsAreNot) {
  std::string guitars;
  for (int k = 0; k < 4096; ++k) {  // as long as a text may be
    guitars += "\xF0\x9F\x8E\xB8";
  }
  RouterClient client;
  client.ask("POST", "/api/instances/0/config?name=\x01" + guitars.substr(0, 800));
  EXPECT_EQ(client.application.calls, "instance 0 " + guitars.substr(0, 128 * 4) + " - - - - - - -");
  client.ask("POST", "/api/instances/0/config?inputGainDb=-1E%2B400&outputGainDb=0." + std::string(400, '0') + "1e900");
  EXPECT_EQ(client.application.calls, "instance 0 - - - -1.79769e+308 1.79769e+308 - - -");
  client.ask("POST", "/api/playback/add-path?path=" + guitars);
  EXPECT_EQ(client.application.calls, "addPath " + guitars);
}

TEST(Router, PlaybackConfigAppliesItsGroupsInOrderUpToTheFirstRejected) {
  const struct {
    std::string given, call, unreadable, error;
  } groups[] = {
      {"playMode=1", "mode 1", "playMode=x", "playback config rejected"},
      {"volumeDbTenths=-60", "volume -60", "volumeDbTenths=1.5", "playback volume rejected"},
      {"normalizeEnabled=true", "normalize true", "normalizeEnabled=on", "playback normalize rejected"},
      {"waveformEnabled=false", "waveform false", "waveformEnabled=", "playback waveform rejected"},
      {"rightOutputChannel=1", "outputs - 1", "leftOutputChannel=L", "playback outputs rejected"},
      {"fadeStopOutIndex=3&fadeChangeCrossIndex=5", "fades - - 3 - - 5", "fadePlayInIndex=?", "playback fade rejected"},
  };
  std::string all = "/api/playback/config?";
  for (const auto& group : groups) {
    all += group.given + "&";
  }
  std::string before;
  for (const auto& group : groups) {
    RouterClient client;
    client.application.refused = group.call;
    EXPECT_EQ(client.ask("POST", all), errorAnswer(400, group.error));
    EXPECT_EQ(client.application.calls, before + group.call);
    EXPECT_EQ(client.ask("POST", all + group.unreadable), errorAnswer(400, group.error));  // the last of a key wins
    EXPECT_EQ(client.application.calls + (before.empty() ? "" : "; "), before);
    client.application.callbacks = {};
    EXPECT_EQ(client.ask("POST", "/api/playback/config?" + group.given), errorAnswer(400, group.error));
    before += group.call + "; ";
  }
  EXPECT_EQ(RouterClient().ask("POST", all), "202 {\"accepted\":true,\"action\":\"playback-config\"}");
}

}  // namespace
}  // namespace tarnwick::remote
