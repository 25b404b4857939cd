// The settings file: its lines, links, and places that are no file. files_test.cpp has the order of its writing.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "platform/registry.h"
#include "platform/temporary_folder.h"

namespace tarnwick::platform {
namespace {

namespace fs = std::filesystem;
const RegistryValues kOld = {{L"first", L"1"}, {L"second", L"old text"}};
const RegistryValues kNew = {{L"first", L"2"}, {L"second", L"new text \u00FC"}};

TEST(RegistryFile, CutAnywhereEachValueIsWholeOrAbsent) {
  const TemporaryFolder folder;
  const std::string file = folder.name("settings");
  ASSERT_TRUE(WriteRegistry(folder.wide("settings"), kNew));
  const Bytes whole = ReadBytes(file);
  for (size_t length = 0; length <= whole.size(); ++length) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
    WriteBytes(file, cut);
    RegistryValues expected;
    const auto lines = static_cast<size_t>(std::count(cut.begin(), cut.end(), '\n'));
    expected.insert(kNew.begin(), std::next(kNew.begin(), static_cast<ptrdiff_t>(lines)));
    EXPECT_EQ(ReadRegistry(folder.wide("settings")), expected) << length;
  }
}

TEST(RegistryFile, ALinkStaysAndItsTargetIsWritten) {
  const TemporaryFolder folder;
  fs::create_directory(folder.name("links"));
  fs::create_symlink("../chain", folder.name("links/settings"));
  fs::create_symlink("elsewhere/real", folder.name("chain"));
  for (const RegistryValues& values : {kOld, kNew}) {  // first without a target
    EXPECT_TRUE(WriteRegistry(folder.wide("links/settings"), values));
    EXPECT_TRUE(fs::is_symlink(folder.name("links/settings")) && fs::is_symlink(folder.name("chain")));
    EXPECT_EQ(ReadRegistry(folder.wide("elsewhere/real")), values);
    EXPECT_EQ(ReadRegistry(folder.wide("links/settings")), values);
  }
  fs::create_symlink("circle", folder.name("circle"));
  EXPECT_FALSE(WriteRegistry(folder.wide("circle"), kNew));
}

TEST(RegistryFile, PlacesThatAreNoFileAreLeftAlone) {
  const TemporaryFolder folder;
  fs::create_directory(folder.name("folder"));
  ASSERT_EQ(mkfifo(folder.name("pipe").c_str(), 0600), 0);
  fs::create_symlink("/dev/null", folder.name("device"));
  WriteBytes(folder.name("file"), {});
  for (const char* name : {"folder", "pipe", "device", "file/settings"}) {
    EXPECT_FALSE(WriteRegistry(folder.wide(name), kNew)) << name;
    EXPECT_TRUE(ReadRegistry(folder.wide(name)).empty()) << name;
  }
  EXPECT_TRUE(fs::is_fifo(folder.name("pipe")) && fs::is_character_file("/dev/null"));
  EXPECT_FALSE(WriteRegistry(L"", kNew));
}

TEST(RegistryFile, LinesOfOtherHands) {
  const struct {
    std::string text;
    RegistryValues values;
  } cases[] = {
      {"a=1\r\nb=2\r\n", {{L"a", L"1"}, {L"b", L"2"}}},
      {"\n\nno value\n=nameless\na=\n", {{L"a", L""}}},
      {"a=1\na=2\n", {{L"a", L"2"}}},
      {std::string("z=\0x\na=1\n", 10), {{L"a", L"1"}}},
      {"a=\xFF\xC3\n", {{L"a", L"\uFFFD\uFFFD"}}},
      {"a=1\nb=" + std::string(17 << 20, 'x') + "\nc=3\n", {{L"a", L"1"}}},
  };
  const TemporaryFolder folder;
  for (const auto& c : cases) {
    WriteBytes(folder.name("settings"), Bytes(c.text.begin(), c.text.end()));
    EXPECT_EQ(ReadRegistry(folder.wide("settings")), c.values) << c.text.substr(0, 40);
  }
}

TEST(RegistryFile, WhatNoLineCanHoldIsRefused) {
  const TemporaryFolder folder;
  const std::wstring place = folder.wide("settings");
  const RegistryValues good = {{L"a", L"1"}};
  EXPECT_TRUE(WriteRegistry(place, good));
  EXPECT_EQ(fs::status(folder.name("settings")).permissions(), fs::perms(0600)) << "the user's alone";
  const RegistryValues refused[] = {
      {{L"b", L"two\nlines"}},
      {{L"b", L"two\rlines"}},
      {{L"b=c", L"2"}},
      {{L"b\nc", L"2"}},
      {{L"zero", std::wstring(L"x\0y", 3)}},
      {{L"big", std::wstring(17 << 20, L'x')}},  // more than is read again
  };
  for (const RegistryValues& values : refused) {
    EXPECT_FALSE(WriteRegistry(place, values));
    EXPECT_EQ(ReadRegistry(place), good);
  }
  EXPECT_FALSE(WriteRegistry(place, {{L"a", L"two\nlines"}, {L"b", L"2"}}));
  EXPECT_EQ(ReadRegistry(place), (RegistryValues{{L"a", L"1"}, {L"b", L"2"}})) << "it holds no other up";
}

}  // namespace
}  // namespace tarnwick::platform
