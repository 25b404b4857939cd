#include "platform/power.h"

#include <string>

#include "platform/windows/command_line.h"
#include "platform/windows/handle.h"

namespace tarnwick::platform {
namespace {

// A user without the privilege is told by shutdown.exe, so its outcome does not matter here.
void enableShutdownPrivilege() {
  HANDLE raw = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &raw) == FALSE) {
    return;
  }
  const Handle token(raw);
  TOKEN_PRIVILEGES privileges{};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (LookupPrivilegeValueW(nullptr, SE_SHUTDOWN_NAME, &privileges.Privileges[0].Luid) != FALSE) {
    AdjustTokenPrivileges(token.get(), FALSE, &privileges, 0, nullptr, nullptr);
  }
}

bool runShutdown(wchar_t action) {
  enableShutdownPrivilege();
  wchar_t folder[MAX_PATH];
  const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) {
    return false;
  }
  std::wstring line = ShutdownCommandLine(folder, action);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                     &process) == FALSE) {
    return false;
  }
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return true;
}

}  // namespace

Power SystemPower() {
  return {[] { return runShutdown(L'r'); }, [] { return runShutdown(L's'); }};
}

}  // namespace tarnwick::platform
