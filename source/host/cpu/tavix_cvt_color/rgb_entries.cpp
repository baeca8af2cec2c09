// SPDX-License-Identifier: Apache-2.0
// Entries of the packed formats, and the same-format copy. Only the copy and two of the others have
// checks of their own; their texts differ in wording on purpose.
#include "cpu/tavix_cvt_color/entries.h"
#include "cpu/tavix_cvt_color/entry_guard.h"
#include "cpu/tavix_cvt_color/rgb_drivers.h"
#include "tavix/core/services.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kCvtColorUnit;

// Grey is read and written with a step of 1, colour with the frame's channels.
constexpr int32_t pixel_step(const TavixVideoInfo &video) {
  return traits(video.format).channels == 1 ? 1 : video.channels;
}

PackedJob job_of(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
  return {src.data[0],     src.linesize[0],       pixel_step(src.video), dst.data[0],
          dst.linesize[0], pixel_step(dst.video), src.video.width,       src.video.height};
}

bool is_r_first(const TavixFrameV2 *frame) {
  return traits(frame->video.format).r_first;
}

bool orders_differ(const TavixFrameV2 *src, const TavixFrameV2 *dst) {
  return is_r_first(src) != is_r_first(dst);
}

// Luma of ITU-R BT.709, BT.2020 and BT.601; the integers are the weights times 256, of sum 256.
constexpr GrayWeights kBt709Gray = {0.2126f, 0.7152f, 0.0722f, 54, 183, 19};
constexpr GrayWeights kBt2020Gray = {0.2627f, 0.678f, 0.0593f, 63, 173, 20};
constexpr GrayWeights kBt601Gray = {0.299f, 0.587f, 0.114f, 77, 150, 29};

constexpr bool sums_to_256(const GrayWeights &w) {
  return w.fixed_red + w.fixed_green + w.fixed_blue == 256;
}
static_assert(sums_to_256(kBt709Gray) && sums_to_256(kBt2020Gray) && sums_to_256(kBt601Gray));

constexpr const GrayWeights &gray_weights(int32_t color_space) {
  if (color_space == 1) return kBt709Gray;
  return color_space == 7 || color_space == 8 ? kBt2020Gray : kBt601Gray;
}

}  // namespace

int32_t ColorCopyCommon(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_IF(kUnit, any_null(src_frame, dst_frame), TAVIX_ERROR_INVALID_PARAM,
                  "src_frame or des_frame is NULL");
  TAVIX_REFUSE_IF(kUnit, any_plane_null(src_frame, dst_frame), TAVIX_ERROR_INVALID_PARAM,
                  "frame data is NULL");
  return TavixFrameCopyV2(dst_frame, src_frame, 0, 0);
}

// The checks of the two entries that have some.
#define TAVIX_REFUSE_BAD_PIXELS(src_frame, dst_frame)                                     \
  TAVIX_REFUSE_IF(kUnit, any_null(src_frame, dst_frame), TAVIX_ERROR_INVALID_PARAM,       \
                  "src_frame or dst_frame is NULL");                                      \
  TAVIX_REFUSE_IF(kUnit, any_plane_null(src_frame, dst_frame), TAVIX_ERROR_INVALID_PARAM, \
                  "frame data is NULL");                                                  \
  TAVIX_REFUSE_IF(kUnit, !converts_pixels(src_frame->video), TAVIX_ERROR_INVALID_PARAM,   \
                  "invalid frame dimensions: %dx%d", src_frame->video.width,              \
                  src_frame->video.height)

int32_t TavixBGR2RGB(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_BAD_PIXELS(src_frame, dst_frame);
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  BGR2RGB(job_of(*src_frame, *dst_frame), orders_differ(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixBGR2Gray(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_BAD_PIXELS(src_frame, dst_frame);
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  BGR2Gray(job_of(*src_frame, *dst_frame), is_r_first(src_frame));
  return TAVIX_OK;
}

int32_t TavixBGRA2Gray(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  BGR2Gray(job_of(*src_frame, *dst_frame), is_r_first(src_frame));
  return TAVIX_OK;
}

int32_t TavixBGR2BGRA(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  BGR2BGRA(job_of(*src_frame, *dst_frame), orders_differ(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixBGRA2BGR(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  BGRA2BGR(job_of(*src_frame, *dst_frame), orders_differ(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixBGRA2RGBA(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  BGRA2RGBA(job_of(*src_frame, *dst_frame), orders_differ(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixGray2BGR(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  Gray2BGR(job_of(*src_frame, *dst_frame));
  return TAVIX_OK;
}

int32_t TavixGray2BGRA(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  Gray2BGRA(job_of(*src_frame, *dst_frame));
  return TAVIX_OK;
}

int32_t TavixRGB2BGRF32(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  RGB2BGRF32(job_of(*src_frame, *dst_frame), orders_differ(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixGray2BGRF32(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  Gray2BGRF32(job_of(*src_frame, *dst_frame));
  return TAVIX_OK;
}

int32_t TavixRGBF322BGR(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  RGBF322BGR(job_of(*src_frame, *dst_frame), orders_differ(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixRGBF322Gray(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  RGBF322Gray(job_of(*src_frame, *dst_frame), is_r_first(src_frame),
              gray_weights(src_frame->video.color_space));
  return TAVIX_OK;
}

int32_t TavixRGBF32Family(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  RGBF32Family(job_of(*src_frame, *dst_frame), orders_differ(src_frame, dst_frame));
  return TAVIX_OK;
}

}  // namespace tavix::module
