// SPDX-License-Identifier: Apache-2.0
// Matrices of OpenCV as frames and back, without a copy; header-only, C++17 and later. A program
// that includes this header links OpenCV itself.
//
// A view borrows: it holds pointers and no reference, and lives no longer than the pixels it shows.
// Regions of a matrix are matrices; their frames have the row stride of the whole.
//
// What corresponds:
//   CV_8UC1 CV_8UC3 CV_8UC4     GRAY8; BGR24 or RGB24; BGRA32 or RGBA32
//   CV_32FC1 CV_32FC3 CV_32FC4  GRAYF32; BGRF32 or RGBF32; BGRAF32 or RGBAF32
//   CV_8UC1 of 3/2 the height   NV12 NV21, and where its rows have no gaps I420 YV12
// A matrix does not say in which order its channels are. Blue comes first unless a format is named.
#ifndef TAVIX_INTEROP_OPENCV_H
#define TAVIX_INTEROP_OPENCV_H

#include <cstdint>
#include <limits>
#include <opencv2/core/mat.hpp>
#include <string>

#include "tavix/frame.hpp"

namespace tavix {

namespace detail {

struct MatFormat {
  int32_t frame;
  int type;  // of matrices
};

// The first row of a type is its format when none is named.
constexpr MatFormat kMatFormats[] = {
    // clang-format off
    { TAVIX_PIX_FMT_GRAY8,   CV_8UC1  },
    { TAVIX_PIX_FMT_BGR24,   CV_8UC3  },
    { TAVIX_PIX_FMT_RGB24,   CV_8UC3  },
    { TAVIX_PIX_FMT_BGRA32,  CV_8UC4  },
    { TAVIX_PIX_FMT_RGBA32,  CV_8UC4  },
    { TAVIX_PIX_FMT_GRAYF32, CV_32FC1 },
    { TAVIX_PIX_FMT_BGRF32,  CV_32FC3 },
    { TAVIX_PIX_FMT_RGBF32,  CV_32FC3 },
    { TAVIX_PIX_FMT_BGRAF32, CV_32FC4 },
    { TAVIX_PIX_FMT_RGBAF32, CV_32FC4 },
    { TAVIX_PIX_FMT_NV12,    CV_8UC1  },
    { TAVIX_PIX_FMT_NV21,    CV_8UC1  },
    { TAVIX_PIX_FMT_YV12,    CV_8UC1  },
    { TAVIX_PIX_FMT_I420,    CV_8UC1  },
    // clang-format on
};

// The type of matrices that hold a format, or -1.
constexpr int mat_type(int32_t format) {
  for (const MatFormat &row : kMatFormats)
    if (row.frame == format) return row.type;
  return -1;
}

constexpr bool is_yuv(int32_t format) {
  return format >= TAVIX_PIX_FMT_NV12 && format <= TAVIX_PIX_FMT_I420;
}

constexpr bool has_two_chroma_planes(int32_t format) {
  return format == TAVIX_PIX_FMT_I420 || format == TAVIX_PIX_FMT_YV12;
}

inline void require(bool condition, const char *function, const char *reason) {
  if (!condition) throw Error(function, TAVIX_ERROR_UNSUPPORTED, reason);
}

// The chroma of a 4:2:0 matrix follows its luma.
inline void add_chroma_view(const cv::Mat &mat, TavixFrameV2 &frame) {
  const bool two_planes = has_two_chroma_planes(frame.video.format);
  require(mat.rows % 3 == 0 && mat.cols % 2 == 0, "frame_view",
          "a 4:2:0 matrix has an even width and three rows for every two of the picture");
  require(!two_planes || mat.isContinuous(), "frame_view",
          "a matrix with gaps between its rows has no place for two chroma planes");
  frame.video.height = mat.rows / 3 * 2;
  frame.data[1] = frame.data[0] + size_t(frame.video.height) * mat.step[0];
  frame.linesize[1] = frame.linesize[0];
  if (!two_planes) return;
  frame.linesize[1] = frame.linesize[2] = mat.cols / 2;
  frame.data[2] = frame.data[1] + size_t(frame.video.height / 2) * size_t(mat.cols / 2);
}

}  // namespace detail

/// Views a matrix, or a region of one, as a frame of this format; borrows. The pixels of a const
/// matrix are for reading only. Throws Error where the matrix cannot hold the format.
inline TavixFrameV2 frame_view(const cv::Mat &mat, int32_t format) {
  using detail::require;
  require(detail::mat_type(format) >= 0, "frame_view", "the format has no matrix");
  require(mat.dims == 2 && !mat.empty(), "frame_view", "the matrix is not a picture");
  require(mat.type() == detail::mat_type(format), "frame_view",
          "the elements of the matrix are not those of the format");
  require(mat.step[0] <= size_t(std::numeric_limits<int32_t>::max()), "frame_view",
          "the rows of the matrix are too far apart");
  TavixFrameV2 frame = {};
  frame.memory = TAVIX_MEMORY_HOST;
  frame.video.channels = mat.channels();
  frame.video.width = mat.cols;
  frame.video.height = mat.rows;
  frame.video.format = format;
  frame.data[0] = mat.data;
  frame.linesize[0] = int32_t(mat.step[0]);
  if (detail::is_yuv(format)) detail::add_chroma_view(mat, frame);
  return frame;
}

/// As above in the format that its elements suggest, blue first.
inline TavixFrameV2 frame_view(const cv::Mat &mat) {
  for (const detail::MatFormat &row : detail::kMatFormats)
    if (row.type == mat.type()) return frame_view(mat, row.frame);
  throw Error("frame_view", TAVIX_ERROR_UNSUPPORTED, "the elements of the matrix have no format");
}

/// Views a packed frame as a matrix; borrows. Throws Error for frames that have no matrix: 4:2:0,
/// and rows that go upwards or overlap.
inline cv::Mat mat_view(const TavixFrameV2 &frame) {
  const int type = detail::mat_type(frame.video.format);
  const int64_t row_bytes = int64_t(frame.video.width) * (type < 0 ? 0 : CV_ELEM_SIZE(type));
  detail::require(type >= 0 && !detail::is_yuv(frame.video.format), "mat_view",
                  "the format has no matrix");
  detail::require(frame.memory == TAVIX_MEMORY_HOST && frame.data[0] != nullptr, "mat_view",
                  "the frame has no pixels in host memory");
  detail::require(frame.video.channels == CV_MAT_CN(type), "mat_view",
                  "the pixels have another number of channels");
  detail::require(frame.video.height == 1 || frame.linesize[0] >= row_bytes, "mat_view",
                  "the rows go upwards or overlap");
  const size_t step = frame.video.height == 1 ? size_t(row_bytes) : size_t(frame.linesize[0]);
  return cv::Mat(frame.video.height, frame.video.width, type, frame.data[0], step);
}

}  // namespace tavix

#endif
