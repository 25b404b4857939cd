// A process that this test starts, and its own, as Windows shows them. No other process of the machine is ever set.
#include "platform/processes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "platform/processors.h"
#include "platform/text.h"
#include "platform/windows/win32.h"
#include "system/process_steering.h"

namespace tarnwick::platform {
namespace {

uint64_t maskOf(HANDLE process) {
  DWORD_PTR mask = 0;
  DWORD_PTR system = 0;
  EXPECT_TRUE(GetProcessAffinityMask(process, &mask, &system));
  return mask;
}

// The system's command interpreter, which never gets to run.
class OtherProgram {
 public:
  OtherProgram() {
    STARTUPINFOW start{};
    start.cb = sizeof start;
    wchar_t command[] = L"cmd.exe";
    EXPECT_TRUE(CreateProcessW(nullptr, command, nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr, nullptr, &start,
                               &process_));
  }
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;
  ~OtherProgram() { end(); }

  uint32_t id() const { return process_.dwProcessId; }
  uint64_t mask() const { return maskOf(process_.hProcess); }
  void end() {
    if (process_.hProcess != nullptr) {
      TerminateProcess(process_.hProcess, 0);
      WaitForSingleObject(process_.hProcess, 5000);
      CloseHandle(process_.hThread);
      CloseHandle(std::exchange(process_.hProcess, nullptr));
    }
  }

 private:
  PROCESS_INFORMATION process_ = {};
};

TEST(WindowsProcesses, TheListNamesPrograms) {
  const OtherProgram other;
  const Processes processes = SystemProcesses();
  const std::vector<ProcessEntry> list = processes.list();
  const auto has = [&list](uint32_t id, const std::wstring& name) {
    return std::count_if(list.begin(), list.end(), [&](const ProcessEntry& entry) {
             return entry.id == id && EqualIgnoringCase(entry.executable, name);
           }) == 1;
  };
  EXPECT_TRUE(has(GetCurrentProcessId(), processes.ownExecutable()));
  EXPECT_TRUE(has(other.id(), L"cmd.exe"));
  EXPECT_EQ(processes.ownId(), GetCurrentProcessId());
}

TEST(WindowsProcesses, OthersAreSteered) {
  if (oneProcessor()) {
    GTEST_SKIP() << "one processor";
  }
  OtherProgram other;
  Processes processes = SystemProcesses();
  processes.list = [entries = std::vector<ProcessEntry>{
                        {0, L"idle"}, {GetCurrentProcessId(), L"own"}, {other.id(), L"cmd.exe"}}] { return entries; };
  for (const uint64_t chosen : {lowest(), allButLowest(), uint64_t{0}}) {
    EXPECT_EQ(system::SteerOtherProcesses(processes, chosen), (system::SteeringCounts{1, 1, 0, 0}));
    EXPECT_EQ(other.mask(), chosen != 0 ? chosen : SystemAffinityMask());
  }
  EXPECT_EQ(maskOf(GetCurrentProcess()), SystemAffinityMask());
  if (~SystemAffinityMask() != 0) {
    EXPECT_EQ(processes.changeAffinity(other.id(), [](const auto&) { return ~SystemAffinityMask(); }),
              AffinityOutcome::failed);
  }
  // It ends between the look at it and the setting.
  EXPECT_NE(processes.changeAffinity(other.id(),
                                     [&other](const ProcessAffinity& present) {
                                       EXPECT_EQ(present.process, SystemAffinityMask());
                                       other.end();
                                       return lowest();
                                     }),
            AffinityOutcome::set);
}

TEST(WindowsProcesses, TheOwnOneIsLimited) {
  if (oneProcessor()) {
    GTEST_SKIP() << "one processor";
  }
  const Processes processes = SystemProcesses();
  system::CpuSteering steering;
  for (const uint64_t chosen : {lowest(), allButLowest()}) {
    EXPECT_TRUE(system::SteerOwnProcess(processes, steering, {chosen, 0, 0, 0, lowest()}));
    EXPECT_EQ(maskOf(GetCurrentProcess()), chosen);
    EXPECT_EQ(system::MachineMask(processes), SystemAffinityMask()) << "the limit is taken for the machine";
  }
  EXPECT_TRUE(system::SteerOwnProcess(processes, steering, {}));
  EXPECT_EQ(maskOf(GetCurrentProcess()), SystemAffinityMask());
  EXPECT_FALSE(processes.setOwnAffinity(0));
}

}  // namespace
}  // namespace tarnwick::platform
