// SPDX-License-Identifier: Apache-2.0
// Split, mask, product and fill: results, allocations, failures in turn, refusals.
#include "tavix/video_common_cpu/channels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <opencv2/imgproc.hpp>

#include "cpu/common_c/channels/mask_row.h"
#include "support/core_double.h"
#include "support/guarded_bytes.h"
#include "support/opencv_reference.h"
#include "support/seams.h"
#include "support/sweep.h"

namespace tavix::test {
namespace {

constexpr char kUnit[] = "source/host/tavix_frame_convert_cpu";
const SweepAxes kAxes = {.formats = kRgbFormats,
                         .widths = {1, 2, 3, 16, 31, 130},
                         .heights = {1, 2, 5},
                         .fills = {Fill::noise, Fill::extremes}};

// OpenCV takes strides of whole elements only.
bool opencv_takes(const SweepCase &c) {
  return !c.layout.bottom_up && (!is_float_format(c.shape.format) || c.layout.pad % 4 == 0);
}

bool blue_first(int32_t format) {
  return format == 1 || format == 4 || format == 12 || format == 14;
}

// The four slots with what the masks call them.
struct Slot {
  const char *name;
  uint32_t bit;
  int32_t index_rgb, index_bgr;
  TavixFrameV2 *TavixChannelFrames::*frame;
};
const Slot kSlots[] = {{"RED", 1, 0, 2, &TavixChannelFrames::red},
                       {"GREEN", 2, 1, 1, &TavixChannelFrames::green},
                       {"BLUE", 4, 2, 0, &TavixChannelFrames::blue},
                       {"ALPHA", 8, 3, 3, &TavixChannelFrames::alpha}};

void free_slots(TavixChannelFrames &frames) {
  for (const Slot &slot : kSlots) {
    TavixFrameFreeV2(frames.*slot.frame);
    frames.*slot.frame = nullptr;
  }
}

TEST(ChannelSplit, TakesTheChannelsAskedFor) {
  sweep(kAxes, 900, [](const SweepCase &c) {
    if (!opencv_takes(c)) return;
    GuardedFrame src(c.shape, c.layout);
    src.fill(c.fill, c.seed);
    src->device = 5;
    const int32_t channels = channels_of(c.shape.format);
    const uint32_t mask = uint32_t(c.seed % 16) & ((1u << channels) - 1);
    const size_t element = is_float_format(c.shape.format) ? 4 : 1;
    core_double().reset();
    TavixChannelFrames frames = {};
    ASSERT_EQ(TavixFrameChannelSplitByCPU(src, &frames, mask), TAVIX_OK);
    EXPECT_EQ(core_double().frame_requests().size(), size_t(std::popcount(mask)));
    for (const Slot &slot : kSlots) {
      const TavixFrameV2 *frame = frames.*slot.frame;
      ASSERT_EQ(frame != nullptr, (mask & slot.bit) != 0) << slot.name;
      if (frame == nullptr) continue;
      EXPECT_EQ(frame->video.format, element == 4 ? TAVIX_PIX_FMT_GRAYF32 : TAVIX_PIX_FMT_GRAY8);
      EXPECT_EQ(frame->device, 5u);
      const int32_t index = blue_first(c.shape.format) ? slot.index_bgr : slot.index_rgb;
      for (int32_t y = 0; y < c.shape.height; ++y)
        for (int32_t x = 0; x < c.shape.width; ++x)
          ASSERT_EQ(std::memcmp(frame->data[0] + (size_t(y) * c.shape.width + x) * element,
                                src.row(y) + (size_t(x) * channels + index) * element, element),
                    0)
              << slot.name << " at " << x << ", " << y;
    }
    free_slots(frames);
    EXPECT_TRUE(src.intact() && logged_nothing());
  });
}

// Rows longer than a strip, with and without gaps, and some channels that nobody asked for.
TEST(ChannelSplit, LongRows) {
  for (const int32_t format : kRgbFormats) {
    for (const int32_t pad : {0, 4}) {
      for (const int32_t width : {4095, 4097, 8200}) {
        GuardedFrame src({format, width, 2}, {.pad = pad});
        src.fill(Fill::noise, 7);
        std::vector<cv::Mat> expected;
        cv::split(matrix_of(*src), expected);
        for (uint32_t mask = 1; mask < 1u << expected.size(); ++mask) {
          SCOPED_TRACE(::testing::Message() << format_name(format) << ", padding " << pad
                                            << ", width " << width << ", mask " << mask);
          TavixChannelFrames frames = {};
          ASSERT_EQ(TavixFrameChannelSplitByCPU(src, &frames, mask), TAVIX_OK);
          for (const Slot &slot : kSlots) {
            const int32_t index = blue_first(format) ? slot.index_bgr : slot.index_rgb;
            if (frames.*slot.frame == nullptr) continue;
            EXPECT_TRUE(same_pixels_as(expected[size_t(index)], *(frames.*slot.frame)));
          }
          free_slots(frames);
          EXPECT_TRUE(src.intact() && logged_nothing());
        }
      }
    }
  }
}

// Rows go out packed even where the core hands over padded ones.
TEST(NewFrames, StrideIsIgnored) {
  GuardedFrame src({TAVIX_PIX_FMT_RGB24, 5, 3}), mask({TAVIX_PIX_FMT_GRAY8, 5, 3});
  src.fill(Fill::noise, 1), mask.fill(Fill::noise, 2);
  core_double().alter_frames([](TavixFrameV2 &frame) { frame.linesize[0] += 7; });

  TavixChannelFrames frames = {};
  ASSERT_EQ(TavixFrameChannelSplitByCPU(src, &frames, 2), TAVIX_OK);
  EXPECT_EQ(core_double().frame_requests().back().alignment, 1);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x)
      EXPECT_EQ(frames.green->data[0][y * 5 + x], src.get<uint8_t>(3 * x + 1, y));
  free_slots(frames);

  TavixFrameV2 *dst = nullptr;
  ASSERT_EQ(TavixFrameAddMaskByCPU(src, mask, &dst), TAVIX_OK);
  EXPECT_EQ(core_double().frame_requests().back().alignment, 1);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) {
      const uint8_t *pixel = dst->data[0] + (y * 5 + x) * 4;
      for (int c = 0; c < 3; ++c) EXPECT_EQ(pixel[c], src.get<uint8_t>(3 * x + c, y));
      EXPECT_EQ(pixel[3], mask.get<uint8_t>(x, y));
    }
  TavixFrameFreeV2(dst);
}

TEST(ChannelSplit, MissingChannelStopsAfterTheOthers) {
  GuardedFrame src({TAVIX_PIX_FMT_BGR24, 4, 2});
  src.fill(Fill::noise, 1);
  TavixChannelFrames frames = {};
  EXPECT_REFUSES(TavixFrameChannelSplitByCPU, (src, &frames, 8), kInvalid, kUnit,
                 "Split ALPHA requires 4 channels (src has 3)");
  EXPECT_EQ(frames.alpha, nullptr);
  EXPECT_REFUSES(TavixFrameChannelSplitByCPU, (src, &frames, 15), kInvalid, kUnit,
                 "Split ALPHA requires 4 channels (src has 3)");
  EXPECT_TRUE(frames.red && frames.green && frames.blue && !frames.alpha);
  free_slots(frames);

  // A record that claims more channels than its format has is not believed.
  src->video.channels = 4;
  EXPECT_REFUSES(TavixFrameChannelSplitByCPU, (src, &frames, 8), kInvalid, kUnit,
                 "Split ALPHA requires 4 channels (src has 4)");
  src->video.channels = 1;
  EXPECT_REFUSES(TavixFrameChannelSplitByCPU, (src, &frames, 4 | 2), kInvalid, kUnit,
                 "Split GREEN requires 2 channels (src has 1)");
  EXPECT_EQ(TavixFrameChannelSplitByCPU(src, &frames, 0), TAVIX_OK);
  EXPECT_EQ(core_double().outstanding_frames(), 0);
}

TEST(ChannelSplit, EachAllocationFailsInTurn) {
  GuardedFrame src({TAVIX_PIX_FMT_RGBA32, 4, 2});
  src.fill(Fill::noise, 1);
  for (int nth = 1; nth <= 4; ++nth) {
    core_double().reset();
    core_double().fail_frame_allocation(nth);
    TavixChannelFrames frames = {};
    EXPECT_REFUSES(TavixFrameChannelSplitByCPU, (src, &frames, 15), TAVIX_ERROR_MEMORY, kUnit,
                   printed("%s channel alloc failed", kSlots[nth - 1].name));
    EXPECT_EQ(core_double().outstanding_frames(), nth - 1) << "those before stay stored";
    free_slots(frames);
    EXPECT_EQ(core_double().outstanding_frames(), 0);
  }
}

// A core that hands out frames without a plane: refused like one that hands out none; what is
// stored is the caller's.
TEST(NewFrames, WithoutAPlane) {
  GuardedFrame src({TAVIX_PIX_FMT_RGB24, 4, 2}), mask({TAVIX_PIX_FMT_GRAY8, 4, 2});
  src.fill(Fill::noise, 1), mask.fill(Fill::noise, 2);
  core_double().alter_frames([](TavixFrameV2 &frame) { frame.data[0] = nullptr; });

  TavixChannelFrames frames = {};
  EXPECT_REFUSES(TavixFrameChannelSplitByCPU, (src, &frames, 7), TAVIX_ERROR_MEMORY, kUnit,
                 "RED channel alloc failed");
  EXPECT_TRUE(frames.red && !frames.green);
  free_slots(frames);

  TavixFrameV2 *dst = nullptr;
  EXPECT_REFUSES(TavixFrameAddMaskByCPU, (src, mask, &dst), TAVIX_ERROR_MEMORY, kUnit,
                 "des frame data allocate error");
  ASSERT_NE(dst, nullptr);
  TavixFrameFreeV2(dst);

  dst = nullptr;
  EXPECT_EQ(TavixFrameMultiFrameByCPU(src, src, &dst), TAVIX_ERROR_MEMORY);
  const auto logs = core_double().take_logs();
  ASSERT_EQ(logs.size(), 1u);
  EXPECT_TRUE(logs[0].text.starts_with("multiply failed: "));
  TavixFrameFreeV2(dst);
  EXPECT_EQ(core_double().outstanding_frames(), 0);

  core_double().alter_frames({});
  ASSERT_EQ(TavixFrameChannelSplitByCPU(src, &frames, 7), TAVIX_OK) << "the next call works";
  free_slots(frames);
}

// The mask and its conversions, beside OpenCV.
TEST(AddMask, MergesMaskAsAlpha) {
  sweep(kAxes, 900, [](const SweepCase &c) {
    if (!opencv_takes(c) || channels_of(c.shape.format) == 4) return;
    const bool float_mask = c.seed % 2 == 1, half = c.seed % 3 == 0;
    GuardedFrame src(c.shape, c.layout);
    GuardedFrame mask({float_mask ? TAVIX_PIX_FMT_GRAYF32 : TAVIX_PIX_FMT_GRAY8,
                       half ? (c.shape.width + 1) / 2 : c.shape.width, c.shape.height});
    src.fill(Fill::noise, c.seed);
    mask.fill(Fill::noise, c.seed + 1);
    src->device = 9;

    cv::Mat colour = matrix_of(*src), alpha = matrix_of(*mask), converted, expected;
    if (half) cv::resize(alpha.clone(), alpha, colour.size(), 0, 0, 1);
    alpha.convertTo(converted, colour.depth());
    if (colour.channels() == 1) cv::merge(std::vector<cv::Mat>{colour, colour, colour}, colour);
    std::vector<cv::Mat> planes;
    cv::split(colour, planes);
    planes.push_back(converted);
    cv::merge(planes, expected);

    core_double().reset();
    TavixFrameV2 *dst = nullptr;
    ASSERT_EQ(TavixFrameAddMaskByCPU(src, mask, &dst), TAVIX_OK);
    const std::map<int32_t, int32_t> partner = {{TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_RGBA32},
                                                {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRA32},
                                                {TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_BGRA32},
                                                {TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_RGBAF32},
                                                {TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_BGRAF32},
                                                {TAVIX_PIX_FMT_GRAYF32, TAVIX_PIX_FMT_BGRAF32}};
    EXPECT_EQ(dst->video.format, partner.at(c.shape.format));
    EXPECT_EQ(dst->device, 9u);
    EXPECT_TRUE(same_pixels_as(expected, *dst));
    TavixFrameFreeV2(dst);
    EXPECT_TRUE(src.intact() && mask.intact() && logged_nothing());
  });
}

constexpr int32_t kFormatsWithoutAlpha[] = {TAVIX_PIX_FMT_RGB24,  TAVIX_PIX_FMT_BGR24,
                                            TAVIX_PIX_FMT_GRAY8,  TAVIX_PIX_FMT_RGBF32,
                                            TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_GRAYF32};
constexpr int32_t kFormatsWithAlpha[] = {TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGBA32,
                                         TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_BGRAF32};

// Masks of the other element type are converted as OpenCV does it, on every path, in long rows too.
TEST(AddMask, EveryPathConvertsAlike) {
  for_each_path([](const Path &) {
    for (const int32_t format : kFormatsWithoutAlpha) {
      for (const int32_t mask_format : {TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_GRAYF32}) {
        for (const int32_t width : {1, 31, 33, 511, 513, 1100}) {
          SCOPED_TRACE(::testing::Message() << format_name(format) << ", mask "
                                            << format_name(mask_format) << ", width " << width);
          GuardedFrame src({format, width, 2}, {.pad = 4});
          GuardedFrame mask({mask_format, width, 2}, {.pad = 8});
          src.fill(is_float_format(format) ? Fill::specials : Fill::noise, 1);
          mask.fill(mask_format == TAVIX_PIX_FMT_GRAYF32 ? Fill::specials : Fill::noise, 2);
          cv::Mat expected, converted;
          std::vector<cv::Mat> planes;
          cv::split(matrix_of(*src), planes);
          if (planes.size() == 1) planes.resize(3, planes[0]);
          matrix_of(*mask).convertTo(converted, planes[0].depth());
          planes.push_back(converted);
          cv::merge(planes, expected);
          TavixFrameV2 *dst = nullptr;
          ASSERT_EQ(TavixFrameAddMaskByCPU(src, mask, &dst), TAVIX_OK);
          EXPECT_TRUE(same_pixels_as(expected, *dst));
          TavixFrameFreeV2(dst);
          EXPECT_TRUE(src.intact() && mask.intact() && logged_nothing());
        }
      }
    }
  });
}

// Five channels are merged, and each row cut to the four the output holds.
TEST(AddMask, SourceWithAlphaIsCut) {
  for (const int32_t format : kFormatsWithAlpha) {
    SCOPED_TRACE(format_name(format));
    GuardedFrame src({format, 7, 3});
    GuardedFrame mask(
        {is_float_format(format) ? TAVIX_PIX_FMT_GRAYF32 : TAVIX_PIX_FMT_GRAY8, 7, 3});
    src.fill(Fill::noise, 1);
    mask.fill(Fill::noise, 2);
    cv::Mat merged;
    std::vector<cv::Mat> planes;
    cv::split(matrix_of(*src), planes);
    planes.push_back(matrix_of(*mask));
    cv::merge(planes, merged);
    TavixFrameV2 *dst = nullptr;
    ASSERT_EQ(TavixFrameAddMaskByCPU(src, mask, &dst), TAVIX_OK);
    EXPECT_EQ(dst->video.format, format);
    for (int y = 0; y < 3; ++y)
      EXPECT_EQ(
          std::memcmp(dst->data[0] + y * dst->linesize[0], merged.ptr(y), size_t(dst->linesize[0])),
          0);
    TavixFrameFreeV2(dst);
    EXPECT_TRUE(src.intact() && mask.intact() && logged_nothing());
  }
}

// A row that was cut ends at the end of a page.
TEST(AddMask, CutRowsEndInTime) {
  for (const bool floats : {false, true}) {
    for (const int32_t width : {1, 4, 5, 7, 300}) {
      const size_t element = floats ? 4 : 1, row_bytes = 4 * size_t(width) * element;
      const GuardedBytes src(row_bytes), mask(size_t(width) * element), dst(row_bytes);
      std::fill_n(src.data(), row_bytes, uint8_t(1));
      std::fill_n(mask.data(), mask.size(), uint8_t(2));
      module::mask_row(module::kTensorRowsC, floats, 4, src.data(), mask.data(), dst.data(), width);
      for (size_t i = 0; i < row_bytes; ++i)
        ASSERT_EQ(dst.data()[i], i / element % 5 == 4 ? 2 : 1)
            << "width " << width << ", byte " << i;
      EXPECT_TRUE(dst.intact());
    }
  }
}

TEST(AddMask, RefusalsInOrder) {
  GuardedFrame src({TAVIX_PIX_FMT_RGB24, 4, 2}), mask({TAVIX_PIX_FMT_GRAY8, 4, 2});
  src.fill(Fill::noise, 1), mask.fill(Fill::noise, 2);
  TavixFrameV2 *dst = src;
  constexpr char kFunction[] = "TavixFrameAddMaskByCPU";

  src->data[0] = nullptr;
  EXPECT_REFUSED(
      TavixFrameAddMaskByCPU(src, mask, &dst), kInvalid, kUnit, kFunction,
      printed("src_frame->data[0]:%p or mask->data[0]:%p is nullptr", nullptr, mask->data[0]));
  EXPECT_EQ(core_double().outstanding_frames(), 0) << "the new frame is freed";
  EXPECT_EQ(dst, core_double().frame_requests().back().frame) << "the output is not reset";
  core_double().fail_frame_allocation();
  EXPECT_REFUSED(TavixFrameAddMaskByCPU(src, mask, &dst), TAVIX_ERROR_MEMORY, kUnit, kFunction,
                 "des frame data allocate error");
  EXPECT_EQ(dst, nullptr);

  dst = src;
  src->video.format = TAVIX_PIX_FMT_NV12;
  EXPECT_REFUSED(TavixFrameAddMaskByCPU(src, mask, &dst), kUnsupported, kUnit, kFunction,
                 "Unsupported src_frame pixel type:7 or mask pixel type:2 to OpencvType!");
  mask->video.format = TAVIX_PIX_FMT_RGB24;
  EXPECT_REFUSED(TavixFrameAddMaskByCPU(src, mask, &dst), kUnsupported, kUnit, kFunction,
                 "mask video format is:0 now only support TAVIX_PIX_FMT_GRAY8 or "
                 "TAVIX_PIX_FMT_GRAYF32!");
  mask->video.channels = 3;
  EXPECT_REFUSED(TavixFrameAddMaskByCPU(src, mask, &dst), kInvalid, kUnit, kFunction,
                 "mask channels:3 need to be 1");
  EXPECT_EQ(dst, src) << "checks before the allocation leave the output alone";

  for (int missing = 0; missing < 3; ++missing) {
    const TavixFrameV2 *const from = missing == 0 ? nullptr : static_cast<TavixFrameV2 *>(src);
    const TavixFrameV2 *const over = missing == 1 ? nullptr : static_cast<TavixFrameV2 *>(mask);
    TavixFrameV2 **const to = missing == 2 ? nullptr : &dst;
    EXPECT_REFUSED(
        TavixFrameAddMaskByCPU(from, over, to), kInvalid, kUnit, kFunction,
        printed("src_frame:%p, mask:%p or dst_frame address:%p is nullptr", from, over, to));
  }
}

TEST(MultiFrame, EqualsOpencvInPlaceAndInANewFrame) {
  sweep(kAxes, 600, [](const SweepCase &c) {
    if (!opencv_takes(c)) return;
    GuardedFrame alpha(c.shape), beta(c.shape, c.layout);
    alpha.fill(c.fill, c.seed);
    beta.fill(Fill::noise, c.seed + 1);
    cv::Mat expected;
    cv::multiply(matrix_of(*alpha), matrix_of(*beta), expected);
    TavixFrameV2 *fresh = nullptr, *in_place = beta;
    beta->device = 6;
    core_double().reset();
    ASSERT_EQ(TavixFrameMultiFrameByCPU(alpha, beta, &fresh), TAVIX_OK);
    const auto requests = core_double().frame_requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_TRUE(requests[0].format == c.shape.format && requests[0].memory == 0 &&
                requests[0].width == c.shape.width && requests[0].height == c.shape.height &&
                requests[0].device == 6 && requests[0].alignment == 1);
    ASSERT_EQ(TavixFrameMultiFrameByCPU(alpha, beta, &in_place), TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected, *fresh));
    EXPECT_TRUE(same_pixels_as(expected, *beta));
    TavixFrameFreeV2(fresh);
    EXPECT_TRUE(alpha.intact() && beta.intact() && logged_nothing());
  });
}

TEST(MultiFrame, RefusalsInOrder) {
  GuardedFrame alpha({TAVIX_PIX_FMT_RGB24, 4, 2}), beta({TAVIX_PIX_FMT_RGB24, 4, 2});
  alpha.fill(Fill::noise, 1), beta.fill(Fill::noise, 2);
  const auto before = beta.payload();
  constexpr char kFunction[] = "TavixFrameMultiFrameByCPU";
  TavixFrameV2 *dst = nullptr;
  core_double().fail_frame_allocation();
  EXPECT_REFUSED(TavixFrameMultiFrameByCPU(alpha, beta, &dst), TAVIX_ERROR_MEMORY, kUnit, kFunction,
                 "TavixVideoFrameAllocV2 failed");
  EXPECT_EQ(dst, nullptr);
  alpha->video.format = TAVIX_PIX_FMT_YV12;
  EXPECT_REFUSED(TavixFrameMultiFrameByCPU(alpha, beta, &dst), kInvalid, kUnit, kFunction,
                 "Unsupported Frame Type:9 To OpencvType!");
  dst = alpha;
  EXPECT_REFUSED(TavixFrameMultiFrameByCPU(alpha, beta, &dst), kInvalid, kUnit, kFunction,
                 printed("*des_frame:%p pointer need to be nullptr or equal to beta_frame:%p",
                         static_cast<TavixFrameV2 *>(alpha), static_cast<TavixFrameV2 *>(beta)));
  EXPECT_REFUSED(
      TavixFrameMultiFrameByCPU(alpha, beta, nullptr), kInvalid, kUnit, kFunction,
      printed("alpha_frame:%p, beta_frame:%p or dst_frame address:%p is nullptr",
              static_cast<TavixFrameV2 *>(alpha), static_cast<TavixFrameV2 *>(beta), nullptr));
  EXPECT_EQ(beta.payload(), before);

  // A failure of OpenCV after the allocation: the new frame stays stored.
  alpha->video.format = TAVIX_PIX_FMT_RGB24;
  alpha->data[0] = nullptr;
  dst = nullptr;
  EXPECT_EQ(TavixFrameMultiFrameByCPU(alpha, beta, &dst), TAVIX_ERROR_MEMORY);
  const auto logs = core_double().take_logs();
  ASSERT_EQ(logs.size(), 1u);
  EXPECT_TRUE(logs[0].text.starts_with("multiply failed: "));
  ASSERT_NE(dst, nullptr);
  TavixFrameFreeV2(dst);
}

TEST(Memfill, FillsThePayloadOnly) {
  sweep(kAxes, 600, [](const SweepCase &c) {
    GuardedFrame like({c.shape.format, 1, 1}), dst(c.shape, c.layout);
    dst.fill(Fill::noise, c.seed);
    const float values[] = {300.0f, -3.0f, 7.9f, NAN, INFINITY, -INFINITY, 255.0f, 254.99f, 0.0f};
    const uint8_t bytes[] = {255, 0, 7, 0, 255, 0, 255, 254, 0};
    const size_t k = c.seed % std::size(values);
    EXPECT_EQ(TavixFrameMemfillByCPU(like, dst, values[k]), TAVIX_OK);
    const int32_t n = c.shape.width * channels_of(c.shape.format);
    for (int32_t y = 0; y < c.shape.height; ++y)
      for (int32_t i = 0; i < n; ++i) {
        if (is_float_format(c.shape.format)) {
          const float stored = dst.get<float>(i, y);
          ASSERT_EQ(std::memcmp(&stored, &values[k], 4), 0);
        } else {
          ASSERT_EQ(dst.get<uint8_t>(i, y), bytes[k]);
        }
      }
    EXPECT_TRUE(dst.intact() && logged_nothing());
  });
}

// The element type is the source's; the destination's format is not looked at.
TEST(Memfill, ElementTypeIsTheSources) {
  GuardedFrame like({TAVIX_PIX_FMT_GRAY8, 1, 1}), dst({TAVIX_PIX_FMT_GRAYF32, 4, 2});
  dst.fill(Fill::zeros, 1);
  const auto before = dst.payload();
  EXPECT_EQ(TavixFrameMemfillByCPU(like, dst, 7), TAVIX_OK);
  for (int y = 0; y < 2; ++y) {
    for (int i = 0; i < 4; ++i) EXPECT_EQ(dst.row(y)[i], 7);
    for (int i = 4; i < 16; ++i) EXPECT_EQ(dst.row(y)[i], before[size_t(y) * 16 + i]);
  }
}

TEST(Memfill, RefusesRowsThatNoLoopReaches) {
  GuardedFrame like({TAVIX_PIX_FMT_GRAYF32, 1, 1}), dst({TAVIX_PIX_FMT_GRAYF32, 4, 3});
  dst.fill(Fill::noise, 1);
  const auto before = dst.payload();
  constexpr char kFunction[] = "TavixFrameMemfillByCPU";
  for (const int32_t linesize : {1 << 30, -(1 << 30), INT32_MAX, INT32_MIN}) {
    dst->linesize[0] = linesize;
    EXPECT_REFUSED(TavixFrameMemfillByCPU(like, dst, 1), kInvalid, kUnit, kFunction,
                   printed("dst_frame->linesize[0]:%d is too large for 3 rows", linesize));
  }
  dst->video.width = INT32_MAX, dst->video.channels = 2;
  EXPECT_REFUSED(TavixFrameMemfillByCPU(like, dst, 1), kInvalid, kUnit, kFunction,
                 "width(2147483647) * channels(2) must not exceed 2147483647 elements of a row");
  dst->video.height = 0;
  EXPECT_EQ(TavixFrameMemfillByCPU(like, dst, 1), TAVIX_OK) << "there are no rows";
  EXPECT_EQ(dst.payload(), before);
}

TEST(Memfill, RefusalsInOrder) {
  GuardedFrame src({TAVIX_PIX_FMT_RGB24, 4, 2}), dst({TAVIX_PIX_FMT_RGB24, 4, 2});
  dst.fill(Fill::noise, 1);
  const auto before = dst.payload();
  constexpr char kFunction[] = "TavixFrameMemfillByCPU";
  src->data[0] = nullptr;
  EXPECT_REFUSED(
      TavixFrameMemfillByCPU(src, dst, 1), kInvalid, kUnit, kFunction,
      printed("src_frame->data[0]:%p or dst_frame->data[0]:%p is nullptr", nullptr, dst->data[0]));
  src->video.format = TAVIX_PIX_FMT_NONE;
  EXPECT_REFUSED(TavixFrameMemfillByCPU(src, dst, 1), kInvalid, kUnit, kFunction,
                 "TavixFrameMemfillByCPU byte_size is not support\n");
  src->memory = 1;
  src->video.format = TAVIX_PIX_FMT_RGB24;
  src->data[0] = dst->data[0];
  EXPECT_REFUSED(TavixFrameMemfillByCPU(src, dst, 1), kInvalid, kUnit, kFunction,
                 "src_frame->memory:1 or dst_frame->memory:0 is not host memory");
  EXPECT_REFUSED(TavixFrameMemfillByCPU(src, nullptr, 1), kInvalid, kUnit, kFunction,
                 printed("src_frame:%p or dst_frame:%p is nullptr",
                         static_cast<TavixFrameV2 *>(src), nullptr));
  EXPECT_EQ(dst.payload(), before);
}

TEST(ChannelRefusals, SplitInOrder) {
  GuardedFrame src({TAVIX_PIX_FMT_RGB24, 4, 2});
  TavixChannelFrames frames = {};
  constexpr char kFunction[] = "TavixFrameChannelSplitByCPU";
  src->data[0] = nullptr;
  EXPECT_REFUSED(TavixFrameChannelSplitByCPU(src, &frames, 7), kInvalid, kUnit, kFunction,
                 "src_frame->data[0] is nullptr");
  src->video.format = 3;
  EXPECT_REFUSED(TavixFrameChannelSplitByCPU(src, &frames, 7), kUnsupported, kUnit, kFunction,
                 "Unsupported src_frame pixel type:3 to OpencvType!");
  EXPECT_REFUSED(TavixFrameChannelSplitByCPU(src, nullptr, 7), kInvalid, kUnit, kFunction,
                 printed("src_frame:%p or dst_frames:%p is nullptr",
                         static_cast<TavixFrameV2 *>(src), nullptr));
  EXPECT_TRUE(!frames.red && !frames.green && !frames.blue && !frames.alpha);
}

}  // namespace
}  // namespace tavix::test
