#include "system/process_steering.h"

#include <string>
#include <system_error>
#include <utility>

#include "platform/text.h"
#include "system/priority.h"

namespace tarnwick::system {
namespace {

constexpr int32_t kBelowNormalIndex = 1;

// Counts one process of the others.
void steerProcess(const platform::Processes& processes, uint32_t id, uint64_t target, SteeringCounts& counts) {
  counts.examined += 1;
  const auto choose = [target](const platform::ProcessAffinity& present) {
    return present.system != 0 ? target & present.system : target;
  };
  switch (processes.changeAffinity(id, choose)) {
    case platform::AffinityOutcome::set:
      counts.set += 1;
      break;
    case platform::AffinityOutcome::left:
    case platform::AffinityOutcome::denied:
      counts.skipped += 1;
      break;
    case platform::AffinityOutcome::failed:
      counts.failed += 1;
      break;
  }
}

}  // namespace

uint64_t MachineMask(const platform::Processes& processes) {
  const uint64_t mask = processes.readAffinity(processes.ownId()).system;
  return mask != 0 ? mask : SystemMask();
}

bool SteerOwnProcess(const platform::Processes& processes, CpuSteering& steering, const SteeringMasks& masks) {
  const bool granted = processes.setOwnAffinity(OwnProcessMask(masks, SystemMask()));
  steering.processRefused.store(!granted, std::memory_order_relaxed);
  return granted;
}

bool ChangeSteering(const platform::Processes& processes, CpuSteering& steering, const SteeringMasks& masks) {
  if (masks == ChosenMasks(steering)) {
    return true;
  }
  const bool granted = SteerOwnProcess(processes, steering, masks);
  SetSteeringMasks(steering, masks);
  return granted;
}

void SteerNewThreads(const platform::Processes& processes, const SteeringMasks& masks) {
  processes.limitNewThreads(OwnProcessMask(masks, SystemMask()));
}

SteeringCounts SteerOtherProcesses(const platform::Processes& processes, uint64_t chosen, const std::stop_token& stop) {
  const uint64_t target = GroupMask(chosen, MachineMask(processes));
  const uint32_t ownId = processes.ownId();
  const std::wstring ownExecutable = processes.ownExecutable();
  SteeringCounts counts;
  for (const platform::ProcessEntry& process : processes.list()) {
    if (stop.stop_requested()) {
      break;
    }
    if (process.id != 0 && process.id != ownId && !platform::EqualIgnoringCase(process.executable, ownExecutable)) {
      steerProcess(processes, process.id, target, counts);
    }
  }
  return counts;
}

void OtherProcessesSteering::request(const platform::Processes& processes, uint64_t chosen) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    pending_ = Request{processes, chosen};
    if (running_) {
      return;
    }
    running_ = true;
  }
  try {
    worker_ = std::jthread([this](const std::stop_token& stop) { work(stop); });
  } catch (const std::system_error&) {
    const std::lock_guard<std::mutex> lock(mutex_);
    running_ = false;
    pending_.reset();
  }
}

std::optional<SteeringCounts> OtherProcessesSteering::last() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return last_;
}

void OtherProcessesSteering::work(const std::stop_token& stop) {
  for (;;) {
    std::optional<Request> request;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      request = std::exchange(pending_, std::nullopt);
      if (!request || stop.stop_requested()) {
        running_ = false;
        return;
      }
    }
    const SteeringCounts counts = SteerOtherProcesses(request->processes, request->chosen, stop);
    if (!stop.stop_requested()) {
      const std::lock_guard<std::mutex> lock(mutex_);
      last_ = counts;
    }
  }
}

StartPriorities ApplyStartPriorities(const platform::Processes& processes) {
  StartPriorities granted;
  granted.processClass = processes.setOwnClass(ProcessClass::realtime);
  granted.uiLevel = processes.setUiThreadLevel(PriorityAt(kBelowNormalIndex).threadPriority);
  return granted;
}

}  // namespace tarnwick::system
