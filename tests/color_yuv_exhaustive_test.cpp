// SPDX-License-Identifier: Apache-2.0
// Every triple of samples through the decoders and every colour through the encoders, with every
// matrix, at every level. A quick run takes a part of them.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>

#include "color_formats.h"
#include "color_yuv_reference.h"
#include "cpu/x86/cvt_color/cvt_color_yuv_avx.h"
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
constexpr Pair kPairs[] = {{TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_NV12},
                           {TAVIX_PIX_FMT_RGBA32, TAVIX_PIX_FMT_NV21},
                           {TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_I420},
                           {TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_YV12}};

// Values of the outermost loop: all of them, or some with both ends.
std::vector<int> outer_values() {
  std::vector<int> values;
  for (int v = 0; v < 256; v += by_effort(1, 51)) values.push_back(v);
  return values;
}

bool interleaved(int32_t format) {
  return is_semi_planar(format);
}

void every_level(const std::function<void()> &run) {
  const ScopedWorkers one(1);
  for (const module::CpuLevel level : levels()) {
    SCOPED_TRACE(name_of(level));
    const ScopedLevel scoped(level);
    run();
  }
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

// The frames of one pair of formats.
struct Case {
  Pair pair;
  Frame packed, yuv, expected;
};

// expected_format picks the side that is written.
std::vector<Case> make_cases(int32_t width, int32_t height, int32_t Pair::*expected_format) {
  std::vector<Case> cases;
  for (const Pair &pair : kPairs)
    cases.push_back({pair, make_frame(pair.packed, width, height),
                     make_frame(pair.yuv, width, height),
                     make_frame(pair.*expected_format, width, height)});
  return cases;
}

bool has_alpha(const Case &c) {
  return c.packed->video.channels == 4;
}

template <class Job, class Planes, class Weights>
void run(void (*convert)(const Job &), const TavixFrameV2 &packed, const Planes &planes,
         const Weights &weights) {
  const TavixVideoInfo &video = packed.video;
  convert({{packed.data[0], packed.linesize[0], video.channels},
           planes,
           video.width,
           video.height,
           weights});
}

void decode(const Case &c, int matrix) {
  const auto planes = module::yuv_planes<const uint8_t>(*c.yuv);
  const module::YuvToRgbWeights weights(module::ColorMatrix(matrix), is_r_first(c.pair.packed),
                                        planes.v_first);
  const auto convert = interleaved(c.pair.yuv) ? module::NV122BGR
                       : has_alpha(c)          ? module::YV122BGRA
                                               : module::YV122BGR;
  run(convert, *c.packed, planes, weights);
}

void encode(const Case &c, int matrix) {
  const auto planes = module::yuv_planes<uint8_t>(*c.yuv);
  const module::RgbToYuvWeights weights(module::ColorMatrix(matrix), is_r_first(c.pair.packed),
                                        planes.v_first);
  const auto convert = interleaved(c.pair.yuv)
                           ? (has_alpha(c) ? module::BGRA2NV12Avx : module::BGR2NV12Avx)
                           : (has_alpha(c) ? module::BGRA2YV12Avx : module::BGR2YV12Avx);
  run(convert, *c.packed, planes, weights);
}

// Converts at every level into a frame that shows what is not written, and compares.
void check(const Case &c, const TavixFrameV2 &dst, int matrix, int outer,
           void (*convert)(const Case &c, int matrix)) {
  SCOPED_TRACE(::testing::Message()
               << "matrix " << matrix << ", " << format_name(c.pair.packed) << " and "
               << format_name(c.pair.yuv) << ", outer value " << outer);
  every_level([&] {
    std::memset(dst.data[0], 7, size_t(dst.linesize[0]) * size_t(dst.video.height));
    convert(c, matrix);
    expect_same(*c.expected, dst);
  });
}

// A picture for each V: columns of blocks run through U, rows of blocks through Y, four at a time.
TEST(ColorYuvExhaustive, EveryTripleThroughTheDecoders) {
  constexpr int32_t kWidth = 512, kHeight = 128;
  const auto luma_at = [](int x, int y) { return y / 2 * 4 + y % 2 * 2 + x % 2; };
  const std::vector<Case> cases = make_cases(kWidth, kHeight, &Pair::packed);
  std::vector<std::array<int, 3>> pixels(kWidth * kHeight);
  for (const int v : outer_values()) {
    for (const Case &c : cases) {
      for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
          luma_of(*c.yuv, x, y) = uint8_t(luma_at(x, y));
          u_of(*c.yuv, x / 2, y / 2) = uint8_t(x / 2);
          v_of(*c.yuv, x / 2, y / 2) = uint8_t(v);
          if (has_alpha(c)) channel_of(*c.expected, x, y, 3) = 255;
        }
      }
    }
    for (int matrix = 0; matrix < module::kColorMatrices; ++matrix) {
      for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
          pixels[y * kWidth + x] =
              reference_pixel(kReferenceInverse[matrix], luma_at(x, y), x / 2, v);
      for (const Case &c : cases) {
        for (int y = 0; y < kHeight; ++y)
          for (int x = 0; x < kWidth; ++x)
            for (int k = 0; k < 3; ++k)
              channel_of(*c.expected, x, y, k) = uint8_t(pixels[y * kWidth + x][k]);
        check(c, *c.packed, matrix, v, decode);
        if (::testing::Test::HasFailure()) return;
      }
    }
  }
}

// A picture for each R: a block of one colour for each G and B, so that its mean is the colour.
TEST(ColorYuvExhaustive, EveryColorThroughTheEncoders) {
  constexpr int32_t kSize = 512;
  const std::vector<Case> cases = make_cases(kSize, kSize, &Pair::yuv);
  struct Block {
    uint8_t y, u, v;
  };
  std::vector<Block> blocks(256 * 256);
  for (const int r : outer_values()) {
    for (const Case &c : cases) {
      for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
          channel_of(*c.packed, x, y, 0) = uint8_t(r);
          channel_of(*c.packed, x, y, 1) = uint8_t(y / 2);
          channel_of(*c.packed, x, y, 2) = uint8_t(x / 2);
        }
      }
    }
    for (int matrix = 0; matrix < module::kColorMatrices; ++matrix) {
      const ReferenceForward &m = kReferenceForward[matrix];
      for (int g = 0; g < 256; ++g)
        for (int b = 0; b < 256; ++b)
          blocks[g * 256 + b] = {uint8_t(reference_luma(m, r, g, b)),
                                 uint8_t(reference_chroma(m.u, r, g, b)),
                                 uint8_t(reference_chroma(m.v, r, g, b))};
      for (const Case &c : cases) {
        for (int g = 0; g < 256; ++g) {
          for (int b = 0; b < 256; ++b) {
            const Block &block = blocks[g * 256 + b];
            for (int i = 0; i < 4; ++i)
              luma_of(*c.expected, 2 * b + i % 2, 2 * g + i / 2) = block.y;
            u_of(*c.expected, b, g) = block.u;
            v_of(*c.expected, b, g) = block.v;
          }
        }
        check(c, *c.yuv, matrix, r, encode);
        if (::testing::Test::HasFailure()) return;
      }
    }
  }
}

}  // namespace
}  // namespace tavix::test
