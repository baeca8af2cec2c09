// SPDX-License-Identifier: Apache-2.0
#include "tavix/video_common_cpu/statistics.h"

#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"

using namespace tavix::module;

static constexpr auto &kUnit = kFrameConvertUnit;

int32_t TavixFrameStatisticalFunctionByCPU(const TavixFrameV2 *src, int32_t op,
                                           TavixArray **dst_array) {
  TAVIX_INVALID_IF(any_null(src) || any_plane_null(src),
                   "src:(%p), src->data[0]:(%p) must not be nullptr", src,
                   src == nullptr ? nullptr : src->data[0]);
  TAVIX_INVALID_IF(!all_host(src), "src->memory(%d) must be in host memory", src->memory);
  TAVIX_REFUSE_IF(!is_rgb_family(src->video.format), TAVIX_ERROR_UNSUPPORTED,
                  "Invalid input: src->video.format(%d) must be either RGB Family",
                  src->video.format);
  return TavixFrameStatisticalFunctionForward(src, op, dst_array);
}
