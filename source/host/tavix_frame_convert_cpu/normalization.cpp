// SPDX-License-Identifier: Apache-2.0
// Between the 8-bit and the float form of a packed frame, with normalisation in the same pass.
#include <algorithm>

#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "cpu/common_c/blob/normalize_rows.h"
#include "tavix/video_common_cpu/blob.h"

using namespace tavix::module;

namespace {

constexpr auto &kUnit = kFrameConvertUnit;

// What the conversion checks once there is a frame to write to.
int32_t DataTypeConvertCPU(const TavixFrameV2 *src_frame, const TavixFrameV2 *des_frame,
                           const float *norm_vals) {
  TAVIX_INVALID_IF(kUnit, any_null(src_frame, des_frame, norm_vals),
                   "DataTypeConvertCPU src_frame:%p des_frame:%p or norm_vals:%p is nullptr",
                   src_frame, des_frame, norm_vals);
  const TavixVideoInfo &src = src_frame->video, &dst = des_frame->video;
  TAVIX_INVALID_IF(
      kUnit,
      src_frame->memory != des_frame->memory || src.width != dst.width || src.height != dst.height,
      "DataTypeConvertCPU src frame memory width height:%d, %d, %d is differenct "
      "dst:%d, %d, %d!",
      src_frame->memory, src.width, src.height, des_frame->memory, dst.width, dst.height);
  return TAVIX_OK;
}

}  // namespace

int32_t TavixFrameDataTypeConvertNormalizationFuseByCPU(const TavixFrameV2 *src_frame,
                                                        TavixFrameV2 **dst_frame, int32_t data_type,
                                                        const float *norm_vals) {
  TAVIX_INVALID_IF(kUnit, any_null(src_frame), "src_frame(%p) must not be nullptr", src_frame);
  const TavixVideoInfo &video = src_frame->video;
  const bool from_float = is_float(video.format);
  const int32_t src_type = from_float ? TAVIX_DATA_TYPE_FLOAT32 : TAVIX_DATA_TYPE_UINT8;
  const int32_t dst_format = data_type == src_type ? video.format : float_partner(video.format);
  TAVIX_INVALID_IF(kUnit, dst_format == TAVIX_PIX_FMT_NONE,
                   "TavixFrameDataTypeConvertByCPU not suppoted input data format:%d",
                   video.format);
  TAVIX_INVALID_IF(kUnit, any_null(dst_frame), "dst_frame(%p) must not be nullptr", dst_frame);

  const bool to_float = data_type == TAVIX_DATA_TYPE_FLOAT32;
  const bool converts = to_float || data_type == TAVIX_DATA_TYPE_UINT8;
  // Elements of a row; 0: no loop touches any.
  const int64_t n = converts && !is_empty(video) ? int64_t(video.width) * video.channels : 0;
  TAVIX_INVALID_IF(kUnit, !all_host(src_frame), "src_frame memory(%d) must be in host memory",
                   src_frame->memory);
  TAVIX_INVALID_IF(kUnit, n > 0 && video.channels > kMaxChannels,
                   "src_frame channels(%d) must not exceed those of format(%d)", video.channels,
                   dst_format);
  TAVIX_INVALID_IF(kUnit, n > 0 && !reaches_rows(src_frame->linesize[0], video.height),
                   "src_frame->linesize[0]:%d is too large for %d rows", src_frame->linesize[0],
                   video.height);

  TavixFrameV2 *dst = TavixVideoFrameAllocV2(dst_format, src_frame->memory, video.width,
                                             video.height, src_frame->device, 1);
  *dst_frame = dst;
  TAVIX_REFUSE_IF(kUnit, dst == nullptr, TAVIX_ERROR_MEMORY, "TavixVideoFrameAllocV2 error");
  TAVIX_REFUSE_IF(kUnit, any_plane_null(src_frame), withdraw(dst_frame, TAVIX_ERROR_INVALID_PARAM),
                  "src_frame data[0] is nullptr");
  if (!converts) return TAVIX_OK;  // the pixels stay unset, on purpose
  // A new frame that these checks refuse stays, on purpose.
  const int32_t status = DataTypeConvertCPU(src_frame, dst, norm_vals);
  TAVIX_REFUSE_IF(kUnit, status != TAVIX_OK, status, "DataTypeConvertCPU failed:%d", status);
  if (n == 0) return TAVIX_OK;
  const int64_t dst_bytes = n * (to_float ? int64_t(sizeof(float)) : 1);
  TAVIX_REFUSE_IF(kUnit, any_plane_null(dst), withdraw(dst_frame, TAVIX_ERROR_MEMORY),
                  "TavixVideoFrameAllocV2 error");
  TAVIX_REFUSE_IF(
      kUnit, dst_bytes > dst->linesize[0], withdraw(dst_frame, TAVIX_ERROR_INVALID_PARAM),
      "src_frame channels(%d) must not exceed those of format(%d)", video.channels, dst_format);
  TAVIX_REFUSE_IF(kUnit, !reaches_rows(dst->linesize[0], video.height),
                  withdraw(dst_frame, TAVIX_ERROR_INVALID_PARAM),
                  "dst_frame->linesize[0]:%d is too large for %d rows", dst->linesize[0],
                  video.height);

  const NormalizeParameters parameters(norm_vals, video.channels);
  NormalizeRow *normalize = normalize_rows().by_type[from_float][to_float];
  const int64_t src_bytes = n * (from_float ? int64_t(sizeof(float)) : 1);
  const bool gapless = src_frame->linesize[0] == src_bytes && dst->linesize[0] == dst_bytes;
  for_each_joined(0, video.height, int32_t(n), std::max(src_bytes, dst_bytes), gapless,
                  [&](int32_t y, int32_t elements) {
                    normalize(row(*src_frame, y), row(*dst, y), elements, parameters);
                  });
  return TAVIX_OK;
}
