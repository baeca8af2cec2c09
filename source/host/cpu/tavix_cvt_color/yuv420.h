// SPDX-License-Identifier: Apache-2.0
// 4:2:0 pictures as conversions see them. Every conversion works on row pairs: two rows of pixels
// or luma and the one row of chroma they share. Rows and columns beyond the last whole 2 x 2 block
// belong to no row pair.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "common/frame_access.h"
#include "common/pixel_format.h"

namespace tavix::module {

enum class ChromaLayout : uint8_t { kInterleaved, kPlanar };

// Of a pair of samples, in one row of chroma.
constexpr int pair_bytes(ChromaLayout layout) {
  return layout == ChromaLayout::kInterleaved ? 2 : 1;
}

// Byte is uint8_t or const uint8_t.
template <class Byte>
struct YuvPlanes {
  Byte *y;
  int32_t y_linesize;
  Byte *chroma[2];  // planar: U and V. Interleaved: the one plane, twice.
  int32_t chroma_linesize;
  ChromaLayout layout;
  bool v_first;  // the first sample of an interleaved pair is V
};

// The planes of a 4:2:0 frame. Both chroma planes of a planar frame share linesize[1], on purpose.
template <class Byte>
YuvPlanes<Byte> yuv_planes(const TavixFrameV2 &frame) {
  const FormatTraits &format = traits(frame.video.format);
  const bool planar = format.layout == PixelLayout::kPlanar;
  const int u = planar && format.v_first ? 2 : 1, v = planar && !format.v_first ? 2 : 1;
  return {frame.data[0],
          frame.linesize[0],
          {frame.data[u], frame.data[v]},
          frame.linesize[1],
          planar ? ChromaLayout::kPlanar : ChromaLayout::kInterleaved,
          !planar && format.v_first};
}

// Whole blocks of a picture, in pixels across or down.
constexpr int32_t whole_pairs(int32_t pixels) {
  return pixels & ~1;
}
constexpr int32_t row_pairs(int32_t height) {
  return height > 0 ? height / 2 : 0;
}
constexpr bool has_blocks(int32_t width, int32_t height) {
  return width > 1 && height > 1;
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
  bool past_caches = false;  // pixels are to be stored past the caches

  // The same rows from an even column on, of pixels of so many bytes.
  template <ChromaLayout layout>
  RowPair from(int32_t x, int64_t pixel_bytes) const {
    const int32_t c = layout == ChromaLayout::kInterleaved ? x : x / 2;
    return {{packed[0] + x * pixel_bytes, packed[1] + x * pixel_bytes},
            {y[0] + x, y[1] + x},
            {chroma[0] + c, chroma[1] + c},
            past_caches};
  }
};

// Everything a conversion between a packed and a 4:2:0 picture needs; sizes in pixels.
template <class Packed, class Yuv, class Weights>
struct PackedYuvJob {
  PackedPlane<Packed> packed;
  YuvPlanes<Yuv> yuv;
  int32_t width, height;
  Weights weights;

  // Read and written, with the padding of rows.
  int64_t bytes() const {
    return height *
           (std::abs(int64_t(packed.linesize)) + std::abs(int64_t(yuv.y_linesize)) * 3 / 2);
  }

  // Rows a and b of pixels and luma with chroma row c.
  RowPair<Packed, Yuv> rows(int32_t a, int32_t b, int32_t c) const {
    return {
        {row(packed.data, packed.linesize, a), row(packed.data, packed.linesize, b)},
        {row(yuv.y, yuv.y_linesize, a), row(yuv.y, yuv.y_linesize, b)},
        {row(yuv.chroma[0], yuv.chroma_linesize, c), row(yuv.chroma[1], yuv.chroma_linesize, c)}};
  }
};

// Row kernels of one conversion: for 3 and 4 channels, for interleaved and planar chroma.
template <class Row>
struct PackedYuvRows {
  Row *rows[2][2];

  Row *operator()(int32_t channels, ChromaLayout layout) const {
    return rows[channels - 3][int(layout)];
  }

  // Family::row<channels, layout>.
  template <class Family>
  static constexpr PackedYuvRows of() {
    return {{{Family::template row<3, ChromaLayout::kInterleaved>,
              Family::template row<3, ChromaLayout::kPlanar>},
             {Family::template row<4, ChromaLayout::kInterleaved>,
              Family::template row<4, ChromaLayout::kPlanar>}}};
  }
};

// One sample of a pair of a chroma row; the interleaved layout takes both from the first row.
template <ChromaLayout layout, class Byte>
constexpr Byte &chroma_at(Byte *const (&rows)[2], int32_t pair, int which) {
  return layout == ChromaLayout::kInterleaved ? rows[0][2 * int64_t(pair) + which]
                                              : rows[which][pair];
}

}  // namespace tavix::module
