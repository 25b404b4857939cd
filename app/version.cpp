#include "app/version.h"

#include "platform/text.h"

namespace tarnwick::app {

std::wstring VersionLine() {
  return platform::WideFromUtf8("Tarnwick " TARNWICK_VERSION " (" TARNWICK_COMMIT ", " TARNWICK_BUILD_TYPE ")");
}

}  // namespace tarnwick::app
