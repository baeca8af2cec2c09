// SPDX-License-Identifier: Apache-2.0
// Filters, morphology, threshold and normalisation on OpenCV: all of them guarded.
#include "tavix/video_common_cpu/filters.h"

#include <opencv2/imgproc.hpp>

#include "tavix_frame_convert_cpu/opencv_bridge.h"

namespace {

using namespace tavix::module;

constexpr auto &kUnit = kFrameConvertUnit;
const cv::Point kCentre(-1, -1);

// cv::dilate or cv::erode.
using Morphology = void (*)(cv::InputArray src, cv::OutputArray dst, cv::InputArray kernel,
                            cv::Point anchor, int iterations, int border, const cv::Scalar &value);

int32_t run_morphology(const LogOrigin &by, Morphology run, const TavixFrameV2 *src,
                       TavixFrameV2 *dst, const TavixKernel *kernel) {
  TAVIX_REFUSE_NULL_FRAMES(by, src, dst);
  TAVIX_REFUSE_NULL_PLANES(by, src, dst);
  const int type = opencv_type(src->video.format);
  TAVIX_INVALID_AS_IF(by, type < 0, "Unsupported Frame Type:%d To OpencvType!", src->video.format);
  TAVIX_INVALID_AS_IF(by, any_null(kernel), "kernel:%p is nullptr", kernel);
  TAVIX_REFUSE_AS_IF(by, kernel->data_type != TAVIX_DATA_TYPE_UINT8, TAVIX_ERROR_UNSUPPORTED,
                     "Only UINT8 data type is supported, current data type: %d", kernel->data_type);
  TAVIX_REFUSE_FOREIGN_MEMORY(by, src, dst);
  TAVIX_REFUSE_UNCOUNTABLE_KERNEL(by, src, type, kernel_size(kernel->width, kernel->height));
  cv::Mat result = plane_view(*dst, type);
  run(source_view(*src, type), result, kernel_view(*kernel, CV_8UC1), kCentre, 1,
      cv::BORDER_CONSTANT, cv::morphologyDefaultBorderValue());
  return TAVIX_OK;
}

}  // namespace

int32_t TavixFrameBlurByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, TavixSize size) try {
  TAVIX_REFUSE_NULL_FRAMES(TAVIX_HERE(kUnit), src, dst);
  TAVIX_REFUSE_NULL_PLANES(TAVIX_HERE(kUnit), src, dst);
  const int type = opencv_type(src->video.format);
  TAVIX_INVALID_IF(kUnit, type < 0, "Unsupported Frame Type:%d To OpencvType!", src->video.format);
  TAVIX_INVALID_IF(kUnit, src->video.format != dst->video.format,
                   "src_frame and dst_frame have different formats: %d vs %d", src->video.format,
                   dst->video.format);
  TAVIX_REFUSE_FOREIGN_MEMORY(TAVIX_HERE(kUnit), src, dst);
  const cv::Size kernel = kernel_size(size.width, size.height);
  TAVIX_REFUSE_UNCOUNTABLE_KERNEL(TAVIX_HERE(kUnit), src, type, kernel);
  cv::Mat result = plane_view(*dst, type);
  cv::blur(source_view(*src, type), result, kernel, kCentre, cv::BORDER_REFLECT_101);
  return TAVIX_OK;
}
TAVIX_CATCH_OPENCV(kUnit, TAVIX_ERROR_INVALID_PARAM, "OpenCV error: %s")

int32_t TavixFrameBoxFilterByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                 const TavixSize *size) try {
  TAVIX_REFUSE_NULL_FRAMES(TAVIX_HERE(kUnit), src, dst);
  TAVIX_INVALID_IF(kUnit, any_plane_null(src, dst),
                   "src_frame->data[0]:%p or des_frame->data[0]:%p is nullptr", src->data[0],
                   dst->data[0]);
  const int type = opencv_type(src->video.format);
  TAVIX_REFUSE_IF(kUnit, type < 0, TAVIX_ERROR_UNSUPPORTED,
                  "Unsupported Frame Type To OpencvType!");
  TAVIX_REFUSE_FOREIGN_MEMORY(TAVIX_HERE(kUnit), src, dst);
  TAVIX_INVALID_IF(kUnit, any_null(size), "kernel_size:%p is nullptr", size);
  const cv::Size kernel = kernel_size(size->width, size->height);
  TAVIX_REFUSE_UNCOUNTABLE_KERNEL(TAVIX_HERE(kUnit), src, type, kernel);
  constexpr bool kNormalize = false;  // sums, not means, on purpose
  cv::Mat result = plane_view(*dst, type);
  cv::boxFilter(source_view(*src, type), result, -1, kernel, kCentre, kNormalize,
                cv::BORDER_REPLICATE);
  return TAVIX_OK;
}
TAVIX_CATCH_OPENCV(kUnit, TAVIX_ERROR_INVALID_PARAM, "OpenCV error: %s")

int32_t TavixFrameFilter2DByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                const TavixKernel *kernel) try {
  TAVIX_REFUSE_NULL_FRAMES(TAVIX_HERE(kUnit), src, dst);
  TAVIX_REFUSE_NULL_PLANES(TAVIX_HERE(kUnit), src, dst);
  const int type = opencv_type(src->video.format);
  TAVIX_INVALID_IF(kUnit, type < 0, "Unsupported Frame Type:%d To OpencvType!", src->video.format);
  TAVIX_INVALID_IF(kUnit, any_null(kernel), "kernel:%p is nullptr", kernel);
  TAVIX_INVALID_IF(kUnit, kernel->data_type != TAVIX_DATA_TYPE_FLOAT32,
                   "kernel->data_type:%d is not supported!", kernel->data_type);
  TAVIX_REFUSE_FOREIGN_MEMORY(TAVIX_HERE(kUnit), src, dst);
  TAVIX_REFUSE_UNCOUNTABLE_KERNEL(TAVIX_HERE(kUnit), src, type,
                                  kernel_size(kernel->width, kernel->height));
  cv::Mat result = plane_view(*dst, type);
  cv::filter2D(source_view(*src, type), result, -1, kernel_view(*kernel, CV_32FC1), kCentre, 0.0,
               cv::BORDER_REPLICATE);
  return TAVIX_OK;
}
TAVIX_CATCH_OPENCV(kUnit, TAVIX_ERROR_INVALID_PARAM, "OpenCV error: %s")

int32_t TavixFrameDilateBorderByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                    const TavixKernel *kernel) try {
  return run_morphology(TAVIX_HERE(kUnit), cv::dilate, src, dst, kernel);
}
TAVIX_CATCH_OPENCV(kUnit, TAVIX_ERROR_INVALID_PARAM, "Dilate failed: %s")

int32_t TavixFrameErodeBorderByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                   const TavixKernel *kernel) try {
  return run_morphology(TAVIX_HERE(kUnit), cv::erode, src, dst, kernel);
}
TAVIX_CATCH_OPENCV(kUnit, TAVIX_ERROR_INVALID_PARAM, "Erosion failed: %s")

int32_t TavixFrameThresholdBinaryByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, double threshold,
                                       double max_value, int32_t type) try {
  TAVIX_REFUSE_NULL_FRAMES(TAVIX_HERE(kUnit), src, dst);
  const int cv_type = opencv_type(src->video.format);
  TAVIX_REFUSE_IF(kUnit, cv_type < 0, TAVIX_ERROR_UNSUPPORTED,
                  "Unsupported Frame Type:%d To OpencvType!", src->video.format);
  TAVIX_REFUSE_NULL_OR_FOREIGN_PLANES(TAVIX_HERE(kUnit), src, dst);
  cv::Mat result = plane_view(*dst, cv_type);
  cv::threshold(source_view(*src, cv_type), result, threshold, max_value, type);
  return TAVIX_OK;
}
TAVIX_CATCH_OPENCV(kUnit, TAVIX_ERROR_MEMORY, "opencv threshold failed: %s")

int32_t TavixFrameMinMaxNormByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, int32_t alpha,
                                  int32_t beta) try {
  TAVIX_REFUSE_NULL_FRAMES(TAVIX_HERE(kUnit), src, dst);
  TAVIX_REFUSE_NULL_PLANES(TAVIX_HERE(kUnit), src, dst);
  const int type = opencv_type(src->video.format);
  TAVIX_INVALID_IF(kUnit, type < 0, "Unsupported Frame Type To OpencvType!");
  TAVIX_REFUSE_FOREIGN_MEMORY(TAVIX_HERE(kUnit), src, dst);
  cv::Mat result = plane_view(*dst, type);
  cv::normalize(source_view(*src, type), result, alpha, beta, cv::NORM_MINMAX, -1, cv::noArray());
  return TAVIX_OK;
}
TAVIX_CATCH_OPENCV(kUnit, TAVIX_ERROR_INVALID_PARAM, "normalize failed: %s")
