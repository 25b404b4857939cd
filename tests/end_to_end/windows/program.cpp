#include "program.h"

#include <algorithm>

#include "platform/text.h"
#include "support/eventually.h"

namespace tarnwick::tests {
namespace {

bool has(const Arguments& arguments, const char* option) {
  return std::find(arguments.begin(), arguments.end(), option) != arguments.end();
}

std::wstring textOf(HWND window) {
  wchar_t text[256] = {};
  // By message: the text of another process's control is not to be had otherwise.
  DWORD_PTR length = 0;
  SendMessageTimeoutW(window, WM_GETTEXT, 256, reinterpret_cast<LPARAM>(text), SMTO_ABORTIFHUNG, 1000, &length);
  return text;
}

}  // namespace

RunningProgram::RunningProgram(const Arguments& arguments, const std::string& file) {
  // Under Wine the first process that asks for the desktop starts the one that keeps it, which holds on to that
  // process's output for as long as anybody uses the desktop. That must not be the program: its pipes would stay open.
  GetDesktopWindow();
  std::string command = "\"" + file + "\"";
  for (const std::string& argument : arguments) {
    command += " \"" + argument + "\"";
  }
  if (!has(arguments, "--settings")) {
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\TarnwickTest");  // not the user's own
    command += " --settings Software\\TarnwickTest";
  }
  command += has(arguments, "--remote-port") ? "" : " --remote-port 0";
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = readLater(0, result_.out);
  start.hStdError = readLater(1, result_.err);
  EXPECT_TRUE(CreateProcessW(nullptr, platform::WideFromUtf8(command).data(), nullptr, nullptr, TRUE, 0, nullptr,
                             nullptr, &start, &process_));
  CloseHandle(start.hStdOutput);
  CloseHandle(start.hStdError);
}

RunningProgram::~RunningProgram() {
  if (process_.hProcess != nullptr) {
    TerminateProcess(process_.hProcess, STILL_ACTIVE);
    finish();
  }
}

HANDLE RunningProgram::readLater(size_t reader, std::string& text) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  HANDLE reading = nullptr;
  HANDLE writing = nullptr;
  EXPECT_TRUE(CreatePipe(&reading, &writing, &inherited, 0));
  SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);
  readers_[reader] = std::thread([reading, &text] {
    char buffer[4096];
    DWORD read = 0;
    while (ReadFile(reading, buffer, sizeof buffer, &read, nullptr) && read > 0) {
      text.append(buffer, read);
    }
    CloseHandle(reading);
  });
  return writing;
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
  // Far more than anything here needs on an idle machine: a machine that is not idle fails no test.
  if (WaitForSingleObject(process_.hProcess, 90000) != WAIT_OBJECT_0) {
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

std::string RunningProgram::close() {
  PostMessageW(window(), WM_CLOSE, 0, 0);
  EXPECT_EQ(finish().exitCode, 0u);
  return result_.out;
}

ProgramResult RunTarnwick(const Arguments& arguments, const std::string& file) {
  return RunningProgram(arguments, file).finish();
}

bool AwaitTitle(HWND window, const std::wstring& state) {
  return Eventually([&] { return textOf(window) == L"Tarnwick - " + state; });
}

HWND AwaitControl(HWND window, const std::wstring& text) {
  HWND found = nullptr;
  Eventually([&] {
    for (HWND next = GetWindow(window, GW_CHILD); next != nullptr; next = GetWindow(next, GW_HWNDNEXT)) {
      found = textOf(next) == text && IsWindowEnabled(next) ? next : found;
    }
    return found != nullptr;
  });
  return found;
}

}  // namespace tarnwick::tests
