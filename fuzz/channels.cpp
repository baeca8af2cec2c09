// SPDX-License-Identifier: Apache-2.0
// Split, mask, product and fill against plain references.
#include "tavix/video_common_cpu/channels.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>

#include "color_packed_reference.h"
#include "families.h"
#include "opencv_call.h"
#include "support/compare.h"
#include "support/core_double.h"

namespace tavix::fuzz {

namespace {

using test::matrix_of;

void split(Choices &c, std::span<const Path> paths) {
  FrameRecord src(c, any_shape(c));
  // Grey has one channel, which is red.
  const std::string all = test::channel_names(src->video),
                    names = all == "Y" || all.empty() ? "R" : all;
  const uint32_t mask = c.rarely() ? uint32_t(c.of(kIntegers)) : uint32_t(c.below(16));
  src.maybe_spoil(c);
  const bool null = c.rarely();
  const int scarce = c.rarely() ? 1 + c.below(4) : 0;
  TavixChannelFrames made = {};
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src;
  TavixChannelFrames *out = null ? c.maybe(&made) : &made;
  const bool plain = !null && scarce == 0 && !src.spoiled && has_opencv_strides(src);

  const bool has_all = std::ranges::all_of(std::string_view("RGBA"), [&](char name) {
    const size_t bit = std::string_view("RGBA").find(name);
    return (mask >> bit & 1) == 0 || names.find(name) != std::string::npos;
  });
  TavixFrameV2 *TavixChannelFrames::*const kSlots[] = {
      &TavixChannelFrames::red, &TavixChannelFrames::green, &TavixChannelFrames::blue,
      &TavixChannelFrames::alpha};
  const auto expect_result = [&](const Path &) {
    if (!plain || src->video.height == 0) return;
    EXPECT_TRUE(has_all) << "channels that the frame does not have";
    for (size_t k = 0; k < 4; ++k) {
      const TavixFrameV2 *frame = made.*kSlots[k];
      ASSERT_EQ(frame != nullptr, (mask >> k & 1) == 1);
      if (frame == nullptr) continue;
      cv::Mat plane;
      cv::extractChannel(matrix_of(*src), plane, int(names.find("RGBA"[k])));
      EXPECT_TRUE(same_as(plane, *frame));
    }
  };
  check({.function = "TavixFrameChannelSplitByCPU",
         .run =
             [&] {
               if (scarce > 0) test::core_double().fail_frame_allocation(scarce);
               return TavixFrameChannelSplitByCPU(in, out, mask);
             },
         .sources = {&src},
         .expect_result = expect_result,
         .take_made =
             [&] {
               std::vector<uint8_t> bytes;
               for (const auto slot : kSlots) {
                 const auto part = take_frame(made.*slot);
                 bytes.insert(bytes.end(), part.begin(), part.end());
               }
               return bytes;
             },
         .must_succeed = plain && has_all && src->video.height > 0,
         .may_throw = true},
        paths);
}

void add_mask(Choices &c, std::span<const Path> paths) {
  FrameRecord src(c, any_shape(c));
  const int32_t format = c.rarely()          ? c.of(kPackedFormats)
                         : c.byte() % 2 == 0 ? TAVIX_PIX_FMT_GRAY8
                                             : TAVIX_PIX_FMT_GRAYF32;
  const test::FrameShape shape = any_shape(c);
  const bool same_size = c.byte() % 4 != 0;
  FrameRecord mask(c, same_size ? test::FrameShape{format, src->video.width, src->video.height}
                                : test::FrameShape{format, shape.width, shape.height});
  const std::string names = test::channel_names(src->video);
  src.maybe_spoil(c), mask.maybe_spoil(c);
  const bool null = c.rarely(), scarce = c.rarely();
  TavixFrameV2 *made = nullptr;
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src, *alpha = null ? c.maybe(&*mask) : &*mask,
               **out = null ? c.maybe(&made) : &made;
  const bool gray_mask =
      mask->video.format == TAVIX_PIX_FMT_GRAY8 || mask->video.format == TAVIX_PIX_FMT_GRAYF32;
  const bool plain = !null && !scarce && !src.spoiled && !mask.spoiled && gray_mask &&
                     has_opencv_strides(src) && has_opencv_strides(mask) && src->video.height > 0 &&
                     mask->video.height > 0;
  const auto expect_result = [&](const Path &) {
    if (!plain) return;
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->video.channels, 4);
    // A source with alpha goes wrong in a documented way of its own.
    if (!same_size || names.size() == 4) return;
    const bool floats = test::is_float_format(src->video.format),
               float_mask = test::is_float_format(mask->video.format);
    cv::Mat colour, coverage, expected;
    if (names.size() == 1)
      cv::cvtColor(matrix_of(*src), colour, cv::COLOR_GRAY2BGR);
    else
      colour = matrix_of(*src);
    matrix_of(*mask).convertTo(coverage, floats ? CV_32F : CV_8U);
    std::vector<cv::Mat> planes;
    cv::split(colour, planes);
    planes.push_back(float_mask == floats ? matrix_of(*mask) : coverage);
    cv::merge(planes, expected);
    EXPECT_TRUE(same_as(expected, *made));
  };
  check({.function = "TavixFrameAddMaskByCPU",
         .run =
             [&] {
               if (scarce) test::core_double().fail_frame_allocation();
               const int32_t status = TavixFrameAddMaskByCPU(in, alpha, out);
               if (status != TAVIX_OK) made = nullptr;  // must not be used
               return status;
             },
         .sources = {&src, &mask},
         .expect_result = expect_result,
         .take_made = [&] { return take_frame(made); },
         .must_succeed = plain,
         .may_throw = true},
        paths);
}

void multiply(Choices &c, std::span<const Path> paths) {
  FrameRecord alpha(c, any_shape(c));
  const test::FrameShape shape = {alpha->video.format, alpha->video.width, alpha->video.height};
  FrameRecord beta(c, any_destination(c, shape));
  alpha.maybe_spoil(c), beta.maybe_spoil(c);
  const bool null = c.rarely(), scarce = c.rarely(), foreign = c.rarely(),
             into_beta = c.byte() % 2 == 1;
  TavixFrameV2 *made = nullptr;
  TavixFrameV2 *a = null ? c.maybe(&*alpha) : &*alpha, *b = null ? c.maybe(&*beta) : &*beta,
               **out = null ? c.maybe(&made) : &made;
  const bool plain = !null && !scarce && !foreign && !alpha.spoiled &&
                     beta->video.format == alpha->video.format && has_opencv_strides(alpha);
  const auto product = [&](cv::Mat &result) {
    cv::multiply(matrix_of(*alpha), matrix_of(*beta), result, 1.0,
                 test::matrix_type(alpha->video.format));
  };
  const auto run = [&] {
    made = foreign ? &*alpha : into_beta ? &*beta : nullptr;
    if (scarce) test::core_double().fail_frame_allocation();
    const int32_t status = TavixFrameMultiFrameByCPU(a, b, out);
    if (made == &*beta || made == &*alpha) made = nullptr;
    return status;
  };
  const auto take = [&] { return take_frame(made); };
  if (into_beta || foreign)
    return check_opencv({.function = "TavixFrameMultiFrameByCPU",
                         .run = run,
                         .sources = {&alpha},
                         .take_made = take},
                        beta, plain, product, paths);

  const bool sound = plain && !beta.spoiled && has_opencv_strides(beta);
  const auto expected = sound && beta->video.height > 0 ? opencv_result(product) : std::nullopt;
  check({.function = "TavixFrameMultiFrameByCPU",
         .run = run,
         .sources = {&alpha, &beta},
         .expect_result =
             [&](const Path &) {
               if (!expected) return;
               ASSERT_NE(made, nullptr);
               EXPECT_TRUE(same_as(*expected, *made));
             },
         .take_made = take,
         .must_succeed = expected.has_value()},
        paths);
}

// The elements are those of the source's format, which must not be larger than the destination's.
void fill(Choices &c, std::span<const Path> paths) {
  FrameRecord dst(c, any_shape(c)), other(c, any_shape(c));
  FrameRecord &like = test::is_float_format(dst->video.format) ? other : dst;
  const bool floats = test::is_float_format(like->video.format);
  const float number = float(any_number(c));
  const uint8_t how = c.byte();
  const float value = how % 2 == 0 ? number : number * 100;
  dst.maybe_spoil(c), other.maybe_spoil(c);
  if (!dst.spoiled && how > 250)
    dst.lengthen_rows();
  else if (!dst.spoiled && how > 245 && dst->video.height > 2)
    dst.spread_rows();
  const bool null = c.rarely();
  TavixFrameV2 *src = null ? c.maybe(&*like) : &*like, *out = null ? c.maybe(&*dst) : &*dst;
  const auto expect_result = [&](const Path &) {
    const TavixVideoInfo &video = dst->video;
    const int64_t n = row_elements(video);
    const auto byte = uint8_t(std::isnan(value) ? 0.0f : std::clamp(value, 0.0f, 255.0f));
    for (int32_t y = 0; y < video.height; ++y)
      for (int32_t i = 0; i < n; ++i)
        ASSERT_TRUE(floats ? test::same_value(value, dst.frame.get<float>(i, y))
                           : byte == dst.frame.get<uint8_t>(i, y));
  };
  check({.function = "TavixFrameMemfillByCPU",
         .run = [&] { return TavixFrameMemfillByCPU(src, out, value); },
         .destinations = {&dst},
         .expect_result = expect_result,
         .must_succeed = !null && !dst.spoiled && !other.spoiled},
        paths);
}

}  // namespace

void channels(Choices &c, std::span<const Path> paths) {
  constexpr Family *kOperations[] = {split, add_mask, multiply, fill};
  c.of(kOperations)(c, paths);
}

}  // namespace tavix::fuzz
