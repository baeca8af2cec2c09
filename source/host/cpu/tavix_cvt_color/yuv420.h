// SPDX-License-Identifier: Apache-2.0
// 4:2:0 pictures as conversions see them. Every conversion works on row pairs: two rows of pixels
// or luma and the one row of chroma they share. Rows and columns beyond the last whole 2 x 2 block
// belong to no row pair.
#pragma once

#include <cstdint>

#include "common/frame_access.h"
#include "common/parallel/tavix_parallel_wrapper.h"
#include "common/pixel_format.h"

namespace tavix::module {

enum class ChromaLayout { kInterleaved, kPlanar };

constexpr ChromaLayout chroma_layout(int32_t format) {
  return format == TAVIX_PIX_FMT_NV12 || format == TAVIX_PIX_FMT_NV21 ? ChromaLayout::kInterleaved
                                                                      : ChromaLayout::kPlanar;
}

// Byte is uint8_t or const uint8_t.
template <class Byte>
struct YuvPlanes {
  Byte *y;
  int32_t y_linesize;
  Byte *chroma[2];  // planar: U and V. Interleaved: the one plane, twice.
  int32_t chroma_linesize;
  bool v_first;  // the first sample of a pair is V
};

// The planes of a 4:2:0 frame. Both chroma planes of a planar frame share linesize[1], on purpose.
template <class Byte>
YuvPlanes<Byte> yuv_planes(const TavixFrameV2 &frame) {
  const int32_t format = frame.video.format;
  const int u = format == TAVIX_PIX_FMT_YV12 ? 2 : 1;
  const int v = format == TAVIX_PIX_FMT_I420 ? 2 : 1;
  return {frame.data[0],
          frame.linesize[0],
          {frame.data[u], frame.data[v]},
          frame.linesize[1],
          format == TAVIX_PIX_FMT_NV21};
}

// A packed picture of 3 or 4 channels, bytes or floats.
template <class Byte>
struct PackedPlane {
  Byte *data;
  int32_t linesize;
  int32_t channels;
};

// The rows of one row pair. The chroma rows of an interleaved picture are the same.
template <class Packed, class Yuv>
struct RowPair {
  Packed *packed[2];
  Yuv *y[2];
  Yuv *chroma[2];
};

// Everything a conversion between a packed and a 4:2:0 picture needs; sizes in pixels.
template <class Packed, class Yuv, class Weights>
struct PackedYuvJob {
  PackedPlane<Packed> packed;
  YuvPlanes<Yuv> yuv;
  int32_t width, height;
  Weights weights;

  // Rows a and b of pixels and luma with chroma row c.
  RowPair<Packed, Yuv> rows(int32_t a, int32_t b, int32_t c) const {
    return {
        {row(packed.data, packed.linesize, a), row(packed.data, packed.linesize, b)},
        {row(yuv.y, yuv.y_linesize, a), row(yuv.y, yuv.y_linesize, b)},
        {row(yuv.chroma[0], yuv.chroma_linesize, c), row(yuv.chroma[1], yuv.chroma_linesize, c)}};
  }
  RowPair<Packed, Yuv> row_pair(int32_t c) const { return rows(2 * c, 2 * c + 1, c); }
  int32_t row_pairs() const { return width > 0 ? height / 2 : 0; }
};

// One sample pair of a chroma row; the interleaved layout takes both from the first row.
template <ChromaLayout layout, class Byte>
constexpr Byte &chroma_at(Byte *const (&rows)[2], int32_t pair, int which) {
  return layout == ChromaLayout::kInterleaved ? rows[0][2 * int64_t(pair) + which]
                                              : rows[which][pair];
}

constexpr int32_t whole_pairs(int32_t pixels) {
  return pixels & ~1;
}

// A body over chroma rows between packed and 4:2:0 pictures. Kernel is built from a job and
// converts row pair c with row_pair<channels>(c).
template <class Kernel>
class PackedYuvBody final : public ParallelLoopBody {
 public:
  template <class Job>
  explicit PackedYuvBody(const Job &job) : kernel_{job} {}

  void operator()(const Range &rows) const override {
    kernel_.job.packed.channels == 4 ? convert<4>(rows) : convert<3>(rows);
  }

 private:
  template <int channels>
  void convert(const Range &rows) const {
    for (int32_t c = rows.start; c < rows.end; ++c) kernel_.template row_pair<channels>(c);
  }

  Kernel kernel_;
};

}  // namespace tavix::module
