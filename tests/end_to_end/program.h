// The program, run as a person runs it: arguments in, output, messages and exit code out.
#pragma once

#include <rapidjson/document.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/text.h"

namespace tarnwick::tests {

struct ProgramResult {
  int exitCode = -1;  // 128 + N when signal N ended it
  std::string out;
  std::string err;
  bool tookTooLong = false;    // and was killed
  bool leftProcesses = false;  // something of its process group outlived it
  std::chrono::milliseconds lasted{0};

  std::vector<std::string> lines() const;  // of `out`
  // The last line as JSON; null when it is none.
  rapidjson::Document summary() const;
};

// Far more than anything here needs on an idle machine: a machine that is not idle fails no test.
inline constexpr std::chrono::seconds kProgramLimit{90};

// One started process in a process group of its own. Its output is read while it runs.
class RunningProgram {
 public:
  // `environment`: "NAME=value" to set beside, or in place of, this process's own. Tarnwick gets settings of its own,
  // which go with it, and no server, unless the arguments say otherwise.
  explicit RunningProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment = {},
                          const std::string& program = TARNWICK_PROGRAM);
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;
  ~RunningProgram();

  // True once the output holds `text`; false when the process ended or the limit passed first.
  bool awaitOutput(const std::string& text);
  void signal(int number);
  int processId() const { return process_; }
  ProgramResult finish();

 private:
  // Reads what there is for at most a tenth of a second; false when both ends are closed.
  bool readSome();
  bool beyondLimit() const { return std::chrono::steady_clock::now() - started_ > kProgramLimit; }

  std::string folder_;  // of its settings
  int process_ = -1;
  int out_ = -1;
  int err_ = -1;
  std::chrono::steady_clock::time_point started_;
  ProgramResult result_;
};

ProgramResult RunTarnwick(const std::vector<std::string>& arguments, const std::vector<std::string>& environment = {});

}  // namespace tarnwick::tests
