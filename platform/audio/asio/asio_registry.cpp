#include "platform/audio/asio/asio_registry.h"

#include <objbase.h>

#include <optional>

#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {
namespace {

class Key {
 public:
  Key(HKEY parent, const std::wstring& path) {
    if (RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &key_) != ERROR_SUCCESS) {
      key_ = nullptr;
    }
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() {
    if (key_ != nullptr) {
      RegCloseKey(key_);
    }
  }
  HKEY get() const { return key_; }

  // A text value with its variables replaced (a null name: the key's own value); none when absent, empty or no text.
  std::optional<std::wstring> text(const wchar_t* name) const {
    std::wstring value(256, L'\0');
    for (;;) {
      auto bytes = static_cast<DWORD>(value.size() * sizeof(wchar_t));
      const LSTATUS status = RegGetValueW(key_, nullptr, name, RRF_RT_REG_SZ, nullptr, value.data(), &bytes);
      if (status == ERROR_MORE_DATA && value.size() < (1U << 16)) {
        value.resize(value.size() * 2);
        continue;
      }
      if (status != ERROR_SUCCESS) {
        return std::nullopt;
      }
      value.resize(wcsnlen(value.c_str(), value.size()));
      return value.empty() ? std::nullopt : std::optional(value);
    }
  }

  // Name of subkey `index`; none after the last.
  std::optional<std::wstring> subkey(DWORD index) const {
    wchar_t name[256];
    DWORD length = 256;
    if (RegEnumKeyExW(key_, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
      return std::nullopt;
    }
    return std::wstring(name, length);
  }

 private:
  HKEY key_ = nullptr;
};

// Full path of a module that is there: given with or without quotes, or as a bare name that the system would look up.
std::optional<std::wstring> existingModule(std::wstring module) {
  if (module.size() >= 2 && module.front() == L'"' && module.back() == L'"') {
    module = module.substr(1, module.size() - 2);
  }
  std::wstring path(32768, L'\0');
  const DWORD length =
      SearchPathW(nullptr, module.c_str(), L".dll", static_cast<DWORD>(path.size()), path.data(), nullptr);
  if (length == 0 || length >= path.size()) {
    return std::nullopt;
  }
  path.resize(length);
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return std::nullopt;
  }
  return path;
}

std::optional<AsioEntry> readEntry(const Key& drivers, const std::wstring& subkey) {
  const Key key(drivers.get(), subkey);
  if (key.get() == nullptr) {
    return std::nullopt;
  }
  AsioEntry entry;
  const auto classText = key.text(L"clsid");
  if (!classText || CLSIDFromString(classText->c_str(), &entry.classId) != NOERROR) {
    return std::nullopt;
  }
  wchar_t braced[64];
  if (StringFromGUID2(entry.classId, braced, 64) == 0) {
    return std::nullopt;
  }
  const Key server(HKEY_CLASSES_ROOT, L"clsid\\" + std::wstring(braced) + L"\\InprocServer32");
  const auto module = server.get() != nullptr ? server.text(nullptr) : std::nullopt;
  const auto path = module ? existingModule(*module) : std::nullopt;
  if (!path) {
    return std::nullopt;
  }
  entry.module = *path;
  entry.name = key.text(L"description").value_or(subkey);
  return entry;
}

}  // namespace

std::vector<AsioEntry> InstalledAsioDrivers() {
  std::vector<AsioEntry> entries;
  std::vector<std::wstring> names;
  const Key drivers(HKEY_LOCAL_MACHINE, L"software\\asio");
  if (drivers.get() == nullptr) {
    return entries;
  }
  for (DWORD index = 0; entries.size() < kMaximumDrivers; ++index) {
    const auto subkey = drivers.subkey(index);
    if (!subkey) {
      break;
    }
    if (auto entry = readEntry(drivers, *subkey)) {
      entry->name = DistinctDriverName(entry->name, names);
      names.push_back(entry->name);
      entries.push_back(std::move(*entry));
    }
  }
  return entries;
}

}  // namespace tarnwick::platform
