// CPU steering: which logical processors each group of work may use. The user-interface thread writes the masks, every
// long-lived thread looks at the generation in its loop and applies its group's mask to itself when it has changed.
// A mask has bit k for logical processor k; a stored mask of 0 is "no choice", which means all processors.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tarnwick::system {

enum class SteeringGroup : uint32_t { engine = 0, record, playback, networkUi, otherProcesses };
inline constexpr size_t kSteeringGroups = 5;

using SteeringMasks = std::array<uint64_t, kSteeringGroups>;  // by SteeringGroup

// The labels shown, by SteeringGroup.
inline constexpr std::array<const wchar_t*, kSteeringGroups> kSteeringLabels{
    L"Engine", L"Record", L"Playback", L"Network/UI", L"All processes except Tarnwick"};

// The masks and the generation are written by the user-interface thread through SetSteeringMask(s) and read by all
// threads; the mutable ones are what the threads have got: each writes its group's, the user-interface thread reads.
struct CpuSteering {
  std::array<std::atomic<uint64_t>, kSteeringGroups> masks{};
  std::atomic<uint32_t> generation{1};  // changes with the masks; never 0, which is a thread's "nothing applied yet"

  uint64_t processors = 0;  // taken for the machine's own, set before any thread looks; 0 = SystemMask()
  // By group: the processors of the thread that applied last, 0 before the first; and whether one was refused in the
  // generation that stands there.
  mutable std::array<std::atomic<uint64_t>, kSteeringGroups> running{};
  mutable std::array<std::atomic<uint32_t>, kSteeringGroups> refusedIn{};
  std::atomic<bool> processRefused{false};  // written by the user-interface thread alone

  static_assert(std::atomic<uint64_t>::is_always_lock_free && std::atomic<uint32_t>::is_always_lock_free);
};

// Stores what the user chose, unchecked; a new generation begins when a mask differs. User-interface thread.
void SetSteeringMask(CpuSteering& steering, SteeringGroup group, uint64_t mask) noexcept;
void SetSteeringMasks(CpuSteering& steering, const SteeringMasks& masks) noexcept;
// The masks as chosen. Any thread.
SteeringMasks ChosenMasks(const CpuSteering& steering) noexcept;

// The mask of the lowest `processors` bits (1..64; numbers outside count as the nearest inside).
uint64_t FallbackSystemMask(int32_t processors) noexcept;
// The processors that this process may use, by count where the system does not tell which; never 0. Real-time safe
// after platform::PrepareThreads.
uint64_t SystemMask() noexcept;

// The processors that the groups' choices are made of: the record's own, else SystemMask(). Real-time safe like that.
uint64_t ProcessorsOf(const CpuSteering& steering) noexcept;

// The processors that can be meant by a choice: those above, and as many as the machine has, which this process may not
// have been given today. Their numbers may have gaps.
uint64_t KnownProcessors() noexcept;

// The processors of `systemMask` that a group may use: its choice, or all of them when nothing of it is there.
uint64_t GroupMask(uint64_t chosen, uint64_t systemMask) noexcept;
// The processors that the own process needs: the processors chosen for the groups that run in it, or all when none is
// chosen.
uint64_t OwnProcessMask(const SteeringMasks& masks, uint64_t systemMask) noexcept;

// The processor numbers of a mask in ascending order, "0, 2, 3"; "All CPUs (fallback)" for 0.
std::wstring MaskText(uint64_t mask);

// A group's choice and the system's answer.
struct GroupProcessors {
  uint64_t asked = 0;    // as chosen; 0 = no choice
  uint64_t running = 0;  // the processors that its threads run on; where none has run yet, those that they would get
  bool refused = false;  // the system refused a thread what was chosen
};

struct SteeringReport {
  bool processRefused = false;                          // the system refused the own process the union of its groups
  std::array<GroupProcessors, kSteeringGroups> groups;  // by SteeringGroup; of the other processes only `asked`
};

// The choices, and the processors in force now. Threads follow a change in their own time, an idle one only when it
// goes on, so the answer is of the moment. User-interface thread.
SteeringReport ReportSteering(const CpuSteering& steering) noexcept;
// One line for each group, and the process, that did not get what was chosen for it; empty when all did.
std::wstring SteeringDifferences(const SteeringReport& report);

// The processors that a thread of a group gets. Where the process's processors bind its threads (Windows), a group
// without a choice has those that the program's other groups have chosen.
uint64_t ProcessorsForGroup(const SteeringMasks& masks, SteeringGroup group, uint64_t systemMask,
                            bool processBindsThreads) noexcept;

// One thread's memory of what it applied last; belongs to that thread.
struct ThreadSteering {
  uint32_t generation = 0;
  bool granted = false;  // the system accepted the mask of that generation
};

// Limits the calling thread to its group's processors when the masks have changed since `thread` last looked. True when
// it asked the system; `thread.granted` then holds the answer, and a refusal is not tried again before the next change.
// Real-time safe: no lock and no allocation; without a change it is two loads.
bool ApplyIfChanged(const CpuSteering& steering, SteeringGroup group, ThreadSteering& thread) noexcept;

}  // namespace tarnwick::system
