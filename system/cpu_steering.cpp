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

bool ApplyIfChanged(const CpuSteering& steering, SteeringGroup group, ThreadSteering& thread) noexcept {
  const uint32_t generation = steering.generation.load(std::memory_order_acquire);
  if (generation == thread.generation) {
    return false;
  }
  thread.generation = generation;
  const uint64_t chosen = steering.masks[indexOf(group)].load(std::memory_order_relaxed);
  thread.granted = platform::SetThreadAffinity(GroupMask(chosen, ProcessorsOf(steering)));
  return true;
}

}  // namespace tarnwick::system
