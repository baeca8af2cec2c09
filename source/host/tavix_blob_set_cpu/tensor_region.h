// SPDX-License-Identifier: Apache-2.0
// The part of a frame that a blob covers, and the pieces by which both directions walk through it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "common/frame_access.h"
#include "cpu/common_c/blob/tensor_rows.h"
#include "tavix/core/records.h"

namespace tavix::module {

// Extents of a blob of four dimensions, whatever their order.
struct TensorShape {
  int32_t n, c, h, w;

  constexpr bool empty() const { return n <= 0 || c <= 0 || h <= 0 || w <= 0; }
};

constexpr TensorShape nchw_shape(const TavixBlob &blob) {
  return {blob.dims[0], blob.dims[1], blob.dims[2], blob.dims[3]};
}
constexpr TensorShape nhwc_shape(const TavixBlob &blob) {
  return {blob.dims[0], blob.dims[3], blob.dims[1], blob.dims[2]};
}

// Whether the elements of a shape that is not empty fit the address space of a process.
constexpr bool fits_memory(const TensorShape &shape, int32_t element_bytes) {
  constexpr int64_t kAddressSpace = int64_t(1) << 47;
  int64_t bytes = element_bytes;
  return !__builtin_mul_overflow(bytes, shape.n, &bytes) &&
         !__builtin_mul_overflow(bytes, shape.c, &bytes) &&
         !__builtin_mul_overflow(bytes, shape.h, &bytes) &&
         !__builtin_mul_overflow(bytes, shape.w, &bytes) && bytes <= kAddressSpace;
}

// The rows of a blob have no gaps; where those of a frame of elements T have none either, all are
// one long row.
template <class T>
TensorShape joined_rows(const TensorShape &shape, const TavixFrameV2 &frame) {
  constexpr int32_t kBytes = sizeof(T);
  const int64_t row_bytes = frame.linesize[0];
  const bool gapless =
      row_bytes % kBytes == 0 && row_bytes / kBytes == int64_t(shape.w) * frame.video.channels;
  if (!gapless || row_bytes * shape.h > INT32_MAX) return shape;
  return {shape.n, shape.c, 1, shape.h * shape.w};
}

// Null for types that no converter knows.
inline const BlobElement *find_element(const TensorRows &rows, uint32_t data_type) {
  const auto found = std::find_if(rows.elements.begin(), rows.elements.end(),
                                  [=](const BlobElement &e) { return e.data_type == data_type; });
  return found == rows.elements.end() ? nullptr : &*found;
}

// Whether a frame's elements go into a blob and back as they are.
template <class T>
constexpr bool same_bits(const BlobElement &element) {
  return std::is_same_v<T, float> ? element.data_type == TAVIX_DATA_TYPE_FLOAT32
                                  : element.bytes == 1;
}

// Channels are moved on the narrower side of a conversion: the blob's where only its elements are
// bytes, else the frame's.
template <class T>
constexpr bool moves_blob_elements(const BlobElement &element) {
  return sizeof(T) > 1 && element.bytes == 1;
}

// The kernels that move elements of this size, if there are any for the number of channels.
constexpr PixelRows pixel_rows(const TensorRows &rows, int64_t bytes, int32_t channels) {
  if (channels > kMaxChannels) return {};
  return (bytes == 1 ? rows.u8 : rows.f32)[channels];
}

// Rows are moved and converted in strips that stay in the first cache.
inline constexpr int32_t kStripPixels = 512;
inline constexpr int32_t kStripElements = kStripPixels * kMaxChannels;

// Calls block(x, pixels, c, channels) for blocks of at most kStripElements elements that cover
// width pixels of channels channels; their elements are contiguous in a row of such pixels.
template <class Block>
void for_each_block(int32_t width, int32_t channels, const Block &block) {
  const int32_t most_channels = std::min(channels, kStripElements);
  const int32_t most_pixels = std::max(kStripElements / channels, 1);
  for (int64_t x = 0; x < width; x += most_pixels)
    for (int64_t c = 0; c < channels; c += most_channels)
      block(x, std::min<int64_t>(most_pixels, width - x), c,
            std::min<int64_t>(most_channels, channels - c));
}

// The first so many channels of n packed pixels into packed pixels of another number of channels.
template <class T>
void move_channels(const uint8_t *src, int64_t src_channels, uint8_t *dst, int64_t dst_channels,
                   int64_t channels, int64_t n) {
  if (channels == 3) {  // colours without alpha: pixel by pixel, in a loop without branches
    for (int64_t x = 0; x < n; ++x)
      for (int64_t c = 0; c < 3; ++c)
        store(dst, x * dst_channels + c, load<T>(src, x * src_channels + c));
    return;
  }
  for (int64_t c = 0; c < channels; ++c)
    for (int64_t x = 0; x < n; ++x)
      store(dst, x * dst_channels + c, load<T>(src, x * src_channels + c));
}

}  // namespace tavix::module
