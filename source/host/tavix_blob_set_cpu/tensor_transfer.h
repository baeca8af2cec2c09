// SPDX-License-Identifier: Apache-2.0
// The way of packed pixels into a tensor, and the way back: the same steps in the other order.
#pragma once

#include "tavix_blob_set_cpu/tensor_region.h"

namespace tavix::module {

// A frame of elements T and the way of its elements into a blob, or of a blob's elements into it. The
// kernels are chosen once for each call.
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
        moves_elements_(moves_blob_elements<T>(element)),
        all_channels_(shape.c == channels_) {
    constexpr bool floats = std::is_same_v<T, float>;
    const PixelRows kernels = pixel_rows(rows, moves_elements_ ? bytes_ : kBytes, channels_);
    if constexpr (to_blob) {
      convert_ = floats ? element.from_f32 : element.from_u8;
      move_ = kernels.split;
    } else {
      convert_ = floats ? element.to_f32 : element.to_u8;
      move_ = all_channels_ ? kernels.merge : nullptr;
    }
    if (move_ == nullptr || !all_channels_) return;
    if (same_bits<T>(element)) {
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

  // A strip of n pixels and the same columns of every plane, moved while they are elements of the blob.
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

  void move_some_channels(Pixels *pixels, Elements *elements) const {
    for_each_block(shape_.w, shape_.c, [&](int64_t x, int64_t n, int64_t c, int64_t channels) {
      convert_channels(pixels + (x * channels_ + c) * kBytes,
                       elements + (x * shape_.c + c) * bytes_, channels, n);
    });
  }

  // So many channels of n pixels by themselves: at most kStripElements elements.
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
  bool moves_elements_;  // channels are moved while they are elements of the blob
  bool all_channels_;    // of the frame are in the blob
  ConvertRow *convert_;
  std::conditional_t<to_blob, SplitRow, MergeRow> *move_;
  decltype(move_) direct_ = nullptr;  // between all channels and their planes in one step, or null
};

}  // namespace tavix::module
