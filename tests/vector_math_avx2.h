// SPDX-License-Identifier: Apache-2.0
// Inline vector functions as rows, for tests.
#pragma once

#include <cstdint>

namespace tavix::test {

void exp_row_avx2(const float *x, float *y, int32_t n);

}  // namespace tavix::test
