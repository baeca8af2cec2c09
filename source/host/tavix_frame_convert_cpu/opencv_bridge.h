// SPDX-License-Identifier: Apache-2.0
// From records to OpenCV: matrix types, codes, views of plane 0 that copy and own nothing, and the
// one way an OpenCV failure becomes a status.
#pragma once

#include <opencv2/core.hpp>

#include "common/frame_access.h"
#include "common/log.h"
#include "common/rounding.h"
#include "tavix/core/records.h"

// Closes the try block of a guarded operation: what() is the last argument of the format. Every
// other exception leaves the call.
#define TAVIX_CATCH_OPENCV_AS(function, status, ...)                                           \
  catch (const cv::Exception &exception) {                                                     \
    TAVIX_LOG_AS(kFrameConvertUnit, function, TAVIX_LOG_ERROR, __VA_ARGS__, exception.what()); \
    return status;                                                                             \
  }
#define TAVIX_CATCH_OPENCV(status, ...) TAVIX_CATCH_OPENCV_AS(__func__, status, __VA_ARGS__)

// Guards for what no operation's own checks name: records before them, memory after them.
#define TAVIX_REFUSE_NULL_FRAMES_AS(function, src, dst)                                          \
  TAVIX_REFUSE_AS_IF(kFrameConvertUnit, function, any_null(src, dst), TAVIX_ERROR_INVALID_PARAM, \
                     "src_frame:%p or dst_frame:%p is nullptr", src, dst)
#define TAVIX_REFUSE_NULL_FRAMES(src, dst) TAVIX_REFUSE_NULL_FRAMES_AS(__func__, src, dst)

#define TAVIX_REFUSE_FOREIGN_MEMORY_AS(function, src, dst)                                        \
  TAVIX_REFUSE_AS_IF(kFrameConvertUnit, function, !all_host(src, dst), TAVIX_ERROR_INVALID_PARAM, \
                     "src_frame->memory:%d or dst_frame->memory:%d is not host memory",           \
                     src->memory, dst->memory)
#define TAVIX_REFUSE_FOREIGN_MEMORY(src, dst) TAVIX_REFUSE_FOREIGN_MEMORY_AS(__func__, src, dst)

namespace tavix::module {

// OpenCV type of an RGB-family format, -1 for every other code.
int opencv_type(int32_t format);

// Interpolation codes 1 to 5, 7, 8 and 16 are OpenCV's; every other code is nearest (0).
int opencv_interpolation(int32_t code);

// Border codes 1 to 5 and 16 are OpenCV's; every other code is constant (0).
int opencv_border(int32_t code);

// Plane 0 as a matrix of the given type with the frame's size and stride. OpenCV raises for a
// stride below the row or off the element size, for a missing plane and for a negative size.
cv::Mat plane_view(const TavixFrameV2 &frame, int type);

// A kernel's size, fractions dropped. Raises for sides OpenCV would overflow its buffers with.
cv::Size kernel_size(float width, float height);

// A kernel's elements as a matrix; raises for a negative size or missing elements too.
cv::Mat kernel_view(const TavixKernel &kernel, int type);

// A rectangle given in floats, fractions dropped. Far-out values are pulled in, so that x + width
// cannot overflow; they stay outside every image.
cv::Rect whole_rect(const TavixRect &rect);

}  // namespace tavix::module
