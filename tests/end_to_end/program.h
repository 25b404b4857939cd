// The program, run as a person runs it: arguments in, output, messages and exit code out.
#pragma once

#include <rapidjson/document.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/temporary_folder.h"

namespace tarnwick::tests {

using Arguments = std::vector<std::string>;

struct ProgramResult {
  int exitCode = -1;  // 128 + N when signal N ended it
  std::string out;
  std::string err;
  bool tookTooLong = false;    // and was killed
  bool leftProcesses = false;  // something of its process group outlived it

  std::vector<std::string> lines() const;  // of `out`
  // The last line as JSON; null when it is none.
  rapidjson::Document summary() const;
};

// Far more than anything here needs on an idle machine: a machine that is not idle fails no test.
inline constexpr std::chrono::seconds kProgramLimit{90};

// One started process in a process group of its own, with settings of its own, which go with it. Its output is read
// while it runs. Tarnwick gets no server, unless the arguments say otherwise.
class RunningProgram {
 public:
  explicit RunningProgram(const Arguments& arguments, const std::string& program = TARNWICK_PROGRAM);
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;
  ~RunningProgram() { finish(); }

  // True once the output holds `text`; false when the process ended or the limit passed first.
  bool awaitOutput(const std::string& text);
  void signal(int number);
  int processId() const { return process_; }
  ProgramResult finish();

 private:
  // Reads what there is for at most a tenth of a second; false when both ends are closed.
  bool readSome();
  bool beyondLimit() const { return std::chrono::steady_clock::now() - started_ > kProgramLimit; }

  const platform::TemporaryFolder folder_;  // of its settings
  int process_ = -1;
  int out_ = -1;
  int err_ = -1;
  const std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  ProgramResult result_;
};

inline ProgramResult RunTarnwick(const Arguments& arguments) {
  return RunningProgram(arguments).finish();
}

}  // namespace tarnwick::tests
