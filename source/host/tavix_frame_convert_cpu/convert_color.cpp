// SPDX-License-Identifier: Apache-2.0
#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "cpu/tavix_cvt_color/entries.h"
#include "tavix/video_common_cpu/color.h"

using namespace tavix::module;

static constexpr auto &kUnit = kFrameConvertUnit;

int32_t TavixFrameConvertColorByCPU(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_INVALID_IF(kUnit, any_null(src_frame, dst_frame),
                   "src_frame(%p) and dst_frame(%p) must not be nullptr", src_frame, dst_frame);
  const int32_t src = src_frame->video.format, dst = dst_frame->video.format;
  TAVIX_REFUSE_IF(kUnit, is_beyond_formats(src) || is_beyond_formats(dst), TAVIX_ERROR_UNSUPPORTED,
                  "Video format src fmt:%d dst fmt:%d not supported yet", src, dst);
  // Negative codes pass the check above, on purpose, and have no conversion.
  ConvertEntry *entry = src < 0 || dst < 0 ? nullptr : convert_entry(src, dst);
  TAVIX_REFUSE_IF(kUnit, entry == nullptr, TAVIX_ERROR_UNSUPPORTED,
                  "Current convert color is not implemented, src format: %d, des format: %d", src,
                  dst);
  return entry(src_frame, dst_frame);
}
