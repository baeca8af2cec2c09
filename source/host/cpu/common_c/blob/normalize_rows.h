// SPDX-License-Identifier: Apache-2.0
// Row kernels of the normalising conversion: (sample - mean) * scale in single precision, with a
// mean and a scale for each channel. Floats are stored as they are; bytes are clamped to 0..255 and
// rounded, halves up. NaN becomes byte 0.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <type_traits>

#include "common/frame_access.h"
#include "common/numbers.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"

namespace tavix::module {

// The parameters of the elements of a row, repeated over a whole number of pixels of 1, 2, 3 or 4
// channels and of vectors of 16 floats.
struct NormalizeParameters {
  static constexpr int kPeriod = 48;

  ParameterPattern<float, kPeriod> mean, scale;
  bool centred;  // some mean is not +0

  // norm_vals: a mean for each of four channels, then a scale for each. channels: 1 to 4.
  NormalizeParameters(const float *norm_vals, int32_t channels)
      : mean(norm_vals, channels),
        scale(norm_vals + kMaxChannels, channels),
        centred(std::any_of(norm_vals, norm_vals + channels,
                            [](float v) { return std::bit_cast<uint32_t>(v) != 0; })) {}
};

// n elements of whole pixels.
using NormalizeRow = void(const uint8_t *src, uint8_t *dst, int64_t n,
                          const NormalizeParameters &parameters);

// By source and destination: 0 bytes, 1 floats.
struct NormalizeRows {
  NormalizeRow *by_type[2][2];
};
extern const NormalizeRows kNormalizeRowsC, kNormalizeRowsAvx2, kNormalizeRowsAvx512;
const NormalizeRows &normalize_rows();

template <class Family>
consteval NormalizeRows normalize_rows_of() {
  return {{{Family::template run<uint8_t, uint8_t>, Family::template run<uint8_t, float>},
           {Family::template run<float, uint8_t>, Family::template run<float, float>}}};
}

template <class To>
inline To normalized_c(float sample, float mean, float scale) {
  const float value = (sample - mean) * scale;
  if constexpr (std::is_same_v<To, float>)
    return value;
  else
    return uint8_t(int32_t(clamp_to_byte(value) + 0.5));
}

}  // namespace tavix::module
