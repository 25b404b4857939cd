// The settings file when things go wrong. The linker leads this program's writing calls to the functions below, which
// note them and let one of them fail.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "platform/registry.h"
#include "platform/temporary_folder.h"

namespace {

struct Disk {
  std::vector<std::string> steps;
  size_t failing = SIZE_MAX;  // the step that fails
  bool refuses(const char* step, int64_t size = 0) {
    steps.push_back(size > 0 ? step + std::to_string(size) : step);
    return steps.size() - 1 == failing;
  }
};
thread_local Disk* disk = nullptr;

int refuse() {
  errno = ENOSPC;
  return -1;
}

}  // namespace

extern "C" {
ssize_t __real_write(int file, const void* bytes, size_t size);
int __real_fsync(int file);
int __real_rename(const char* from, const char* to);

// In pieces, as a disk that is nearly full may take them.
ssize_t __wrap_write(int file, const void* bytes, size_t size) {
  if (disk == nullptr) {
    return __real_write(file, bytes, size);
  }
  return disk->refuses("write") ? refuse() : __real_write(file, bytes, std::min<size_t>(size, 20));
}
int __wrap_fsync(int file) {
  struct stat status {};
  fstat(file, &status);
  const bool folder = S_ISDIR(status.st_mode);
  return disk != nullptr && disk->refuses(folder ? "sync folder" : "sync file", folder ? 0 : status.st_size)
             ? refuse()
             : __real_fsync(file);
}
int __wrap_rename(const char* from, const char* to) {
  return disk != nullptr && disk->refuses("rename") ? refuse() : __real_rename(from, to);
}
}

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

TEST(RegistryFile, AFailureAtAnyStepLeavesTheOldOneAndNoRest) {
  const TemporaryFolder folder;
  const std::wstring place = folder.wide("settings");
  WriteBytes(folder.name("settings"), {});
  fs::permissions(folder.name("settings"), fs::perms(0644));
  WriteBytes(folder.name("settings.AbCdEf"), {'f', 'i', 'r', 's', 't', '=', '9'});  // an earlier power cut's
  for (size_t failing = 0;; ++failing) {
    ASSERT_TRUE(WriteRegistry(place, kOld));
    Disk watched{{}, failing};
    disk = &watched;
    const bool written = WriteRegistry(place, kNew);
    disk = nullptr;
    if (written) {
      // What order a power cut must find: contents on the disk before the name, the name before the answer.
      EXPECT_THAT(watched.steps, testing::ElementsAre("write", "write", "sync file27", "rename", "sync folder"));
      EXPECT_EQ(failing, watched.steps.size());
      EXPECT_EQ(ReadRegistry(place), kNew);
      EXPECT_EQ(fs::status(folder.name("settings")).permissions(), fs::perms(0600)) << "the user's alone";
      break;
    }
    EXPECT_EQ(ReadRegistry(place), watched.steps.back() == "sync folder" ? kNew : kOld) << watched.steps.back();
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.name("")), {}), 2) << watched.steps.back();
  }
}

TEST(RegistryFile, NewFoldersReachTheDiskToo) {
  const TemporaryFolder folder;
  Disk watched;
  disk = &watched;
  EXPECT_TRUE(WriteRegistry(folder.wide("a/b/settings"), {{L"x", L"y"}}));
  disk = nullptr;
  EXPECT_THAT(watched.steps,
              testing::ElementsAre("sync folder", "sync folder", "write", "sync file4", "rename", "sync folder"));
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
