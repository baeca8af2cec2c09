// SPDX-License-Identifier: Apache-2.0
// Geometry on OpenCV. None of these catches: OpenCV exceptions leave the call, by design.
#include "tavix/video_common_cpu/geometry.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "tavix_frame_convert_cpu/opencv_bridge.h"

namespace {

using namespace tavix::module;

constexpr auto &kUnit = kFrameConvertUnit;

// cv::warpAffine or cv::warpPerspective.
using Warp = void (*)(cv::InputArray src, cv::OutputArray dst, cv::InputArray matrix, cv::Size size,
                      int flags, int border, const cv::Scalar &value);

// Warps src_frame into result; to is where the result belongs.
int32_t warp_frame(const LogOrigin &by, Warp warp, int matrix_rows, const TavixFrameV2 *dst_frame,
                   const TavixFrameV2 *src_frame, const float *matrix, int32_t interpolation,
                   int32_t border, double border_value, cv::Mat &result, cv::Mat &to) {
  TAVIX_REFUSE_NULL_FRAMES(by, src_frame, dst_frame);
  const int src_type = opencv_type(src_frame->video.format);
  const int dst_type = opencv_type(dst_frame->video.format);
  TAVIX_REFUSE_AS_IF(by, src_type < 0 || dst_type < 0, TAVIX_ERROR_UNSUPPORTED,
                     "Unsupported src frame type:%d or dst frame type:%d to OpencvType",
                     src_frame->video.format, dst_frame->video.format);
  TAVIX_REFUSE_NULL_PLANES(by, src_frame, dst_frame);
  TAVIX_INVALID_AS_IF(by, src_frame->linesize[0] <= 0 || dst_frame->linesize[0] <= 0,
                      "src_frame->linesize[0]:%d or dst_frame->linesize[0]:%d is invalid",
                      src_frame->linesize[0], dst_frame->linesize[0]);
  TAVIX_REFUSE_FOREIGN_MEMORY(by, src_frame, dst_frame);
  TAVIX_INVALID_AS_IF(by, any_null(matrix), "matrix:%p is nullptr", matrix);
  const TavixVideoInfo &size = dst_frame->video;
  TAVIX_REFUSE_UNCOUNTABLE(by, size.width, size.height, src_type);

  const cv::Mat src = source_view(*src_frame, src_type);
  to = plane_view(*dst_frame, dst_type);
  const cv::Mat coefficients(matrix_rows, 3, CV_32FC1, const_cast<float *>(matrix));
  const int mode = opencv_border(border);
  // A transparent border leaves pixels unset: they are black rather than what memory held.
  if (mode == cv::BORDER_TRANSPARENT && !to.size().empty())
    result = cv::Mat::zeros(to.size(), src_type);
  warp(src, result, coefficients, to.size(), opencv_interpolation(interpolation), mode,
       cv::Scalar::all(border_value));
  return TAVIX_OK;
}

// Ends a warp: its result is delivered only where it has the size and type of its destination.
#define TAVIX_DELIVER(name, result, to)                                                   \
  TAVIX_INVALID_IF(kUnit, result.type() != to.type() || result.size() != to.size(),       \
                   name                                                                   \
                   " result size/type mismatch: result(%dx%d, type=%d), expected(%dx%d, " \
                   "type=%d)",                                                            \
                   result.cols, result.rows, result.type(), to.cols, to.rows, to.type()); \
  result.copyTo(to);                                                                      \
  return TAVIX_OK

}  // namespace

int32_t TavixFrameResizeByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, int32_t width,
                              int32_t height, int32_t interpolation) {
  TAVIX_INVALID_IF(kUnit, any_null(src, dst),
                   "TavixFrameResizeByCPU src frame:%p or des frame pointer:%p is nullptr", src,
                   dst);
  const int type = opencv_type(src->video.format);
  TAVIX_INVALID_IF(kUnit, type < 0, "TavixFrameResizeByCPU not suppoted src frame data format:%d",
                   src->video.format);
  TAVIX_INVALID_IF(kUnit, any_plane_null(src), "TavixFrameResizeByCPU src frame data is nullptr");
  TAVIX_REFUSE_FOREIGN_MEMORY(TAVIX_HERE(kUnit), src, dst);
  TAVIX_REFUSE_UNCOUNTABLE(TAVIX_HERE(kUnit), width, height, type);

  cv::Mat result = plane_view(*dst, type);
  cv::resize(source_view(*src, type), result, {width, height}, 0, 0,
             opencv_interpolation(interpolation));
  return TAVIX_OK;
}

int32_t TavixFrameResizeByScaleByCPU(const TavixFrameV2 *src, TavixFrameV2 **dst, double fx,
                                     double fy, int32_t interpolation) {
  TAVIX_INVALID_IF(kUnit, any_null(src), "TavixFrameResizeByScaleByCPU src frame:%p is nullptr",
                   src);
  const int type = opencv_type(src->video.format);
  TAVIX_INVALID_IF(kUnit, type < 0,
                   "TavixFrameResizeByScaleByCPU not suppoted src frame data format:%d",
                   src->video.format);
  TAVIX_INVALID_IF(kUnit, any_plane_null(src),
                   "TavixFrameResizeByScaleByCPU src frame data is nullptr");
  TAVIX_INVALID_IF(kUnit, !all_host(src),
                   "TavixFrameResizeByScaleByCPU src frame memory:%d is not host memory",
                   src->memory);
  TAVIX_INVALID_IF(kUnit, any_null(dst),
                   "TavixFrameResizeByScaleByCPU dst frame address:%p is nullptr", dst);
  TAVIX_REFUSE_UNCOUNTABLE(TAVIX_HERE(kUnit), cv::saturate_cast<int>(src->video.width * fx),
                           cv::saturate_cast<int>(src->video.height * fy), type);

  cv::Mat result;
  cv::resize(source_view(*src, type), result, {}, fx, fy, opencv_interpolation(interpolation));

  TavixFrameV2 *frame = TavixVideoFrameAllocV2(src->video.format, src->memory, result.cols,
                                               result.rows, src->device, 1);
  *dst = frame;
  TAVIX_REFUSE_IF(kUnit, any_null(frame) || any_plane_null(frame),
                  withdraw(dst, TAVIX_ERROR_MEMORY),
                  "TavixFrameResizeByScaleByCPU dst frame alloc/data failed");
  result.copyTo(plane_view(*frame, type));
  frame->pts = src->pts;
  frame->dts = src->dts;
  frame->duration = src->duration;
  frame->flags = src->flags;
  return TAVIX_OK;
}

int32_t TavixFrameWarpAffineByCPU(TavixFrameV2 *dst, const TavixFrameV2 *src, const float *matrix,
                                  int32_t interpolation, int32_t border, double border_value) {
  cv::Mat result, to;
  TAVIX_RETURN_IF_REFUSED(warp_frame(TAVIX_HERE(kUnit), cv::warpAffine, 2, dst, src, matrix,
                                     interpolation, border, border_value, result, to));
  TAVIX_DELIVER("warpAffine", result, to);
}

int32_t TavixFrameWarpPerspectiveByCPU(TavixFrameV2 *dst, const TavixFrameV2 *src,
                                       const float *matrix, int32_t interpolation, int32_t border,
                                       double border_value) {
  cv::Mat result, to;
  TAVIX_RETURN_IF_REFUSED(warp_frame(TAVIX_HERE(kUnit), cv::warpPerspective, 3, dst, src, matrix,
                                     interpolation, border, border_value, result, to));
  TAVIX_DELIVER("warpPerspective", result, to);
}

int32_t TavixFrameRoiByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, TavixRect src_rect,
                           TavixRect dst_rect) {
  TAVIX_REFUSE_NULL_FRAMES(TAVIX_HERE(kUnit), src, dst);
  const int type = opencv_type(src->video.format);
  TAVIX_REFUSE_IF(kUnit, type < 0, TAVIX_ERROR_UNSUPPORTED,
                  "Unsupported Frame Type:%d To OpencvType", src->video.format);
  TAVIX_REFUSE_NULL_OR_FOREIGN_PLANES(TAVIX_HERE(kUnit), src, dst);

  // A const output cannot be reallocated: OpenCV raises when the rectangles differ in size.
  const cv::Mat to = plane_view(*dst, type)(whole_rect(dst_rect));
  source_view(*src, type)(whole_rect(src_rect)).copyTo(to);
  return TAVIX_OK;
}

int32_t TavixFrameCopyMakeBorderByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, int32_t top,
                                      int32_t bottom, int32_t left, int32_t right, int32_t border,
                                      double border_value) {
  TAVIX_REFUSE_NULL_FRAMES(TAVIX_HERE(kUnit), src, dst);
  const int type = opencv_type(src->video.format);
  TAVIX_REFUSE_IF(kUnit, type < 0, TAVIX_ERROR_UNSUPPORTED, "src frame video format:%d not support",
                  src->video.format);
  TAVIX_INVALID_IF(kUnit, any_plane_null(src), "src_frame->data[0] is nullptr");
  TAVIX_REFUSE_FOREIGN_MEMORY(TAVIX_HERE(kUnit), src, dst);

  const cv::Mat picture = source_view(*src, type);
  const int mode = opencv_border(border);
  // OpenCV raises for sides below 0 and for codes that are no border. It would miscount what is too
  // large, and look for pixels to repeat where there are none.
  const bool sound = std::min({top, bottom, left, right}) >= 0;
  const bool too_large =
      !countable(int64_t(picture.cols) + left + right, int64_t(picture.rows) + top + bottom, type);
  const bool repeats =
      mode == cv::BORDER_REPLICATE || mode == cv::BORDER_REFLECT || mode == cv::BORDER_REFLECT_101;
  const bool repeats_nothing = repeats && ((picture.rows == 0 && (top > 0 || bottom > 0)) ||
                                           (picture.cols == 0 && (left > 0 || right > 0)));
  TAVIX_INVALID_IF(
      kUnit, sound && (too_large || repeats_nothing),
      "src frame:%dx%d can not take border:%d with top:%d, bottom:%d, left:%d, right:%d",
      picture.cols, picture.rows, border, top, bottom, left, right);

  cv::Mat result = plane_view(*dst, type);
  cv::copyMakeBorder(picture, result, top, bottom, left, right, mode,
                     cv::Scalar::all(border_value));
  return TAVIX_OK;
}
