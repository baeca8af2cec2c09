// SPDX-License-Identifier: Apache-2.0
#include "cpu/common_c/blob/normalize_rows.h"

namespace tavix::module {

namespace {

struct NormalizeFamilyC {
  template <class From, class To>
  static void run(const uint8_t *src, uint8_t *dst, int64_t n,
                  const NormalizeParameters &parameters) {
    // A copy that no store to dst can change, so that its loads leave the loop.
    const NormalizeParameters p = parameters;
    for_each_element<NormalizeParameters::kPeriod>(n, [&](int64_t i, int32_t k) {
      store(dst, i, normalized_c<To>(load<From>(src, i), p.mean.lanes[k], p.scale.lanes[k]));
    });
  }
};

}  // namespace

constinit const NormalizeRows kNormalizeRowsC = normalize_rows_of<NormalizeFamilyC>();

}  // namespace tavix::module
