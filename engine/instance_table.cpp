#include "engine/instance_table.h"

#include <algorithm>
#include <bitset>

#include "engine/atomic_word.h"

namespace tarnwick::engine {

void EquipSlot(InstanceSlot& slot, plugin::PluginInstance* runner, int32_t n) {
  const auto length = static_cast<size_t>(std::max(n, 0));
  slot.runner = runner;
  if (runner != nullptr && runner->inputBuffer.size() >= length && runner->outputBuffer.size() >= length) {
    slot.input = runner->inputBuffer;
    slot.output = runner->outputBuffer;
  } else {
    slot.ownBuffers.assign(2 * length, 0.0f);
    slot.input = std::span(slot.ownBuffers).first(length);
    slot.output = std::span(slot.ownBuffers).last(length);
  }
  ArmDetector(slot.glitch, n);
}

InstanceTable::InstanceTable(MeterBank& meters) : published_(orders_.data()) {
  for (size_t k = 0; k < slots_.size(); ++k) {
    slots_[k].meter = &meters.ring(static_cast<int32_t>(k));
  }
}

InstanceSlot* InstanceTable::prepareSlot() {
  const InstanceOrder& now = order();
  std::bitset<kMaximumInstances> taken;
  for (int32_t i = 0; i < now.count; ++i) {
    taken.set(now.slot[static_cast<size_t>(i)]);
  }
  for (size_t k = 0; k < slots_.size(); ++k) {
    if (!taken[k]) {
      InstanceSlot& slot = slots_[k];
      StoreConfig(slot.config, InstanceConfig{});
      StoreWord(slot.meterDb, kNoSignalDb);
      ResetRing(*slot.meter);
      EquipSlot(slot, nullptr, 0);
      return &slot;
    }
  }
  return nullptr;
}

void InstanceTable::append(InstanceSlot* slot, const CallbackEpoch& epoch) {
  InstanceOrder next = order();
  next.slot[static_cast<size_t>(next.count)] = static_cast<uint8_t>(slot - slots_.data());
  next.count += 1;
  publish(next, epoch);
}

void InstanceTable::remove(int32_t index, const CallbackEpoch& epoch) {
  InstanceOrder next = order();
  const auto first = next.slot.begin() + index;
  std::copy(first + 1, next.slot.begin() + next.count, first);
  next.count -= 1;
  publish(next, epoch);
}

void InstanceTable::clear(const CallbackEpoch& epoch) {
  publish(InstanceOrder{}, epoch);
}

void InstanceTable::publish(const InstanceOrder& next, const CallbackEpoch& epoch) {
  InstanceOrder* spare = &order() == &orders_[0] ? &orders_[1] : &orders_[0];
  *spare = next;
  published_.store(spare, std::memory_order_seq_cst);
  AwaitCallbackIdle(epoch);
}

}  // namespace tarnwick::engine
