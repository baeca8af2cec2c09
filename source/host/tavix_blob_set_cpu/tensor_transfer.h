// SPDX-License-Identifier: Apache-2.0
// The way of packed pixels into a tensor, and the way back: the same steps in the other order.
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

// Rows are moved and converted in strips that stay in the first cache.
inline constexpr int32_t kStripPixels = 512;
inline constexpr int32_t kStripElements = kStripPixels * kMaxChannels;

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

// A frame of elements T and the way of its elements into a blob, or of a blob's elements into it.
// The kernels are chosen once for each call.
template <class T, bool to_blob>
class TensorTransfer {
 public:
  using Frame = std::conditional_t<to_blob, const TavixFrameV2, TavixFrameV2>;
  using Pixels = std::conditional_t<to_blob, const uint8_t, uint8_t>;
  using Elements = std::conditional_t<to_blob, uint8_t, const uint8_t>;

  TensorTransfer(Frame &frame, const TensorShape &shape, const TensorRows &rows,
                 const BlobElement &element)
      : frame_(frame),
        shape_(joined_rows<T>(shape, frame)),
        channels_(frame.video.channels),
        bytes_(element.bytes),
        moves_elements_(sizeof(T) > 1 && element.bytes == 1),
        all_channels_(shape.c == channels_) {
    constexpr bool floats = std::is_same_v<T, float>;
    const bool same_bits =
        floats ? element.data_type == TAVIX_DATA_TYPE_FLOAT32 : element.bytes == 1;
    const auto &kernels = !floats || moves_elements_ ? rows.u8 : rows.f32;
    const PixelRows kernel = channels_ <= kMaxChannels ? kernels[channels_] : PixelRows{};
    if constexpr (to_blob) {
      convert_ = floats ? element.from_f32 : element.from_u8;
      move_ = kernel.split;
    } else {
      convert_ = floats ? element.to_f32 : element.to_u8;
      move_ = all_channels_ ? kernel.merge : nullptr;
    }
    if (move_ == nullptr || !all_channels_) return;
    if (same_bits) {
      direct_ = move_;
    } else if constexpr (to_blob && !floats) {
      direct_ = element.widen_u8[channels_];
    }
  }

  void run(Elements *blob, bool planar) const {
    const int64_t row_bytes = bytes_ * shape_.w * (planar ? 1 : shape_.c);
    const int64_t plane_bytes = bytes_ * shape_.h * shape_.w;
    // Every image of a batch is the same frame: all are written, but only the last needs reading.
    for (int32_t n = to_blob ? 0 : shape_.n - 1; n < shape_.n; ++n) {
      for (int32_t y = 0; y < shape_.h; ++y) {
        Pixels *pixels = row(frame_, y);
        Elements *elements = blob + n * plane_bytes * shape_.c + y * row_bytes;
        if (all_channels_ && (!planar || channels_ == 1)) {
          convert(pixels, elements, int64_t(shape_.w) * channels_);
        } else if (planar) {
          move_planes(pixels, elements, plane_bytes);
        } else {
          move_some_channels(pixels, elements);
        }
      }
    }
  }

 private:
  static constexpr int64_t kBytes = sizeof(T);

  void convert(Pixels *pixels, Elements *elements, int64_t n) const {
    if constexpr (to_blob)
      convert_(pixels, elements, n);
    else
      convert_(elements, pixels, n);
  }

  void move_planes(Pixels *pixels, Elements *elements, int64_t plane_bytes) const {
    if (direct_ != nullptr) {
      Elements *planes[kMaxChannels];
      for (int32_t c = 0; c < channels_; ++c) planes[c] = elements + c * plane_bytes;
      if constexpr (to_blob)
        return direct_(pixels, planes, shape_.w);
      else
        return direct_(planes, pixels, shape_.w);
    }
    for (int64_t x = 0; x < shape_.w; x += kStripPixels) {
      const int64_t n = std::min<int64_t>(kStripPixels, shape_.w - x);
      Pixels *part = pixels + x * channels_ * kBytes;
      Elements *columns = elements + x * bytes_;
      if (move_ == nullptr) {
        for (int32_t c = 0; c < shape_.c; ++c)
          convert_channels(part + c * kBytes, columns + c * plane_bytes, 1, n);
      } else if (moves_elements_) {
        move_blob_side(part, columns, plane_bytes, n);
      } else {
        move_frame_side(part, columns, plane_bytes, n);
      }
    }
  }

  // A strip of n pixels and the same columns of every plane, moved while they are elements of the
  // blob.
  void move_blob_side(Pixels *pixels, Elements *columns, int64_t plane_bytes, int64_t n) const {
    uint8_t strip[kStripElements], rest[kStripPixels];
    Elements *planes[kMaxChannels];
    for (int32_t c = 0; c < channels_; ++c)
      // cppcheck-suppress legacyUninitvar // what goes into the rest is never read
      planes[c] = c < shape_.c ? columns + c * plane_bytes : rest;
    if constexpr (!to_blob) move_(planes, strip, n);
    convert(pixels, strip, n * channels_);
    if constexpr (to_blob) move_(strip, planes, n);
  }

  // The same while they are elements of the frame.
  void move_frame_side(Pixels *pixels, Elements *columns, int64_t plane_bytes, int64_t n) const {
    uint8_t strips[kMaxChannels][kStripPixels * sizeof(T)];
    uint8_t *const planes[kMaxChannels] = {strips[0], strips[1], strips[2], strips[3]};
    if constexpr (to_blob) move_(pixels, planes, n);
    for (int32_t c = 0; c < shape_.c; ++c) convert(strips[c], columns + c * plane_bytes, n);
    if constexpr (!to_blob) move_(planes, pixels, n);
  }

  // In blocks of at most kStripElements elements, which are contiguous in the blob.
  void move_some_channels(Pixels *pixels, Elements *elements) const {
    const int64_t most_channels = std::min(shape_.c, kStripElements);
    const int64_t most_pixels = std::max(kStripElements / shape_.c, 1);
    for (int64_t x = 0; x < shape_.w; x += most_pixels)
      for (int64_t c = 0; c < shape_.c; c += most_channels)
        convert_channels(
            pixels + (x * channels_ + c) * kBytes, elements + (x * shape_.c + c) * bytes_,
            std::min(most_channels, shape_.c - c), std::min(most_pixels, shape_.w - x));
  }

  // So many channels of n pixels by themselves.
  void convert_channels(Pixels *pixels, Elements *elements, int64_t channels, int64_t n) const {
    uint8_t strip[kStripElements * sizeof(T)];
    if constexpr (to_blob) move_channels<T>(pixels, channels_, strip, channels, channels, n);
    convert(strip, elements, n * channels);
    if constexpr (!to_blob) move_channels<T>(strip, channels, pixels, channels_, channels, n);
  }

  Frame &frame_;
  TensorShape shape_;
  int32_t channels_;
  int64_t bytes_;        // of a blob element
  bool moves_elements_;  // channels are moved where they are narrower: on the side of the blob
  bool all_channels_;    // of the frame are in the blob
  ConvertRow *convert_;
  std::conditional_t<to_blob, SplitRow, MergeRow> *move_;
  decltype(move_) direct_ = nullptr;  // between all channels and their planes in one step, or null
};

}  // namespace tavix::module
