// Between the float signals of the virtual device and the sample types of its buffers. Real-time safe; any thread.
#pragma once

#include <cstdint>

#include "platform/audio/audio_driver.h"

namespace tarnwick::sound {

// Full scale is 1.0. Integers are rounded to the nearest and clamped, not-a-number becomes 0; floats pass unchanged.
// `type` is one of the k...LSB / k...MSB numbers; any other is a 32-bit integer in the machine's order.
void EncodeSamples(int32_t type, const float* from, void* to, int32_t frames);
void DecodeSamples(int32_t type, const void* from, float* to, int32_t frames);

}  // namespace tarnwick::sound
