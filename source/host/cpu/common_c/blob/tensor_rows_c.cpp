// SPDX-License-Identifier: Apache-2.0
#include "cpu/common_c/blob/tensor_rows.h"

#include <cstring>

#include "common/numbers.h"
#include "common/row_access.h"

namespace tavix::module {

namespace {

struct TensorRowsFamilyC {
  template <class From, class To>
  static void convert(const uint8_t *src, uint8_t *dst, int64_t n) {
    if constexpr (kSameBits<From, To>) {
      std::memmove(dst, src, size_t(n) * sizeof(To));
    } else {
      TAVIX_INDEPENDENT_ITERATIONS
      for (int64_t i = 0; i < n; ++i) store(dst, i, convert_element<To>(load<From>(src, i)));
    }
  }

  template <class T, int channels>
  static constexpr SplitRow *split = split_pixels_c<T, channels>;
  template <class T, int channels>
  static constexpr MergeRow *merge = merge_pixels_c<T, channels>;
  template <class T, int channels>
  static consteval SplitRow *widening_split() {
    return nullptr;
  }
};

}  // namespace

constinit const TensorRows kTensorRowsC = tensor_rows_of<TensorRowsFamilyC>();

}  // namespace tavix::module
