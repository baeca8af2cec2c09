// SPDX-License-Identifier: Apache-2.0
// Portable softmax. Every line by itself: its maximum, the sum of the exponentials in order, their
// quotients. An exponential is kept where it would be computed twice.
#include <algorithm>
#include <cmath>

#include "cpu/common_c/arithmetic/softmax_rows.h"

namespace tavix::module {

namespace {

void softmax_panel_c(const float *x, float *y, int64_t stride, int32_t length, int32_t width) {
  float max[kPanelLines], sum[kPanelLines];
  std::copy_n(x, width, max);
  std::fill_n(sum, width, 0.0f);
  for (int32_t k = 1; k < length; ++k)
    for (int32_t i = 0; i < width; ++i) {
      const float v = x[k * stride + i];
      max[i] = v > max[i] ? v : max[i];
    }
  for (int32_t k = 0; k < length; ++k)
    for (int32_t i = 0; i < width; ++i) {
      const float e = std::exp(x[k * stride + i] - max[i]);
      y[k * stride + i] = e;
      sum[i] += e;
    }
  for (int32_t k = 0; k < length; ++k)
    for (int32_t i = 0; i < width; ++i) y[k * stride + i] /= sum[i];
}

void softmax_lines_c(const float *x, float *y, int32_t length, int32_t lines) {
  for (int64_t i = 0; i < lines; ++i) softmax_panel_c(x + i * length, y + i * length, 1, length, 1);
}

}  // namespace

constinit const SoftmaxRows kSoftmaxRowsC = {.panel = softmax_panel_c, .lines = softmax_lines_c};

template <>
void SoftmaxBody<float>::operator()(const Range &lines) const {
  if (shape_.inner == 1) {
    const int64_t first = int64_t(lines.start) * shape_.length;
    return rows_.lines(src_ + first, dst_ + first, shape_.length, lines.end - lines.start);
  }
  // Whole cache lines, however long the axis is.
  const int32_t widest = std::clamp(kPanelElements / shape_.length / 16 * 16, 16, kPanelLines);
  for (int32_t i = lines.start; i < lines.end;) {
    const int32_t column = i % shape_.inner;
    const int32_t width = std::min({widest, shape_.inner - column, lines.end - i});
    const int64_t base = int64_t(i - column) * shape_.length + column;
    rows_.panel(src_ + base, dst_ + base, shape_.inner, shape_.length, width);
    i += width;
  }
}

}  // namespace tavix::module
