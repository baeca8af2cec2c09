// SPDX-License-Identifier: Apache-2.0
// Portable rows of 8-bit RGB to 4:2:0.
#include <algorithm>

#include "common/numbers.h"
#include "common/row_access.h"
#include "cpu/tavix_cvt_color/channel_strip.h"
#include "cpu/tavix_cvt_color/rgb_to_yuv.h"

namespace tavix::module {

namespace {

// What 16 bits and bytes without a clamp rest on: luma weights are not negative and sum to at most
// 256, and white stays a byte with the offset.
constexpr bool luma_fits(const TavixRgbToYuvMatrix &matrix) {
  const int32_t(&y)[3] = matrix.fixed.y;
  const int32_t offset = matrix.fixed.offset;
  const int32_t sum = y[0] + y[1] + y[2];
  return y[0] >= 0 && y[1] >= 0 && y[2] >= 0 && sum <= 256 && offset >= 0 &&
         ((255 * sum + 128) >> 8) + offset <= 255;
}
static_assert(std::ranges::all_of(kRgbToYuv, luma_fits));

// Luma of one row of channels. 16 bits hold the sum and the result needs no clamp.
void luma_row_c(const ChannelStrip<uint8_t> &p, uint8_t *y, int32_t columns,
                const RgbToYuvWeights &w) {
  const uint16_t w0 = uint16_t(w.y[0]), w1 = uint16_t(w.y[1]), w2 = uint16_t(w.y[2]);
  const uint8_t offset = uint8_t(w.offset);
  TAVIX_INDEPENDENT_ITERATIONS
  for (int32_t x = 0; x < columns; ++x) {
    const uint16_t sum = uint16_t(w0 * p[0][x] + w1 * p[1][x] + w2 * p[2][x] + 128);
    y[x] = uint8_t((sum >> 8) + offset);
  }
}

// The rounded mean of the rounded means of a block's rows.
void mean_row_c(const ChannelStrip<uint8_t> &top, const ChannelStrip<uint8_t> &bottom,
                ChannelStrip<uint8_t> &mean, int32_t pairs) {
  for (int k = 0; k < 3; ++k) {
    for (int32_t i = 0; i < pairs; ++i) {
      const int32_t a = (top[k][2 * i] + top[k][2 * i + 1] + 1) >> 1;
      const int32_t b = (bottom[k][2 * i] + bottom[k][2 * i + 1] + 1) >> 1;
      mean[k][i] = uint8_t((a + b + 1) >> 1);
    }
  }
}

// Chroma of one row of means, from a pair on.
template <ChromaLayout layout>
void chroma_row_c(const ChannelStrip<uint8_t> &mean, uint8_t *const (&chroma)[2],
                  int32_t first_pair, int32_t pairs, const RgbToYuvWeights &w) {
  uint8_t samples[2][kStripColumns / 2];
  for (int i = 0; i < 2; ++i) {
    const int16_t w0 = w.chroma[i][0], w1 = w.chroma[i][1], w2 = w.chroma[i][2];
    for (int32_t p = 0; p < pairs; ++p) {
      const int32_t sum = w0 * mean[0][p] + w1 * mean[1][p] + w2 * mean[2][p] + 128;
      samples[i][p] = saturate_u8((sum >> 8) + 128);
    }
  }
  store_chroma_c<layout>(samples, chroma, first_pair, pairs);
}

struct RgbToYuvRowC {
  template <int channels, ChromaLayout layout>
  static void row(const RgbToYuvRowPair &rows, int32_t width, const RgbToYuvWeights &w) {
    ChannelStrip<uint8_t> strips[2], mean;
    for (int32_t x = 0; x < width; x += kStripColumns) {
      const int32_t columns = std::min(kStripColumns, width - x);
      for (int i = 0; i < 2; ++i) {
        split_channels_c<channels>(rows.packed[i] + int64_t(x) * channels, strips[i], columns);
        luma_row_c(strips[i], rows.y[i] + x, columns, w);
      }
      mean_row_c(strips[0], strips[1], mean, columns / 2);
      chroma_row_c<layout>(mean, rows.chroma, x / 2, columns / 2, w);
    }
  }
};

}  // namespace

constinit const RgbToYuvRows kRgbToYuvRowsC = RgbToYuvRows::of<RgbToYuvRowC>();

// Blocks whose missing pixels repeat those that are there are the portable rows' to convert.
void rgb_to_yuv_last_row_c(const RgbToYuvJob &job) {
  const int32_t channels = job.packed.channels, pairs = whole_pairs(job.width), y = job.height - 1;
  const RgbToYuvRowPair rows = job.rows(y, y, y / 2);
  RgbToYuvRow *const convert = kRgbToYuvRowsC(channels, job.yuv.layout);
  convert(rows, pairs, job.weights);
  if (pairs == job.width) return;

  const uint8_t *last = rows.packed[0] + int64_t(pairs) * channels;
  uint8_t pixels[2 * kMaxChannels], luma[2];
  for (int k = 0; k < 2 * channels; ++k) pixels[k] = last[k % channels];
  const int32_t at = job.yuv.layout == ChromaLayout::kInterleaved ? pairs : pairs / 2;
  convert({{pixels, pixels}, {luma, luma}, {rows.chroma[0] + at, rows.chroma[1] + at}}, 2,
          job.weights);
  rows.y[0][pairs] = luma[0];
}

}  // namespace tavix::module
