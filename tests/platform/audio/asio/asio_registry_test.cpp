// The list of installed drivers, from the registry's entries.
#include "platform/audio/asio/asio_registry.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/audio/audio_driver.h"
#include "support/windows/test_asio_rig.h"

namespace tarnwick::platform {
namespace {

constexpr wchar_t kClass[] = L"{5B1E3C52-6B0D-4B7C-9C44-0E6B2A9C7AF0}";
const std::wstring kClassKey = L"Software\\Classes\\CLSID\\" + std::wstring(kClass);

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
  void driver(const std::wstring& key, const std::wstring& classText, const std::wstring& description) {
    set(L"Software\\ASIO\\" + key, L"CLSID", classText);
    set(L"Software\\ASIO\\" + key, L"Description", description);
  }
  void module(const std::wstring& file, DWORD type = REG_SZ) {
    set(kClassKey + L"\\InprocServer32", nullptr, file, type);
    paths_.push_back(kClassKey);
  }

 private:
  // Makes the key; an empty value is left out.
  void set(const std::wstring& path, const wchar_t* name, const std::wstring& value, DWORD type = REG_SZ) {
    EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), value.empty() ? L"Unused" : name, type, value.c_str(),
                              static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
    paths_.push_back(path);
  }
  std::vector<std::wstring> paths_;
};

TEST(AsioRegistry, ListsWhatCanBeLoaded) {
  const tests::TestAsioRig rig;
  const std::wstring folder = rig.file.substr(0, rig.file.rfind(L'\\'));
  SetEnvironmentVariableW(L"TARNWICK_ASIO_FOLDER", folder.c_str());
  const std::wstring long32 = L"Thirty-two characters of a name.";
  struct Case {
    const char* what;
    std::wstring classText;
    std::wstring description;
    std::wstring module;  // empty: no class at all
    DWORD type;
    std::wstring listed;  // empty: not listed
  };
  const Case cases[] = {
      {"key's name", kClass, L"", rig.file, REG_SZ, L"zz case"},
      {"name too long", kClass, long32 + L"!", rig.file, REG_SZ, long32},
      {"name cut at a pair", kClass, L"Thirty-one characters of a name\U0001F3B5x", rig.file, REG_SZ,
       L"Thirty-one characters of a name"},
      {"variable in path", kClass, L"Expanded", L"%TARNWICK_ASIO_FOLDER%\\tarnwick_test_asio.dll", REG_EXPAND_SZ,
       L"Expanded"},
      {"quoted path", kClass, L"Quoted", L"\"" + rig.file + L"\"", REG_SZ, L"Quoted"},
      {"bare name", kClass, L"Bare", L"kernel32.dll", REG_SZ, L"Bare"},
      {"no identifier", L"", L"Shown", rig.file, REG_SZ, L""},
      {"no valid identifier", L"{5B1E3C52-6B0D}", L"Shown", rig.file, REG_SZ, L""},
      {"class not known", kClass, L"Shown", L"", REG_SZ, L""},
      {"module missing", kClass, L"Shown", L"C:\\no such folder\\driver.dll", REG_SZ, L""},
      {"module is a folder", kClass, L"Shown", folder, REG_SZ, L""},
  };
  const size_t before = InstalledAsioDrivers().size();
  for (const Case& one : cases) {
    SCOPED_TRACE(one.what);
    Keys keys;
    keys.driver(L"zz case", one.classText, one.description);
    if (!one.module.empty()) {
      keys.module(one.module, one.type);
    }
    const std::vector<AsioEntry> entries = InstalledAsioDrivers();
    ASSERT_EQ(entries.size(), before + (one.listed.empty() ? 0 : 1));
    if (!one.listed.empty()) {
      EXPECT_EQ(entries.back().name, one.listed);
      GUID expected;
      ASSERT_EQ(CLSIDFromString(kClass, &expected), NOERROR);
      EXPECT_TRUE(IsEqualGUID(entries.back().classId, expected));
      EXPECT_NE(GetFileAttributesW(entries.back().module.c_str()), INVALID_FILE_ATTRIBUTES);
    }
  }
}

TEST(AsioRegistry, EqualNamesAreNumbered) {
  const tests::TestAsioRig rig;
  Keys keys;
  keys.module(rig.file);
  const std::wstring name = L"Thirty-two characters of a name.";
  keys.driver(L"zz 1", kClass, name);
  keys.driver(L"zz 2", kClass, L"THIRTY-TWO characters of a name.");
  keys.driver(L"zz 3", kClass, name + L"!");
  const std::vector<AsioEntry> entries = InstalledAsioDrivers();
  ASSERT_GE(entries.size(), 3u);
  EXPECT_EQ(entries[entries.size() - 3].name, name);
  EXPECT_EQ(entries[entries.size() - 2].name, L"THIRTY-TWO characters of a n (2)");
  EXPECT_EQ(entries[entries.size() - 1].name, L"Thirty-two characters of a n (3)");
}

TEST(AsioRegistry, EndsAt64AndDoesNotCountWhatIsLeftOut) {
  const tests::TestAsioRig rig;
  Keys keys;
  keys.module(rig.file);
  for (int k = 0; k < 40; ++k) {
    keys.driver(L"a broken " + std::to_wstring(k), L"", L"");
    keys.driver(L"b good " + std::to_wstring(k), kClass, L"");
    keys.driver(L"c good " + std::to_wstring(k), kClass, L"");
  }
  const std::vector<AsioEntry> entries = InstalledAsioDrivers();
  ASSERT_EQ(entries.size(), kMaximumDrivers);
  EXPECT_EQ(std::count_if(entries.begin(), entries.end(),
                          [](const AsioEntry& entry) { return entry.name.starts_with(L"b good"); }),
            40);
}

}  // namespace
}  // namespace tarnwick::platform
