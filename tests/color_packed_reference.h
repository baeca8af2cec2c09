// SPDX-License-Identifier: Apache-2.0
// What the packed conversions make of a frame, channel by channel, by name.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include "support/guarded_frame.h"

namespace tavix::test {

// Channels of a frame in memory order. A fourth channel of a three-channel format is an alpha.
inline std::string channel_names(const TavixVideoInfo &video) {
  static const char *const kNames[16] = {"RGB", "BGR", "Y", "",    "BGRA", "RGBA", "",     "",
                                         "",    "",    "",  "RGB", "BGR",  "RGBA", "BGRA", "Y"};
  const std::string names = kNames[video.format];
  return names.size() == 3 && video.channels == 4 ? names + 'A' : names;
}

// Rounded to an 8-bit value; where the vector loop runs, halves go to the even neighbour.
inline uint8_t rounded(float v, bool half_to_even) {
  if (!(v > 0)) return 0;
  const float clamped = std::min(v, 255.0f);
  return uint8_t(half_to_even ? std::nearbyintf(clamped) : std::floor(clamped + 0.5f));
}

struct Weights {
  float r, g, b;
};
inline Weights gray_weights(int32_t color_space) {
  if (color_space == 1) return {0.2126f, 0.7152f, 0.0722f};
  if (color_space == 7 || color_space == 8) return {0.2627f, 0.678f, 0.0593f};
  return {0.299f, 0.587f, 0.114f};
}

// What TavixFrameConvertColorByCPU makes of src, with or without AVX2.
class PackedReference {
 public:
  PackedReference(const GuardedFrame &src, bool avx2)
      : src_(src),
        from_(channel_names(src->video)),
        float_source_(is_float_format(src->video.format)),
        avx2_(avx2),
        vector_floats_(avx2 && src->video.width >= 8) {}

  void convert(GuardedFrame &dst) const {
    const std::string to = channel_names(dst->video);
    for (int32_t y = 0; y < src_->video.height; ++y)
      for (int32_t x = 0; x < src_->video.width; ++x) convert_pixel(dst, to, x, y);
  }

 private:
  void convert_pixel(GuardedFrame &dst, const std::string &to, int32_t x, int32_t y) const {
    for (int32_t c = 0; c < int32_t(to.size()); ++c) {
      const int32_t i = x * int32_t(to.size()) + c;
      if (is_float_format(dst->video.format)) {
        dst.set<float>(i, y, float_value(to[c], x, y));
      } else {
        dst.set<uint8_t>(i, y, byte_value(to[c], x, y));
      }
    }
  }

  // Grey stands for every colour; 0 says that there is no such channel.
  char source_of(char name) const {
    if (from_.size() == 1 && name != 'A') return 'Y';
    return from_.find(name) == std::string::npos ? 0 : name;
  }

  // The channel of that name in pixel x of row y.
  template <class T>
  T named(char name, int32_t x, int32_t y) const {
    return src_.get<T>(x * int32_t(from_.size()) + int32_t(from_.find(name)), y);
  }

  float float_value(char name, int32_t x, int32_t y) const {
    const char from = source_of(name);
    if (from == 0) return 1.0f;
    if (float_source_) return named<float>(from, x, y);
    const uint8_t v = named<uint8_t>(from, x, y);
    return vector_floats_ ? float(v) * 0.003921569f : float(v) / 255.0f;
  }

  uint8_t byte_value(char name, int32_t x, int32_t y) const {
    if (name == 'Y') return float_source_ ? gray_of_floats(x, y) : gray_of_bytes(x, y);
    const char from = source_of(name);
    if (from == 0) return 255;
    if (!float_source_) return named<uint8_t>(from, x, y);
    return rounded(named<float>(from, x, y) * 255.0f, in_vector_loop(x));
  }

  uint8_t gray_of_bytes(int32_t x, int32_t y) const {
    const int r = named<uint8_t>('R', x, y), g = named<uint8_t>('G', x, y),
              b = named<uint8_t>('B', x, y);
    if (avx2_) return uint8_t((77 * r + 150 * g + 29 * b + 128) / 256);
    const double rg = double(g) * 0.587 + double(r) * 0.299;
    return uint8_t(std::trunc(rg + double(b) * 0.114));
  }

  uint8_t gray_of_floats(int32_t x, int32_t y) const {
    const Weights w = gray_weights(src_->video.color_space);
    const float r = named<float>('R', x, y) * w.r, g = named<float>('G', x, y) * w.g,
                b = named<float>('B', x, y) * w.b;
    return rounded((r + g + b) * 255.0f, in_vector_loop(x));
  }

  // The loop of eight pixels; the rest of the row is done one by one.
  bool in_vector_loop(int32_t x) const { return vector_floats_ && x < src_->video.width / 8 * 8; }

  const GuardedFrame &src_;
  std::string from_;
  bool float_source_, avx2_, vector_floats_;
};

// Refused before anything else looks at it.
inline bool refuses_empty(int32_t from, int32_t to) {
  return (from <= TAVIX_PIX_FMT_BGR24 && to <= TAVIX_PIX_FMT_GRAY8) && from != to;
}

}  // namespace tavix::test
