// SPDX-License-Identifier: Apache-2.0
// The kernel family of softmax. Neighbouring lines are taken side by side, in panels that stay in
// the cache while they are read three times; lines along the last axis are rows of their own.
#pragma once

#include <cstdint>

#include "common/blob_shape.h"
#include "common/parallel/tavix_parallel_wrapper.h"

namespace tavix::module {

inline constexpr int32_t kPanelLines = 512;          // at most
inline constexpr int32_t kPanelElements = 8 * 1024;  // aimed at, 32 KiB

// width neighbouring lines of length elements, stride apart; width <= kPanelLines. y may be x.
using SoftmaxPanel = void(const float *x, float *y, int64_t stride, int32_t length, int32_t width);

// Contiguous lines of length elements, one after the other. y may be x.
using SoftmaxLines = void(const float *x, float *y, int32_t length, int32_t lines);

struct SoftmaxRows {
  SoftmaxPanel *panel;
  SoftmaxLines *lines;
};
extern const SoftmaxRows kSoftmaxRowsC, kSoftmaxRowsAvx2, kSoftmaxRowsAvx512;
const SoftmaxRows &softmax_rows();

// Lines of a shape that is not empty, through the rows of one implementation.
template <class T>
class SoftmaxBody final : public ParallelLoopBody {
 public:
  SoftmaxBody(const SoftmaxRows &rows, const T *src, T *dst, const AxisShape &shape)
      : rows_(rows), src_(src), dst_(dst), shape_(shape) {}

  void operator()(const Range &lines) const override;

 private:
  const SoftmaxRows &rows_;
  const T *src_;
  T *dst_;
  AxisShape shape_;
};
using SoftmaxBodyAVX = SoftmaxBody<float>;  // on the rows of the processor

// Runs all lines.
inline void run_softmax(const SoftmaxRows &rows, const float *src, float *dst,
                        const AxisShape &shape) {
  parallel_for_({0, shape.lines(), 1}, SoftmaxBody<float>(rows, src, dst, shape), -1.0);
}

}  // namespace tavix::module
