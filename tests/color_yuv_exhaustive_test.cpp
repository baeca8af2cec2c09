// SPDX-License-Identifier: Apache-2.0
// Every triple of samples through the decoders and every colour through the encoders, with every
// matrix, on both paths. A quick run takes a part of them.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "color_yuv_reference.h"
#include "cpu/tavix_cvt_color/yuv_drivers.h"
#include "support/compare.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/core/services.h"

namespace tavix::test {
namespace {

struct FrameDeleter {
  void operator()(TavixFrameV2 *frame) const { TavixFrameFreeV2(frame); }
};
using Frame = std::unique_ptr<TavixFrameV2, FrameDeleter>;

Frame make_frame(int32_t format, int32_t width, int32_t height) {
  return Frame(TavixVideoFrameAllocV2(format, TAVIX_MEMORY_HOST, width, height, 0, 1));
}

// One pair for each combination of channels and chroma layout, all orders among them.
struct Pair {
  int32_t packed, yuv;
};
constexpr Pair kPairs[] = {{1, 7}, {5, 8}, {0, 10}, {4, 9}};

// Values of the outermost loop: all of them, or some with both ends.
std::vector<int> outer_values() {
  std::vector<int> values;
  for (int v = 0; v < 256; v += by_effort(1, 51)) values.push_back(v);
  return values;
}

// Runs every matrix, up to the first that fails.
void each_matrix(const Pair &pair, int value, const std::function<void(int matrix)> &run) {
  for (int matrix = 0; matrix < module::kColorMatrices; ++matrix) {
    SCOPED_TRACE(::testing::Message() << "matrix " << matrix << ", formats " << pair.packed
                                      << " and " << pair.yuv << ", outer value " << value);
    run(matrix);
    if (::testing::Test::HasFailure()) return;
  }
}

bool interleaved(int32_t format) { return format == 7 || format == 8; }

// Runs on the portable and, where there is one, the vector path.
void both_paths(const std::function<void()> &run) {
  const ScopedWorkers one(1);
  if (module::use_avx2()) run();
  const WithoutAvx2 portable;
  run();
}

// The address of a colour channel: 0, 1, 2 for R, G, B, and 3 for alpha.
uint8_t &channel_of(const TavixFrameV2 &frame, int x, int y, int channel) {
  const int at = channel == 3 || is_r_first(frame.video.format) ? channel : 2 - channel;
  return frame.data[0][frame.linesize[0] * y + x * frame.video.channels + at];
}

// Frames are packed: planes are compared as a whole, and only a failure looks for its place.
void expect_same(const TavixFrameV2 &expected, const TavixFrameV2 &actual) {
  const auto shapes = plane_shapes(expected.video);
  for (size_t p = 0; p < shapes.size(); ++p) {
    const size_t bytes = size_t(shapes[p].rows) * size_t(shapes[p].row_bytes);
    if (std::memcmp(expected.data[p], actual.data[p], bytes) != 0)
      FAIL() << same_pixels(expected, actual).message();
  }
}

// A picture for each V: columns of blocks run through U, rows of blocks through Y, four at a time.
TEST(ColorYuvExhaustive, EveryTripleThroughTheDecoders) {
  constexpr int32_t kWidth = 512, kHeight = 128;
  for (const Pair &pair : kPairs) {
    const Frame src = make_frame(pair.yuv, kWidth, kHeight);
    const Frame dst = make_frame(pair.packed, kWidth, kHeight);
    const Frame expected = make_frame(pair.packed, kWidth, kHeight);
    const bool four = dst->video.channels == 4;
    for (const int v : outer_values()) {
      for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
          luma_of(*src, x, y) = uint8_t(y / 2 * 4 + y % 2 * 2 + x % 2);
          u_of(*src, x / 2, y / 2) = uint8_t(x / 2);
          v_of(*src, x / 2, y / 2) = uint8_t(v);
          if (four) channel_of(*expected, x, y, 3) = 255;
        }
      }
      each_matrix(pair, v, [&](int matrix) {
        for (int y = 0; y < kHeight; ++y) {
          for (int x = 0; x < kWidth; ++x) {
            int rgb[3];
            reference_pixel(kReferenceInverse[matrix], luma_of(*src, x, y), x / 2, v, rgb);
            for (int k = 0; k < 3; ++k) channel_of(*expected, x, y, k) = uint8_t(rgb[k]);
          }
        }
        const auto planes = module::yuv_planes<const uint8_t>(*src);
        const module::YuvToRgbWeights weights(module::kYuvToRgb[matrix], is_r_first(pair.packed),
                                              planes.v_first);
        const auto convert = interleaved(pair.yuv) ? module::NV122BGR
                             : four                ? module::YV122BGRA
                                                   : module::YV122BGR;
        both_paths([&] {
          std::memset(dst->data[0], 7, size_t(dst->linesize[0]) * kHeight);
          convert({{dst->data[0], dst->linesize[0], dst->video.channels},
                   planes,
                   kWidth,
                   kHeight,
                   weights});
          expect_same(*expected, *dst);
        });
      });
      if (::testing::Test::HasFailure()) return;
    }
  }
}

// A picture for each R: a block of one colour for each G and B, so that its mean is the colour.
TEST(ColorYuvExhaustive, EveryColorThroughTheEncoders) {
  constexpr int32_t kSize = 512;
  for (const Pair &pair : kPairs) {
    const Frame src = make_frame(pair.packed, kSize, kSize);
    const Frame dst = make_frame(pair.yuv, kSize, kSize);
    const Frame expected = make_frame(pair.yuv, kSize, kSize);
    const bool four = src->video.channels == 4;
    for (const int r : outer_values()) {
      for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
          channel_of(*src, x, y, 0) = uint8_t(r);
          channel_of(*src, x, y, 1) = uint8_t(y / 2);
          channel_of(*src, x, y, 2) = uint8_t(x / 2);
        }
      }
      each_matrix(pair, r, [&](int matrix) {
        const ReferenceForward &m = kReferenceForward[matrix];
        for (int g = 0; g < 256; ++g) {
          for (int b = 0; b < 256; ++b) {
            const uint8_t luma = uint8_t(reference_luma(m, r, g, b));
            for (int i = 0; i < 4; ++i) luma_of(*expected, 2 * b + i % 2, 2 * g + i / 2) = luma;
            u_of(*expected, b, g) = uint8_t(reference_chroma(m.u, r, g, b));
            v_of(*expected, b, g) = uint8_t(reference_chroma(m.v, r, g, b));
          }
        }
        const auto planes = module::yuv_planes<uint8_t>(*dst);
        const module::RgbToYuvWeights weights(module::kRgbToYuv[matrix], is_r_first(pair.packed),
                                              planes.v_first);
        const auto convert =
            interleaved(pair.yuv) ? (four ? module::BGRA2NV12Avx : module::BGR2NV12Avx)
                                  : (four ? module::BGRA2YV12Avx : module::BGR2YV12Avx);
        both_paths([&] {
          std::memset(dst->data[0], 7, size_t(kSize) * kSize);
          convert({{src->data[0], src->linesize[0], src->video.channels},
                   planes,
                   kSize,
                   kSize,
                   weights});
          expect_same(*expected, *dst);
        });
      });
      if (::testing::Test::HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace tavix::test
