// SPDX-License-Identifier: Apache-2.0
#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "tavix/video_common_cpu/arithmetic.h"

using namespace tavix::module;

static constexpr auto &kUnit = kFrameConvertUnit;

int32_t TavixFrameUnaryArithmeticByCPU(const TavixFrameV2 *src, int32_t op, const double *scale,
                                       const double *offset, TavixFrameV2 *dst) {
  TAVIX_REFUSE_IF(kUnit, any_null(src, dst), TAVIX_ERROR_INVALID_PARAM,
                  "src:(%p), dst:(%p) must not be nullptr", src, dst);
  TAVIX_REFUSE_IF(kUnit, any_plane_null(src, dst), TAVIX_ERROR_INVALID_PARAM,
                  "src->data[0](%p), dst->data[0](%p) must not be nullptr", src->data[0],
                  dst->data[0]);
  TAVIX_REFUSE_IF(kUnit, !all_host(src, dst), TAVIX_ERROR_INVALID_PARAM,
                  "src->memory(%d), dst->memory(%d) must be in host memory", src->memory,
                  dst->memory);
  const int32_t format = src->video.format;
  TAVIX_REFUSE_IF(kUnit, format != dst->video.format, TAVIX_ERROR_INVALID_PARAM,
                  "Invalid input: src->video.format(%d), dst->video.format(%d) must be the same",
                  format, dst->video.format);
  TAVIX_REFUSE_IF(kUnit, !is_rgb_family(format), TAVIX_ERROR_UNSUPPORTED,
                  "Invalid input: src->video.format(%d), dst->video.format(%d) must be either RGB "
                  "Family",
                  format, dst->video.format);

  return TavixFrameUnaryArithmeticForward(src, op, scale, offset, dst);
}
