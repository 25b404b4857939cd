#include "platform/clock.h"

#include <cwchar>
#include <iterator>

namespace tarnwick::platform {

std::wstring TimeOfDayText(const LocalTime& time) {
  wchar_t text[32];
  std::swprintf(text, std::size(text), L"%02d:%02d:%02d.%03d", time.hour, time.minute, time.second, time.millisecond);
  return text;
}

}  // namespace tarnwick::platform
