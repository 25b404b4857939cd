#include "program.h"

#include <algorithm>

#include "platform/text.h"
#include "support/windows/test_asio_rig.h"

namespace tarnwick::tests {
namespace {

// Not the user's own, and nothing is left in them from one start to the next.
constexpr wchar_t kSettings[] = L"Software\\TarnwickTest";

// Both ends; only the writing one is inherited.
void makePipe(HANDLE& reading, HANDLE& writing) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  ASSERT_TRUE(CreatePipe(&reading, &writing, &inherited, 0));
  SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);
}

void readAll(HANDLE pipe, std::string& text) {
  char buffer[4096];
  DWORD read = 0;
  while (ReadFile(pipe, buffer, sizeof buffer, &read, nullptr) && read > 0) {
    text.append(buffer, read);
  }
  CloseHandle(pipe);
}

std::wstring textOf(HWND window) {
  wchar_t text[256] = {};
  // By message: the text of another process's control is not to be had otherwise.
  DWORD_PTR length = 0;
  SendMessageTimeoutW(window, WM_GETTEXT, 256, reinterpret_cast<LPARAM>(text), SMTO_ABORTIFHUNG, 1000, &length);
  return text;
}

}  // namespace

std::string ProgramResult::lastLine() const {
  const size_t end = out.find_last_not_of('\n');
  const size_t start = end == std::string::npos ? end : out.rfind('\n', end);
  return out.substr(start == std::string::npos ? 0 : start + 1);
}

RunningProgram::RunningProgram(const std::vector<std::string>& arguments, const std::string& file) {
  // Under Wine the first process that asks for the desktop starts the one that keeps it, which holds on to that
  // process's output for as long as anybody uses the desktop. That must not be the program: its pipes would stay open.
  GetDesktopWindow();
  std::wstring command = L"\"" + platform::WideFromUtf8(file) + L"\"";
  for (const std::string& argument : arguments) {
    command += L" \"" + platform::WideFromUtf8(argument) + L"\"";
  }
  if (std::find(arguments.begin(), arguments.end(), "--settings") == arguments.end()) {
    RegDeleteTreeW(HKEY_CURRENT_USER, kSettings);
    command += L" --settings " + std::wstring(kSettings);
  }
  if (std::find(arguments.begin(), arguments.end(), "--remote-port") == arguments.end()) {
    command += L" --remote-port 0";
  }
  HANDLE reading[2] = {};
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  makePipe(reading[0], start.hStdOutput);
  makePipe(reading[1], start.hStdError);
  EXPECT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process_));
  CloseHandle(start.hStdOutput);
  CloseHandle(start.hStdError);
  readers_[0] = std::thread([this, pipe = reading[0]] { readAll(pipe, result_.out); });
  readers_[1] = std::thread([this, pipe = reading[1]] { readAll(pipe, result_.err); });
}

RunningProgram::~RunningProgram() {
  if (process_.hProcess != nullptr) {
    TerminateProcess(process_.hProcess, STILL_ACTIVE);
    finish();
  }
}

HWND RunningProgram::window() const {
  HWND found = nullptr;
  const bool there = Eventually([&] {
    found = FindWindowW(L"TarnwickWindowClass", nullptr);
    DWORD owner = 0;
    return found != nullptr && GetWindowThreadProcessId(found, &owner) != 0 && owner == process_.dwProcessId &&
           IsWindowVisible(found);
  });
  return there ? found : nullptr;
}

ProgramResult RunningProgram::finish() {
  if (process_.hProcess == nullptr) {
    return result_;
  }
  const bool ended = WaitForSingleObject(process_.hProcess, kProgramLimit) == WAIT_OBJECT_0;
  if (!ended) {
    TerminateProcess(process_.hProcess, STILL_ACTIVE);
  }
  GetExitCodeProcess(process_.hProcess, &result_.exitCode);
  for (std::thread& reader : readers_) {
    reader.join();
  }
  CloseHandle(process_.hThread);
  CloseHandle(process_.hProcess);
  process_ = {};
  return result_;
}

ProgramResult RunTarnwick(const std::vector<std::string>& arguments, const std::string& file) {
  return RunningProgram(arguments, file).finish();
}

bool AwaitTitle(HWND window, const std::wstring& title) {
  return Eventually([&] { return textOf(window) == title; });
}

HWND AwaitControl(HWND window, const std::wstring& text) {
  HWND found = nullptr;
  Eventually([&] {
    found = nullptr;
    for (HWND next = GetWindow(window, GW_CHILD); next != nullptr; next = GetWindow(next, GW_HWNDNEXT)) {
      if (textOf(next) == text && IsWindowEnabled(next)) {
        found = next;
      }
    }
    return found != nullptr;
  });
  return found;
}

}  // namespace tarnwick::tests
