// CPU steering of whole processes: the own one is limited to what its groups need, the others, when the user asks for
// it, to the processors of their group. Rules over platform::Processes, so nothing here touches the machine by itself.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>

#include "platform/processes.h"
#include "system/cpu_steering.h"

namespace tarnwick::system {

// The processors that a process of this machine can be given: what the system tells of the own process, otherwise
// SystemMask(). Never 0.
uint64_t MachineMask(const platform::Processes& processes);

// Limits the own process to the union of its groups' processors as `masks` has them. False when the system refuses,
// which `steering` then knows for its report. User-interface thread.
bool SteerOwnProcess(const platform::Processes& processes, CpuSteering& steering, const SteeringMasks& masks);

// Makes `masks` the chosen ones: limits the own process, and only then begins the new generation. In that order,
// because a system may give every thread the mask of the process, and a thread cannot have processors that its process
// lacks; the generation makes each thread apply its own again. Nothing happens when the masks are the same. False when
// the system refused the process's mask; the new masks hold all the same. User-interface thread.
bool ChangeSteering(const platform::Processes& processes, CpuSteering& steering, const SteeringMasks& masks);

// Brings threads that have begun meanwhile to the own process's processors; see Processes::limitNewThreads. To be
// called now and then, on the thread that starts the others (user-interface thread).
void SteerNewThreads(const platform::Processes& processes, const SteeringMasks& masks);

struct SteeringCounts {
  int32_t examined = 0;  // other processes looked at: the sum of those below
  int32_t set = 0;
  int32_t skipped = 0;  // may not be opened, ended meanwhile, or has none of the processors
  int32_t failed = 0;   // the system refused

  bool operator==(const SteeringCounts&) const = default;
};

// Pushes every other process onto the processors of `chosen` (all when none of them is there), but for process 0 and
// processes of the own executable's name. Ends early when `stop` is asked for. Slow: not on the user-interface thread.
SteeringCounts SteerOtherProcesses(const platform::Processes& processes, uint64_t chosen,
                                   const std::stop_token& stop = {});

// Runs SteerOtherProcesses on a thread that lives as long as there is something to do. A request made during a run is
// carried out after it; of several the last one counts. All members: user-interface thread, unless said otherwise.
class OtherProcessesSteering {
 public:
  OtherProcessesSteering() = default;
  OtherProcessesSteering(const OtherProcessesSteering&) = delete;
  OtherProcessesSteering& operator=(const OtherProcessesSteering&) = delete;
  // Ends a run between two processes and waits for that.
  ~OtherProcessesSteering() = default;

  // `processes` is copied. Without a thread to be had nothing happens.
  void request(const platform::Processes& processes, uint64_t chosen);
  // Counts of the last complete run; none before the first. Any thread.
  std::optional<SteeringCounts> last() const;

 private:
  struct Request {
    platform::Processes processes;
    uint64_t chosen;
  };
  void work(const std::stop_token& stop);

  mutable std::mutex mutex_;  // guards the three below
  std::optional<Request> pending_;
  std::optional<SteeringCounts> last_;
  bool running_ = false;  // the worker will look at `pending_` once more
  std::jthread worker_;   // last: ends before the rest
};

// The system's answers at the start of the program.
struct StartPriorities {
  bool processClass = false;  // the class was set; see Processes::setOwnClass
  int32_t uiLevel = 0;        // the user-interface thread's level now
};

// Real-time class for the process, below normal for the calling thread, which is the user-interface thread.
StartPriorities ApplyStartPriorities(const platform::Processes& processes);

}  // namespace tarnwick::system
