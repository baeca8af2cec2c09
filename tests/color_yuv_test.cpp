// SPDX-License-Identifier: Apache-2.0
// The conversions into, out of and among the 4:2:0 formats, bit for bit against a reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "color_formats.h"
#include "color_yuv_reference.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu/color.h"

namespace tavix::test {
namespace {

constexpr char kEntryUnit[] = "source/host/cpu/tavix_cvt_color";
constexpr char kDriverUnit[] = "source/host/cpu/x86/cvt_color/cvt_color_yuv_avx";

// A pair of formats as one number, so that a sweep can take it for a format.
int32_t pair_code(int32_t from, int32_t to) {
  return from * 16 + to;
}
int32_t from_of(int32_t code) {
  return code / 16;
}
int32_t to_of(int32_t code) {
  return code % 16;
}
std::string pair_name(int32_t code) {
  return conversion_name(from_of(code), to_of(code));
}
bool has_gray(int32_t code) {
  return from_of(code) == TAVIX_PIX_FMT_GRAY8 || to_of(code) == TAVIX_PIX_FMT_GRAY8;
}

// Every pair with a 4:2:0 format on one side.
std::vector<int32_t> yuv_pairs() {
  std::vector<int32_t> pairs;
  for (const int32_t yuv : kYuvFormats) {
    for (const int32_t other : kPackedFormats) {
      pairs.push_back(pair_code(other, yuv));
      pairs.push_back(pair_code(yuv, other));
    }
    for (const int32_t other : kYuvFormats)
      if (other != yuv) pairs.push_back(pair_code(yuv, other));
  }
  return pairs;
}

// Floats of colour are around 0 to 1, ties of the 8-bit result among them.
void fill_colors(GuardedFrame &frame, Fill fill, uint64_t seed) {
  frame.fill(fill, seed);
  if (!is_float_format(frame->video.format) || fill == Fill::extremes) return;
  for (int32_t y = 0; y < frame->video.height; ++y)
    for (int32_t i = 0; i < frame->video.width * frame->video.channels; ++i)
      frame.set(i, y, frame.get<float>(i, y) / (fill == Fill::halves ? 255.0f : 240.0f));
}

// One conversion into a frame of noise, compared with the reference in a frame of the same noise.
struct Conversion {
  GuardedFrame src, dst, expected;

  Conversion(int32_t code, int32_t width, int32_t height, const FrameLayout &layout = {},
             Fill fill = Fill::noise, uint64_t seed = 1)
      : src({from_of(code), width, height}, layout),
        dst({to_of(code), width, height}, layout),
        expected({to_of(code), width, height}, layout) {
    fill_colors(src, fill, seed);
    dst.fill(Fill::noise, seed + 1);
    expected.fill(Fill::noise, seed + 1);
  }

  // A colour space and range for the frame that decides, and another for the one that does not.
  void tag(int32_t space, int32_t range) {
    const bool encodes = is_yuv(to_of(code()));
    set_tags(encodes ? dst : src, space, range);
    set_tags(encodes ? src : dst, space == 1 ? 7 : 1, 2 - range);
  }

  void expect_as_reference(bool vector) {
    expected->video = dst->video;
    reference_convert(*src, *expected, vector);
    EXPECT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK);
    EXPECT_TRUE(same_pixels(*expected, *dst));
    EXPECT_TRUE(src.intact() && dst.intact());
  }

 private:
  int32_t code() const { return pair_code(src->video.format, dst->video.format); }
  static void set_tags(GuardedFrame &frame, int32_t space, int32_t range) {
    frame->video.color_space = space;
    frame->video.color_range = range;
  }
};

TEST(ColorYuv, EveryPairShapeAndLayout) {
  for_each_path([](const Path &path) {
    sweep({.formats = yuv_pairs()}, path.workers == 1 ? 30000 : 5000, [&](const SweepCase &c) {
      // Grey copies and fills padding; it has a test of its own.
      const FrameLayout layout = has_gray(c.shape.format) ? FrameLayout{} : c.layout;
      Conversion conversion(c.shape.format, c.shape.width, c.shape.height, layout, c.fill, c.seed);
      conversion.tag(int32_t(c.seed % 12) - 1, int32_t(c.seed / 12 % 4));
      conversion.expect_as_reference(path.vector);
    });
  });
}

TEST(ColorYuv, EveryPairOfTheSmallestFrames) {
  for_each_path([](const Path &path) {
    for (const int32_t code : yuv_pairs())
      for (int32_t width = 1; width <= 3; ++width)
        for (int32_t height = 1; height <= 3; ++height) {
          SCOPED_TRACE(::testing::Message() << pair_name(code) << ", " << width << 'x' << height);
          Conversion(code, width, height).expect_as_reference(path.vector);
        }
  });
}

TEST(ColorYuv, LargeFramesWithSeams) {
  for_each_path([](const Path &path) {
    for (const int32_t code : yuv_pairs()) {
      SCOPED_TRACE(pair_name(code));
      Conversion conversion(code, by_effort(325, 261), by_effort(107, 13));
      conversion.tag(code % 9, 2);
      conversion.expect_as_reference(path.vector);
    }
  });
}

// Planes of some megabytes without gaps are copied in one piece.
TEST(ColorYuv, LongCopies) {
  for_each_path([](const Path &path) {
    for (const int32_t code : {pair_code(TAVIX_PIX_FMT_NV12, TAVIX_PIX_FMT_NV21),
                               pair_code(TAVIX_PIX_FMT_I420, TAVIX_PIX_FMT_YV12),
                               pair_code(TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_I420)}) {
      SCOPED_TRACE(pair_name(code));
      Conversion conversion(code, 2310, 1818);
      conversion.expect_as_reference(path.vector);
    }
  });
}

TEST(ColorYuv, EveryMatrix) {
  for_each_path([](const Path &path) {
    for (const int32_t code : {pair_code(TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_NV12),
                               pair_code(TAVIX_PIX_FMT_RGBA32, TAVIX_PIX_FMT_YV12),
                               pair_code(TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_NV21),
                               pair_code(TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_I420),
                               pair_code(TAVIX_PIX_FMT_NV12, TAVIX_PIX_FMT_RGB24),
                               pair_code(TAVIX_PIX_FMT_YV12, TAVIX_PIX_FMT_BGRA32),
                               pair_code(TAVIX_PIX_FMT_NV21, TAVIX_PIX_FMT_RGBF32),
                               pair_code(TAVIX_PIX_FMT_I420, TAVIX_PIX_FMT_BGRAF32)}) {
      for (int32_t space = -1; space <= 10; ++space) {
        for (int32_t range = 0; range <= 3; ++range) {
          SCOPED_TRACE(::testing::Message()
                       << pair_name(code) << ", space " << space << ", range " << range);
          Conversion conversion(code, 70, 4, {}, Fill::noise, uint64_t(space * 4 + range + 9));
          conversion.tag(space, range);
          conversion.expect_as_reference(path.vector);
        }
      }
    }
  });
}

TEST(ColorYuv, RangeOfAYuvSourceHasNoEffect) {
  Conversion limited(pair_code(TAVIX_PIX_FMT_I420, TAVIX_PIX_FMT_BGR24), 64, 4),
      full(pair_code(TAVIX_PIX_FMT_I420, TAVIX_PIX_FMT_BGR24), 64, 4);
  limited.tag(1, 1), full.tag(1, 2);
  ASSERT_EQ(TavixFrameConvertColorByCPU(limited.src, limited.dst), TAVIX_OK);
  ASSERT_EQ(TavixFrameConvertColorByCPU(full.src, full.dst), TAVIX_OK);
  EXPECT_EQ(limited.dst.payload(), full.dst.payload());
}

TEST(ColorYuv, NarrowFramesAreTheSameOnBothPaths) {
  if (!module::use_avx2()) GTEST_SKIP() << "no AVX2";
  for (const int32_t code : {pair_code(TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_NV12),
                             pair_code(TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_I420)}) {
    for (int32_t width = 1; width < 32; ++width) {
      Conversion vector(code, width, 4), portable(code, width, 4);
      ASSERT_EQ(TavixFrameConvertColorByCPU(vector.src, vector.dst), TAVIX_OK);
      const WithoutAvx2 without;
      ASSERT_EQ(TavixFrameConvertColorByCPU(portable.src, portable.dst), TAVIX_OK);
      EXPECT_EQ(vector.dst.payload(), portable.dst.payload())
          << pair_name(code) << ", width " << width;
    }
  }
}

// The one difference between the paths: a block of 0, 0, 0 and 3 has mean 0 in the vector loop and
// 1 in the plain one. BT.2020 makes that U 128 and 129.
TEST(ColorYuv, BlockMeansTruncateInTheVectorLoopOnly) {
  for_each_path([](const Path &path) {
    for (const int position : {0, 1, 2, 3}) {
      GuardedFrame src({TAVIX_PIX_FMT_RGB24, 34, 2}), dst({TAVIX_PIX_FMT_NV12, 34, 2});
      src.fill(Fill::zeros, 0);
      for (int32_t x = 0; x < 34; x += 2)
        src.set<uint8_t>((x + position % 2) * 3 + 2, position / 2, 3);  // blue
      dst->video.color_space = 7;
      ASSERT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK);
      for (int32_t pair = 0; pair < 17; ++pair)
        EXPECT_EQ(dst.get<uint8_t>(2 * pair, 0, 1), path.vector && pair < 16 ? 128 : 129);
    }
  });
}

TEST(ColorYuv, AStepOfFourServesThreeChannelFormats) {
  for_each_path([](const Path &path) {
    for (const int32_t code : yuv_pairs()) {
      const int32_t from = from_of(code), to = to_of(code);
      if (channels_of(from) != 3 && channels_of(to) != 3) continue;
      SCOPED_TRACE(pair_name(code));
      GuardedFrame src({from, 71, 6, channels_of(from) == 3 ? 4 : 0});
      GuardedFrame dst({to, 71, 6, channels_of(to) == 3 ? 4 : 0});
      GuardedFrame expected({to, 71, 6, channels_of(to) == 3 ? 4 : 0});
      fill_colors(src, Fill::noise, 3);
      dst.fill(Fill::noise, 4), expected.fill(Fill::noise, 4);
      reference_convert(*src, *expected, path.vector);
      EXPECT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK);
      EXPECT_TRUE(same_pixels(*expected, *dst));
      EXPECT_TRUE(dst.intact());
    }
  });
}

TEST(ColorYuv, PlanarFramesHaveOneChromaStride) {
  for (const int32_t code : {pair_code(TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_YV12),
                             pair_code(TAVIX_PIX_FMT_I420, TAVIX_PIX_FMT_BGR24),
                             pair_code(TAVIX_PIX_FMT_NV12, TAVIX_PIX_FMT_I420),
                             pair_code(TAVIX_PIX_FMT_YV12, TAVIX_PIX_FMT_NV12),
                             pair_code(TAVIX_PIX_FMT_YV12, TAVIX_PIX_FMT_I420),
                             pair_code(TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_YV12),
                             pair_code(TAVIX_PIX_FMT_YV12, TAVIX_PIX_FMT_RGBAF32)}) {
    SCOPED_TRACE(pair_name(code));
    Conversion conversion(code, 66, 6);
    conversion.src->linesize[2] = conversion.dst->linesize[2] = 12345;
    reference_convert(*conversion.src, *conversion.expected, module::use_avx2());
    EXPECT_EQ(TavixFrameConvertColorByCPU(conversion.src, conversion.dst), TAVIX_OK);
    EXPECT_EQ(conversion.expected.payload(), conversion.dst.payload());
  }
}

// Frames in buffers of their own, with room for whole strides of padding.
struct RoomyFrame {
  std::vector<uint8_t> bytes;
  TavixFrameV2 frame = {};

  RoomyFrame(int32_t format, int32_t width, int32_t height, const std::vector<int32_t> &strides,
             uint8_t start) {
    const int32_t rows = height + 2;
    size_t total = 0;
    for (const int32_t stride : strides) total += size_t(stride) * size_t(rows);
    bytes.resize(total);
    Random random(start);
    std::generate(bytes.begin(), bytes.end(), [&] { return uint8_t(random.next()); });
    frame.video = {1, width, height, format, 0, 0};
    size_t offset = 0;
    for (size_t p = 0; p < strides.size(); ++p) {
      frame.data[p] = bytes.data() + offset;
      frame.linesize[p] = strides[p];
      offset += size_t(strides[p]) * size_t(rows);
    }
  }
};

std::vector<int32_t> strides_of(int32_t format, int32_t luma, int32_t chroma) {
  if (format == TAVIX_PIX_FMT_GRAY8) return {luma};
  if (format <= TAVIX_PIX_FMT_NV21) return {luma, chroma};
  return {luma, chroma, chroma};
}

TEST(ColorYuv, GreyFillsAndCopiesPadding) {
  for_each_path([](const Path &path) {
    for (const int32_t yuv : kYuvFormats) {
      for (const bool encodes : {true, false}) {
        for (const int32_t width : {1, 2, 7, 64}) {
          for (const int32_t height : {0, 1, 2, 5, 20}) {
            for (const int32_t pad : {0, 1, 9}) {
              for (const int32_t other_pad : {0, 9}) {
                const int32_t from = encodes ? 2 : yuv, to = encodes ? yuv : 2;
                const auto make = [&](int32_t format, int32_t format_pad, uint8_t start) {
                  return RoomyFrame(format, width, height,
                                    strides_of(format, width + format_pad, width + 1 + format_pad),
                                    start);
                };
                RoomyFrame src = make(from, pad, 1), dst = make(to, other_pad, 2);
                RoomyFrame expected = make(to, other_pad, 2);
                reference_convert(src.frame, expected.frame, path.vector);
                ASSERT_EQ(TavixFrameConvertColorByCPU(&src.frame, &dst.frame), TAVIX_OK);
                ASSERT_EQ(expected.bytes, dst.bytes)
                    << from << " -> " << to << ", " << width << 'x' << height << ", pads " << pad
                    << ", " << other_pad;
              }
            }
          }
        }
      }
    }
  });
}

// Spans that are no size of bytes are refused, and nothing is written.
TEST(ColorYuv, GreySpansMustBeSizes) {
  const auto refused = [](int32_t from, int32_t to, const char *function, int plane, bool on_src,
                          int32_t linesize, int32_t rows) {
    RoomyFrame src(from, 8, 4, strides_of(from, 8, 8), 1), dst(to, 8, 4, strides_of(to, 8, 8), 2);
    const auto before = dst.bytes;
    (on_src ? src : dst).frame.linesize[plane] = linesize;
    if (on_src) dst.frame.linesize[plane] = linesize;
    EXPECT_REFUSED(TavixFrameConvertColorByCPU(&src.frame, &dst.frame), TAVIX_ERROR_INVALID_PARAM,
                   kEntryUnit, function,
                   printed("linesize[%d](%d) of a frame of %d rows is no span of bytes", plane,
                           linesize, rows));
    EXPECT_EQ(dst.bytes, before);
  };
  for (const int32_t linesize : {-1, -8, INT32_MIN, INT32_MAX, 1 << 29}) {
    refused(TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_NV12, "TavixGray2NV12", 1, false, linesize, 4);
    refused(TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_I420, "TavixGray2YV12", 1, false, linesize, 4);
    refused(TAVIX_PIX_FMT_NV21, TAVIX_PIX_FMT_GRAY8, "TavixYUV2Gray", 0, true, linesize, 4);
  }
  // The line names the height of the frame, odd ones too.
  RoomyFrame five(TAVIX_PIX_FMT_GRAY8, 8, 5, {8}, 1), odd(TAVIX_PIX_FMT_NV12, 8, 5, {8, 8}, 2);
  odd.frame.linesize[1] = -8;
  EXPECT_REFUSED(TavixFrameConvertColorByCPU(&five.frame, &odd.frame), TAVIX_ERROR_INVALID_PARAM,
                 kEntryUnit, "TavixGray2NV12",
                 "linesize[1](-8) of a frame of 5 rows is no span of bytes");

  // Rows of different strides are copied one by one, also upside down.
  RoomyFrame src(TAVIX_PIX_FMT_NV12, 8, 4, {8, 8}, 1), dst(TAVIX_PIX_FMT_GRAY8, 8, 4, {8}, 2);
  src.frame.data[0] += 24, src.frame.linesize[0] = -8;
  EXPECT_EQ(TavixFrameConvertColorByCPU(&src.frame, &dst.frame), TAVIX_OK);
  for (int32_t y = 0; y < 4; ++y)
    EXPECT_TRUE(std::equal(dst.bytes.begin() + 8 * y, dst.bytes.begin() + 8 * y + 8,
                           src.bytes.begin() + 8 * (3 - y)));
}

// Chroma is filled, and luma of equal strides copied, even when the frame has no columns.
TEST(ColorYuv, GreyWithoutColumns) {
  for (const int32_t width : {0, -1, -7}) {
    RoomyFrame gray(TAVIX_PIX_FMT_GRAY8, 4, 4, {4}, 1), nv12(TAVIX_PIX_FMT_NV12, 4, 4, {4, 4}, 2),
        expected(TAVIX_PIX_FMT_NV12, 4, 4, {4, 4}, 2);
    gray.frame.video.width = width;
    reference_convert(gray.frame, expected.frame, true);
    EXPECT_EQ(TavixFrameConvertColorByCPU(&gray.frame, &nv12.frame), TAVIX_OK);
    EXPECT_EQ(nv12.bytes, expected.bytes);
    nv12.frame.data[1] = nullptr;
    EXPECT_REFUSED(TavixFrameConvertColorByCPU(&gray.frame, &nv12.frame), TAVIX_ERROR_INVALID_PARAM,
                   kEntryUnit, "TavixGray2NV12", "dst_frame->data[1] must not be nullptr");

    RoomyFrame i420(TAVIX_PIX_FMT_I420, 4, 4, {4, 4, 4}, 2);
    i420.frame.data[2] = nullptr;
    EXPECT_REFUSED(TavixFrameConvertColorByCPU(&gray.frame, &i420.frame), TAVIX_ERROR_INVALID_PARAM,
                   kEntryUnit, "TavixGray2YV12",
                   printed("dst_frame->data[1](%p) and dst_frame->data[2](%p) must not be nullptr",
                           static_cast<void *>(i420.frame.data[1]), nullptr));

    i420.frame.video.width = width;
    EXPECT_EQ(TavixFrameConvertColorByCPU(&i420.frame, &gray.frame), TAVIX_OK);
    EXPECT_TRUE(std::equal(gray.bytes.begin(), gray.bytes.begin() + 16, i420.bytes.begin()));
    gray.frame.data[0] = nullptr;
    EXPECT_REFUSED(TavixFrameConvertColorByCPU(&i420.frame, &gray.frame), TAVIX_ERROR_INVALID_PARAM,
                   kEntryUnit, "TavixYUV2Gray",
                   printed("src_frame->data[0](%p) and dst_frame->data[0](%p) must not be nullptr",
                           static_cast<void *>(i420.frame.data[0]), nullptr));
    gray.frame.linesize[0] = 5;  // no span, no columns
    EXPECT_SILENT(TavixFrameConvertColorByCPU(&i420.frame, &gray.frame));
  }
}

TEST(ColorYuv, OddSizesAreWarnedOfOnce) {
  struct Warning {
    int32_t from, to;
    const char *driver;
  };
  constexpr Warning kWarnings[] = {
      {0, 7, "BGR2NV12Avx"},  {1, 8, "BGR2NV12Avx"},   {1, 9, "BGR2YV12Avx"},
      {0, 10, "BGR2YV12Avx"}, {4, 7, "BGRA2NV12Avx"},  {5, 8, "BGRA2NV12Avx"},
      {5, 9, "BGRA2YV12Avx"}, {4, 10, "BGRA2YV12Avx"},
  };
  for_each_path([&](const Path &) {
    for (const Warning &warning : kWarnings) {
      for (const auto &[width, height] : {std::pair{33, 4}, {34, 5}, {35, 7}, {1, 1}, {3, 0}}) {
        Conversion conversion(pair_code(warning.from, warning.to), width, height);
        EXPECT_EQ(TavixFrameConvertColorByCPU(conversion.src, conversion.dst), TAVIX_OK);
        EXPECT_LOGGED(TAVIX_LOG_WARNING, kDriverUnit,
                      std::string("tavix::module::") + warning.driver,
                      printed("%s: Odd dimensions detected (width=%d, height=%d). May produce "
                              "suboptimal results.",
                              warning.driver, width, height));
      }
      Conversion even(pair_code(warning.from, warning.to), 34, 4);
      EXPECT_SILENT(TavixFrameConvertColorByCPU(even.src, even.dst));
    }
  });
}

TEST(ColorYuv, OtherConversionsDoNotWarn) {
  for (const int32_t code : yuv_pairs()) {
    const int32_t from = from_of(code), to = to_of(code);
    if (is_yuv(to) && is_one_of(kByteColors, from)) continue;
    Conversion odd(code, 35, 5);
    EXPECT_SILENT(TavixFrameConvertColorByCPU(odd.src, odd.dst));
  }
}

const char *entry_name(int32_t code) {
  const int32_t from = from_of(code), to = to_of(code);
  const bool nv = is_semi_planar(from), to_nv = is_semi_planar(to);
  if (to == TAVIX_PIX_FMT_GRAY8) return "TavixYUV2Gray";
  if (is_yuv(from) && is_yuv(to)) {
    if (nv) return to_nv ? "TavixNV122NV21" : "TavixNV122YV12";
    return to_nv ? "TavixYV122NV12" : "TavixYV122I420";
  }
  if (is_yuv(to)) {
    if (from == TAVIX_PIX_FMT_GRAY8) return to_nv ? "TavixGray2NV12" : "TavixGray2YV12";
    if (is_float_format(from)) return to_nv ? "TavixRGBF322NV12" : "TavixRGBF322YV12";
    if (channels_of(from) == 3) return to_nv ? "TavixBGR2NV12" : "TavixBGR2YV12";
    return to_nv ? "TavixBGRA2NV12" : "TavixBGRA2YV12";
  }
  if (is_float_format(to)) return nv ? "TavixNV2BGRF32" : "TavixYUV2BGRF32";
  if (channels_of(to) == 3) return nv ? "TavixNV122BGR" : "TavixYV122BGR";
  return nv ? "TavixNV122BGRA" : "TavixYV122BGRA";
}

// A conversion one plane of which is spoiled is refused with the text, and writes nothing.
template <class Spoil, class Text>
void expect_plane_refused(int32_t code, int32_t height, bool on_src, int plane, const Spoil &spoil,
                          const Text &text) {
  SCOPED_TRACE(::testing::Message()
               << pair_name(code) << ", plane " << plane << (on_src ? " src" : " dst"));
  Conversion conversion(code, 34, height);
  const auto before = conversion.dst.payload();
  spoil(on_src ? conversion.src : conversion.dst);
  EXPECT_REFUSED(TavixFrameConvertColorByCPU(conversion.src, conversion.dst),
                 TAVIX_ERROR_INVALID_PARAM, kEntryUnit, entry_name(code), text(conversion));
  EXPECT_EQ(conversion.dst.payload(), before);
}

TEST(ColorYuv, MissingPlanesAreRefused) {
  for (const int32_t code : yuv_pairs()) {
    for (const bool on_src : {true, false}) {
      Conversion probe(code, 34, 4);
      const size_t planes = plane_shapes((on_src ? probe.src : probe.dst)->video).size();
      for (size_t p = 0; p < planes; ++p) {
        if (to_of(code) == TAVIX_PIX_FMT_GRAY8 && p > 0) continue;  // luma is all it reads
        expect_plane_refused(
            code, 4, on_src, int(p), [p](GuardedFrame &frame) { frame->data[p] = nullptr; },
            [](Conversion &of) {
              return printed("a plane of src_frame(%p) or dst_frame(%p) is NULL",
                             static_cast<void *>(&*of.src), static_cast<void *>(&*of.dst));
            });
      }
    }
  }
}

// Planes that a conversion does not touch may be missing.
TEST(ColorYuv, UntouchedPlanesAreNotMissed) {
  for_each_path([](const Path &) {
    for (const int32_t code : yuv_pairs()) {
      const int32_t from = from_of(code), to = to_of(code);
      const bool encodes_bytes = is_yuv(to) && !is_yuv(from) && from < TAVIX_PIX_FMT_NV12;
      for (const auto &[width, height] : {std::pair{8, 1}, {1, 8}, {1, 2}, {1, 1}}) {
        // An odd last row has chroma, and grey fills chroma of any width.
        if (encodes_bytes && (from == TAVIX_PIX_FMT_GRAY8 ? height > 1 : height % 2 == 1)) continue;
        SCOPED_TRACE(::testing::Message() << pair_name(code) << ", " << width << 'x' << height);
        Conversion conversion(code, width, height), whole(code, width, height);
        for (int p = 1; p < 3; ++p) conversion.src->data[p] = conversion.dst->data[p] = nullptr;
        EXPECT_EQ(TavixFrameConvertColorByCPU(conversion.src, conversion.dst), TAVIX_OK);
        EXPECT_EQ(TavixFrameConvertColorByCPU(whole.src, whole.dst), TAVIX_OK);
        EXPECT_EQ(conversion.dst.payload(), whole.dst.payload());
        EXPECT_TRUE(conversion.dst.intact());
        core_double().take_logs();
      }
    }
  });
}

// Strides of 0 have nothing to fill.
TEST(ColorYuv, GreyFillsNoPlaneOfNoBytes) {
  for_each_path([](const Path &) {
    for (const int32_t yuv : kYuvFormats) {
      for (const int32_t width : {4, 0, -3}) {
        RoomyFrame gray(TAVIX_PIX_FMT_GRAY8, 4, 4, {4}, 1),
            dst(yuv, 4, 4, strides_of(yuv, 4, 4), 2);
        gray.frame.video.width = width;
        dst.frame.linesize[1] = 0;
        dst.frame.data[1] = dst.frame.data[2] = nullptr;
        EXPECT_SILENT(TavixFrameConvertColorByCPU(&gray.frame, &dst.frame));
      }
    }
  });
}

// The offset of a row is a 32-bit product, which these strides would wrap.
TEST(ColorYuv, PlanesBeyond32BitsAreRefused) {
  for (const int32_t code : yuv_pairs()) {
    for (const bool on_src : {true, false}) {
      for (const int plane : {0, 1}) {
        const int32_t format = on_src ? from_of(code) : to_of(code);
        if (plane == 1 && (!is_yuv(format) || has_gray(code))) continue;
        expect_plane_refused(
            code, 6, on_src, plane,
            [plane](GuardedFrame &frame) { frame->linesize[plane] = INT32_MAX; },
            [plane](Conversion &) {
              return printed("linesize[%d](%d) of a frame of 6 rows is no span of bytes", plane,
                             INT32_MAX);
            });
      }
    }
  }
}

TEST(ColorYuv, DestinationsWithoutAChannelCountHaveTheirFormats) {
  for_each_path([](const Path &path) {
    for (const int32_t code : yuv_pairs()) {
      if (is_yuv(to_of(code))) continue;
      SCOPED_TRACE(pair_name(code));
      Conversion conversion(code, 71, 6);
      reference_convert(*conversion.src, *conversion.expected, path.vector);
      conversion.dst->video.channels = 0;
      EXPECT_EQ(TavixFrameConvertColorByCPU(conversion.src, conversion.dst), TAVIX_OK);
      EXPECT_EQ(conversion.expected.payload(), conversion.dst.payload());
    }
  });
}

TEST(ColorYuv, ImpossibleChannelCountsAreRefused) {
  for (const int32_t code : yuv_pairs()) {
    const bool on_src = !is_yuv(from_of(code));
    const int32_t packed = on_src ? from_of(code) : to_of(code);
    if (is_yuv(packed) || packed == TAVIX_PIX_FMT_GRAY8) continue;
    for (const int32_t channels : {-1, 0, 2, 5, 1000}) {
      if (channels == 0 && !on_src) continue;  // the format's own count
      Conversion conversion(code, 34, 4);
      const auto before = conversion.dst.payload();
      (on_src ? conversion.src : conversion.dst)->video.channels = channels;
      EXPECT_REFUSED(TavixFrameConvertColorByCPU(conversion.src, conversion.dst),
                     TAVIX_ERROR_INVALID_PARAM, kEntryUnit, entry_name(code),
                     printed("src channels(%d) and dst channels(%d) do not fit formats %d and %d",
                             conversion.src->video.channels, conversion.dst->video.channels,
                             from_of(code), to_of(code)));
      EXPECT_EQ(conversion.dst.payload(), before);
    }
  }
}

// Sizes without pixels write nothing, and need no planes.
TEST(ColorYuv, EmptySizes) {
  for_each_path([](const Path &) {
    for (const int32_t code : yuv_pairs()) {
      for (const auto &[width, height] :
           {std::pair{0, 4}, {4, 0}, {-3, 5}, {6, -5}, {-4, -4}, {INT32_MIN, 3}, {3, INT32_MIN}}) {
        if (has_gray(code) && height > 0) continue;  // padding is a matter of rows alone
        Conversion conversion(code, 4, 4);
        const auto before = conversion.dst.payload();
        conversion.src->video.width = width;
        conversion.src->video.height = height;
        EXPECT_EQ(TavixFrameConvertColorByCPU(conversion.src, conversion.dst), TAVIX_OK);
        EXPECT_EQ(conversion.dst.payload(), before) << code << ", " << width << 'x' << height;
        for (int p = 0; p < 3; ++p) conversion.src->data[p] = conversion.dst->data[p] = nullptr;
        EXPECT_EQ(TavixFrameConvertColorByCPU(conversion.src, conversion.dst), TAVIX_OK);
      }
    }
  });
}

// Of a frame without pixels no other field need make sense.
TEST(ColorYuv, AnyNumberOfChannelsWithoutPixels) {
  for_each_path([](const Path &) {
    for (const int32_t code : yuv_pairs())
      for (const int32_t channels : {INT32_MIN, -5, -1, 0, 1, 2, 5, 1 << 20, INT32_MAX})
        for (const bool wide : {false, true}) {
          GuardedFrame src({from_of(code), 4, 2}), dst({to_of(code), 4, 2});
          dst.fill(Fill::noise, 1);
          const auto before = dst.payload();
          src->video.channels = dst->video.channels = channels;
          (wide ? src->video.height : src->video.width) = 0;
          if (has_gray(code)) src->video.height = 0;  // its padding is filled whatever the width
          EXPECT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK);
          EXPECT_TRUE(dst.payload() == before) << code << ", " << channels << " channels";
        }
  });
}

}  // namespace
}  // namespace tavix::test
