// The Windows program from outside: answers, runs, its window, and the rule of the single instance.
#include "program.h"

#include <gmock/gmock.h>
#include <rapidjson/document.h>

#include <filesystem>

#include "platform/socket.h"
#include "platform/temporary_folder.h"
#include "platform/text.h"
#include "support/windows/test_asio_rig.h"

namespace tarnwick::tests {
namespace {

using Arguments = std::vector<std::string>;
using ::testing::HasSubstr;

rapidjson::Document json(const std::string& text) {
  rapidjson::Document document;
  document.Parse(text.c_str());
  EXPECT_TRUE(document.IsObject()) << text;
  return document;
}

TEST(WindowsProgram, AnswersIntoItsPipesAlsoWhileAnInstanceRuns) {
  const struct {
    Arguments arguments;
    DWORD exitCode;
    const char* out;
    const char* err;
  } cases[] = {
      {{"--version"}, 0, "Tarnwick ", ""},
      {{"--help"}, 0, "--list-devices", ""},
      {{"--list-devices"}, 0, "Tarnwick Virtual Audio\n", ""},
      {{"--validate", TARNWICK_OMBREL}, 0, "Valid VST3 effect: Ombrel\n", ""},
      {{"--validate", TARNWICK_PROGRAM}, 1, "", TARNWICK_PROGRAM},
      {{"--no-such-option"}, 2, "", "--no-such-option"},
      {{"--instances", "128"}, 2, "", "--instances"},
  };
  RunningProgram instance({});
  HWND window = instance.window();
  ASSERT_NE(window, nullptr);
  for (const auto& [arguments, exitCode, out, err] : cases) {
    SCOPED_TRACE(arguments.front());
    const ProgramResult result = RunTarnwick(arguments);
    EXPECT_EQ(result.exitCode, exitCode);
    EXPECT_THAT(result.out, HasSubstr(out));
    EXPECT_THAT(result.err, HasSubstr(err));
    EXPECT_EQ(result.out.empty(), *out == '\0') << result.out;
    EXPECT_EQ(result.err.empty(), *err == '\0') << result.err;
  }
  PostMessageW(window, WM_CLOSE, 0, 0);
  EXPECT_EQ(instance.finish().exitCode, 0u);
}

TEST(WindowsProgram, RunsForTheSecondsAskedForOnTheVirtualDevice) {
  const ProgramResult result =
      RunTarnwick({"--start", "--seconds", "2", "--virtual-clock", "fast", "--instances", "8"});
  ASSERT_EQ(result.exitCode, 0u) << result.err;
  const rapidjson::Document summary = json(result.lastLine());
  EXPECT_EQ(summary["blocks"].GetInt(), 375);
  EXPECT_EQ(summary["skippedBlocks"].GetInt(), 0);
  EXPECT_EQ(summary["instances"].GetInt(), 8);
  ASSERT_EQ(summary["outputs"].Size(), 8u);
  EXPECT_GT(summary["outputs"][0]["peakDb"].GetDouble(), -40.0);
}

TEST(WindowsProgram, TellsOfAFailedStartWithoutABox) {
  const ProgramResult result = RunTarnwick({"--start", "--device", "no such device", "--instances", "1"});
  EXPECT_EQ(result.exitCode, 1u);
  EXPECT_THAT(result.err, HasSubstr("no such device"));
}

TEST(WindowsProgram, PlaysAnAsioDeviceThroughOmbrel) {
  const TestAsioRig rig;
  const std::string report = "asio_report.json";
  DeleteFileA(report.c_str());
  SetEnvironmentVariableA("TARNWICK_TEST_ASIO_1", ("inputs=4 outputs=4 signal=tone report=" + report).c_str());
  EXPECT_THAT(RunTarnwick({"--list-devices"}).out, HasSubstr("Tarnwick Test ASIO\n"));
  const ProgramResult result = RunTarnwick({"--device", platform::Utf8FromWide(kTestAsioNames[0]), "--start",
                                            "--seconds", "1", "--buffer-size", "64", "--instances", "3"});
  SetEnvironmentVariableA("TARNWICK_TEST_ASIO_1", nullptr);
  ASSERT_EQ(result.exitCode, 0u) << result.err;
  const rapidjson::Document summary = json(result.lastLine());
  EXPECT_GE(summary["blocks"].GetInt(), 750);
  // The driver's tone is far above the expander's threshold: it passes as it is. The fourth output has no instance.
  for (rapidjson::SizeType k = 0; k < 3; ++k) {
    EXPECT_NEAR(summary["outputs"][k]["peakDb"].GetDouble(), -12.04, 0.1) << k;
  }
  EXPECT_EQ(summary["outputs"][3]["peakDb"].GetDouble(), -180.0);

  std::FILE* file = std::fopen(report.c_str(), "rb");
  ASSERT_NE(file, nullptr);
  char text[1024] = {};
  std::fread(text, 1, sizeof text - 1, file);
  std::fclose(file);
  const rapidjson::Document driver = json(text);
  for (const char* none : {"wrongThread", "wrongOrder", "objects", "bufferSets"}) {
    EXPECT_EQ(driver[none].GetInt(), 0) << none;
  }
  EXPECT_TRUE(driver["window"].GetBool()) << "the main window was not handed over";
  EXPECT_NEAR(driver["outputPeak"].GetDouble(), 0.25, 0.005);
  EXPECT_EQ(driver["outputReadies"].GetInt64(), driver["blocks"].GetInt64() + 1) << "once to ask, then every block";
}

TEST(WindowsProgram, FindsAnEffectsLibraryInItsOwnFolders) {
  const std::filesystem::path module = std::filesystem::path(TARNWICK_TEST_MODULES) / "needs_library.vst3";
  const std::filesystem::path library = module.parent_path() / "needed" / "tarnwick_test_needed.dll";
  const struct {
    const char* folder;  // where the library is; null = nowhere
    DWORD exitCode;
  } cases[] = {{nullptr, 1}, {"", 0}, {"DLL", 0}, {"other", 1}};
  for (const auto& [folder, exitCode] : cases) {
    SCOPED_TRACE(folder != nullptr ? folder : "nowhere");
    const platform::TemporaryFolder place;
    const std::filesystem::path program = place.name("Tarnwick.exe");
    std::filesystem::copy_file(TARNWICK_PROGRAM, program);
    if (folder != nullptr) {
      std::filesystem::create_directories(program.parent_path() / folder);
      std::filesystem::copy_file(library, program.parent_path() / folder / library.filename());
    }
    EXPECT_EQ(RunTarnwick({"--validate", module.string()}, program.string()).exitCode, exitCode);
  }
}

TEST(WindowsProgram, HasItsWindowInTheCornerAtTheSizeOfTheWorkArea) {
  RunningProgram program({});
  HWND window = program.window();
  ASSERT_NE(window, nullptr);
  EXPECT_TRUE(AwaitTitle(window, L"Tarnwick - Stopped"));
  RECT outer = {};
  RECT client = {};
  RECT work = {};
  GetWindowRect(window, &outer);
  GetClientRect(window, &client);
  SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
  EXPECT_EQ(outer.left, 0);
  EXPECT_EQ(outer.top, 0);
  EXPECT_EQ(client.right, 924);
  EXPECT_EQ(client.bottom, work.bottom - work.top - 50);
  const LONG style = WS_OVERLAPPEDWINDOW | WS_VSCROLL | WS_HSCROLL | WS_CLIPCHILDREN;
  EXPECT_EQ(GetWindowLongW(window, GWL_STYLE) & style, style);
  EXPECT_NE(AwaitControl(window, L"Input Latency : -, Output Latency : -"), nullptr);
  HWND devices = FindWindowExW(window, nullptr, L"COMBOBOX", nullptr);
  EXPECT_TRUE(Eventually([&] { return SendMessageW(devices, CB_GETCOUNT, 0, 0) >= 1 && IsWindowEnabled(devices); }));

  DWORD owner = 0;
  HANDLE thread = OpenThread(THREAD_QUERY_INFORMATION, FALSE, GetWindowThreadProcessId(window, &owner));
  HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, owner);
  EXPECT_THAT(GetPriorityClass(process), testing::AnyOf(REALTIME_PRIORITY_CLASS, HIGH_PRIORITY_CLASS));
  EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_BELOW_NORMAL);
  CloseHandle(thread);
  CloseHandle(process);
  PostMessageW(window, WM_CLOSE, 0, 0);
  EXPECT_EQ(program.finish().exitCode, 0u);
}

TEST(WindowsProgram, StartsAndStopsByItsButtons) {
  RunningProgram program({"--instances", "2"});
  HWND window = program.window();
  ASSERT_NE(window, nullptr);
  const struct {
    const wchar_t* button;
    const wchar_t* becomes;
    const wchar_t* title;
  } presses[] = {
      {L"ASIO Start", L"ASIO Stop", L"Tarnwick - Stopped"},
      {L"Start host", L"Stop host", L"Tarnwick - Running"},
      {L"Stop host", L"Start host", L"Tarnwick - Stopped"},
      {L"ASIO Stop", L"ASIO Start", L"Tarnwick - Stopped"},
  };
  for (const auto& [button, becomes, title] : presses) {
    HWND pressed = AwaitControl(window, button);
    ASSERT_NE(pressed, nullptr) << platform::Utf8FromWide(button);
    PostMessageW(pressed, BM_CLICK, 0, 0);
    EXPECT_EQ(AwaitControl(window, becomes), pressed) << platform::Utf8FromWide(becomes);
    EXPECT_TRUE(AwaitTitle(window, title)) << platform::Utf8FromWide(title);
  }
  PostMessageW(window, WM_CLOSE, 0, 0);
  EXPECT_EQ(program.finish().exitCode, 0u);
}

TEST(WindowsProgram, ActsOnItsKeys) {
  RunningProgram program({"--instances", "1"});
  HWND window = program.window();
  ASSERT_NE(window, nullptr);
  const struct {
    const wchar_t* button;
    WPARAM key;
    const wchar_t* becomes;
  } presses[] = {
      {L"ASIO Start", VK_RETURN, L"ASIO Stop"}, {L"ASIO Stop", VK_SPACE, L"ASIO Start"},
      {L"ASIO Start", VK_SPACE, L"ASIO Stop"},  {L"ASIO Stop", VK_TAB, L"Start host"},
      {L"Start host", VK_RETURN, L"Stop host"},
  };
  for (const auto& [button, key, becomes] : presses) {
    HWND pressed = AwaitControl(window, button);
    ASSERT_NE(pressed, nullptr) << platform::Utf8FromWide(button);
    PostMessageW(pressed, WM_KEYDOWN, key, 1);
    PostMessageW(pressed, WM_KEYUP, key, 0xC0000001);
    EXPECT_NE(AwaitControl(window, becomes), nullptr) << platform::Utf8FromWide(becomes);
  }
  EXPECT_TRUE(AwaitTitle(window, L"Tarnwick - Running"));
  PostMessageW(window, WM_CLOSE, 0, 0);
  EXPECT_EQ(program.finish().exitCode, 0u);
}

TEST(WindowsProgram, StopsTheHostBeforeItsWindowCloses) {
  RunningProgram program({"--start", "--instances", "4"});
  HWND window = program.window();
  ASSERT_NE(window, nullptr);
  ASSERT_TRUE(AwaitTitle(window, L"Tarnwick - Running"));
  PostMessageW(window, WM_CLOSE, 0, 0);
  const ProgramResult result = program.finish();
  EXPECT_EQ(result.exitCode, 0u);
  EXPECT_THAT(result.out, HasSubstr("Host stopped."));
}

TEST(WindowsProgram, IsRaisedByASecondStart) {
  RunningProgram first({});
  HWND window = first.window();
  ASSERT_NE(window, nullptr);
  for (const int state : {SW_MINIMIZE, SW_HIDE}) {
    ShowWindow(window, state);
    ASSERT_TRUE(Eventually([&] { return IsIconic(window) || !IsWindowVisible(window); }));
    const ProgramResult second = RunTarnwick({"--start"});
    EXPECT_EQ(second.exitCode, 0u);
    EXPECT_EQ(second.out, "");
    EXPECT_TRUE(Eventually([&] { return !IsIconic(window) && IsWindowVisible(window); })) << state;
    EXPECT_TRUE(Eventually([&] { return GetForegroundWindow() == window; })) << state;
  }
  EXPECT_TRUE(AwaitTitle(window, L"Tarnwick - Stopped"));
  PostMessageW(window, WM_CLOSE, 0, 0);
  EXPECT_EQ(first.finish().exitCode, 0u);
}

// One request on a connection of its own; empty when the server does not answer.
std::string ask(const std::string& method, const std::string& target) {
  platform::Socket socket = platform::Socket::Tcp();
  const std::string request = method + " " + target + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
  if (!socket.connect(0x7f000001, 20843) ||
      socket.send(request.data(), request.size()) != static_cast<int64_t>(request.size())) {
    return {};
  }
  std::string answer;
  char bytes[4096];
  for (int64_t count = 0; (count = socket.receive(bytes, sizeof bytes)) > 0;) {
    answer.append(bytes, static_cast<size_t>(count));
  }
  return answer;
}

bool awaitStatus(const std::string& text) {
  return Eventually([&] { return ask("GET", "/api/status").find(text) != std::string::npos; });
}

TEST(WindowsProgram, IsDrivenFromTheNetworkAndKeepsItsSettings) {
  platform::StartSockets();
  RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\TarnwickTestRemote");
  const std::vector<std::string> arguments = {"--remote-port", "20843", "--settings", "Software\\TarnwickTestRemote",
                                              "--instances",   "2"};
  const std::string effect = std::string(TARNWICK_TEST_MODULES) + "/gain.vst3";
  {
    RunningProgram program(arguments);
    ASSERT_TRUE(awaitStatus("\"instanceCount\":2"));
    EXPECT_THAT(ask("GET", "/"), HasSubstr("<title>TarnwickRemote</title>"));
    EXPECT_THAT(ask("GET", "/api/plugin/files?path="), HasSubstr("\"isDrive\":true"));
    EXPECT_THAT(ask("POST", "/api/host/config?pluginPath=" + std::string(TARNWICK_PROGRAM)), HasSubstr(" 400 "));
    EXPECT_THAT(ask("POST", "/api/host/config?pluginPath=" + effect), HasSubstr(" 202 "));
    EXPECT_THAT(ask("POST", "/api/instances/1/config?name=Lead%20%C3%BC&inputGainDb=-6"), HasSubstr(" 202 "));
    EXPECT_THAT(ask("POST", "/api/asio/start"), HasSubstr(" 202 "));
    EXPECT_THAT(ask("POST", "/api/host/start"), HasSubstr(" 202 "));
    ASSERT_TRUE(awaitStatus("\"running\":true"));
    HWND window = program.window();
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(AwaitTitle(window, L"Tarnwick - Running"));
    PostMessageW(window, WM_CLOSE, 0, 0);
    const ProgramResult result = program.finish();
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_THAT(result.out, HasSubstr("Remote control server stopped."));
  }
  RunningProgram program(arguments);
  ASSERT_TRUE(awaitStatus("\"name\":\"Lead \xc3\xbc\",\"inputChannel\":1,\"outputChannel\":1,\"inputGainDb\":-6"));
  EXPECT_TRUE(awaitStatus("\\gain.vst3\",\"device\":"));
  platform::EndSockets();
}

TEST(WindowsProgram, HasSavedAndStoppedByTheTimeItAnswersTheEndOfTheSession) {
  platform::StartSockets();
  constexpr wchar_t kKey[] = L"Software\\TarnwickTestSession";
  RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
  const std::vector<std::string> arguments = {"--remote-port", "20843", "--settings", "Software\\TarnwickTestSession"};
  {
    std::vector<std::string> running = arguments;
    running.insert(running.end(), {"--start", "--instances", "4"});
    RunningProgram program(running);
    HWND window = program.window();
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(AwaitTitle(window, L"Tarnwick - Running"));
    EXPECT_THAT(ask("POST", "/api/instances/0/config?name=First"), HasSubstr(" 202 "));
    ASSERT_TRUE(Eventually([&] {
      HKEY key = nullptr;
      return RegOpenKeyExW(HKEY_CURRENT_USER, kKey, 0, KEY_READ, &key) == 0 && RegCloseKey(key) == 0;
    }));
    // A second after the last save nothing is saved by itself.
    EXPECT_THAT(ask("POST", "/api/instances/0/config?name=Second"), HasSubstr(" 202 "));
    DWORD_PTR answer = 1;
    EXPECT_NE(SendMessageTimeoutW(window, WM_ENDSESSION, TRUE, 0, SMTO_NORMAL, 10000, &answer), 0);
    EXPECT_EQ(answer, 0u);
    EXPECT_FALSE(IsWindow(window)) << "the host and the device have not stopped";
  }  // ended at once
  RunningProgram program(arguments);
  EXPECT_TRUE(awaitStatus("\"name\":\"Second\""));
  platform::EndSockets();
}

}  // namespace
}  // namespace tarnwick::tests
