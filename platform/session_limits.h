// The limits of a device session, of the settings that ask for one, and of all that is sized for it in advance.
#pragma once

#include <cstdint>

namespace tarnwick::platform {

// Sample rates in Hz. The meters hold a tenth of a second at the highest.
inline constexpr double kLowestSampleRate = 1000.0;
inline constexpr double kHighestSampleRate = 384000.0;
// Samples of a block; a driver that asks for more is refused.
inline constexpr int32_t kLargestBlockLength = 65536;

}  // namespace tarnwick::platform
