#include "sound/sample_format.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "platform/audio/audio_driver.h"
#include "sound/block_ops.h"

namespace tarnwick::sound {
namespace {

using namespace platform;

static_assert(std::endian::native == std::endian::little, "the little-endian sample types are read as native ones");

int32_t roundTo(float value, double scale, double least, double most) noexcept {
  if (!(value == value)) {
    return 0;
  }
  return static_cast<int32_t>(std::clamp(std::nearbyint(static_cast<double>(value) * scale), least, most));
}

// One type: its width, and how one sample is read and written.
struct Int16Little {
  static constexpr int32_t kBytes = 2;
  static float read(const uint8_t* p) noexcept {
    int16_t v;
    std::memcpy(&v, p, sizeof v);
    return static_cast<float>(v) * (1.0f / 32768.0f);
  }
  static void write(uint8_t* p, float value) noexcept {
    const auto v = static_cast<int16_t>(roundTo(value, 32768.0, -32768.0, 32767.0));
    std::memcpy(p, &v, sizeof v);
  }
};

struct Int16Big {
  static constexpr int32_t kBytes = 2;
  static float read(const uint8_t* p) noexcept {
    const uint8_t swapped[2] = {p[1], p[0]};
    return Int16Little::read(swapped);
  }
  static void write(uint8_t* p, float value) noexcept {
    uint8_t little[2];
    Int16Little::write(little, value);
    p[0] = little[1];
    p[1] = little[0];
  }
};

struct Int24Little {
  static constexpr int32_t kBytes = 3;
  static float read(const uint8_t* p) noexcept {
    const auto raw = static_cast<uint32_t>(p[0] << 8 | p[1] << 16) | static_cast<uint32_t>(p[2]) << 24;
    return static_cast<float>(static_cast<int32_t>(raw) >> 8) * (1.0f / 8388608.0f);
  }
  static void write(uint8_t* p, float value) noexcept {
    const auto v = static_cast<uint32_t>(roundTo(value, 8388608.0, -8388608.0, 8388607.0));
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
    p[2] = static_cast<uint8_t>(v >> 16);
  }
};

struct Int24Big {
  static constexpr int32_t kBytes = 3;
  static float read(const uint8_t* p) noexcept {
    const uint8_t swapped[3] = {p[2], p[1], p[0]};
    return Int24Little::read(swapped);
  }
  static void write(uint8_t* p, float value) noexcept {
    uint8_t little[3];
    Int24Little::write(little, value);
    p[0] = little[2];
    p[1] = little[1];
    p[2] = little[0];
  }
};

struct Int32Native {
  static constexpr int32_t kBytes = 4;
  static float read(const uint8_t* p) noexcept {
    int32_t v;
    std::memcpy(&v, p, sizeof v);
    return static_cast<float>(v) * (1.0f / 2147483648.0f);
  }
  static void write(uint8_t* p, float value) noexcept {
    const int32_t v = roundTo(value, 2147483648.0, -2147483648.0, 2147483647.0);
    std::memcpy(p, &v, sizeof v);
  }
};

struct Float32Little {
  static constexpr int32_t kBytes = 4;
  static float read(const uint8_t* p) noexcept {
    float v;
    std::memcpy(&v, p, sizeof v);
    return v;
  }
  static void write(uint8_t* p, float value) noexcept {
    const float v = value == value ? value : 0.0f;
    std::memcpy(p, &v, sizeof v);
  }
};

struct Float64Little {
  static constexpr int32_t kBytes = 8;
  static float read(const uint8_t* p) noexcept {
    double v;
    std::memcpy(&v, p, sizeof v);
    return static_cast<float>(v);
  }
  static void write(uint8_t* p, float value) noexcept {
    const double v = value == value ? static_cast<double>(value) : 0.0;
    std::memcpy(p, &v, sizeof v);
  }
};

// Calls `use` with the type's description.
template <class Use>
auto withType(int32_t type, Use use) noexcept {
  switch (type) {
    case platform::kInt16MSB:
      return use(Int16Big{});
    case platform::kInt24MSB:
      return use(Int24Big{});
    case platform::kInt16LSB:
      return use(Int16Little{});
    case platform::kInt24LSB:
      return use(Int24Little{});
    case platform::kFloat32LSB:
      return use(Float32Little{});
    case platform::kFloat64LSB:
      return use(Float64Little{});
    default:
      return use(Int32Native{});
  }
}

}  // namespace

float ReadSample(int32_t type, const void* buffer, int32_t k) noexcept {
  return withType(type, [&](auto format) {
    return format.read(static_cast<const uint8_t*>(buffer) + static_cast<size_t>(k) * format.kBytes);
  });
}

void WriteSample(int32_t type, void* buffer, int32_t k, float value) noexcept {
  withType(type, [&](auto format) {
    format.write(static_cast<uint8_t*>(buffer) + static_cast<size_t>(k) * format.kBytes, value);
  });
}

void ReadBlock(int32_t type, const void* buffer, float* out, int32_t n) noexcept {
  if (type == platform::kFloat32LSB) {
    std::memcpy(out, buffer, static_cast<size_t>(n) * sizeof(float));
    return;
  }
  withType(type, [&](auto format) {
    const auto* p = static_cast<const uint8_t*>(buffer);
    for (int32_t k = 0; k < n; ++k, p += format.kBytes) {
      out[k] = format.read(p);
    }
  });
}

void ClearBlock(int32_t type, void* buffer, int32_t n) noexcept {
  // Silence is all zero bytes in every type.
  std::memset(buffer, 0, static_cast<size_t>(n) * static_cast<size_t>(platform::BytesPerSample(type)));
}

void AddBlock(int32_t type, void* buffer, const float* in, int32_t n) noexcept {
  if (type == platform::kFloat32LSB) {
    AddClampedBlock(static_cast<float*>(buffer), in, n);
    return;
  }
  withType(type, [&](auto format) {
    auto* p = static_cast<uint8_t*>(buffer);
    for (int32_t k = 0; k < n; ++k, p += format.kBytes) {
      const float sum = format.read(p) + (in[k] == in[k] ? in[k] : 0.0f);
      // The integer writers clamp to their own range; a float device is kept to full scale here.
      format.write(p, std::clamp(sum, -1.0f, 1.0f));
    }
  });
}

}  // namespace tarnwick::sound
