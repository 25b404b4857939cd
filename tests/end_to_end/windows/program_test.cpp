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

using ::testing::HasSubstr;

// The last line of `text`.
rapidjson::Document json(const std::string& text) {
  rapidjson::Document document;
  document.Parse(text.c_str() + (text.size() < 2 ? 0 : text.rfind('\n', text.size() - 2) + 1));
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
      {{"--list-devices"}, 0, "Tarnwick Virtual Audio\n", ""},
      {{"--validate", TARNWICK_OMBREL}, 0, "Valid VST3 effect: Ombrel\n", ""},
      {{"--validate", TARNWICK_PROGRAM}, 1, "", TARNWICK_PROGRAM},
      {{"--no-such-option"}, 2, "", "--no-such-option"},
  };
  RunningProgram instance({});
  ASSERT_NE(instance.window(), nullptr);
  for (const auto& [arguments, exitCode, out, err] : cases) {
    SCOPED_TRACE(arguments.front());
    const ProgramResult result = RunTarnwick(arguments);
    EXPECT_EQ(result.exitCode, exitCode);
    EXPECT_THAT(result.out, HasSubstr(out));
    EXPECT_THAT(result.err, HasSubstr(err));
    EXPECT_EQ(result.out.empty(), *out == '\0') << result.out;
    EXPECT_EQ(result.err.empty(), *err == '\0') << result.err;
  }
  instance.close();
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
  SetEnvironmentVariableA("TARNWICK_TEST_ASIO_1",
                          ("inputs=4 outputs=4 input-types=19 output-types=19 report=" + report).c_str());
  EXPECT_THAT(RunTarnwick({"--list-devices"}).out, HasSubstr("Tarnwick Test ASIO\n"));
  const ProgramResult result = RunTarnwick({"--device", platform::Utf8FromWide(kTestAsioName), "--start", "--seconds",
                                            "1", "--buffer-size", "64", "--instances", "3"});
  SetEnvironmentVariableA("TARNWICK_TEST_ASIO_1", nullptr);
  ASSERT_EQ(result.exitCode, 0u) << result.err;
  const rapidjson::Document summary = json(result.out);
  EXPECT_GE(summary["blocks"].GetInt(), 750);
  // The driver's tone is far above the expander's threshold: it passes as it is. The fourth output has no instance.
  for (rapidjson::SizeType k = 0; k < 3; ++k) {
    EXPECT_NEAR(summary["outputs"][k]["peakDb"].GetDouble(), -18.0, 0.1) << k;
  }
  EXPECT_EQ(summary["outputs"][3]["peakDb"].GetDouble(), -180.0);

  const platform::Bytes bytes = platform::ReadBytes(report);
  const rapidjson::Document driver = json(std::string(bytes.begin(), bytes.end()));
  for (const char* none : {"wrongThread", "wrongOrder", "objects", "bufferSets"}) {
    EXPECT_EQ(driver[none].GetInt(), 0) << none;
  }
  EXPECT_TRUE(driver["window"].GetBool()) << "the main window was not handed over";
  EXPECT_NEAR(driver["outputPeak"].GetDouble(), 0.126, 0.002);
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
  EXPECT_TRUE(AwaitTitle(window, L"Stopped"));
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
  program.close();
}

TEST(WindowsProgram, StartsAndStopsByItsButtonsAndKeys) {
  RunningProgram program({"--instances", "2"});
  HWND window = program.window();
  ASSERT_NE(window, nullptr);
  constexpr WPARAM kClick = 0;
  const struct {
    const wchar_t* button;  // that has the focus or is clicked
    WPARAM key;
    const wchar_t* becomes;  // or gets the focus
    const wchar_t* title;
  } presses[] = {
      {L"ASIO Start", VK_RETURN, L"ASIO Stop", L"Stopped"}, {L"ASIO Stop", VK_SPACE, L"ASIO Start", L"Stopped"},
      {L"ASIO Start", VK_SPACE, L"ASIO Stop", L"Stopped"},  {L"ASIO Stop", VK_TAB, L"Start host", L"Stopped"},
      {L"Start host", VK_RETURN, L"Stop host", L"Running"}, {L"Stop host", kClick, L"Start host", L"Stopped"},
      {L"ASIO Stop", kClick, L"ASIO Start", L"Stopped"},
  };
  for (const auto& [button, key, becomes, title] : presses) {
    HWND pressed = AwaitControl(window, button);
    ASSERT_NE(pressed, nullptr) << platform::Utf8FromWide(button);
    PostMessageW(pressed, key == kClick ? BM_CLICK : WM_KEYDOWN, key, key == kClick ? 0 : 1);
    if (key != kClick) {
      PostMessageW(pressed, WM_KEYUP, key, 0xC0000001);
    }
    EXPECT_NE(AwaitControl(window, becomes), nullptr) << platform::Utf8FromWide(becomes);
    EXPECT_TRUE(AwaitTitle(window, title)) << platform::Utf8FromWide(title);
  }
  program.close();
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
  EXPECT_TRUE(AwaitTitle(window, L"Stopped"));
  first.close();
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
    EXPECT_TRUE(AwaitTitle(program.window(), L"Running"));
    EXPECT_THAT(program.close(),
                testing::AllOf(HasSubstr("Host stopped."), HasSubstr("Remote control server stopped.")));
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
    ASSERT_TRUE(AwaitTitle(window, L"Running"));
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
