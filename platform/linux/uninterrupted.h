// System calls that a signal may break off.
#pragma once

#include <cerrno>

namespace tarnwick::platform {

// Makes `call`, which returns less than 0 with errno when it fails, again for as long as a signal came in between.
template <class Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) {
    result = call();
  }
  return result;
}

}  // namespace tarnwick::platform
