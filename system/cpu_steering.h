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

// By SteeringGroup: the label shown, and the setting under which the mask is stored.
inline constexpr std::array<const wchar_t*, kSteeringGroups> kSteeringLabels{
    L"Engine", L"Record", L"Playback", L"Network/UI", L"All processes except Tarnwick"};
inline constexpr std::array<const wchar_t*, kSteeringGroups> kSteeringSettings{
    L"cpuSteeringMaskEngine", L"cpuSteeringMaskRecord", L"cpuSteeringMaskPlayback", L"cpuSteeringMaskNetworkUi",
    L"cpuSteeringMaskOtherProcesses"};

// Written by the user-interface thread through SetSteeringMask(s), read by all threads.
struct CpuSteering {
  std::array<std::atomic<uint64_t>, kSteeringGroups> masks{};
  std::atomic<uint32_t> generation{1};  // changes with the masks; never 0, which is a thread's "nothing applied yet"

  uint64_t processors = 0;  // taken for the machine's own, set before any thread looks; 0 = SystemMask()

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

// What a group may use of the processors in `systemMask`: its choice, or all of them when nothing of it is there.
uint64_t GroupMask(uint64_t chosen, uint64_t systemMask) noexcept;
// What the own process needs: the processors chosen for the groups that run in it, or all when none is chosen.
uint64_t OwnProcessMask(const SteeringMasks& masks, uint64_t systemMask) noexcept;

// The processor numbers of a mask in ascending order, "0, 2, 3"; "All CPUs (fallback)" for 0.
std::wstring MaskText(uint64_t mask);

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
