// SPDX-License-Identifier: Apache-2.0
// What the two softmax implementations share: neighbouring lines are taken side by side, in panels
// that stay in the cache while they are read three times.
#pragma once

#include <algorithm>
#include <cstdint>

#include "common/blob_shape.h"
#include "common/parallel/tavix_parallel_wrapper.h"

namespace tavix::module {

// The first checks of both implementations, under their own unit and function: records and
// dimensions.
int32_t check_softmax_blobs(const char *unit, const char *function, const TavixBlob *src,
                            const TavixBlob *dst);

// The last ones, of what would reach beyond the record or the storage; finds the shape.
int32_t check_softmax_shape(const char *unit, const char *function, const TavixBlob &src,
                            int32_t axis, AxisShape &shape);

inline constexpr int32_t kPanelLines = 512;          // at most
inline constexpr int32_t kPanelElements = 8 * 1024;  // aimed at, 32 KiB

// width neighbouring lines of length elements, stride apart; width <= kPanelLines. y may be x.
using SoftmaxPanel = void(const float *x, float *y, int64_t stride, int32_t length, int32_t width);
SoftmaxPanel softmax_panel_c;

// Runs a panel kernel over lines [start, end) of a shape that is not empty.
inline void for_each_panel(const float *x, float *y, const AxisShape &shape, const Range &lines,
                           SoftmaxPanel *panel) {
  // Whole cache lines, however long the axis is.
  const int32_t widest = std::clamp(kPanelElements / shape.length / 16 * 16, 16, kPanelLines);
  for (int32_t i = lines.start; i < lines.end;) {
    const int32_t column = i % shape.inner;
    const int32_t width = std::min({widest, shape.inner - column, lines.end - i});
    const int64_t base = int64_t(i - column) * shape.length + column;
    panel(x + base, y + base, shape.inner, shape.length, width);
    i += width;
  }
}

}  // namespace tavix::module
