#include "app/windows/start_up.h"

#include <shellapi.h>

#include "platform/paths.h"
#include "platform/text.h"

namespace tarnwick::app {
namespace {

constexpr wchar_t kMutexName[] = L"Local\\Tarnwick.SingleInstance";

}  // namespace

std::vector<std::string> ArgumentsInUtf8() {
  std::vector<std::string> arguments;
  int count = 0;
  wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &count);
  for (int k = 1; words != nullptr && k < count; ++k) {
    arguments.push_back(platform::Utf8FromWide(words[k]));
  }
  LocalFree(words);
  return arguments;
}

SingleInstance::~SingleInstance() {
  if (mutex_ != nullptr) {
    CloseHandle(mutex_);
  }
}

SingleInstance::Claim SingleInstance::claim() {
  mutex_ = CreateMutexW(nullptr, TRUE, kMutexName);
  if (mutex_ == nullptr) {
    return Claim::failed;
  }
  return GetLastError() == ERROR_ALREADY_EXISTS ? Claim::runsAlready : Claim::first;
}

void RaiseRunningInstance() {
  HWND window = FindWindowW(kMainWindowClass, nullptr);
  if (window == nullptr) {
    return;
  }
  ShowWindow(window, IsIconic(window) != 0 ? SW_RESTORE : SW_SHOW);
  SetForegroundWindow(window);
}

void UseDllFolder() {
  const std::wstring program = platform::ExecutableFolder();
  const std::wstring folder = platform::JoinPath(program, L"DLL");
  if (program.empty() || program.size() >= MAX_PATH || !platform::FolderExists(folder)) {
    return;
  }
  HMODULE system = GetModuleHandleW(L"kernel32.dll");
  const auto setDirectories = FunctionOf<BOOL(WINAPI*)(DWORD)>(system, "SetDefaultDllDirectories");
  const auto addDirectory = FunctionOf<void*(WINAPI*)(PCWSTR)>(system, "AddDllDirectory");
  if (setDirectories == nullptr || addDirectory == nullptr) {
    return;
  }
  setDirectories(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS | LOAD_LIBRARY_SEARCH_USER_DIRS);
  addDirectory(folder.c_str());
}

}  // namespace tarnwick::app
