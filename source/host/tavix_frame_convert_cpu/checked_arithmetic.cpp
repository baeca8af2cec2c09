// SPDX-License-Identifier: Apache-2.0
// The entries of arithmetic and statistics: their own checks, then the dispatcher.
#include "tavix/video_common_cpu/arithmetic.h"

#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "tavix/video_common_cpu/statistics.h"

using namespace tavix::module;

static constexpr auto &kUnit = kFrameConvertUnit;

int32_t TavixFrameBinaryArithmeticByCPU(const TavixFrameV2 *src1_frame,
                                        const TavixFrameV2 *src2_frame, uint32_t op,
                                        const double *alpha, const double *beta,
                                        const double *gamma, TavixFrameV2 *dst_frame) {
  TAVIX_INVALID_IF(kUnit, any_null(src1_frame, src2_frame, dst_frame),
                   "Invalid input: src1_frame(%p), src2_frame(%p), and dst_frame(%p) must not be "
                   "nullptr",
                   src1_frame, src2_frame, dst_frame);
  TAVIX_INVALID_IF(
      kUnit, !all_host(src1_frame, src2_frame, dst_frame),
      "Invalid input: src1_frame(%d), src2_frame(%d), and dst_frame(%d) must all be in "
      "host memory",
      src1_frame->memory, src2_frame->memory, dst_frame->memory);
  TAVIX_INVALID_IF(kUnit, any_plane_null(src1_frame, src2_frame, dst_frame),
                   "Invalid input: src1_frame->data[0](%p), src2_frame->data[0](%p), and "
                   "dst_frame->data[0](%p) must not be nullptr",
                   src1_frame->data[0], src2_frame->data[0], dst_frame->data[0]);

  const int32_t format = src1_frame->video.format;
  TAVIX_INVALID_IF(kUnit, format != src2_frame->video.format || format != dst_frame->video.format,
                   "Invalid input: src1_frame->video.format(%d), src2_frame->video.format(%d), and "
                   "dst_frame->video.format(%d) must be the same",
                   format, src2_frame->video.format, dst_frame->video.format);
  TAVIX_REFUSE_IF(kUnit, !is_rgb_family(format), TAVIX_ERROR_UNSUPPORTED,
                  "Invalid input: src1_frame->video.format(%d), src2_frame->video.format(%d), and "
                  "dst_frame->video.format(%d) must be either RGB Family",
                  format, src2_frame->video.format, dst_frame->video.format);

  return TavixFrameBinaryArithmeticForward(src1_frame, src2_frame, op, alpha, beta, gamma,
                                           dst_frame);
}

int32_t TavixFrameUnaryArithmeticByCPU(const TavixFrameV2 *src, int32_t op, const double *scale,
                                       const double *offset, TavixFrameV2 *dst) {
  TAVIX_INVALID_IF(kUnit, any_null(src, dst), "src:(%p), dst:(%p) must not be nullptr", src, dst);
  TAVIX_INVALID_IF(kUnit, any_plane_null(src, dst),
                   "src->data[0](%p), dst->data[0](%p) must not be nullptr", src->data[0],
                   dst->data[0]);
  TAVIX_INVALID_IF(kUnit, !all_host(src, dst),
                   "src->memory(%d), dst->memory(%d) must be in host memory", src->memory,
                   dst->memory);
  const int32_t format = src->video.format;
  TAVIX_INVALID_IF(kUnit, format != dst->video.format,
                   "Invalid input: src->video.format(%d), dst->video.format(%d) must be the same",
                   format, dst->video.format);
  TAVIX_REFUSE_IF(kUnit, !is_rgb_family(format), TAVIX_ERROR_UNSUPPORTED,
                  "Invalid input: src->video.format(%d), dst->video.format(%d) must be either RGB "
                  "Family",
                  format, dst->video.format);

  return TavixFrameUnaryArithmeticForward(src, op, scale, offset, dst);
}

int32_t TavixFrameStatisticalFunctionByCPU(const TavixFrameV2 *src, int32_t op,
                                           TavixArray **dst_array) {
  TAVIX_INVALID_IF(kUnit, any_null(src) || any_plane_null(src),
                   "src:(%p), src->data[0]:(%p) must not be nullptr", src,
                   src == nullptr ? nullptr : src->data[0]);
  TAVIX_INVALID_IF(kUnit, !all_host(src), "src->memory(%d) must be in host memory", src->memory);
  TAVIX_REFUSE_IF(kUnit, !is_rgb_family(src->video.format), TAVIX_ERROR_UNSUPPORTED,
                  "Invalid input: src->video.format(%d) must be either RGB Family",
                  src->video.format);
  return TavixFrameStatisticalFunctionForward(src, op, dst_array);
}
