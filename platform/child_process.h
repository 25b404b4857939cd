// Runs this program again, for an answer that is better not worked out in the process that plays. Any thread but the
// audio path.
#pragma once

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tarnwick::platform {

struct ChildAnswer {
  int exitCode = 0;    // Linux: 128 + the signal's number when a signal has ended it
  std::string output;  // standard output and standard error, at most 64 KiB of it, UTF-8
};

// Starts the own executable with `arguments` (UTF-8), without a window, at normal priority and on all processors that
// the system lets it use, and waits for its end; what it has started itself is not waited for. Nothing when it could
// not be started, or was ended because it took longer than `time` (at most a day), with what it has started.
// `cancelled`, where given, is looked at ten times a second: once it is set the program is ended as if it had taken too
// long.
std::optional<ChildAnswer> RunOwnProgram(const std::vector<std::string>& arguments, std::chrono::milliseconds time,
                                         const std::atomic<bool>* cancelled = nullptr);

}  // namespace tarnwick::platform
