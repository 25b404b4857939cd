#include "platform/audio/asio/asio_gate.h"

#include <atomic>

#include "platform/trace.h"

namespace tarnwick::platform {
namespace {

constexpr ULONGLONG kLongestWait = 2000;  // milliseconds

struct Gate {
  // User-interface thread.
  const void* owner = nullptr;
  // Written by the user-interface thread while nothing passes and nobody is inside.
  AudioCallbacks callbacks;
  // Written by the user-interface thread. Sequentially consistent, as is `inside`: either a caller sees the gate shut,
  // or who shuts it sees the caller inside.
  std::atomic<AsioPassage> passage{AsioPassage::nothing};
  std::atomic<int32_t> inside{0};
  std::atomic<uint64_t> overloads{0};
};

Gate gate;

// One call of a driver, for as long as it is in the host.
class Visit {
 public:
  explicit Visit(AsioPassage needed) {
    gate.inside.fetch_add(1, std::memory_order_seq_cst);
    admitted_ = gate.passage.load(std::memory_order_seq_cst) >= needed;
  }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;
  ~Visit() { gate.inside.fetch_sub(1, std::memory_order_seq_cst); }
  bool admitted() const { return admitted_; }

 private:
  bool admitted_ = false;
};

bool isHalf(int32_t half) {
  return half == 0 || half == 1;
}

void bufferSwitch(int32_t half, AsioBool direct) {
  const Visit visit(AsioPassage::everything);
  if (visit.admitted() && isHalf(half)) {
    gate.callbacks.bufferSwitch(gate.callbacks.context, half, direct != 0);
  }
}

AsioTime* bufferSwitchTimeInfo(AsioTime* time, int32_t half, AsioBool direct) {
  const Visit visit(AsioPassage::everything);
  if (!visit.admitted() || !isHalf(half)) {
    return nullptr;
  }
  return static_cast<AsioTime*>(gate.callbacks.bufferSwitchTimeInfo(gate.callbacks.context, time, half, direct != 0));
}

void sampleRateDidChange(double rate) {
  const Visit visit(AsioPassage::notifications);
  if (visit.admitted()) {
    gate.callbacks.sampleRateDidChange(gate.callbacks.context, rate);
  }
}

int32_t asioMessage(int32_t selector, int32_t value, void* /*message*/, double* /*option*/) {
  const Visit visit(AsioPassage::notifications);
  if (visit.admitted() && selector == kAsioOverload) {
    gate.overloads.fetch_add(1, std::memory_order_relaxed);
  }
  return visit.admitted() ? gate.callbacks.asioMessage(gate.callbacks.context, selector, value) : 0;
}

constexpr AsioCallbackRecord kTrampolines = {&bufferSwitch, &sampleRateDidChange, &asioMessage, &bufferSwitchTimeInfo};

void awaitNobodyInside() {
  const ULONGLONG end = GetTickCount64() + kLongestWait;
  while (gate.inside.load(std::memory_order_seq_cst) > 0) {
    if (GetTickCount64() >= end) {
      Trace(L"ASIO: a callback of the driver does not come back.", TraceKind::fault);
      return;
    }
    Sleep(1);
  }
}

}  // namespace

const AsioCallbackRecord& AsioTrampolines() {
  return kTrampolines;
}

bool TakeAsioGate(const void* owner, const AudioCallbacks& callbacks) {
  if (gate.owner != nullptr || !callbacks.bufferSwitch || !callbacks.sampleRateDidChange || !callbacks.asioMessage ||
      !callbacks.bufferSwitchTimeInfo) {
    return false;
  }
  awaitNobodyInside();
  gate.owner = owner;
  gate.callbacks = callbacks;
  return true;
}

void SetAsioPassage(const void* owner, AsioPassage passage) {
  if (gate.owner != owner) {
    return;
  }
  if (passage == AsioPassage::everything) {
    gate.overloads.store(0, std::memory_order_relaxed);
  }
  const AsioPassage before = gate.passage.exchange(passage, std::memory_order_seq_cst);
  if (passage < before) {
    awaitNobodyInside();
  }
}

uint64_t AsioOverloads() {
  return gate.overloads.load(std::memory_order_relaxed);
}

void LeaveAsioGate(const void* owner) {
  if (gate.owner == owner) {
    SetAsioPassage(owner, AsioPassage::nothing);
    gate.owner = nullptr;
  }
}

}  // namespace tarnwick::platform
