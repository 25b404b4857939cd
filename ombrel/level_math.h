// Base-2 logarithm and power for level arithmetic: a few multiplications instead of a library call, and the same bits
// on every system.
#pragma once

#include <bit>
#include <cstdint>

namespace tarnwick::ombrel {

// log2(x) for a positive normal x; absolute error below 1e-6. With x = 2^e * m and m in [sqrt(1/2), sqrt(2)) it is
// e + 2 / ln 2 * artanh((m - 1) / (m + 1)), the series cut after the seventh power.
inline float Log2(float x) {
  constexpr uint32_t kSqrtHalfBits = 0x3f3504f3;
  const auto bits = std::bit_cast<uint32_t>(x);
  const int32_t exponent = static_cast<int32_t>(bits - kSqrtHalfBits) >> 23;
  const auto m = std::bit_cast<float>(bits - (static_cast<uint32_t>(exponent) << 23));
  const float s = (m - 1.0F) / (m + 1.0F);
  const float s2 = s * s;
  const float series = 2.88539008F + s2 * (0.96179669F + s2 * (0.57707802F + s2 * 0.41219858F));
  return static_cast<float>(exponent) + s * series;
}

// 2^x for x in -126..126; relative error below 1e-6, and exactly 1 for 0. The whole part goes into the exponent, the
// rest (-0.5..0.5) through the Taylor series of e^(x ln 2).
inline float Exp2(float x) {
  const auto whole = static_cast<int32_t>(x + (x < 0.0F ? -0.5F : 0.5F));
  const float f = x - static_cast<float>(whole);
  const float series =
      1.0F + f * (0.69314718F +
                  f * (0.24022651F + f * (0.05550411F + f * (0.00961813F + f * (0.00133336F + f * 0.00015404F)))));
  return std::bit_cast<float>(static_cast<uint32_t>(whole + 127) << 23) * series;
}

}  // namespace tarnwick::ombrel
