// The status log: what happened, line by line, in the user's words.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <string>

namespace tarnwick::app {

// User-interface thread.
class StatusLog {
 public:
  static constexpr size_t kKeptLines = 1000;
  using Sink = std::function<void(const std::wstring& stampedLine)>;

  explicit StatusLog(Sink sink) : sink_(std::move(sink)) {}

  // Adds a line behind the local time, "HH:MM:SS.mmm ", and hands it to the sink. Line ends inside become blanks.
  void add(const std::wstring& line);
  // Adds what the calling thread has traced since the last time within its TraceScope, "Reason: ..." a line. Called by
  // whoever answers for an action that has failed, behind the line that tells of it.
  void addReasons();
  // The last lines, oldest first.
  const std::deque<std::wstring>& lines() const { return lines_; }

 private:
  Sink sink_;
  std::deque<std::wstring> lines_;
};

}  // namespace tarnwick::app
