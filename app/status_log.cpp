#include "app/status_log.h"

#include <algorithm>

#include "platform/clock.h"
#include "platform/trace.h"

namespace tarnwick::app {

void StatusLog::add(const std::wstring& line) {
  std::wstring stamped = platform::TimeOfDayText(platform::LocalTimeNow()) + L" " + line;
  std::replace_if(
      stamped.begin(), stamped.end(), [](wchar_t c) { return c == L'\n' || c == L'\r'; }, L' ');
  lines_.push_back(stamped);
  if (lines_.size() > kKeptLines) {
    lines_.pop_front();
  }
  sink_(stamped);
}

void StatusLog::addReasons() {
  for (const std::wstring& line : platform::TraceScope::take()) {
    add(L"Reason: " + line);
  }
}

}  // namespace tarnwick::app
