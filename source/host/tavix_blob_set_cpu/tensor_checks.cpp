// SPDX-License-Identifier: Apache-2.0
#include "common/log.h"
#include "common/pixel_format.h"
#include "tavix_blob_set_cpu/tensor_region.h"

namespace tavix::module {

static constexpr auto &kUnit = kBlobSetUnit;

int32_t check_tensor(const TensorDirection &direction, const LogOrigin &by,
                     const TavixFrameV2 &frame, const TensorShape &shape, uint32_t data_type,
                     const TensorRows &rows, const BlobElement *&element) {
  const TavixVideoInfo &video = frame.video;
  const char *const f = direction.frame, *const b = direction.blob;
  TAVIX_INVALID_AS_IF(
      by, video.width < shape.w || video.height < shape.h || video.channels < shape.c,
      "%s_frame_width:%d %s_frame_height:%d %s_frame_channel:%d need great or "
      "equle than %s_blob_width:%d %s_blob_height:%d %s_blob_channel:%d",
      f, video.width, f, video.height, f, video.channels, b, shape.w, b, shape.h, b, shape.c);
  if (video.width != shape.w || video.height != shape.h || video.channels != shape.c) {
    TAVIX_LOG_AS(by, direction.difference_level,
                 "%s_frame_width:%d %s_frame_height:%d %s_frame_channel:%d is different from "
                 "%s_blob_width:%d %s_blob_height:%d %s_blob_channel:%d",
                 f, video.width, f, video.height, f, video.channels, b, shape.w, b, shape.h, b,
                 shape.c);
  }
  element = find_element(rows, data_type);
  // The type is refused at the first element: an empty blob has none. The line speaks of dst_blob in
  // both directions.
  TAVIX_REFUSE_AS_IF(by, !shape.empty() && element == nullptr, TAVIX_ERROR_UNSUPPORTED,
                     "%s dst_blob data_type:%d is not support",
                     is_float(video.format) ? direction.convert_floats : "ConvertUChar", data_type);
  TAVIX_INVALID_AS_IF(by, !all_host(&frame), "%s_frame memory(%d) must be in host memory", f,
                      frame.memory);
  if (shape.empty()) return TAVIX_OK;
  TAVIX_REFUSE_AS_IF(by, !fits_memory(shape, element->bytes), direction.beyond_memory,
                     "%s_blob of %d x %d x %d x %d elements exceeds memory", b, shape.n, shape.c,
                     shape.h, shape.w);
  TAVIX_INVALID_AS_IF(by, !reaches_rows(frame.linesize[0], shape.h),
                      "%s_frame->linesize[0]:%d is too large for %d rows", f, frame.linesize[0],
                      shape.h);
  return TAVIX_OK;
}

}  // namespace tavix::module
