// SPDX-License-Identifier: Apache-2.0
// Entries into and out of 4:2:0, and among its formats. None has checks of its own; the matrix is
// the destination's when YUV is made and the source's when it is read.
#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "cpu/tavix_cvt_color/entries.h"
#include "cpu/tavix_cvt_color/entry_guard.h"
#include "cpu/tavix_cvt_color/yuv_drivers.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kCvtColorUnit;

// A job from a packed frame to a 4:2:0 frame.
template <class Job, class Weights>
Job encode_job(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
  const auto yuv = yuv_planes<uint8_t>(dst);
  return {{src.data[0], src.linesize[0], src.video.channels},
          yuv,
          src.video.width,
          src.video.height,
          Weights(rgb_to_yuv_matrix(dst.video), traits(src.video.format).r_first, yuv.v_first)};
}

// A job from a 4:2:0 frame to a packed frame.
template <class Job, class Weights>
Job decode_job(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
  const auto yuv = yuv_planes<const uint8_t>(src);
  return {{dst.data[0], dst.linesize[0], dst.video.channels},
          yuv,
          src.video.width,
          src.video.height,
          Weights(yuv_to_rgb_matrix(src.video), traits(dst.video.format).r_first, yuv.v_first)};
}

RgbToYuvJob rgb_to_yuv(const TavixFrameV2 *src, const TavixFrameV2 *dst) {
  return encode_job<RgbToYuvJob, RgbToYuvWeights>(*src, *dst);
}
YuvToRgbJob yuv_to_rgb(const TavixFrameV2 *src, const TavixFrameV2 *dst) {
  return decode_job<YuvToRgbJob, YuvToRgbWeights>(*src, *dst);
}
RgbF32ToYuvJob rgbf32_to_yuv(const TavixFrameV2 *src, const TavixFrameV2 *dst) {
  return encode_job<RgbF32ToYuvJob, RgbF32ToYuvWeights>(*src, *dst);
}
YuvToRgbF32Job yuv_to_rgbf32(const TavixFrameV2 *src, const TavixFrameV2 *dst) {
  return decode_job<YuvToRgbF32Job, YuvToRgbF32Weights>(*src, *dst);
}

// An interleaved picture that starts with V pairs up with the planes of the other in that order.
YuvRepackJob repack_job(const TavixFrameV2 *src_frame, const TavixFrameV2 *dst_frame) {
  YuvRepackJob job = {yuv_planes<const uint8_t>(*src_frame), yuv_planes<uint8_t>(*dst_frame),
                      src_frame->video.width, src_frame->video.height};
  if (job.src.v_first) std::swap(job.dst.chroma[0], job.dst.chroma[1]);
  if (job.dst.v_first) std::swap(job.src.chroma[0], job.src.chroma[1]);
  return job;
}

GrayToYuvJob gray_job(const TavixFrameV2 *src, const TavixFrameV2 *dst) {
  return {src->data[0], src->linesize[0], yuv_planes<uint8_t>(*dst), src->video.width,
          src->video.height};
}

// Bytes of so many rows that are copied or filled as one span, padding included.
constexpr int64_t span_of(int32_t linesize, int32_t rows) {
  return int64_t(linesize) * std::max(rows, 0);
}

// A span that is no size: upside-down rows, or more than 32 bits hold.
constexpr bool impossible_span(int64_t bytes) {
  return bytes < 0 || bytes > std::numeric_limits<int32_t>::max();
}

#define TAVIX_REFUSE_IMPOSSIBLE_SPAN(frame, plane, rows)                                \
  TAVIX_REFUSE_IF(kUnit, impossible_span(span_of((frame)->linesize[plane], rows)),      \
                  TAVIX_ERROR_INVALID_PARAM,                                            \
                  "linesize[" #plane "](%d) of a frame of %d rows is no span of bytes", \
                  (frame)->linesize[plane], rows)

}  // namespace

int32_t TavixBGR2NV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  BGR2NV12Avx(rgb_to_yuv(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixBGR2YV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  BGR2YV12Avx(rgb_to_yuv(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixBGRA2NV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  BGRA2NV12Avx(rgb_to_yuv(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixBGRA2YV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  BGRA2YV12Avx(rgb_to_yuv(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixNV122BGR(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  NV122BGR(yuv_to_rgb(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixNV122BGRA(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  NV122BGR(yuv_to_rgb(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixYV122BGR(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  YV122BGR(yuv_to_rgb(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixYV122BGRA(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  YV122BGRA(yuv_to_rgb(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixRGBF322NV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  RGBF322NVAvx(rgbf32_to_yuv(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixRGBF322YV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  RGBF322YUVAvx(rgbf32_to_yuv(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixNV2BGRF32(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  NV2BGRF32Avx(yuv_to_rgbf32(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixYUV2BGRF32(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  YUV2BGRF32Avx(yuv_to_rgbf32(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixNV122NV21(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  NV122NV21(repack_job(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixNV122YV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  NV122YV12(repack_job(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixYV122NV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  YVU122NV(repack_job(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixYV122I420(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  YVU122YVU12(repack_job(src_frame, dst_frame));
  return TAVIX_OK;
}

// Chroma is filled to the ends of its strides, whatever the width: upside-down planes have no such
// span, and the planes must exist even when no pixel is copied.
int32_t TavixGray2NV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  const int32_t rows = whole_pairs(src_frame->video.height);
  TAVIX_REFUSE_IMPOSSIBLE_SPAN(dst_frame, 1, rows);
  TAVIX_REFUSE_IF(kUnit, span_of(dst_frame->linesize[1], rows) > 0 && any_null(dst_frame->data[1]),
                  TAVIX_ERROR_INVALID_PARAM, "dst_frame->data[1] must not be nullptr");
  Gray2NV12(gray_job(src_frame, dst_frame));
  return TAVIX_OK;
}

int32_t TavixGray2YV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame);
  const int32_t rows = whole_pairs(src_frame->video.height);
  TAVIX_REFUSE_IMPOSSIBLE_SPAN(dst_frame, 1, rows);
  TAVIX_REFUSE_IF(
      kUnit,
      span_of(dst_frame->linesize[1], rows) > 0 && any_null(dst_frame->data[1], dst_frame->data[2]),
      TAVIX_ERROR_INVALID_PARAM,
      "dst_frame->data[1](%p) and dst_frame->data[2](%p) must not be nullptr", dst_frame->data[1],
      dst_frame->data[2]);
  Gray2YV12(gray_job(src_frame, dst_frame));
  return TAVIX_OK;
}

// Equal strides make the whole plane one span, padding included, whatever the width.
int32_t TavixYUV2Gray(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_UNUSABLE_PLANES(src_frame, 1, dst_frame, 1);
  const int32_t width = src_frame->video.width, height = src_frame->video.height;
  if (src_frame->linesize[0] == dst_frame->linesize[0]) {
    const int64_t bytes = span_of(src_frame->linesize[0], height);
    TAVIX_REFUSE_IMPOSSIBLE_SPAN(src_frame, 0, height);
    TAVIX_REFUSE_IF(kUnit, bytes > 0 && any_plane_null(src_frame, dst_frame),
                    TAVIX_ERROR_INVALID_PARAM,
                    "src_frame->data[0](%p) and dst_frame->data[0](%p) must not be nullptr",
                    src_frame->data[0], dst_frame->data[0]);
    if (bytes > 0) std::memcpy(dst_frame->data[0], src_frame->data[0], size_t(bytes));
  } else {
    for (int32_t y = 0; y < height && width > 0; ++y)
      std::memcpy(row(*dst_frame, y), row(*src_frame, y), size_t(width));
  }
  return TAVIX_OK;
}

}  // namespace tavix::module
