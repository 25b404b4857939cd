#include "system/cpu_steering.h"

#include <algorithm>

#include "platform/threads.h"

namespace tarnwick::system {
namespace {

constexpr int32_t kMaskBits = 64;

size_t indexOf(SteeringGroup group) {
  return static_cast<size_t>(group);
}

}  // namespace

void SetSteeringMask(CpuSteering& steering, SteeringGroup group, uint64_t mask) noexcept {
  SteeringMasks masks = ChosenMasks(steering);
  masks[indexOf(group)] = mask;
  SetSteeringMasks(steering, masks);
}

void SetSteeringMasks(CpuSteering& steering, const SteeringMasks& masks) noexcept {
  if (masks == ChosenMasks(steering)) {
    return;
  }
  for (size_t k = 0; k < kSteeringGroups; ++k) {
    steering.masks[k].store(masks[k], std::memory_order_relaxed);
  }
  const uint32_t next = steering.generation.load(std::memory_order_relaxed) + 1;
  // Pairs with the acquire in ApplyIfChanged: whoever sees the generation sees its masks.
  steering.generation.store(next == 0 ? 1 : next, std::memory_order_release);
}

SteeringMasks ChosenMasks(const CpuSteering& steering) noexcept {
  SteeringMasks masks{};
  for (size_t k = 0; k < kSteeringGroups; ++k) {
    masks[k] = steering.masks[k].load(std::memory_order_relaxed);
  }
  return masks;
}

uint64_t FallbackSystemMask(int32_t processors) noexcept {
  const int32_t bits = std::clamp(processors, int32_t{1}, kMaskBits);
  return ~uint64_t{0} >> (kMaskBits - bits);
}

uint64_t SystemMask() noexcept {
  const uint64_t mask = platform::SystemAffinityMask();
  return mask != 0 ? mask : FallbackSystemMask(platform::ProcessorCount());
}

uint64_t ProcessorsOf(const CpuSteering& steering) noexcept {
  return steering.processors != 0 ? steering.processors : SystemMask();
}

uint64_t KnownProcessors() noexcept {
  return SystemMask() | FallbackSystemMask(platform::ProcessorCount());
}

uint64_t GroupMask(uint64_t chosen, uint64_t systemMask) noexcept {
  const uint64_t usable = chosen & systemMask;
  return usable != 0 ? usable : systemMask;
}

uint64_t OwnProcessMask(const SteeringMasks& masks, uint64_t systemMask) noexcept {
  uint64_t chosen = 0;
  for (size_t k = 0; k < indexOf(SteeringGroup::otherProcesses); ++k) {
    chosen |= masks[k];
  }
  return GroupMask(chosen, systemMask);
}

std::wstring MaskText(uint64_t mask) {
  if (mask == 0) {
    return L"All CPUs (fallback)";
  }
  std::wstring text;
  for (int32_t k = 0; k < kMaskBits; ++k) {
    if (((mask >> k) & 1) != 0) {
      text += (text.empty() ? L"" : L", ") + std::to_wstring(k);
    }
  }
  return text;
}

uint64_t ProcessorsForGroup(const SteeringMasks& masks, SteeringGroup group, uint64_t systemMask,
                            bool processBindsThreads) noexcept {
  const uint64_t chosen = masks[indexOf(group)];
  const bool follows = processBindsThreads && (chosen & systemMask) == 0;
  return follows ? OwnProcessMask(masks, systemMask) : GroupMask(chosen, systemMask);
}

SteeringReport ReportSteering(const CpuSteering& steering) noexcept {
  const SteeringMasks masks = ChosenMasks(steering);
  const uint32_t generation = steering.generation.load(std::memory_order_relaxed);
  SteeringReport report;
  report.processRefused = steering.processRefused.load(std::memory_order_relaxed);
  for (size_t k = 0; k < kSteeringGroups; ++k) {
    GroupProcessors& group = report.groups[k];
    group.asked = masks[k];
    if (k == indexOf(SteeringGroup::otherProcesses)) {
      continue;
    }
    group.running = steering.running[k].load(std::memory_order_relaxed);
    group.refused = steering.refusedIn[k].load(std::memory_order_relaxed) == generation;
    if (group.running == 0) {
      group.running = ProcessorsForGroup(masks, static_cast<SteeringGroup>(k), ProcessorsOf(steering),
                                         platform::ProcessBindsThreads());
    }
  }
  return report;
}

std::wstring SteeringDifferences(const SteeringReport& report) {
  std::wstring text;
  const auto add = [&text](const std::wstring& line) { text += (text.empty() ? L"" : L"\n") + line; };
  if (report.processRefused) {
    add(L"The system did not limit the program to the processors of its groups.");
  }
  for (size_t k = 0; k < kSteeringGroups; ++k) {
    const GroupProcessors& group = report.groups[k];
    if (group.refused) {
      add(std::wstring(kSteeringLabels[k]) + L": processors " + MaskText(group.asked) +
          L" were asked for; its threads run on " + MaskText(group.running) + L".");
    }
  }
  return text;
}

bool ApplyIfChanged(const CpuSteering& steering, SteeringGroup group, ThreadSteering& thread) noexcept {
  const uint32_t generation = steering.generation.load(std::memory_order_acquire);
  if (generation == thread.generation) {
    return false;
  }
  thread.generation = generation;
  const size_t k = indexOf(group);
  const uint64_t system = ProcessorsOf(steering);
  const uint64_t chosen = steering.masks[k].load(std::memory_order_relaxed) & system;
  const uint64_t target = ProcessorsForGroup(ChosenMasks(steering), group, system, platform::ProcessBindsThreads());
  thread.granted = platform::SetThreadAffinity(target);
  const uint64_t running = platform::ThreadAffinity();
  steering.running[k].store(running, std::memory_order_relaxed);
  // A choice that names no processor of this machine stands for all of them and is met by any.
  if (!thread.granted || (chosen != 0 && running != 0 && running != chosen)) {
    steering.refusedIn[k].store(generation, std::memory_order_relaxed);
  }
  return true;
}

}  // namespace tarnwick::system
