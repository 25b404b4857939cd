// The instances that the callback processes: fixed slots and a published order over them.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/callback_epoch.h"
#include "engine/glitch_detector.h"
#include "engine/instance_config.h"
#include "engine/level_meter.h"
#include "plugin/plugin_instance.h"

namespace tarnwick::engine {

// Everything that one instance needs in a block. Slots never move; a slot belongs to the callback while the published
// order names it, otherwise to the user-interface thread.
struct alignas(64) InstanceSlot {
  InstanceConfig config;                     // written by the user-interface thread word by word, at any time
  float meterDb = kNoSignalDb;               // written by the instance's block, read by the user-interface thread
  plugin::PluginInstance* runner = nullptr;  // null: pass-through
  std::span<float> input;                    // the effect's own buffers, or the two halves of ownBuffers; at least a
  std::span<float> output;                   // block long while the host runs
  std::vector<float> ownBuffers;
  MeterRing* meter = nullptr;
  GlitchDetector glitch;
};

// Gives a slot that is being prepared its effect (may be null) and buffers for blocks of `n` samples: the effect's own,
// so that nothing is copied between the two, or buffers of the slot's where the effect is missing or has shorter ones.
// Throws std::bad_alloc.
void EquipSlot(InstanceSlot& slot, plugin::PluginInstance* runner, int32_t n);

// Which slot instance i uses, for i < count. Immutable while published.
struct InstanceOrder {
  int32_t count = 0;
  std::array<uint8_t, kMaximumInstances> slot{};
};

// Two orders take turns: a new one is written beside the published one and then put in its place, so an instance can
// come or go without a gap in the others' sound. All changes: user-interface thread.
class InstanceTable {
 public:
  explicit InstanceTable(MeterBank& meters);

  // The published order. Callback and user-interface thread; a block keeps the one it began with.
  const InstanceOrder& order() const noexcept { return *published_.load(std::memory_order_seq_cst); }
  int32_t count() const noexcept { return order().count; }
  InstanceSlot& slotOf(const InstanceOrder& order, int32_t instance) noexcept {
    return slots_[order.slot[static_cast<size_t>(instance)]];
  }
  // Slot of an instance in the present order.
  InstanceSlot& instance(int32_t index) noexcept { return slotOf(order(), index); }
  const InstanceSlot& instance(int32_t index) const noexcept {
    return slots_[order().slot[static_cast<size_t>(index)]];
  }

  // A free slot to prepare for the next instance, reset to its defaults; null when all are taken.
  InstanceSlot* prepareSlot();
  // Publishes the prepared slot as the last instance.
  void append(InstanceSlot* slot, const CallbackEpoch& epoch);
  // Takes instance `index` out; on return no block touches it, and its slot is free. The slot's runner is left alone.
  void remove(int32_t index, const CallbackEpoch& epoch);
  // Takes all out.
  void clear(const CallbackEpoch& epoch);

 private:
  void publish(const InstanceOrder& next, const CallbackEpoch& epoch);

  std::array<InstanceSlot, kMaximumInstances> slots_;
  std::array<InstanceOrder, 2> orders_;
  std::atomic<const InstanceOrder*> published_;
  static_assert(std::atomic<const InstanceOrder*>::is_always_lock_free);
};

}  // namespace tarnwick::engine
