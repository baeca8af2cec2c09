// SPDX-License-Identifier: Apache-2.0
#include "cpu/common_c/blob/normalize_rows.h"

#include "common/independent_iterations.h"

namespace tavix::module {

namespace {

struct NormalizeFamilyC {
  template <class From, class To>
  static void run(const uint8_t *src, uint8_t *dst, int64_t n,
                  const NormalizeParameters &parameters) {
    // A copy that no store to dst can change, so that its loads leave the loop.
    const NormalizeParameters p = parameters;
    constexpr int kPeriod = NormalizeParameters::kPeriod;
    int64_t i = 0;
    for (; i <= n - kPeriod; i += kPeriod) {
      TAVIX_INDEPENDENT_ITERATIONS
      for (int k = 0; k < kPeriod; ++k)
        store(dst, i + k, normalized_c<To>(load<From>(src, i + k), p.mean[k], p.scale[k]));
    }
    for (int k = 0; i < n; ++i, ++k)
      store(dst, i, normalized_c<To>(load<From>(src, i), p.mean[k], p.scale[k]));
  }
};

}  // namespace

constinit const NormalizeRows kNormalizeRowsC = normalize_rows_of<NormalizeFamilyC>();

}  // namespace tavix::module
