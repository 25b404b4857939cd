// Processes that this test starts, as the kernel shows them after they were steered. No other process of the machine is
// ever set.
#include "platform/processes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>

#include "platform/threads.h"
#include "processors.h"
#include "support/eventually.h"
#include "support/thread_masks.h"
#include "system/process_steering.h"

namespace tarnwick::platform {
namespace {

using tests::Eventually;
using tests::ThreadMask;
using tests::ThreadMasks;

constexpr uid_t kNobody = 65534;

// What a child does: some threads that wait, one that keeps starting short-lived others, until its input ends.
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
  explicit Child(const std::string& program = "/proc/self/exe") {
    int input[2] = {-1, -1};
    int output[2] = {-1, -1};
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
      return;
    }
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, output[1], STDOUT_FILENO);
    std::string name = program;
    std::string argument = "--child";
    char* arguments[] = {name.data(), argument.data(), nullptr};
    started_ = posix_spawn(&id_, program.c_str(), &files, nullptr, arguments, environ) == 0;
    posix_spawn_file_actions_destroy(&files);
    close(input[0]);
    close(output[1]);
    inputEnd_ = input[1];
    char ready = 0;
    started_ = started_ && read(output[0], &ready, 1) == 1;
    close(output[0]);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { end(); }

  bool started() const { return started_; }
  uint32_t id() const { return static_cast<uint32_t>(id_); }
  std::vector<ThreadMask> masks() const { return ThreadMasks(std::to_string(id_)); }
  void end() {
    if (inputEnd_ >= 0) {
      close(std::exchange(inputEnd_, -1));
      waitpid(id_, nullptr, 0);
    }
  }

 private:
  pid_t id_ = 0;
  int inputEnd_ = -1;
  bool started_ = false;
};

bool allAre(const std::vector<ThreadMask>& threads, uint64_t mask) {
  return threads.size() >= 5 &&
         std::all_of(threads.begin(), threads.end(), [mask](const ThreadMask& t) { return t.mask == mask; });
}

// A copy of this program under another name, so that it counts as somebody else's.
struct OtherProgram {
  std::string path = "/tmp/tarnwick_other_" + std::to_string(getpid());
  OtherProgram() {
    std::ifstream from("/proc/self/exe", std::ios::binary);
    std::ofstream to(path, std::ios::binary);
    to << from.rdbuf();
    to.close();
    chmod(path.c_str(), 0755);
  }
  ~OtherProgram() { unlink(path.c_str()); }
};

AffinityChoice always(uint64_t mask) {
  return [mask](const ProcessAffinity&) { return mask; };
}

// A child with the number of one that has ended; none when the system does not let it be chosen.
std::unique_ptr<Child> childNumbered(uint32_t id) {
  constexpr int kTries = 50;  // another process may be given it first
  for (int k = 0; k < kTries; ++k) {
    std::ofstream("/proc/sys/kernel/ns_last_pid") << id - 1;
    auto child = std::make_unique<Child>();
    if (child->started() && child->id() == id) {
      return child;
    }
  }
  return nullptr;
}

TEST(Processes, TheNextProcessOfTheSameNumberIsNotSet) {
  if (oneProcessor()) {
    GTEST_SKIP() << "one processor";
  }
  Child first;
  ASSERT_TRUE(first.started());
  std::unique_ptr<Child> second;
  const auto outcome = SystemProcesses().changeAffinity(first.id(), [&](const ProcessAffinity& present) {
    EXPECT_EQ(present.process, SystemAffinityMask());
    first.end();
    second = childNumbered(first.id());
    return lowest();
  });
  EXPECT_EQ(outcome, AffinityOutcome::denied);
  if (!second) {
    GTEST_SKIP() << "the number could not be chosen";
  }
  EXPECT_TRUE(allAre(second->masks(), SystemAffinityMask()));
}

TEST(Processes, OthersAreSteeredWithAllTheirThreads) {
  if (oneProcessor()) {
    GTEST_SKIP() << "one processor";
  }
  const OtherProgram program;
  Child other(program.path);
  const Child another(program.path);
  const Child same;  // the own executable's name
  ASSERT_TRUE(other.started() && another.started() && same.started());
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
  EXPECT_TRUE(Eventually([&] { return allAre(other.masks(), lowest()) && allAre(another.masks(), lowest()); }));
  for (int look = 0; look < 20; ++look) {  // threads that begin later inherit it
    EXPECT_TRUE(allAre(other.masks(), lowest()));
    EXPECT_TRUE(allAre(another.masks(), lowest()));
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(allAre(same.masks(), before));
  EXPECT_EQ(processes.readAffinity(other.id()).process, lowest());

  other.end();
  processes.list = [ids = processes.list(), gone = other.id()] {
    std::vector<ProcessEntry> stale = ids;
    stale.push_back({gone, L"gone"});
    return stale;
  };
  EXPECT_EQ(system::SteerOtherProcesses(processes, 0), (system::SteeringCounts{2, 1, 1, 0})) << "one has ended";
  EXPECT_TRUE(Eventually([&] { return allAre(another.masks(), before); })) << "no choice gives all processors back";
}

TEST(Processes, AnotherUsersProcessIsLeftAlone) {
  if (geteuid() != 0 || oneProcessor()) {
    GTEST_SKIP() << "needs root to become somebody else";
  }
  const Child child;
  ASSERT_TRUE(child.started());
  const Processes processes = SystemProcesses();
  ASSERT_EQ(seteuid(kNobody), 0);
  const AffinityOutcome outcome = processes.changeAffinity(child.id(), always(lowest()));
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(outcome, AffinityOutcome::denied);
  EXPECT_TRUE(allAre(child.masks(), SystemAffinityMask()));
}

TEST(Processes, AMaskWithoutAProcessorOfTheMachineFails) {
  const Child child;
  ASSERT_TRUE(child.started());
  const uint64_t machine = SystemProcesses().readAffinity(child.id()).system;
  ASSERT_NE(machine, 0u);
  if (~machine == 0) {
    GTEST_SKIP() << "64 processors";
  }
  EXPECT_EQ(SystemProcesses().changeAffinity(child.id(), always(~machine)), AffinityOutcome::failed);
  EXPECT_TRUE(allAre(child.masks(), SystemAffinityMask()));
}

TEST(Processes, TheListNamesPrograms) {
  const OtherProgram program;
  const Child child(program.path);
  ASSERT_TRUE(child.started());
  const Processes processes = SystemProcesses();
  bool own = false;
  bool other = false;
  for (const ProcessEntry& entry : processes.list()) {
    own = own || (entry.id == processes.ownId() && entry.executable == processes.ownExecutable());
    other = other || (entry.id == child.id() && entry.executable == L"tarnwick_other_" + std::to_wstring(getpid()));
    EXPECT_NE(entry.executable, L"kthreadd") << "a thread of the kernel";
    EXPECT_NE(entry.id, 0u);
  }
  EXPECT_TRUE(own);
  EXPECT_TRUE(other);
  EXPECT_EQ(processes.ownExecutable(), L"processes_test");
  unlink(program.path.c_str());
  for (const ProcessEntry& entry : processes.list()) {
    if (entry.id == child.id()) {
      EXPECT_EQ(entry.executable, L"tarnwick_other_" + std::to_wstring(getpid())) << "after its file was replaced";
    }
  }
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
