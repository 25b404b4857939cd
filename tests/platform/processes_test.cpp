// Processes that this test starts, as the kernel shows them after they were steered. No other process of the machine is
// ever set.
#include "platform/processes.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>

#include "platform/threads.h"
#include "processors.h"
#include "support/eventually.h"
#include "support/thread_masks.h"
#include "system/process_steering.h"

namespace tarnwick::platform {
namespace {

using tests::Eventually;

constexpr uid_t kNobody = 65534;

// A child's work: some threads that wait, one that keeps starting short-lived others, until its input ends.
int beChild() {
  std::atomic<bool> end{false};
  std::vector<std::thread> threads;
  for (int k = 0; k < 3; ++k) {
    threads.emplace_back([&end] { end.wait(false); });
  }
  threads.emplace_back([&end] {
    while (!end.load()) {
      std::thread([] { std::this_thread::sleep_for(std::chrono::microseconds(200)); }).join();
    }
  });
  char byte = 'r';
  if (write(STDOUT_FILENO, &byte, 1) == 1) {
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
  }
  end.store(true);
  end.notify_all();
  for (std::thread& thread : threads) {
    thread.join();
  }
  return 0;
}

// This program again, as beChild(). Ends with its parent.
class Child {
 public:
  explicit Child(std::string program = "/proc/self/exe") {
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, ends[1], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, ends[1], STDOUT_FILENO);
    std::string argument = "--child";
    char* arguments[] = {program.data(), argument.data(), nullptr};
    EXPECT_EQ(posix_spawn(&id_, program.c_str(), &files, nullptr, arguments, environ), 0);
    posix_spawn_file_actions_destroy(&files);
    close(ends[1]);
    end_ = ends[0];
    char ready = 0;
    EXPECT_EQ(read(end_, &ready, 1), 1);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { end(); }

  uint32_t id() const { return static_cast<uint32_t>(id_); }
  bool allAre(uint64_t mask) const {
    const std::vector<tests::ThreadMask> threads = tests::ThreadMasks(std::to_string(id_));
    return threads.size() >= 5 &&
           std::all_of(threads.begin(), threads.end(), [mask](const auto& thread) { return thread.mask == mask; });
  }
  void end() {
    if (end_ >= 0) {
      close(std::exchange(end_, -1));
      waitpid(id_, nullptr, 0);
    }
  }

 private:
  pid_t id_ = 0;
  int end_ = -1;
};

// A copy of this program under another name, so that it counts as somebody else's.
struct OtherProgram {
  const std::string path = "/tmp/tarnwick_other_" + std::to_string(getpid());
  OtherProgram() { std::filesystem::copy_file("/proc/self/exe", path); }
  ~OtherProgram() { unlink(path.c_str()); }
};

AffinityChoice always(uint64_t mask) {
  return [mask](const ProcessAffinity&) { return mask; };
}

using OtherProcesses = TwoProcessors;

TEST_F(OtherProcesses, AreSteeredWithAllTheirThreads) {
  const OtherProgram program;
  Child other(program.path);
  const Child another(program.path);
  const Child same;  // the own executable's name
  Processes processes = SystemProcesses();
  processes.list = [&] {
    std::vector<ProcessEntry> mine = SystemProcesses().list();
    std::erase_if(
        mine, [&](const ProcessEntry& e) { return e.id != other.id() && e.id != another.id() && e.id != same.id(); });
    return mine;
  };
  ASSERT_EQ(processes.list().size(), 3u);
  const uint64_t before = SystemAffinityMask();
  EXPECT_EQ(system::SteerOtherProcesses(processes, lowest()), (system::SteeringCounts{2, 2, 0, 0}));
  // A thread that was being started just then may be seen as it was until it ends.
  EXPECT_TRUE(Eventually([&] { return other.allAre(lowest()) && another.allAre(lowest()); }));
  for (int look = 0; look < 20; ++look) {  // threads that begin later inherit it
    EXPECT_TRUE(other.allAre(lowest()));
    EXPECT_TRUE(another.allAre(lowest()));
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(same.allAre(before));
  EXPECT_EQ(processes.readAffinity(other.id()).process, lowest());
  const uint64_t machine = processes.readAffinity(other.id()).system;
  EXPECT_EQ(machine & before, before);
  if (~machine != 0) {
    EXPECT_EQ(processes.changeAffinity(other.id(), always(~machine)), AffinityOutcome::failed) << "not there";
  }

  other.end();
  processes.list = [ids = processes.list(), gone = other.id()] {
    std::vector<ProcessEntry> stale = ids;
    stale.push_back({gone, L"gone"});
    return stale;
  };
  EXPECT_EQ(system::SteerOtherProcesses(processes, 0), (system::SteeringCounts{2, 1, 1, 0})) << "one has ended";
  EXPECT_TRUE(Eventually([&] { return another.allAre(before); })) << "no choice gives all processors back";
}

TEST_F(OtherProcesses, OfAnotherUserAreLeftAlone) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "needs root to become somebody else";
  }
  const Child child;
  const Processes processes = SystemProcesses();
  ASSERT_EQ(seteuid(kNobody), 0);
  const AffinityOutcome outcome = processes.changeAffinity(child.id(), always(lowest()));
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(outcome, AffinityOutcome::denied);
  EXPECT_TRUE(child.allAre(SystemAffinityMask()));
}

TEST(Processes, TheListNamesPrograms) {
  const OtherProgram program;
  const Child child(program.path);
  unlink(program.path.c_str());  // as when a program is replaced while it runs
  const Processes processes = SystemProcesses();
  EXPECT_EQ(processes.ownExecutable(), L"processes_test");
  int found = 0;
  for (const ProcessEntry& entry : processes.list()) {
    found += entry.id == processes.ownId() && entry.executable == L"processes_test";
    found += entry.id == child.id() && entry.executable == L"tarnwick_other_" + std::to_wstring(getpid());
    EXPECT_NE(entry.executable, L"kthreadd") << "a thread of the kernel";
  }
  EXPECT_EQ(found, 2);
}

}  // namespace
}  // namespace tarnwick::platform

int main(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "--child") {
    return tarnwick::platform::beChild();
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
