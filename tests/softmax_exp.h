// SPDX-License-Identifier: Apache-2.0
// The contiguous softmax's exponential within a test's reach. Processors with AVX2 only; on
// an architecture without it a call aborts.
#pragma once

#include <cstdint>

namespace tavix::test {

float softmax_exp(float x);

// y[i] = softmax_exp(x[i]) for eight values.
void softmax_exp8(const float *x, float *y);

// Of the count floats with bits first, first + 1, ..., those whose exponential is not value.
uint64_t softmax_exp_count_other(uint32_t first, uint32_t count, float value);

// Of every step-th eight of the same, those for which the form for normal results has other bits.
uint64_t softmax_exp_count_forms_differ(uint32_t first, uint32_t count, uint32_t step);

}  // namespace tavix::test
