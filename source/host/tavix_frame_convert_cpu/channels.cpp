// SPDX-License-Identifier: Apache-2.0
// Operations that build or fill whole frames: split, mask, product, fill. Split and mask let OpenCV
// exceptions leave the call, by design; the product is guarded.
#include "tavix/video_common_cpu/channels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <opencv2/imgproc.hpp>

#include "common/frame_access.h"
#include "common/pixel_format.h"
#include "cpu/common_c/channels/mask_row.h"
#include "tavix_frame_convert_cpu/opencv_bridge.h"

namespace {

using namespace tavix::module;

constexpr auto &kUnit = kFrameConvertUnit;

struct ChannelDescriptor {
  const char *name;
  uint32_t bit;       // in the selection mask
  int32_t bgr_index;  // channel where blue comes first
  int32_t index;      // channel elsewhere
  TavixFrameV2 *TavixChannelFrames::*slot;
};
constexpr ChannelDescriptor kChannels[] = {
    {"RED", 1, 2, 0, &TavixChannelFrames::red},
    {"GREEN", 2, 1, 1, &TavixChannelFrames::green},
    {"BLUE", 4, 0, 2, &TavixChannelFrames::blue},
    {"ALPHA", 8, 3, 3, &TavixChannelFrames::alpha},
};

constexpr bool is_bgr_ordered(int32_t format) {
  return !traits(format).r_first && traits(format).channels > 1;
}
static_assert(is_bgr_ordered(1) && is_bgr_ordered(4) && is_bgr_ordered(12) && is_bgr_ordered(14));
static_assert(!is_bgr_ordered(0) && !is_bgr_ordered(2) && !is_bgr_ordered(15));

// A new frame of the given format in the image of another one.
TavixFrameV2 *alloc_like(const TavixFrameV2 &frame, int32_t format) {
  return TavixVideoFrameAllocV2(format, frame.memory, frame.video.width, frame.video.height,
                                frame.device, 1);
}

// Where the rows of each channel of a source go; null for those that nobody asked for.
using Planes = std::array<uint8_t *, kMaxChannels>;

// Allocates the frames of a split in the order of the channels, stores them, and points planes at
// their memory. Stops at the first channel that cannot be had.
int32_t make_channel_frames(const LogOrigin &by, const TavixFrameV2 &src_frame, uint32_t mask,
                            TavixChannelFrames &dst_frames, Planes &planes) {
  const int32_t format = src_frame.video.format;
  // A record may claim more channels than its format has.
  const int32_t channels = std::min<int32_t>(src_frame.video.channels, traits(format).channels);
  for (const ChannelDescriptor &channel : kChannels) {
    if ((mask & channel.bit) == 0) continue;
    const int32_t index = is_bgr_ordered(format) ? channel.bgr_index : channel.index;
    TAVIX_INVALID_AS_IF(by, channels < index + 1, "Split %s requires %d channels (src has %d)",
                        channel.name, index + 1, src_frame.video.channels);
    TavixFrameV2 *frame =
        alloc_like(src_frame, is_float(format) ? TAVIX_PIX_FMT_GRAYF32 : TAVIX_PIX_FMT_GRAY8);
    dst_frames.*channel.slot = frame;
    TAVIX_REFUSE_AS_IF(by, frame == nullptr || any_plane_null(frame), TAVIX_ERROR_MEMORY,
                       "%s channel alloc failed", channel.name);
    planes[size_t(index)] = frame->data[0];
  }
  return TAVIX_OK;
}

// Rows go out with a packed pitch, whatever stride the new frames have, on purpose.
void split_rows(const cv::Mat &picture, const Planes &planes) {
  if (planes == Planes{}) return;
  // Rows without gaps are one long row.
  const bool joined =
      picture.isContinuous() && picture.total() * size_t(picture.channels()) <= INT32_MAX;
  const cv::Mat src = joined ? picture.reshape(0, 1) : picture;
  const size_t element = src.elemSize1();
  const auto &kernels = src.depth() == CV_8U ? tensor_rows().u8 : tensor_rows().f32;
  SplitRow *const split = kernels[size_t(src.channels())].split;
  constexpr int64_t kStripPixels = 4096;
  uint8_t nowhere[kStripPixels * sizeof(float)];
  for (int y = 0; y < src.rows; ++y) {
    for (int64_t x = 0; x < src.cols; x += kStripPixels) {
      const int64_t pixels = std::min(kStripPixels, src.cols - x);
      const uint8_t *const from = src.ptr(y, int(x));
      Planes strip;
      for (size_t c = 0; c < planes.size(); ++c)
        strip[c] = planes[c] == nullptr
                       // cppcheck-suppress legacyUninitvar // written, never read
                       ? nowhere
                       : planes[c] + (size_t(y) * size_t(src.cols) + size_t(x)) * element;
      if (src.channels() == 1)
        std::memcpy(strip[0], from, size_t(pixels) * element);
      else
        split(from, strip.data(), pixels);
    }
  }
}

// Every element of the frame's rows; the element type is the caller's choice.
template <class T>
void fill_rows(TavixFrameV2 &frame, T value) {
  const int32_t n = row_elements(frame.video);
  for (int32_t y = 0; y < frame.video.height; ++y) {
    uint8_t *dst = row(frame, y);
    for (int32_t i = 0; i < n; ++i) store(dst, i, value);
  }
}

}  // namespace

int32_t TavixFrameChannelSplitByCPU(const TavixFrameV2 *src_frame, TavixChannelFrames *dst_frames,
                                    uint32_t mask) {
  TAVIX_INVALID_IF(kUnit, any_null(src_frame, dst_frames),
                   "src_frame:%p or dst_frames:%p is nullptr", src_frame, dst_frames);
  const int32_t format = src_frame->video.format;
  const int type = opencv_type(format);
  TAVIX_REFUSE_IF(kUnit, type < 0, TAVIX_ERROR_UNSUPPORTED,
                  "Unsupported src_frame pixel type:%d to OpencvType!", format);
  TAVIX_INVALID_IF(kUnit, any_plane_null(src_frame), "src_frame->data[0] is nullptr");
  TAVIX_INVALID_IF(kUnit, !all_host(src_frame), "src_frame->memory:%d is not host memory",
                   src_frame->memory);

  const cv::Mat src = source_view(*src_frame, type);
  Planes planes = {};
  const int32_t status =
      make_channel_frames(TAVIX_HERE(kUnit), *src_frame, mask, *dst_frames, planes);
  split_rows(src, planes);
  return status;
}

int32_t TavixFrameAddMaskByCPU(const TavixFrameV2 *src_frame, const TavixFrameV2 *mask_frame,
                               TavixFrameV2 **dst_frame) {
  TAVIX_INVALID_IF(kUnit, any_null(src_frame, mask_frame, dst_frame),
                   "src_frame:%p, mask:%p or dst_frame address:%p is nullptr", src_frame,
                   mask_frame, dst_frame);
  const TavixVideoInfo &src = src_frame->video, &mask = mask_frame->video;
  TAVIX_INVALID_IF(kUnit, mask.channels != 1, "mask channels:%d need to be 1", mask.channels);
  TAVIX_REFUSE_IF(kUnit, mask.format != TAVIX_PIX_FMT_GRAY8 && mask.format != TAVIX_PIX_FMT_GRAYF32,
                  TAVIX_ERROR_UNSUPPORTED,
                  "mask video format is:%d now only support TAVIX_PIX_FMT_GRAY8 or "
                  "TAVIX_PIX_FMT_GRAYF32!",
                  mask.format);
  const int src_type = opencv_type(src.format), mask_type = opencv_type(mask.format);
  TAVIX_REFUSE_IF(kUnit, src_type < 0 || mask_type < 0, TAVIX_ERROR_UNSUPPORTED,
                  "Unsupported src_frame pixel type:%d or mask pixel type:%d to OpencvType!",
                  src.format, mask.format);
  const int32_t format = alpha_partner(src.format);
  TAVIX_INVALID_IF(kUnit, format == TAVIX_PIX_FMT_NONE, "Not suppoted src frame pixel format:%d",
                   src.format);
  TAVIX_INVALID_IF(kUnit, !all_host(src_frame, mask_frame),
                   "src_frame->memory:%d or mask->memory:%d is not host memory", src_frame->memory,
                   mask_frame->memory);

  TavixFrameV2 *frame = alloc_like(*src_frame, format);
  *dst_frame = frame;
  TAVIX_REFUSE_IF(kUnit, frame == nullptr || any_plane_null(frame), TAVIX_ERROR_MEMORY,
                  "des frame data allocate error");
  if (any_plane_null(src_frame, mask_frame)) {
    TAVIX_LOG(kUnit, TAVIX_LOG_ERROR, "src_frame->data[0]:%p or mask->data[0]:%p is nullptr",
              src_frame->data[0], mask_frame->data[0]);
    TavixFrameFreeV2(frame);  // the output is not reset, on purpose
    return TAVIX_ERROR_INVALID_PARAM;
  }

  cv::Mat colour = source_view(*src_frame, src_type), alpha = source_view(*mask_frame, mask_type);
  if (alpha.size() != colour.size()) {
    cv::Mat resized;
    cv::resize(alpha, resized, colour.size(), 0, 0, cv::INTER_LINEAR);
    alpha = resized;
  }
  // Rows without gaps are one long row, unless each is cut or converted.
  const bool same_depth = alpha.depth() == colour.depth();
  if (colour.channels() < 4 && same_depth && colour.isContinuous() && alpha.isContinuous() &&
      colour.total() * size_t(colour.channels()) <= INT32_MAX) {
    colour = colour.reshape(0, 1);
    alpha = alpha.reshape(0, 1);
  }
  // Rows go out with a packed pitch, whatever stride the new frame has, on purpose.
  const size_t row_bytes = size_t(colour.cols) * traits(format).channels * colour.elemSize1();
  const TensorRows &kernels = tensor_rows();
  cv::Mat converted;  // a row
  for (int y = 0; y < colour.rows; ++y) {
    const uint8_t *mask_values = alpha.ptr(y);
    if (!same_depth) {
      // An 8-bit mask keeps its values 0 to 255 in a float frame.
      alpha.row(y).convertTo(converted, colour.depth());
      mask_values = converted.ptr();
    }
    mask_row(kernels, is_float(src.format), colour.channels(), colour.ptr(y), mask_values,
             frame->data[0] + size_t(y) * row_bytes, colour.cols);
  }
  return TAVIX_OK;
}

int32_t TavixFrameMultiFrameByCPU(const TavixFrameV2 *alpha_frame, const TavixFrameV2 *beta_frame,
                                  TavixFrameV2 **dst_frame) try {
  TAVIX_INVALID_IF(kUnit, any_null(alpha_frame, beta_frame, dst_frame),
                   "alpha_frame:%p, beta_frame:%p or dst_frame address:%p is nullptr", alpha_frame,
                   beta_frame, dst_frame);
  TAVIX_INVALID_IF(kUnit, *dst_frame != nullptr && *dst_frame != beta_frame,
                   "*des_frame:%p pointer need to be nullptr or equal to beta_frame:%p", *dst_frame,
                   beta_frame);
  const int type = opencv_type(alpha_frame->video.format);
  TAVIX_INVALID_IF(kUnit, type < 0, "Unsupported Frame Type:%d To OpencvType!",
                   alpha_frame->video.format);
  TAVIX_INVALID_IF(kUnit, !all_host(alpha_frame, beta_frame),
                   "alpha_frame->memory:%d or beta_frame->memory:%d is not host memory",
                   alpha_frame->memory, beta_frame->memory);

  if (*dst_frame == nullptr) *dst_frame = alloc_like(*beta_frame, beta_frame->video.format);
  TAVIX_REFUSE_IF(kUnit, *dst_frame == nullptr, TAVIX_ERROR_MEMORY,
                  "TavixVideoFrameAllocV2 failed");
  cv::Mat result = plane_view(**dst_frame, type);
  cv::multiply(source_view(*alpha_frame, type), source_view(*beta_frame, type), result, 1.0, type);
  return TAVIX_OK;
}
TAVIX_CATCH_OPENCV(kUnit, TAVIX_ERROR_MEMORY, "multiply failed: %s")

int32_t TavixFrameMemfillByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, float value) {
  TAVIX_REFUSE_NULL_FRAMES(TAVIX_HERE(kUnit), src, dst);
  const int32_t size = element_size(src->video.format);
  TAVIX_INVALID_IF(kUnit, size < 0, "TavixFrameMemfillByCPU byte_size is not support\n");
  TAVIX_REFUSE_NULL_OR_FOREIGN_PLANES(TAVIX_HERE(kUnit), src, dst);
  TAVIX_RETURN_IF_REFUSED(check_row_elements(TAVIX_HERE(kUnit), dst->video));
  TAVIX_INVALID_IF(
      kUnit, has_pixels(dst->video) && !reaches_rows(dst->linesize[0], dst->video.height),
      "dst_frame->linesize[0]:%d is too large for %d rows", dst->linesize[0], dst->video.height);
  TAVIX_REFUSE_IF(kUnit, size != 1 && size != 4, TAVIX_ERROR_UNSUPPORTED,
                  "TavixFrameMemfillByCPU src_frame video format:%d is not implemented now",
                  src->video.format);
  if (size == 4)
    fill_rows(*dst, value);
  else
    fill_rows(*dst, uint8_t(value > 0.0f ? std::min(value, 255.0f) : 0.0f));  // NaN fills 0
  return TAVIX_OK;
}
