// SPDX-License-Identifier: Apache-2.0
// Frames into tensors and back, and the normalising conversion, against the references of their
// tests.
#include "blob_reference.h"

#include <algorithm>
#include <array>

#include "families.h"
#include "normalization_reference.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/scarce_memory.h"
#include "tavix/video_common_cpu/blob.h"

namespace tavix::fuzz {

namespace {

using test::Extents;

constexpr uint32_t kLayouts[] = {0, 1, 0, 1, 0, 1, 0, 1, 2, 5, 8, 9, 14, 15, 16, 1000, 1005, 1006};

// Mostly the frame's extents, sometimes fewer, rarely more.
Extents any_extents(Choices &c, const TavixVideoInfo &video) {
  const auto part = [&](int32_t whole) {
    const uint8_t how = c.byte();
    return how < 160 ? std::max(whole, 1) : how < 240 ? 1 + how % std::max(whole, 1) : whole + 1;
  };
  return {1 + c.below(3), part(video.channels), part(video.height), part(video.width)};
}

// Both directions, from a record alone and in a list of one.
struct Tensor {
  FrameRecord frame;
  uint32_t layout, type;
  Extents extents;
  BlobRecord blob;
  bool null, no_list, scarce;
  TavixFrameV2 *in_list[1];
  TavixFrames list;
  TavixBlob *tensor;

  explicit Tensor(Choices &c)
      : frame(c, any_shape(c)),
        layout(c.of(kLayouts)),
        type(c.of(test::kBlobTypes)),
        extents(any_extents(c, frame->video)),
        blob(c, type, layout, extents.dims(layout != 1)) {
    frame.maybe_spoil(c), blob.maybe_spoil(c);
    const uint8_t how = c.byte();
    if (how > 247 && how <= 250 && !frame.spoiled && !blob.spoiled && fits() && extents.h > 2)
      frame.spread_rows();
    if (how > 250) {  // as large as no memory is
      std::fill_n(blob.blob->dims, 4, INT32_MAX);
      blob.spoiled = true;
      TavixVideoInfo &video = frame->video;
      if (c.byte() % 2 == 0) video.width = video.height = video.channels = INT32_MAX;
    }
    null = c.rarely(), scarce = c.rarely();
    no_list = null && c.byte() % 4 == 0;
    in_list[0] = null ? c.maybe(&*frame) : &*frame;
    list = {null && c.byte() % 4 == 0 ? nullptr : in_list, null ? c.of({1, 1, 0, 2, -1}) : 1};
    tensor = null ? c.maybe(&*blob.blob) : &*blob.blob;
  }

  // Both are as they were made.
  bool plain() const { return !frame.spoiled && !blob.spoiled && !null && !scarce && layout <= 1; }
  bool fits() const {
    const TavixVideoInfo &video = frame.frame->video;
    return extents.c <= video.channels && extents.h <= video.height && extents.w <= video.width;
  }
};

void frame_to_blob(Choices &c, std::span<const Path> paths) {
  const bool listed = c.byte() % 2 == 1;
  Tensor t(c);
  const int nth = 1 + c.below(2);
  const auto run = [&] {
    if (t.scarce) test::fail_nothrow_new(nth);
    return listed ? TavixFramesToBlobByCPU(t.no_list ? nullptr : &t.list, t.tensor)
                  : TavixFrameToBlobByCPU(t.in_list[0], t.tensor);
  };
  check({.function = listed ? "TavixFramesToBlobByCPU" : "TavixFrameToBlobByCPU",
         .run = run,
         .sources = {&t.frame},
         .destinations = {&t.blob},
         .expect_result =
             [&](const Path &) {
               if (!t.plain()) return;
               const auto expected =
                   test::is_float_format(t.frame->video.format)
                       ? test::expected_blob<float>(t.frame.frame, t.type, t.extents, t.layout == 0)
                       : test::expected_blob<uint8_t>(t.frame.frame, t.type, t.extents,
                                                      t.layout == 0);
               EXPECT_TRUE(expected == t.blob.contents()) << "other elements";
             },
         .must_succeed = t.plain() && t.fits()},
        paths);
}

void blob_to_frame(Choices &c, std::span<const Path> paths) {
  const bool listed = c.byte() % 2 == 1;
  Tensor t(c);
  const std::vector<uint8_t> before = t.frame.contents(), elements = t.blob.contents();
  const int nth = 1 + c.below(2);
  const auto run = [&] {
    if (t.scarce) test::fail_nothrow_new(nth);
    return listed ? TavixBlobToFramesByCPU(t.tensor, t.no_list ? nullptr : &t.list)
                  : TavixBlobToFrameByCPU(t.tensor, t.in_list[0]);
  };
  const auto expect_result = [&](const Path &) {
    if (!t.plain()) return;
    const TavixVideoInfo &video = t.frame->video;
    test::GuardedFrame expected({video.format, video.width, video.height});
    expected.set_payload(before);
    test::is_float_format(video.format)
        ? test::write_expected<float>(elements.data(), t.type, t.extents, t.layout == 0, expected)
        : test::write_expected<uint8_t>(elements.data(), t.type, t.extents, t.layout == 0,
                                        expected);
    EXPECT_TRUE(test::same_pixels(*expected, *t.frame));
  };
  check({.function = listed ? "TavixBlobToFramesByCPU" : "TavixBlobToFrameByCPU",
         .run = run,
         .sources = {&t.blob},
         .destinations = {&t.frame},
         .expect_result = expect_result,
         .must_succeed = t.plain() && t.fits()},
        paths);
}

void normalization(Choices &c, std::span<const Path> paths) {
  FrameRecord src(c, any_shape(c));
  test::NormVals values;
  for (float &value : values) value = float(any_number(c));
  src.maybe_spoil(c);
  const bool null = c.rarely();
  const uint8_t how = c.byte();
  const bool scarce = how % 16 == 15;
  if (how == 14 && src->video.height > 2 && !src.spoiled) src.spread_rows();
  const int32_t type = c.of({0, 11, 0, 11, 5, -1});
  TavixFrameV2 *dst = nullptr;
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src, **out = null ? c.maybe(&dst) : &dst;
  const float *norm_vals = null ? c.maybe(values.data()) : values.data();
  const bool known_type = type == TAVIX_DATA_TYPE_FLOAT32 || type == TAVIX_DATA_TYPE_UINT8;
  const auto expect_result = [&](const Path &) {
    ASSERT_NE(dst, nullptr);
    EXPECT_EQ(dst->device, src->device);
    if (known_type && !src.spoiled) test::expect_normalized(src.frame, *dst, values);
  };
  check({.function = "TavixFrameDataTypeConvertNormalizationFuseByCPU",
         .run =
             [&] {
               if (scarce) test::core_double().fail_frame_allocation();
               return TavixFrameDataTypeConvertNormalizationFuseByCPU(in, out, type, norm_vals);
             },
         .sources = {&src},
         .expect_result = expect_result,
         .take_made = [&] { return take_frame(dst); },
         .must_succeed = !src.spoiled && !null && !scarce && src->video.height > 0},
        paths);
}

}  // namespace

void blobs(Choices &c, std::span<const Path> paths) {
  constexpr Family *kOperations[] = {frame_to_blob, blob_to_frame, normalization};
  c.of(kOperations)(c, paths);
}

}  // namespace tavix::fuzz
