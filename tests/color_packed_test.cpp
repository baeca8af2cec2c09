// SPDX-License-Identifier: Apache-2.0
// Packed conversions against a reference that goes channel by channel, by name.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "color_formats.h"
#include "color_packed_reference.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/guarded_frame.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu/color.h"

namespace tavix::test {
namespace {

// Floats around what 8-bit conversion looks at: values of 0 to 1 and a little beyond, the halves
// between two 8-bit values and their neighbours, and what is no ordinary number.
float interesting_float(Fill fill, Random &random) {
  if (fill == Fill::extremes || fill == Fill::specials) return fill_value<float>(fill, random);
  if (fill == Fill::zeros || fill == Fill::full) return fill == Fill::full ? 1.0f : -0.0f;
  if (fill == Fill::noise) return float(random.below(1400001) - 200000) * 1e-6f;
  const float half = (float(random.below(258) - 1) + 0.5f) / 255.0f;
  const int side = random.below(3) - 1;
  return side == 0 ? half : std::nextafterf(half, float(side) * 4.0f);
}

void fill_frame(GuardedFrame &frame, Fill fill, uint64_t seed) {
  if (!is_float_format(frame->video.format)) return frame.fill(fill, seed);
  Random random(seed);
  const int32_t n = frame->video.width * frame->video.channels;
  for (int32_t y = 0; y < frame->video.height; ++y)
    for (int32_t i = 0; i < n; ++i) frame.set<float>(i, y, interesting_float(fill, random));
}

void expect_reference(const GuardedFrame &src, int32_t format, const FrameLayout &layout,
                      int32_t channels, bool avx2) {
  SCOPED_TRACE(::testing::Message()
               << conversion_name(src->video.format, format) << ", " << layout);
  const FrameShape shape{format, src->video.width, src->video.height, channels};
  GuardedFrame expected(shape), actual(shape, layout);
  PackedReference(src, avx2).convert(expected);
  const bool empty = src->video.width == 0 || src->video.height == 0;
  EXPECT_EQ(
      TavixFrameConvertColorByCPU(src, actual),
      empty && refuses_empty(src->video.format, format) ? TAVIX_ERROR_INVALID_PARAM : TAVIX_OK);
  EXPECT_TRUE(same_pixels(*expected, *actual));
  EXPECT_TRUE(src.intact() && actual.intact());
}

TEST(PackedConversion, EveryPairOverSizesLayoutsAndFills) {
  for_each_path([](const Path &path) {
    sweep({.formats = kPackedFormats, .widths = numbers(0, 130)}, 1500, [&](const SweepCase &c) {
      // A pixel of a three-channel format may take four elements, on either side.
      const bool wide_src = c.seed % 5 == 0, wide_dst = c.seed % 7 == 0;
      FrameShape shape = c.shape;
      if (wide_src && channels_of(shape.format) == 3) shape.channels = 4;
      GuardedFrame src(shape, c.layout);
      fill_frame(src, c.fill, c.seed);
      src->video.color_space = int32_t(c.seed % 12) - 1;
      for (const int32_t format : kPackedFormats) {
        if (format == shape.format) continue;
        const FrameLayout &layout = kLayouts[(c.seed / 3 + uint64_t(format)) % std::size(kLayouts)];
        expect_reference(src, format, layout, wide_dst && channels_of(format) == 3 ? 4 : 0,
                         path.vector);
      }
    });
  });
  core_double().take_logs();
}

// Of a frame without pixels no other field need make sense.
TEST(PackedConversion, AnyNumberOfChannelsWithoutPixels) {
  for_each_path([](const Path &path) {
    if (path.workers > 1) return;
    for (const int32_t from : kPackedFormats)
      for (const int32_t to : kPackedFormats)
        for (const int32_t channels : {INT32_MIN, -5, -1, 0, 1, 2, 5, 1 << 20, INT32_MAX}) {
          if (from == to || refuses_empty(from, to)) continue;
          GuardedFrame src({from, 4, 2}), dst({to, 4, 2});
          src->video.channels = dst->video.channels = channels;
          src->video.height = 0;
          EXPECT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK) << from << " -> " << to;
          EXPECT_TRUE(src.intact() && dst.intact());
        }
  });
}

TEST(PackedConversion, EveryPairAtEveryWidth) {
  for_each_path([](const Path &path) {
    if (path.workers > 1) return;
    for (const int32_t from : kPackedFormats) {
      for (int32_t width = 1; width <= 130; width += by_effort(1, 9)) {
        GuardedFrame src({from, width, 2}, {.pad = width % 3});
        fill_frame(src, width % 2 == 0 ? Fill::noise : Fill::halves, uint64_t(width));
        for (const int32_t to : kPackedFormats)
          if (from != to) expect_reference(src, to, {}, 0, path.vector);
        ASSERT_FALSE(HasFailure()) << format_name(from) << ", width " << width;
      }
    }
  });
}

// Strips of the portable rows end in the middle of these.
TEST(PackedConversion, LongRows) {
  for_each_path([](const Path &path) {
    if (path.workers > 1) return;
    for (const int32_t from : kPackedFormats) {
      GuardedFrame src({from, 2100, 1});
      fill_frame(src, Fill::noise, 11);
      for (const int32_t to : kPackedFormats)
        if (from != to) expect_reference(src, to, {}, 0, path.vector);
    }
  });
}

TEST(PackedConversion, LargeFrames) {
  for_each_path([](const Path &path) {
    for (const int32_t from : kPackedFormats) {
      GuardedFrame src({from, by_effort(643, 259), by_effort(121, 33)}, {.pad = 5, .shift = 1});
      fill_frame(src, Fill::noise, 7);
      for (const int32_t to : kPackedFormats)
        if (from != to) expect_reference(src, to, {.pad = 3}, 0, path.vector);
    }
  });
}

TEST(PackedConversion, InPlaceWherePixelsKeepTheirSize) {
  for_each_path([](const Path &path) {
    for (const auto &[from, to] : {std::pair{TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGR24},
                                   {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_RGB24},
                                   {TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGBA32},
                                   {TAVIX_PIX_FMT_RGBA32, TAVIX_PIX_FMT_BGRA32},
                                   {TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGRF32},
                                   {TAVIX_PIX_FMT_BGRAF32, TAVIX_PIX_FMT_RGBAF32}}) {
      for (int32_t width = 1; width <= 70; ++width) {
        GuardedFrame frame({from, width, 3}, {.pad = 2}), expected({to, width, 3});
        fill_frame(frame, Fill::noise, uint64_t(width));
        PackedReference(frame, path.vector).convert(expected);
        TavixFrameV2 same = *frame;
        same.video.format = to;
        EXPECT_EQ(TavixFrameConvertColorByCPU(frame, &same), TAVIX_OK);
        EXPECT_TRUE(same_pixels(*expected, same))
            << conversion_name(from, to) << ", width " << width;
        EXPECT_TRUE(frame.intact());
      }
    }
  });
}

// All colours, in rows of one red and 64 greens; a quick run takes one red in 15.
TEST(PackedConversion, GreyOfEveryColour) {
  for_each_path([](const Path &path) {
    if (path.workers > 1) return;
    for (const int32_t from : kByteColors) {
      GuardedFrame src({from, 256 * 64, 4}), expected({2, 256 * 64, 4}), actual({2, 256 * 64, 4});
      const std::string names = channel_names(src->video);
      for (int red = 0; red < 256; red += by_effort(1, 15)) {
        for (int32_t y = 0; y < 4; ++y) {
          for (int32_t x = 0; x < 256 * 64; ++x) {
            uint8_t *pixel = src.row(y) + size_t(x) * names.size();
            pixel[names.find('R')] = uint8_t(red);
            pixel[1] = uint8_t(y * 64 + x / 256);
            pixel[names.find('B')] = uint8_t(x);
            if (names.size() == 4) pixel[3] = uint8_t(x * 7);
          }
        }
        ASSERT_EQ(TavixFrameConvertColorByCPU(src, actual), TAVIX_OK);
        for (int32_t y = 0; y < 4; ++y) {
          for (int32_t x = 0; x < 256 * 64; ++x) {
            const int g = y * 64 + x / 256, b = x % 256;
            const double sum = double(g) * 0.587 + double(red) * 0.299 + double(b) * 0.114;
            const int gray = path.vector ? (77 * red + 150 * g + 29 * b + 128) >> 8 : int(sum);
            ASSERT_EQ(actual.row(y)[x], gray)
                << format_name(from) << ": " << red << ", " << g << ", " << b;
          }
        }
      }
    }
  });
}

// Floats in steps that visit every binade and many neighbours of halves.
TEST(PackedConversion, BytesOfFloatsAcrossTheirRange) {
  for_each_path([](const Path &path) {
    if (path.workers > 1) return;
    constexpr int32_t kWidth = 4099;  // 512 vectors and 3 pixels
    const uint32_t step = uint32_t(by_effort(1021, 20011));
    GuardedFrame src({TAVIX_PIX_FMT_RGBF32, kWidth, 1}), expected({TAVIX_PIX_FMT_RGB24, kWidth, 1}),
        actual({TAVIX_PIX_FMT_RGB24, kWidth, 1});
    uint32_t bits = 0;
    for (bool wrapped = false; !wrapped;) {
      for (int32_t i = 0; i < 3 * kWidth; ++i) {
        src.set(i, 0, std::bit_cast<float>(bits));
        wrapped |= bits + step < bits;
        bits += step;
      }
      PackedReference(src, path.vector).convert(expected);
      ASSERT_EQ(TavixFrameConvertColorByCPU(src, actual), TAVIX_OK);
      ASSERT_TRUE(same_pixels(*expected, *actual));
    }
  });
}

// A frame of one row.
GuardedFrame row_of(int32_t format, const std::vector<uint8_t> &elements) {
  GuardedFrame frame({format, int32_t(elements.size()) / channels_of(format), 1});
  for (size_t i = 0; i < elements.size(); ++i) frame.set(int64_t(i), 0, elements[i]);
  return frame;
}

std::vector<uint8_t> converted(const GuardedFrame &src, int32_t format) {
  GuardedFrame dst({format, src->video.width, src->video.height});
  EXPECT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK);
  return dst.payload();
}

// Which path ran: the two are meant to differ here.
TEST(PackedConversionPaths, GreyIsTruncatedWithoutAvx2) {
  for_each_path([](const Path &path) {
    const auto grays = [](const GuardedFrame &src) { return converted(src, TAVIX_PIX_FMT_GRAY8); };
    const GuardedFrame rgb = row_of(TAVIX_PIX_FMT_RGB24, {1, 1, 1, 2, 2, 2, 4, 4, 4, 3, 3, 3});
    const GuardedFrame bgra =
        row_of(TAVIX_PIX_FMT_BGRA32, {1, 1, 1, 9, 2, 2, 2, 9, 4, 4, 4, 9, 3, 3, 3, 9});
    const std::vector<uint8_t> expected =
        path.vector ? std::vector<uint8_t>{1, 2, 4, 3} : std::vector<uint8_t>{0, 1, 3, 3};
    EXPECT_EQ(grays(rgb), expected);
    EXPECT_EQ(grays(bgra), expected);
  });
}

TEST(PackedConversionPaths, GreyDoesNotDependOnColourSpace) {
  for_each_path([](const Path &path) {
    GuardedFrame src = row_of(TAVIX_PIX_FMT_RGB24, {255, 0, 0});
    for (const int32_t color_space : {0, 1, 7}) {
      src->video.color_space = color_space;
      EXPECT_EQ(converted(src, TAVIX_PIX_FMT_GRAY8)[0], path.vector ? 77 : 76);
    }
  });
}

std::vector<uint8_t> bytes_of(int32_t width, float value) {
  GuardedFrame src({TAVIX_PIX_FMT_RGBF32, width, 1});
  for (int32_t i = 0; i < 3 * width; ++i) src.set(i, 0, value);
  return converted(src, TAVIX_PIX_FMT_RGB24);
}

TEST(PackedConversionPaths, HalvesGoToEvenInVectorsOfEightAndUpElsewhere) {
  const float half = 0.5f / 255.0f;
  ASSERT_EQ(half * 255.0f, 0.5f);
  for_each_path([&](const Path &path) {
    EXPECT_EQ(bytes_of(7, half), std::vector<uint8_t>(21, 1));
    std::vector<uint8_t> expected(9 * 3, 1);
    if (path.vector) std::fill_n(expected.begin(), 8 * 3, uint8_t(0));
    EXPECT_EQ(bytes_of(9, half), expected);
  });
}

// The sum with 0.5 is rounded to single precision before it is truncated: one value below a half
// goes up with the halves.
TEST(PackedConversionPaths, LargestFloatBelowAHalf) {
  float v = 0.5f / 255.0f;
  while (v * 255.0f >= 0.5f) v = std::nextafterf(v, 0.0f);
  ASSERT_EQ(v * 255.0f, 0x1.fffffep-2f);
  for_each_path([&](const Path &path) {
    EXPECT_EQ(bytes_of(1, v)[0], 1);
    EXPECT_EQ(bytes_of(8, v)[0], path.vector ? 0 : 1);
  });
}

TEST(PackedConversionPaths, BytesAreDividedInRowsBelowEightAndMultipliedInOthers) {
  ASSERT_NE(3.0f * 0.003921569f, 3.0f / 255.0f);
  for_each_path([](const Path &path) {
    for (const int32_t width : {7, 8, 11}) {
      const GuardedFrame src = row_of(TAVIX_PIX_FMT_GRAY8, std::vector<uint8_t>(size_t(width), 3));
      GuardedFrame dst({TAVIX_PIX_FMT_RGBAF32, width, 1});
      ASSERT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK);
      const float expected = path.vector && width >= 8 ? 3.0f * 0.003921569f : 3.0f / 255.0f;
      for (int32_t x = 0; x < width; ++x) {
        EXPECT_EQ(dst.get<float>(4 * x + 2, 0), expected) << "width " << width << ", pixel " << x;
        EXPECT_EQ(dst.get<float>(4 * x + 3, 0), 1.0f);
      }
    }
  });
}

TEST(PackedConversion, SaturationAndNotANumber) {
  const float inf = std::numeric_limits<float>::infinity();
  for_each_path([&](const Path &) {
    for (const int32_t width : {1, 8}) {
      const auto byte_of = [width](float v) { return bytes_of(width, v)[0]; };
      EXPECT_EQ(byte_of(1.0f), 255);
      EXPECT_EQ(byte_of(1.5f), 255);
      EXPECT_EQ(byte_of(1e38f), 255) << "the product is infinite";
      EXPECT_EQ(byte_of(inf), 255);
      EXPECT_EQ(byte_of(-0.25f), 0);
      EXPECT_EQ(byte_of(-inf), 0);
      EXPECT_EQ(byte_of(std::nanf("")), 0);
      EXPECT_EQ(byte_of(-std::nanf("")), 0);
    }
  });
}

TEST(PackedConversion, FloatsAreCopiedWithEveryBit) {
  const uint32_t patterns[] = {0x7FA00001, 0xFFC12345, 0x00000001, 0x80000000, 0x7F800000};
  for_each_path([&](const Path &) {
    GuardedFrame src({TAVIX_PIX_FMT_RGBF32, 11, 1}), dst({TAVIX_PIX_FMT_BGRAF32, 11, 1});
    for (int32_t i = 0; i < 33; ++i) src.set(i, 0, patterns[i % 5]);
    ASSERT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK);
    for (int32_t x = 0; x < 11; ++x)
      for (int32_t c = 0; c < 3; ++c)
        EXPECT_EQ(dst.get<uint32_t>(4 * x + c, 0), src.get<uint32_t>(3 * x + 2 - c, 0));
  });
}

TEST(PackedConversion, AlphaAndOrder) {
  for_each_path([](const Path &) {
    const GuardedFrame rgb = row_of(TAVIX_PIX_FMT_RGB24, {1, 2, 3}),
                       bgr = row_of(TAVIX_PIX_FMT_BGR24, {1, 2, 3}),
                       bgra = row_of(TAVIX_PIX_FMT_BGRA32, {1, 2, 3, 4});
    using Bytes = std::vector<uint8_t>;
    EXPECT_EQ(converted(rgb, TAVIX_PIX_FMT_RGBA32), (Bytes{1, 2, 3, 255}));
    EXPECT_EQ(converted(bgr, TAVIX_PIX_FMT_RGBA32), (Bytes{3, 2, 1, 255}));
    EXPECT_EQ(converted(rgb, TAVIX_PIX_FMT_BGR24), (Bytes{3, 2, 1}));
    EXPECT_EQ(converted(bgr, TAVIX_PIX_FMT_RGB24), (Bytes{3, 2, 1}));
    EXPECT_EQ(converted(bgra, TAVIX_PIX_FMT_RGBA32), (Bytes{3, 2, 1, 4}));
    EXPECT_EQ(converted(bgra, TAVIX_PIX_FMT_BGR24), (Bytes{1, 2, 3}));
    EXPECT_EQ(converted(bgra, TAVIX_PIX_FMT_RGB24), (Bytes{3, 2, 1}));
  });
}

}  // namespace
}  // namespace tavix::test
