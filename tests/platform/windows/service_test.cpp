// Features of this system's services alone: kinds of registry values, command lines.
#include <gtest/gtest.h>

#include "platform/registry.h"
#include "platform/service_rig.h"
#include "platform/windows/command_line.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

TEST(RegistryKey, OnlyTextsAreRead) {
  const std::wstring place = NewRegistryPlace();
  ASSERT_TRUE(WriteRegistry(place, {{L"text", L"x"}}));
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, place.c_str(), 0, KEY_SET_VALUE | KEY_QUERY_VALUE, &key), ERROR_SUCCESS);
  const auto set = [key](const wchar_t* name, DWORD type, const void* bytes, DWORD size) {
    EXPECT_EQ(RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(bytes), size), ERROR_SUCCESS);
  };
  const DWORD number = 7;
  const std::wstring big(9 << 20, L'b');
  set(L"number", REG_DWORD, &number, sizeof number);
  set(L"several", REG_MULTI_SZ, L"a\0b\0", 10);
  set(nullptr, REG_SZ, L"nameless", 18);
  set(L"bare", REG_SZ, L"bare", 8);  // without its zero
  set(L"odd", REG_SZ, L"odd", 7);
  set(L"early", REG_SZ, L"ab\0cd", 12);
  set(L"big", REG_SZ, big.c_str(), static_cast<DWORD>(big.size() * sizeof(wchar_t)));  // beyond the limit
  set(L"z", REG_SZ, L"last", 10);
  EXPECT_EQ(
      ReadRegistry(place),
      (RegistryValues{{L"text", L"x"}, {L"bare", L"bare"}, {L"odd", L"odd"}, {L"early", L"ab"}, {L"z", L"last"}}));
  DWORD type = 0;
  DWORD size = 0;
  EXPECT_EQ(RegQueryValueExW(key, L"text", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(type, DWORD{REG_SZ});
  EXPECT_EQ(size, 4u) << "with its zero";
  RegCloseKey(key);
  RemoveRegistryPlace(place);
  EXPECT_FALSE(WriteRegistry(std::wstring(300, L'k'), {}));
}

TEST(CommandLine, TheMachineIsRestartedAndShutDownBy) {
  EXPECT_EQ(ShutdownCommandLine(L"C:\\Windows\\System 32", L'r'),
            L"\"C:\\Windows\\System 32\\shutdown.exe\" /r /f /t 0");
}

}  // namespace
}  // namespace tarnwick::platform
