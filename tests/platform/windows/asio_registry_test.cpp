// What the list of installed drivers is made of.
#include "platform/windows/asio_registry.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/audio_driver.h"
#include "support/windows/test_asio_rig.h"

namespace tarnwick::platform {
namespace {

using tests::TestAsioRig;

// Keys of one test, under names that sort behind everything else, removed at its end.
class Keys {
 public:
  Keys() = default;
  Keys(const Keys&) = delete;
  Keys& operator=(const Keys&) = delete;
  ~Keys() {
    for (const std::wstring& path : paths_) {
      RegDeleteTreeW(HKEY_LOCAL_MACHINE, path.c_str());
    }
  }
  void set(const std::wstring& path, const wchar_t* name, const std::wstring& value, DWORD type = REG_SZ) {
    EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, type, value.c_str(),
                              static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
    paths_.push_back(path);
  }
  void driver(const std::wstring& key, const std::wstring& classText, const std::wstring& description) {
    const std::wstring path = L"Software\\ASIO\\" + key;
    set(path, L"Unused", L"");
    if (!classText.empty()) {
      set(path, L"CLSID", classText);
    }
    if (!description.empty()) {
      set(path, L"Description", description);
    }
  }
  void module(const std::wstring& classId, const std::wstring& file, DWORD type = REG_SZ) {
    set(L"Software\\Classes\\CLSID\\" + classId + L"\\InprocServer32", nullptr, file, type);
    paths_.push_back(L"Software\\Classes\\CLSID\\" + classId);
  }

 private:
  std::vector<std::wstring> paths_;
};

constexpr wchar_t kOwnClass[] = L"{5B1E3C52-6B0D-4B7C-9C44-0E6B2A9C7AF0}";

std::wstring folderOf(const std::wstring& file) {
  return file.substr(0, file.rfind(L'\\'));
}

TEST(AsioRegistry, ListsWhatCanBeLoaded) {
  const TestAsioRig rig;
  const std::wstring own = kOwnClass;
  const std::wstring lower = L"{5b1e3c52-6b0d-4b7c-9c44-0e6b2a9c7af0}";
  SetEnvironmentVariableW(L"TARNWICK_ASIO_FOLDER", folderOf(rig.file).c_str());
  const std::wstring long32 = L"Thirty-two characters of a name.";
  struct Case {
    const char* what;
    std::wstring classText;
    std::wstring description;
    std::wstring module;  // "-": no class at all
    DWORD type;
    std::wstring listed;  // empty: not listed
  };
  const Case cases[] = {
      {"description", own, L"Shown", rig.file, REG_SZ, L"Shown"},
      {"key's name", own, L"", rig.file, REG_SZ, L"zz case"},
      {"other case", lower, L"Lower", rig.file, REG_SZ, L"Lower"},
      {"name just fits", own, long32, rig.file, REG_SZ, long32},
      {"name too long", own, long32 + L"!", rig.file, REG_SZ, long32},
      {"name cut at a pair", own, L"Thirty-one characters of a name\U0001F3B5x", rig.file, REG_SZ,
       L"Thirty-one characters of a name"},
      {"variable in path", own, L"Expanded", L"%TARNWICK_ASIO_FOLDER%\\tarnwick_test_asio.dll", REG_EXPAND_SZ,
       L"Expanded"},
      {"quoted path", own, L"Quoted", L"\"" + rig.file + L"\"", REG_SZ, L"Quoted"},
      {"bare name", own, L"Bare", L"kernel32.dll", REG_SZ, L"Bare"},
      {"no identifier", L"", L"Shown", rig.file, REG_SZ, L""},
      {"no valid identifier", L"{5B1E3C52-6B0D}", L"Shown", rig.file, REG_SZ, L""},
      {"class not known", own, L"Shown", L"-", REG_SZ, L""},
      {"module empty", own, L"Shown", L"", REG_SZ, L""},
      {"module missing", own, L"Shown", L"C:\\no such folder\\driver.dll", REG_SZ, L""},
      {"module is a folder", own, L"Shown", folderOf(rig.file), REG_SZ, L""},
  };
  const size_t before = InstalledAsioDrivers().size();
  for (const Case& one : cases) {
    SCOPED_TRACE(one.what);
    Keys keys;
    keys.driver(L"zz case", one.classText, one.description);
    if (one.module != L"-") {
      keys.module(own, one.module, one.type);
    }
    const std::vector<AsioEntry> entries = InstalledAsioDrivers();
    ASSERT_EQ(entries.size(), before + (one.listed.empty() ? 0 : 1));
    if (!one.listed.empty()) {
      EXPECT_EQ(entries.back().name, one.listed);
      GUID expected;
      ASSERT_EQ(CLSIDFromString(kOwnClass, &expected), NOERROR);
      EXPECT_TRUE(IsEqualGUID(entries.back().classId, expected));
      EXPECT_NE(GetFileAttributesW(entries.back().module.c_str()), INVALID_FILE_ATTRIBUTES);
    }
  }
}

TEST(AsioRegistry, EndsAt64AndDoesNotCountWhatIsLeftOut) {
  const TestAsioRig rig;
  Keys keys;
  keys.module(kOwnClass, rig.file);
  for (int k = 0; k < 40; ++k) {
    keys.driver(L"a broken " + std::to_wstring(k), L"", L"");
    keys.driver(L"b good " + std::to_wstring(100 + k), kOwnClass, L"");
    keys.driver(L"c good " + std::to_wstring(100 + k), kOwnClass, L"");
  }
  const std::vector<AsioEntry> entries = InstalledAsioDrivers();
  ASSERT_EQ(entries.size(), kMaximumDrivers);
  EXPECT_EQ(std::count_if(entries.begin(), entries.end(),
                          [](const AsioEntry& entry) { return entry.name.starts_with(L"b good"); }),
            40);
}

TEST(AsioRegistry, IsEmptyWithoutTheKey) {
  // Other drivers of the machine stay out of reach for a moment.
  HKEY empty = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\TarnwickAsioTest", 0, nullptr, REG_OPTION_VOLATILE,
                            KEY_ALL_ACCESS, nullptr, &empty, nullptr),
            ERROR_SUCCESS);
  ASSERT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, empty), ERROR_SUCCESS);
  const std::vector<AsioEntry> entries = InstalledAsioDrivers();
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  RegCloseKey(empty);
  RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\TarnwickAsioTest");
  EXPECT_TRUE(entries.empty());
}

}  // namespace
}  // namespace tarnwick::platform
