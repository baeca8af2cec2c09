// SPDX-License-Identifier: Apache-2.0
#include "cpu/common_c/blob/tensor_rows.h"

#include <cstring>

#include "common/independent_iterations.h"
#include "cpu/common_c/blob/element_conversion.h"

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
  static void split(const uint8_t *src, uint8_t *const *planes, int64_t n) {
    split_pixels_c<T, channels>(src, planes, n);
  }
  template <class T, int channels>
  static void merge(const uint8_t *const *planes, uint8_t *dst, int64_t n) {
    merge_pixels_c<T, channels>(planes, dst, n);
  }
  template <class T, int channels>
  static consteval SplitRow *widening_split() {
    return nullptr;
  }
};

}  // namespace

constinit const TensorRows kTensorRowsC = tensor_rows_of<TensorRowsFamilyC>();

}  // namespace tavix::module
