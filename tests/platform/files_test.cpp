// Files read, replaced and set aside, also when a call of the system fails: the class below stands between the rules
// and the system, notes the calls and lets one of them fail.
#include "platform/files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/paths.h"
#include "platform/temporary_folder.h"

namespace tarnwick::platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class WatchedCalls : public FileCalls {
 public:
  explicit WatchedCalls(size_t failing = SIZE_MAX) : failing_(failing) {}

  std::wstring resolve(const std::wstring& path) override { return system_.resolve(path); }
  FileKind kindOf(const std::wstring& path) override { return system_.kindOf(path); }
  FileKind kindOf(FileHandle file) override { return system_.kindOf(file); }
  FileHandle open(const std::wstring& path, FileUse use) override {
    const bool refused = use == FileUse::privateNew && refuses("new");
    return refused ? kNoFile : system_.open(path, use);
  }
  int64_t read(FileHandle file, char* to, size_t size) override {
    return refuses("read") ? -1 : system_.read(file, to, size);
  }
  // In pieces, as a disk that is nearly full may take them.
  int64_t write(FileHandle file, const char* from, size_t size) override {
    return refuses("write") ? -1 : system_.write(file, from, std::min<size_t>(size, 5));
  }
  bool seek(FileHandle file, uint64_t position) override { return system_.seek(file, position); }
  bool truncate(FileHandle file, uint64_t size) override { return system_.truncate(file, size); }
  bool sync(FileHandle file) override { return !refuses("sync") && system_.sync(file); }
  void close(FileHandle file) override {
    steps.push_back("close");
    system_.close(file);
  }
  bool rename(const std::wstring& from, const std::wstring& to) override {
    return !refuses("rename") && system_.rename(from, to);
  }
  bool remove(const std::wstring& path) override { return system_.remove(path); }
  bool makeFolder(const std::wstring& path) override { return !refuses("folder") && system_.makeFolder(path); }
  bool syncFolder(const std::wstring& path) override { return !refuses("sync folder") && system_.syncFolder(path); }
  std::wstring reason() override { return L"the disk is full."; }

  bool hasFailed() const { return count_ > failing_; }
  std::vector<std::string> steps;

 private:
  bool refuses(const char* step) {
    steps.push_back(step);
    return count_++ == failing_;
  }
  FileCalls& system_ = SystemFileCalls();
  size_t failing_;
  size_t count_ = 0;
};

class Files : public testing::Test {
 protected:
  Files() { WriteBytes(folder.name("file.txt"), {'o', 'l', 'd'}); }
  std::string contents(const char* name) const {
    const Bytes bytes = ReadBytes(folder.name(name));
    return std::string(bytes.begin(), bytes.end());
  }
  ptrdiff_t entries() const { return std::distance(std::filesystem::directory_iterator(folder.name("")), {}); }

  const TemporaryFolder folder;
  const std::wstring file = folder.wide("file.txt");
  std::wstring error;
};

TEST_F(Files, AreReadUpToALimit) {
  std::filesystem::create_directory(folder.name("folder"));
  const struct {
    const char* name;
    size_t limit;
    FileRead result;
    const char* bytes;
  } cases[] = {
      {"file.txt", 3, FileRead::whole, "old"}, {"file.txt", 2, FileRead::cut, "ol"},
      {"file.txt", 0, FileRead::cut, ""},      {"nothing", 3, FileRead::missing, ""},
      {"no/folder", 3, FileRead::missing, ""}, {"folder", 3, FileRead::failed, ""},
  };
  for (const auto& c : cases) {
    error.clear();
    const FileContents read = ReadWholeFile(folder.wide(c.name), c.limit, &error);
    EXPECT_EQ(read.result, c.result) << c.name << c.limit;
    EXPECT_EQ(read.bytes, c.bytes) << c.name << c.limit;
    const bool failed = c.result == FileRead::missing || c.result == FileRead::failed;
    EXPECT_EQ(error.find(folder.wide(c.name)) != std::wstring::npos, failed) << Utf8FromWide(error);
  }
}

// A power cut must find the contents on the disk before the name, and the name before the answer.
TEST_F(Files, AreReplacedInAnOrderThatAPowerCutMayBreakOff) {
  for (size_t failing = 0;; ++failing) {
    ASSERT_TRUE(ReplaceFileContents(file, "old"));
    WatchedCalls calls(failing);
    if (ReplaceFileContents(file, "new text", &error, calls)) {
      EXPECT_THAT(calls.steps, ElementsAre("new", "write", "write", "sync", "close", "rename", "sync folder"));
      EXPECT_EQ(contents("file.txt"), "new text");
      EXPECT_EQ(failing, 6u);
      break;
    }
    EXPECT_EQ(contents("file.txt"), calls.steps.back() == "sync folder" ? "new text" : "old") << failing;
    EXPECT_EQ(entries(), 1) << failing;
    EXPECT_THAT(Utf8FromWide(error), HasSubstr(Utf8FromWide(L"\"" + file + L"\" cannot be"))) << failing;
    EXPECT_TRUE(error.ends_with(L": the disk is full.")) << Utf8FromWide(error);
  }
}

TEST_F(Files, ReachTheDiskWithTheirNewFolders) {
  const std::wstring deep = JoinPath(JoinPath(folder.wide("a"), L"b"), L"settings");
  WatchedCalls calls;
  EXPECT_TRUE(ReplaceFileContents(deep, "x", nullptr, calls));
  EXPECT_THAT(calls.steps, ElementsAre("folder", "sync folder", "folder", "sync folder", "new", "write", "sync",
                                       "close", "rename", "sync folder"));
  EXPECT_EQ(ReadWholeFile(deep, 9).bytes, "x");
  for (const size_t failing : {0, 1, 2, 3}) {
    std::filesystem::remove_all(folder.name("a"));
    WatchedCalls refused(failing);
    EXPECT_FALSE(ReplaceFileContents(deep, "x", &error, refused));
    EXPECT_TRUE(error.ends_with(L"cannot be made as a folder: the disk is full.")) << Utf8FromWide(error);
  }
}

TEST_F(Files, AreNotWrittenWhereThereIsSomethingElse) {
  std::filesystem::create_directory(folder.name("folder"));
  for (const std::wstring& place : {folder.wide("folder"), JoinPath(file, L"below"), std::wstring()}) {
    EXPECT_FALSE(ReplaceFileContents(place, "new", &error)) << Utf8FromWide(place);
    EXPECT_FALSE(error.empty());
  }
  EXPECT_FALSE(MakeFolder(file, &error));
  EXPECT_EQ(contents("file.txt"), "old");
  EXPECT_TRUE(MakeFolder(folder.wide("folder"))) << "it is there already";
}

TEST_F(Files, AreKeptAsADatedCopyWhenTheyCannotBeUsed) {
  const LocalTime now = {2026, 1, 31, 23, 5, 9, 0};
  for (size_t failing = 0;; ++failing) {
    WatchedCalls calls(failing);
    const std::wstring copy = KeepCorruptCopy(file, now, &error, calls);
    if (!calls.hasFailed()) {
      EXPECT_EQ(copy, SystemFileCalls().resolve(folder.wide("file.corrupt.20260131-230509.txt")));
      EXPECT_THAT(calls.steps, ElementsAre("new", "read", "write", "read", "sync", "close", "sync folder", "close"));
      break;
    }
    EXPECT_EQ(entries(), copy.empty() ? 1 : 2) << failing;
    std::filesystem::remove(folder.name("file.corrupt.20260131-230509.txt"));
  }
  EXPECT_EQ(contents("file.corrupt.20260131-230509.txt"), "old");
  ASSERT_TRUE(ReplaceFileContents(file, "worse"));
  EXPECT_FALSE(KeepCorruptCopy(file, now).empty());
  EXPECT_EQ(contents("file.corrupt.20260131-230509.txt"), "old") << "the first copy stays";
  EXPECT_EQ(contents("file.txt"), "worse");
  WriteBytes(folder.name("plain"), {'x'});
  EXPECT_TRUE(KeepCorruptCopy(folder.wide("plain"), now).ends_with(L"plain.corrupt.20260131-230509.txt"));
  EXPECT_TRUE(KeepCorruptCopy(folder.wide("missing"), now, &error).empty());
}

TEST_F(Files, AreWrittenAsTheyCome) {
  OutputFile out;
  ASSERT_TRUE(out.open(file, &error));
  EXPECT_TRUE(out.isSeekable());
  EXPECT_EQ(contents("file.txt"), "old") << "until it is cleared";
  EXPECT_TRUE(out.write("new", 3) && out.clear() && out.write("head data", 9) && out.seek(5) && out.write("D", 1));
  EXPECT_EQ(contents("file.txt"), "head Data") << "nothing waits in a buffer";
  EXPECT_TRUE(out.seek(0) && out.write("H", 1) && out.sync(&error)) << Utf8FromWide(error);
  out.close();
  EXPECT_EQ(contents("file.txt"), "Head Data");
  EXPECT_FALSE(out.open(folder.wide("none/file"), &error));
  EXPECT_THAT(Utf8FromWide(error), HasSubstr("file\" cannot be created: "));
}

TEST_F(Files, HaveRoomOnTheDisk) {
  EXPECT_GT(FreeSpace(folder.wide("")).value_or(0), 0u);
  EXPECT_EQ(FreeSpace(folder.wide("missing")), std::nullopt);
}

}  // namespace
}  // namespace tarnwick::platform
