// SPDX-License-Identifier: Apache-2.0
// Softmax line by line: as the C library's expf and additions in order make it, and as the vector
// line does, in eight lanes with an exponential of its own.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "softmax_exp.h"
#include "support/guarded_blob.h"

namespace tavix::test {

using Dims = std::vector<int32_t>;
using Line = std::vector<float>;

inline Line scalar_line(const Line &x) {
  float max = x[0];
  for (const float v : x)
    if (v > max) max = v;
  float sum = 0.0f;
  for (const float v : x) sum += expf(v - max);
  Line y;
  for (const float v : x) y.push_back(expf(v - max) / sum);
  return y;
}

// Blocks of eight: a sum for each lane; upper half plus lower half, neighbours twice; then what is
// left of the line, in order, with the library's exponential.
inline Line vector_line(const Line &x) {
  const size_t whole = x.size() / 8 * 8;
  float max = -INFINITY;
  for (const float v : x)
    if (v > max) max = v;
  float lanes[8] = {};
  Line y;
  for (size_t k = 0; k < x.size(); ++k)
    y.push_back(k < whole ? softmax_exp(x[k] - max) : expf(x[k] - max));
  for (size_t k = 0; k < whole; ++k) lanes[k % 8] += y[k];
  float half[4];
  for (int j = 0; j < 4; ++j) half[j] = lanes[j] + lanes[j + 4];
  float sum = (half[0] + half[1]) + (half[2] + half[3]);
  for (size_t k = whole; k < x.size(); ++k) sum += y[k];
  for (float &v : y) v /= sum;
  return y;
}

// Every line of a blob through softmax_of, by index tuples.
inline std::vector<float> softmax_reference(const GuardedBlob &blob, const Dims &dims, size_t axis,
                                            const std::function<Line(const Line &)> &softmax_of) {
  const auto x = blob.elements<float>();
  std::vector<float> y(x.size());
  std::vector<size_t> stride(dims.size());
  size_t elements = 1;
  for (size_t d = dims.size(); d-- > 0; elements *= size_t(dims[d])) stride[d] = elements;
  for (size_t first = 0; first < x.size(); ++first) {
    if (first / stride[axis] % size_t(dims[axis]) != 0) continue;  // not the start of a line
    Line line;
    for (int32_t k = 0; k < dims[axis]; ++k) line.push_back(x[first + size_t(k) * stride[axis]]);
    line = softmax_of(line);
    for (int32_t k = 0; k < dims[axis]; ++k) y[first + size_t(k) * stride[axis]] = line[size_t(k)];
  }
  return y;
}

inline size_t inner_of(const Dims &dims, size_t axis) {
  size_t inner = 1;
  for (size_t d = axis + 1; d < dims.size(); ++d) inner *= size_t(dims[d]);
  return inner;
}

}  // namespace tavix::test
