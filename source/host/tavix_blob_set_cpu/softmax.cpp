// SPDX-License-Identifier: Apache-2.0
#include "tavix/video_common_cpu/softmax.h"

#include "common/blob_shape.h"
#include "common/frame_access.h"
#include "common/log.h"

using namespace tavix::module;

static constexpr auto &kUnit = kBlobSetUnit;

int32_t TavixBlobSoftmaxByCPU(const TavixBlob *src_blob, int32_t axis, TavixBlob *dst_blob) {
  TAVIX_INVALID_IF(kUnit, any_null(src_blob, dst_blob), "src_blob or dst_blob is null");
  TAVIX_RETURN_IF_REFUSED(check_same_dims(TAVIX_HERE(kUnit), *src_blob, *dst_blob));
  TAVIX_REFUSE_IF(kUnit, !both_float(*src_blob, *dst_blob), TAVIX_ERROR_UNSUPPORTED,
                  "only float data type is supported");
  TAVIX_INVALID_IF(kUnit, any_null(src_blob->buffer, dst_blob->buffer), "buffer is null");
  return TavixBlobSoftmaxForward(src_blob, axis, dst_blob);
}
