// SPDX-License-Identifier: Apache-2.0
// What frames and blobs hold of each other, element by element, in the order of the elements.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "support/guarded_blob.h"
#include "support/guarded_frame.h"
#include "tavix/core/codes.h"

namespace tavix::test {

inline constexpr uint32_t kBlobTypes[] = {
    TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_TYPE_INT8,  TAVIX_DATA_TYPE_INT32, TAVIX_DATA_TYPE_INT64,
    TAVIX_DATA_TYPE_UINT32,  TAVIX_DATA_TYPE_UINT8, TAVIX_DATA_TYPE_INT16, TAVIX_DATA_TYPE_UINT16};

struct Extents {
  int32_t n, c, h, w;

  std::vector<int32_t> dims(bool planar) const {
    return planar ? std::vector{n, c, h, w} : std::vector{n, h, w, c};
  }
};

// Calls element(c, y, x) for every element of one image in the blob's order.
template <class Element>
void for_each_element(const Extents &e, bool planar, const Element &element) {
  if (planar) {
    for (int32_t c = 0; c < e.c; ++c)
      for (int32_t y = 0; y < e.h; ++y)
        for (int32_t x = 0; x < e.w; ++x) element(c, y, x);
  } else {
    for (int32_t y = 0; y < e.h; ++y)
      for (int32_t x = 0; x < e.w; ++x)
        for (int32_t c = 0; c < e.c; ++c) element(c, y, x);
  }
}

// Truncated to a signed integer of that many bits; the least one for all that does not fit.
inline int64_t truncated(float value, int bits) {
  const double whole = std::trunc(double(value)), limit = std::ldexp(1.0, bits - 1);
  return whole >= -limit && whole < limit ? int64_t(whole) : int64_t(-limit);
}

// The bits of an element, of which a blob keeps the low ones.
inline uint64_t blob_bits(uint32_t data_type, uint8_t value) {
  return data_type == TAVIX_DATA_TYPE_FLOAT32 ? std::bit_cast<uint32_t>(float(value)) : value;
}
inline uint64_t blob_bits(uint32_t data_type, float value) {
  switch (data_type) {
    case TAVIX_DATA_TYPE_FLOAT32:
      return std::bit_cast<uint32_t>(value);
    case TAVIX_DATA_TYPE_UINT32:
    case TAVIX_DATA_TYPE_INT64:
      return uint64_t(truncated(value, 64));
    default:
      return uint64_t(truncated(value, 32));
  }
}

// Element i of a blob's bytes, its bits extended with zeros.
inline uint64_t raw_bits(uint32_t data_type, const uint8_t *blob, int64_t i) {
  const size_t size = blob_element_bytes(data_type);
  uint64_t bits = 0;
  std::memcpy(&bits, blob + i * int64_t(size), size);
  return bits;
}

inline uint8_t frame_byte(uint32_t data_type, uint64_t bits) {
  if (data_type == TAVIX_DATA_TYPE_FLOAT32)
    return uint8_t(truncated(std::bit_cast<float>(uint32_t(bits)), 32));
  return uint8_t(bits);
}

// Integers go by way of a type that holds all of them, so that they are rounded once.
inline float frame_float(uint32_t data_type, uint64_t bits) {
  const auto rounded = [](long double exact) { return float(exact); };
  switch (data_type) {
    case TAVIX_DATA_TYPE_INT8:
      return rounded(int8_t(bits));
    case TAVIX_DATA_TYPE_INT16:
      return rounded(int16_t(bits));
    case TAVIX_DATA_TYPE_INT32:
      return rounded(int32_t(bits));
    case TAVIX_DATA_TYPE_INT64:
      return rounded(int64_t(bits));
    default:
      return rounded(bits);
  }
}

// The bytes a blob holds after the conversion of a frame.
template <class T>
std::vector<uint8_t> expected_blob(const GuardedFrame &frame, uint32_t data_type, const Extents &e,
                                   bool planar) {
  std::vector<uint8_t> bytes;
  for (int32_t n = 0; n < e.n; ++n) {
    for_each_element(e, planar, [&](int32_t c, int32_t y, int32_t x) {
      const T value = frame.get<T>(int64_t(x) * frame->video.channels + c, y);
      const uint64_t bits = blob_bits(data_type, value);
      const auto *first = reinterpret_cast<const uint8_t *>(&bits);
      bytes.insert(bytes.end(), first, first + blob_element_bytes(data_type));
    });
  }
  return bytes;
}

// Writes a blob into a frame, image after image.
template <class T>
void write_expected(const uint8_t *blob, uint32_t data_type, const Extents &e, bool planar,
                    GuardedFrame &frame) {
  int64_t i = 0;
  for (int32_t n = 0; n < e.n; ++n) {
    for_each_element(e, planar, [&](int32_t c, int32_t y, int32_t x) {
      const uint64_t bits = raw_bits(data_type, blob, i++);
      const int64_t at = int64_t(x) * frame->video.channels + c;
      if constexpr (sizeof(T) == 1) {
        frame.set(at, y, frame_byte(data_type, bits));
      } else if (data_type == TAVIX_DATA_TYPE_FLOAT32) {
        frame.set(at, y, uint32_t(bits));  // the bits, whatever they mean
      } else {
        frame.set(at, y, frame_float(data_type, bits));
      }
    });
  }
}

}  // namespace tavix::test
