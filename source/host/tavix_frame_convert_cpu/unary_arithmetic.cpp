// SPDX-License-Identifier: Apache-2.0
#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "tavix/video_common_cpu/arithmetic.h"

using namespace tavix::module;

static constexpr auto &kUnit = kFrameConvertUnit;

int32_t TavixFrameUnaryArithmeticByCPU(const TavixFrameV2 *src, int32_t op, const double *scale,
                                       const double *offset, TavixFrameV2 *dst) {
  TAVIX_INVALID_IF(any_null(src, dst), "src:(%p), dst:(%p) must not be nullptr", src, dst);
  TAVIX_INVALID_IF(any_plane_null(src, dst),
                   "src->data[0](%p), dst->data[0](%p) must not be nullptr", src->data[0],
                   dst->data[0]);
  TAVIX_INVALID_IF(!all_host(src, dst), "src->memory(%d), dst->memory(%d) must be in host memory",
                   src->memory, dst->memory);
  const int32_t format = src->video.format;
  TAVIX_INVALID_IF(format != dst->video.format,
                   "Invalid input: src->video.format(%d), dst->video.format(%d) must be the same",
                   format, dst->video.format);
  TAVIX_REFUSE_IF(!is_rgb_family(format), TAVIX_ERROR_UNSUPPORTED,
                  "Invalid input: src->video.format(%d), dst->video.format(%d) must be either RGB "
                  "Family",
                  format, dst->video.format);

  return TavixFrameUnaryArithmeticForward(src, op, scale, offset, dst);
}
