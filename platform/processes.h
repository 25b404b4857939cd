// The processes of the machine, as far as CPU steering is concerned: which there are, which processors they may use,
// and the class of the own one. A record of operations, so that a test hands in processes of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tarnwick::platform {

// A process class as Windows names them.
enum class ProcessClass { idle, belowNormal, normal, aboveNormal, high, realtime };

struct ProcessEntry {
  uint32_t id = 0;
  std::wstring executable;  // file name without folder; on Linux the process's short name where the file is not told
};

// Bit k = logical processor k; both 0 when the system does not tell.
struct ProcessAffinity {
  uint64_t process = 0;  // the processors that the process may use; on Linux those of its first thread
  uint64_t system = 0;   // the processors that it could be given
};

// The processors that a process is to get, given those that it has; 0 = it is left as it is.
using AffinityChoice = std::function<uint64_t(const ProcessAffinity& present)>;

enum class AffinityOutcome {
  set,
  left,    // nothing was chosen for it
  denied,  // the process may not be opened for this, or has ended
  failed,  // it was opened and the system refused
};

// Every operation may be called from any thread but the audio ones; they allocate and may take milliseconds.
struct Processes {
  // The processes that run now, the own one among them; empty when the system does not tell. Linux: without the
  // kernel's own threads, which are not ours to move.
  std::function<std::vector<ProcessEntry>()> list;
  std::function<uint32_t()> ownId;
  std::function<std::wstring()> ownExecutable;  // as ProcessEntry::executable

  std::function<ProcessAffinity(uint32_t id)> readAffinity;
  // Reads and sets in one go: should the process end in between and its number go to another, that one is not touched.
  // (Linux: but for a thread whose number changes hands between its listing and its setting.)
  // `choose` is called once, or not at all when the process is denied. Linux: of every thread of the process; a mask
  // that holds all processors there are means those above 63 too.
  std::function<AffinityOutcome(uint32_t id, const AffinityChoice& choose)> changeAffinity;

  // Limits the own process; false when the system refuses. Windows gives all threads of the process this mask, so those
  // that have a narrower one must apply it again afterwards. Linux knows no mask of a process: every thread gets this
  // one that has never called SetThreadAffinity for itself.
  std::function<bool(uint64_t mask)> setOwnAffinity;
  // Brings threads that began since `setOwnAffinity` to the same mask. On Linux a thread begins with its creator's
  // processors; those that still have the calling thread's, and never chose their own, get `mask`. Windows starts
  // threads with the process's mask, nothing is done.
  std::function<void(uint64_t mask)> limitNewThreads;

  // Gives the own process a class; false when nothing was set. Linux has no class of a process, only priorities of
  // threads: always false. Windows without the privilege for `realtime` grants `high`, and calls that a success.
  std::function<bool(ProcessClass)> setOwnClass;
  // Gives the calling thread, the one that starts the other threads, a priority level as SetThreadPriorityLevel, and
  // returns the one it has now. On Linux the answer is always 0 and nothing is done: a thread begins with its creator's
  // nice value and policy, and a user without privilege cannot raise it again, so that the audio threads and those of
  // the effects would all be lowered with it.
  std::function<int32_t(int32_t level)> setUiThreadLevel;
};

// The operations on the system's own processes.
Processes SystemProcesses();

}  // namespace tarnwick::platform
