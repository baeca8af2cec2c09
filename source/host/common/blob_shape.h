// SPDX-License-Identifier: Apache-2.0
// How operations look at the dimensions of blobs, whatever a record says.
#pragma once

#include <algorithm>
#include <cstdint>

#include "common/frame_access.h"
#include "common/log.h"
#include "tavix/core/records.h"

namespace tavix::module {

// The check that every layer makes of two blobs, under its own unit and function. Looks at no more
// dimensions than a record holds.
inline int32_t check_same_dims(const LogOrigin &by, const TavixBlob &src, const TavixBlob &dst) {
  TAVIX_INVALID_AS_IF(by, src.dims_size != dst.dims_size, "dims size mismatch: src=%d, dst=%d",
                      src.dims_size, dst.dims_size);
  for (int32_t i = 0; i < std::min<int32_t>(src.dims_size, TAVIX_BLOB_MAX_DIMS); ++i)
    TAVIX_INVALID_AS_IF(by, src.dims[i] != dst.dims[i], "dim[%d] value mismatch: src=%d, dst=%d", i,
                        src.dims[i], dst.dims[i]);
  return TAVIX_OK;
}

// A negative axis counts from the end.
constexpr int32_t normalised_axis(const TavixBlob &blob, int32_t axis) {
  return axis < 0 ? int32_t(uint32_t(axis) + uint32_t(blob.dims_size)) : axis;
}

constexpr bool has_axis(const TavixBlob &blob, int32_t axis) {
  return axis >= 0 && axis < blob.dims_size;
}

constexpr bool both_float(const TavixBlob &a, const TavixBlob &b) {
  return a.data_type == TAVIX_DATA_TYPE_FLOAT32 && b.data_type == a.data_type;
}

// A blob seen along an axis: the products of the dimensions before and after it, which wrap in 32
// bits, and the axis itself. Line i starts at element (i - i % inner) * length + i % inner, its
// elements lie inner apart.
struct AxisShape {
  int32_t outer, length, inner;

  constexpr int32_t lines() const { return wrapping_mul(outer, inner); }
  constexpr bool empty() const { return lines() <= 0 || length <= 0; }
};

// axis: from 0 to dims_size - 1, with at most TAVIX_BLOB_MAX_DIMS dimensions.
constexpr AxisShape axis_shape(const TavixBlob &blob, int32_t axis) {
  AxisShape shape = {1, blob.dims[axis], 1};
  for (int32_t i = 0; i < axis; ++i) shape.outer = wrapping_mul(shape.outer, blob.dims[i]);
  for (int32_t i = axis + 1; i < blob.dims_size; ++i)
    shape.inner = wrapping_mul(shape.inner, blob.dims[i]);
  return shape;
}

}  // namespace tavix::module
