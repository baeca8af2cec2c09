// SPDX-License-Identifier: Apache-2.0
// Colour conversion of every pair of formats against the references of its tests.
#include <algorithm>

#include "color_packed_reference.h"
#include "color_yuv_reference.h"
#include "families.h"
#include "support/compare.h"
#include "tavix/video_common_cpu/color.h"

namespace tavix::fuzz {

namespace {

using test::GuardedFrame;

// Floats of colour are around 0 to 1.
void bring_to_one(GuardedFrame &frame, Choices &c) {
  const float most = c.of({1.0f, 255.0f, 240.0f, 510.0f});
  if (!test::is_float_format(frame->video.format)) return;
  for (int32_t y = 0; y < frame->video.height; ++y)
    for (int32_t i = 0; i < frame->video.width * frame->video.channels; ++i)
      frame.set(i, y, frame.get<float>(i, y) / most);
}

// Grey beside 4:2:0 copies and fills padding, so that it must have none here.
test::FrameLayout layout_for(Choices &c, int32_t from, int32_t to) {
  const auto layout = FrameRecord::any_layout(c);
  const bool gray = from == TAVIX_PIX_FMT_GRAY8 || to == TAVIX_PIX_FMT_GRAY8;
  return gray && (test::is_yuv(from) || test::is_yuv(to)) ? test::FrameLayout{} : layout;
}

// More channels than the format has, where that is possible.
int32_t any_channels(Choices &c, int32_t format) {
  return test::channels_of(format) == 3 && c.byte() % 4 == 0 ? 4 : 0;
}

void expect_reference(const FrameRecord &src, const FrameRecord &dst,
                      const std::vector<uint8_t> &before, bool vector) {
  const int32_t from = src.frame->video.format, to = dst.frame->video.format;
  const TavixVideoInfo &video = dst.frame->video;
  GuardedFrame expected({to, video.width, video.height, video.channels}, dst.layout);
  expected.set_payload(before);
  expected->video = video;
  if (from == to)
    expected.set_payload(src.frame.payload());
  else if (test::is_yuv(from) || test::is_yuv(to))
    test::reference_convert(*src.frame, *expected, vector);
  else
    test::PackedReference(src.frame, vector).convert(expected);
  EXPECT_TRUE(test::same_pixels(*expected, *dst.frame)) << from << " -> " << to;
}

// Sizes and strides that are refused before any memory is looked at.
void maybe_spoil_sizes(Choices &c, FrameRecord &src, FrameRecord &dst) {
  if (c.byte() < 240 || src.spoiled || dst.spoiled) return;
  const int32_t from = src->video.format, to = dst->video.format;
  if (from != to && (test::channels_of(from) > 2 || test::channels_of(to) > 2)) {
    src.spoiled = true;
    src->video.width = INT32_MAX;
  } else if (from == TAVIX_PIX_FMT_GRAY8 && test::is_yuv(to)) {
    dst.spoiled = true;
    if (c.byte() % 2 == 0)
      dst->linesize[1] = -dst->linesize[1];
    else
      src->video.width = 0, dst->data[1] = nullptr;  // padding is filled all the same
  } else if (to == TAVIX_PIX_FMT_GRAY8 && test::is_yuv(from)) {
    src.spoiled = true;
    if (c.byte() % 2 == 0)
      src->linesize[0] = dst->linesize[0] = -7;
    else
      src->video.width = 0, dst->data[0] = nullptr;
  }
}

// What the copy hands on besides pixels.
bool same_color(const TavixVideoInfo &a, const TavixVideoInfo &b) {
  return a.color_space == b.color_space && a.color_range == b.color_range;
}

}  // namespace

void color(Choices &c, std::span<const Path> paths) {
  const int32_t from = c.of(kColorFormats), to = c.of(kColorFormats);
  test::FrameShape shape = any_shape(c);
  // A copy goes by the format alone.
  const int32_t src_channels = from == to ? 0 : any_channels(c, from),
                dst_channels = from == to ? 0 : any_channels(c, to);
  const test::FrameShape src_shape = {from, shape.width, shape.height, src_channels},
                         dst_shape = {to, shape.width, shape.height, dst_channels};
  FrameRecord src(c, src_shape, layout_for(c, from, to)),
      dst(c, dst_shape, layout_for(c, from, to));
  bring_to_one(src.frame, c);
  const std::vector<uint8_t> before = dst.contents();
  src.maybe_spoil(c), dst.maybe_spoil(c);
  maybe_spoil_sizes(c, src, dst);
  const bool null = c.rarely(), spoiled = src.spoiled || dst.spoiled || null;
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src, *out = null ? c.maybe(&*dst) : &*dst;
  const TavixVideoInfo dst_video = dst->video;

  check({.function = "TavixFrameConvertColorByCPU",
         .run =
             [&] {
               dst->video = dst_video;  // a copy hands its own colour on
               return TavixFrameConvertColorByCPU(in, out);
             },
         .sources = {&src},
         .destinations = {&dst},
         .expect_result =
             [&](const Path &path) {
               if (spoiled) return;
               expect_reference(src, dst, before, path.vector);
               EXPECT_TRUE(from == to ? same_color(src->video, dst->video)
                                      : same_color(dst_video, dst->video));
             },
         .take_made =
             [&] {
               std::vector<uint8_t> bytes;
               append_bytes(bytes, dst->video);
               return bytes;
             }},
        paths);
}

}  // namespace tavix::fuzz
