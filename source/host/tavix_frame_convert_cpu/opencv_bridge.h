// SPDX-License-Identifier: Apache-2.0
// From records to OpenCV: matrix types, codes, views of plane 0 that copy and own nothing, and the
// one way an OpenCV failure becomes a status.
#pragma once

#include <opencv2/core.hpp>

#include "common/frame_access.h"
#include "common/log.h"
#include "common/numbers.h"
#include "tavix/core/records.h"

// Ends a guarded operation, whose body is a try block: the format takes what(). Every other
// exception leaves the call.
#define TAVIX_CATCH_OPENCV(unit, status, format)                \
  catch (const cv::Exception &exception) {                      \
    TAVIX_LOG(unit, TAVIX_LOG_ERROR, format, exception.what()); \
    return status;                                              \
  }

// The checks that several operations share, under the name of the exported function. Null records
// come first; memory comes after the checks that an operation lists, and before what it allocates
// or reads.
#define TAVIX_REFUSE_NULL_FRAMES(by, src, dst) \
  TAVIX_INVALID_AS_IF(by, any_null(src, dst), "src_frame:%p or dst_frame:%p is nullptr", src, dst)
#define TAVIX_REFUSE_NULL_PLANES(by, src, dst)                                                   \
  TAVIX_INVALID_AS_IF(by, any_plane_null(src, dst),                                              \
                      "src_frame->data[0]:%p or dst_frame->data[0]:%p is nullptr", src->data[0], \
                      dst->data[0])
#define TAVIX_REFUSE_FOREIGN_MEMORY(by, src, dst)                                        \
  TAVIX_INVALID_AS_IF(by, !all_host(src, dst),                                           \
                      "src_frame->memory:%d or dst_frame->memory:%d is not host memory", \
                      src->memory, dst->memory)

// Both, where no other check stands between them.
#define TAVIX_REFUSE_NULL_OR_FOREIGN_PLANES(by, src, dst) \
  TAVIX_REFUSE_NULL_PLANES(by, src, dst);                 \
  TAVIX_REFUSE_FOREIGN_MEMORY(by, src, dst)

// A result whose bytes, or a kernel whose bordered rows or columns OpenCV would miscount.
#define TAVIX_REFUSE_UNCOUNTABLE(by, cols, rows, type)                                           \
  TAVIX_INVALID_AS_IF(by, !countable(cols, rows, type), "a result of %dx%d pixels is too large", \
                      cols, rows)
#define TAVIX_REFUSE_UNCOUNTABLE_KERNEL(by, frame, type, size)                           \
  TAVIX_INVALID_AS_IF(by, !countable((frame)->video, type, size),                        \
                      "kernel of %dx%d is too large for a frame of %dx%d", (size).width, \
                      (size).height, (frame)->video.width, (frame)->video.height)

namespace tavix::module {

// OpenCV type of an RGB-family format, -1 for every other code.
int opencv_type(int32_t format);

// Interpolation codes 1 to 5, 7, 8 and 16 are OpenCV's; every other code is nearest (0).
int opencv_interpolation(int32_t code);

// Border codes 1 to 5 and 16 are OpenCV's; every other code is constant (0).
int opencv_border(int32_t code);

// Plane 0 as a matrix of the given type with the frame's size and stride; a stride of 0 means
// packed rows. OpenCV raises for a stride below the row or off the element size and for a missing
// plane.
cv::Mat plane_view(const TavixFrameV2 &frame, int type);

// The same of a frame that is read. OpenCV raises for a negative size here, before it is handed to
// calls that would go on with it; a destination of that size is never written.
cv::Mat source_view(const TavixFrameV2 &frame, int type);

// Whether OpenCV can count a result of so many columns and rows, which may exceed 32 bits here: it
// would let the bytes wrap.
bool countable(int64_t cols, int64_t rows, int type);

// A kernel's size, fractions dropped.
cv::Size kernel_size(float width, float height);

// Whether OpenCV can count the bordered rows and columns of such a picture under such a kernel.
bool countable(const TavixVideoInfo &picture, int type, const cv::Size &kernel);

// A kernel's elements as a matrix; OpenCV raises for missing elements.
cv::Mat kernel_view(const TavixKernel &kernel, int type);

// A rectangle given in floats, fractions dropped. Far-out values are pulled in, so that x + width
// cannot overflow; they stay outside every image.
cv::Rect whole_rect(const TavixRect &rect);

}  // namespace tavix::module
