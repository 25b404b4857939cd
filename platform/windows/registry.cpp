#include "platform/registry.h"

#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

constexpr size_t kMostBytes = size_t{16} << 20;
constexpr DWORD kLongestName = 16383;

struct KeyCloser {
  void operator()(HKEY key) const { RegCloseKey(key); }
};
using Key = std::unique_ptr<std::remove_pointer_t<HKEY>, KeyCloser>;

// Up to the first zero; a text need not have one, and another program's need not even fill its last character.
std::wstring textIn(const std::vector<wchar_t>& buffer, DWORD bytes) {
  const std::wstring_view text(buffer.data(), bytes / sizeof(wchar_t));
  return std::wstring(text.substr(0, text.find(L'\0')));
}

bool isWhole(const std::wstring& text) {
  return text.find(L'\0') == std::wstring::npos;
}

}  // namespace

std::wstring DefaultRegistryLocation() {
  return L"Software\\Tarnwick";
}

RegistryValues ReadRegistry(const std::wstring& location) {
  RegistryValues values;
  HKEY raw = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, location.c_str(), 0, KEY_QUERY_VALUE, &raw) != ERROR_SUCCESS) {
    return values;
  }
  const Key key(raw);
  std::vector<wchar_t> name(kLongestName + 1);
  std::vector<wchar_t> text(4096);
  size_t total = 0;
  for (DWORD index = 0;;) {
    auto nameLength = static_cast<DWORD>(name.size());
    auto bytes = static_cast<DWORD>(text.size() * sizeof text[0]);
    DWORD type = 0;
    const LSTATUS status = RegEnumValueW(raw, index, name.data(), &nameLength, nullptr, &type,
                                         reinterpret_cast<BYTE*>(text.data()), &bytes);
    const size_t capacity = text.size() * sizeof text[0];
    if (status == ERROR_MORE_DATA && capacity < kMostBytes && bytes <= kMostBytes) {
      text.resize(text.size() * 2);
      continue;
    }
    if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) {
      return values;  // ERROR_NO_MORE_ITEMS as a rule
    }
    ++index;
    const size_t size = (nameLength * sizeof name[0]) + bytes;
    if (status == ERROR_SUCCESS && type == REG_SZ && nameLength > 0 && size <= kMostBytes - total) {
      total += size;
      values.insert_or_assign(std::wstring(name.data(), nameLength), textIn(text, bytes));
    }
  }
}

bool WriteRegistry(const std::wstring& location, const RegistryValues& values) {
  HKEY raw = nullptr;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, location.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr,
                      &raw, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const Key key(raw);
  bool done = true;
  for (const auto& [name, text] : values) {
    if (name.empty()) {
      continue;
    }
    const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    const bool written = isWhole(name) && isWhole(text) && bytes <= kMostBytes &&
                         RegSetValueExW(raw, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                        static_cast<DWORD>(bytes)) == ERROR_SUCCESS;
    done = done && written;
  }
  return done;
}

}  // namespace tarnwick::platform
