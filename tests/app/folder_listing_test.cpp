#include "app/folder_listing.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <future>
#include <stdexcept>

#include "app/effect_trial.h"
#include "platform/temporary_folder.h"
#include "platform/text.h"
#include "support/eventually.h"

namespace tarnwick::app {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kTime{300};

struct Answer {
  bool succeeded = false;
  std::vector<std::wstring> names;  // of folders with a separator at the end
  std::wstring resolved;
  std::wstring error;

  bool operator==(const Answer&) const = default;
};

Answer answerOf(const FolderListing& listing) {
  Answer answer{listing.succeeded, {}, listing.resolved, listing.error};
  for (const FolderEntry& entry : listing.entries) {
    answer.names.push_back(entry.name + (entry.isDirectory ? L"/" : L""));
  }
  return answer;
}

Answer listed(const std::wstring& path) {
  return answerOf(ListPluginFiles(path));
}

// A disk that hangs until it is let go.
class HangingDisk {
 public:
  void letGo() { release_.set_value(); }
  int looks() const { return *looks_; }

  Answer list(HelperThreads& helpers, const std::wstring& path) {
    // Holds nothing of this object: a helper may outlive it.
    const FolderLook look = [looks = looks_, goesOn = goesOn_](const std::wstring& asked) {
      ++*looks;
      if (asked.ends_with(L"throws")) {
        throw std::runtime_error("no");
      }
      goesOn.wait();
      return FolderListing{true, {{L"entry", false, false}}, asked, L""};
    };
    return answerOf(ListWithHelpers(helpers, look, path));
  }

 private:
  std::promise<void> release_;
  std::shared_future<void> goesOn_ = release_.get_future().share();
  std::shared_ptr<std::atomic<int>> looks_ = std::make_shared<std::atomic<int>>(0);
};

TEST(FolderListing, ADiskThatHangsHoldsNobodyUpAndOnlySoManyHelpers) {
  const platform::TemporaryFolder folder;
  const std::wstring path = folder.wide("x");
  HangingDisk disk;
  {
    HelperThreads helpers(kTime, 2);
    EXPECT_EQ(disk.list(helpers, folder.wide("throws")), Answer{}) << "and leaves its helper to the next";
    auto other = std::async(std::launch::async, [&] { return disk.list(helpers, path); });
    EXPECT_EQ(disk.list(helpers, path), Answer{});
    EXPECT_EQ(other.get(), Answer{});
    const auto before = steady_clock::now();
    EXPECT_EQ(disk.list(helpers, path), Answer{});
    EXPECT_LT(steady_clock::now() - before, kTime) << "refused at once";
    EXPECT_EQ(disk.looks(), 3);
  }
  disk.letGo();  // the helpers come back after everybody who knew them has gone

  HangingDisk another;
  HelperThreads helpers(kTime, 1);
  EXPECT_EQ(another.list(helpers, path), Answer{});
  another.letGo();
  Answer answer;
  EXPECT_TRUE(tests::Eventually([&] { return (answer = another.list(helpers, path)).succeeded; }));
  EXPECT_EQ(answer, (Answer{true, {L"entry"}, path, L""})) << "nothing of the late one";
}

TEST(FolderListing, SharesAndDevicesAreRefusedWithoutALook) {
  HangingDisk disk;
  HelperThreads helpers(kTime, 1);
  const std::atomic<bool> cancelled{false};
  const Answer refused{false, {}, L"", L"There is no such folder."};
  for (std::wstring path : {L"\\\\host\\share", L"//", L"\\\\?\\C:\\", L"\\\\.\\C:\\", L"//?/C:/"}) {
    SCOPED_TRACE(platform::Utf8FromWide(path));
    EXPECT_EQ(disk.list(helpers, path), refused);
    EXPECT_EQ(listed(path), refused);
    std::wstring error;
    EXPECT_FALSE(TryOutEffect(path, cancelled, error));
    EXPECT_EQ(error, L"There is no such file.");
  }
  EXPECT_EQ(disk.looks(), 0);
}

TEST(FolderListing, ListsFoldersAndModules) {
  const platform::TemporaryFolder folder;
  std::filesystem::create_directories(folder.name("top/b folder"));
  std::filesystem::create_directories(folder.name("top/A.vst3"));  // a bundle without a library
  for (const char* file : {"top/Z.VST3", "top/c.vst3", "top/text.txt", "top/.vst3"}) {
    platform::WriteBytes(folder.name(file), {});
  }
  const std::wstring top = folder.wide("top");
  const Answer expected{true, {L"A.vst3/", L"b folder/", L"c.vst3", L"Z.VST3"}, top, L""};
  for (const wchar_t* way : {L"", L"/", L"/b folder/.."}) {
    EXPECT_EQ(listed(top + way), expected) << platform::Utf8FromWide(way);
  }
  EXPECT_FALSE(listed(L"").names.empty());
  EXPECT_EQ(listed(folder.wide("missing")), (Answer{false, {}, L"", L"There is no such folder."}));
}

}  // namespace
}  // namespace tarnwick::app
