// SPDX-License-Identifier: Apache-2.0
// Row kernels between packed pixels and tensors. Two kinds that compose: converting contiguous
// elements from one type to another, and moving the channels of pixels apart and together again.
// Source and destination start at any address and do not overlap.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "common/frame_access.h"
#include "tavix/core/codes.h"

namespace tavix::module {

// Converts n elements.
using ConvertRow = void(const uint8_t *src, uint8_t *dst, int64_t n);

// Moves n pixels from packed channels to one plane for each channel, and back.
using SplitRow = void(const uint8_t *src, uint8_t *const *planes, int64_t n);
using MergeRow = void(const uint8_t *const *planes, uint8_t *dst, int64_t n);

// An element type of blobs, and its conversions from and to the two element types of frames.
struct BlobElement {
  uint32_t data_type;
  int32_t bytes;
  ConvertRow *from_u8, *from_f32;
  ConvertRow *to_u8, *to_f32;
  // From pixels of bytes to planes of elements at once, by channels; null: in two steps.
  std::array<SplitRow *, kMaxChannels + 1> widen_u8;
};

struct PixelRows {
  SplitRow *split;  // null: no kernel for this number of channels
  MergeRow *merge;
};
using PixelRowsByChannels = std::array<PixelRows, kMaxChannels + 1>;

struct TensorRows {
  std::array<BlobElement, 8> elements;
  PixelRowsByChannels u8, f32;  // by frame element
};

extern const TensorRows kTensorRowsC, kTensorRowsAvx2, kTensorRowsAvx512Vbmi;
const TensorRows &tensor_rows();

// Pixel by pixel.
template <class T, int channels, class To = T>
inline void split_pixels_c(const uint8_t *src, uint8_t *const *to, int64_t n) {
  std::array<uint8_t *, channels> planes;
  std::copy_n(to, channels, planes.begin());
  TAVIX_INDEPENDENT_ITERATIONS
  for (int64_t x = 0; x < n; ++x)
    for (int c = 0; c < channels; ++c) store(planes[c], x, To(load<T>(src, x * channels + c)));
}
template <class T, int channels>
inline void merge_pixels_c(const uint8_t *const *from, uint8_t *dst, int64_t n) {
  std::array<const uint8_t *, channels> planes;  // which no store to dst can change
  std::copy_n(from, channels, planes.begin());
  TAVIX_INDEPENDENT_ITERATIONS
  for (int64_t x = 0; x < n; ++x)
    for (int c = 0; c < channels; ++c) store(dst, x * channels + c, load<T>(planes[c], x));
}

// A family of twins: its kernels are the static member templates convert, split and merge, and
// widening_split gives one more or none.
template <class Family, class T>
consteval BlobElement blob_element(uint32_t data_type) {
  return {data_type,
          sizeof(T),
          Family::template convert<uint8_t, T>,
          Family::template convert<float, T>,
          Family::template convert<T, uint8_t>,
          Family::template convert<T, float>,
          {nullptr, nullptr, nullptr, Family::template widening_split<T, 3>(),
           Family::template widening_split<T, 4>()}};
}

template <class Family, class T>
consteval PixelRowsByChannels pixel_rows() {
  return {{{},
           {},
           {},
           {Family::template split<T, 3>, Family::template merge<T, 3>},
           {Family::template split<T, 4>, Family::template merge<T, 4>}}};
}

template <class Family>
consteval TensorRows tensor_rows_of() {
  return {{{blob_element<Family, float>(TAVIX_DATA_TYPE_FLOAT32),
            blob_element<Family, int8_t>(TAVIX_DATA_TYPE_INT8),
            blob_element<Family, int32_t>(TAVIX_DATA_TYPE_INT32),
            blob_element<Family, int64_t>(TAVIX_DATA_TYPE_INT64),
            blob_element<Family, uint32_t>(TAVIX_DATA_TYPE_UINT32),
            blob_element<Family, uint8_t>(TAVIX_DATA_TYPE_UINT8),
            blob_element<Family, int16_t>(TAVIX_DATA_TYPE_INT16),
            blob_element<Family, uint16_t>(TAVIX_DATA_TYPE_UINT16)}},
          pixel_rows<Family, uint8_t>(),
          pixel_rows<Family, float>()};
}

}  // namespace tavix::module
