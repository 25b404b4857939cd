// Single words shared between the user-interface thread and the audio path: a reader sees the old or the new value,
// never a mix, and neither side waits.
#pragma once

#include <atomic>

namespace tarnwick::engine {

template <class T>
T LoadWord(const T& word) noexcept {
  static_assert(std::atomic_ref<T>::is_always_lock_free);
  return std::atomic_ref<T>(const_cast<T&>(word)).load(std::memory_order_relaxed);
}

template <class T>
void StoreWord(T& word, T value) noexcept {
  static_assert(std::atomic_ref<T>::is_always_lock_free);
  std::atomic_ref<T>(word).store(value, std::memory_order_relaxed);
}

}  // namespace tarnwick::engine
