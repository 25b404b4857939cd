#include "platform/service_rig.h"

#include <gtest/gtest.h>
#include <objbase.h>
#include <shellapi.h>
#include <shlobj.h>

#include <filesystem>

#include "platform/text.h"
#include "platform/threads.h"
#include "platform/windows/command_line.h"
#include "platform/windows/own_program.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

HANDLE inheritable = nullptr;
uint64_t maskBefore = 0;
constexpr char kInheritable[] = "TARNWICK_TEST_INHERITABLE";

std::string state(DWORD priority, uint64_t processors, bool inherited) {
  return "class " + std::to_string(priority) + ", processors " + std::to_string(processors) + ", inherited " +
         std::to_string(inherited);
}

// Whether the parent's handle means the same event here.
bool hasInherited() {
  char text[32] = {};
  GetEnvironmentVariableA(kInheritable, text, sizeof text);
  const auto handle = reinterpret_cast<HANDLE>(static_cast<intptr_t>(std::atoll(text)));
  return handle != nullptr && SetEvent(handle) != FALSE;
}

std::wstring startupFolder() {
  wchar_t folder[MAX_PATH] = {};
  GetEnvironmentVariableW(L"APPDATA", folder, MAX_PATH);
  return std::wstring(folder) + L"\\Microsoft\\Windows\\Start Menu\\Programs\\Startup";
}

}  // namespace

std::vector<std::string> OwnArguments(int, char**) {
  int count = 0;
  wchar_t** texts = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int k = 1; k < count; ++k) {
    arguments.push_back(Utf8FromWide(texts[k]));
  }
  LocalFree(texts);
  return arguments;
}

std::string ProcessState() {
  DWORD_PTR mask = 0;
  DWORD_PTR system = 0;
  GetProcessAffinityMask(GetCurrentProcess(), &mask, &system);
  return state(GetPriorityClass(GetCurrentProcess()), mask, hasInherited());
}

std::string OrdinaryState() {
  return state(NORMAL_PRIORITY_CLASS, SystemAffinityMask(), false);
}

void BurdenThread() {
  maskBefore = SystemAffinityMask();
  SetProcessAffinityMask(GetCurrentProcess(), maskBefore & (~maskBefore + 1));
  SetPriorityClass(GetCurrentProcess(), HIGH_PRIORITY_CLASS);
  SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, TRUE};
  inheritable = CreateEventW(&attributes, TRUE, FALSE, nullptr);
  SetEnvironmentVariableA(kInheritable, std::to_string(reinterpret_cast<intptr_t>(inheritable)).c_str());
}

void RelieveThread() {
  SetProcessAffinityMask(GetCurrentProcess(), maskBefore);
  SetPriorityClass(GetCurrentProcess(), NORMAL_PRIORITY_CLASS);
  EXPECT_EQ(WaitForSingleObject(inheritable, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "set by the child";
  CloseHandle(inheritable);
  SetEnvironmentVariableA(kInheritable, nullptr);
}

bool StartBeside(const std::vector<std::string>& arguments) {
  std::vector<std::wstring> wide;
  for (const std::string& argument : arguments) {
    wide.push_back(WideFromUtf8(argument));
  }
  std::wstring line = CommandLineOf(OwnExecutable(), wide);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION process{};
  return CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process) != FALSE;
}

bool HasChildren() {
  return false;
}

std::wstring NewRegistryPlace() {
  return L"Software\\TarnwickTest" + std::to_wstring(GetCurrentProcessId()) + L"\\Values";
}

void RemoveRegistryPlace(const std::wstring& place) {
  RegDeleteTreeW(HKEY_CURRENT_USER, place.substr(0, place.rfind(L'\\')).c_str());
}

void SetStartupFolder(const std::wstring& folder) {
  SetEnvironmentVariableW(L"APPDATA", folder.c_str());
  std::error_code failure;
  std::filesystem::create_directories(startupFolder(), failure);
}

std::wstring StartupTarget() {
  wchar_t target[MAX_PATH] = {};
  IShellLinkW* link = nullptr;
  IPersistFile* file = nullptr;
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                 reinterpret_cast<void**>(&link))) &&
      SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file)))) {
    if (SUCCEEDED(file->Load((startupFolder() + L"\\Tarnwick.lnk").c_str(), STGM_READ))) {
      link->GetPath(target, MAX_PATH, nullptr, 0);
    }
    file->Release();
  }
  if (link != nullptr) {
    link->Release();
  }
  CoUninitialize();
  return target;
}

}  // namespace tarnwick::platform
