// SPDX-License-Identifier: Apache-2.0
// The records of tensors and of normalisation with AVX-512, of tensors where there is VBMI besides.
#include "cpu/x86/blob/element_lanes_avx512.h"

#include "cpu/x86/blob/normalize_rows.inc"
#include "cpu/x86/blob/tensor_rows_avx512vbmi.h"

namespace tavix::module {

namespace {

// Floats into floats only stream. Where they come from the second or third cache, vectors of 32
// bytes take 0.92 of the time on Zen 5.
void stream_floats(const uint8_t *src, uint8_t *dst, int64_t n,
                   const NormalizeParameters &parameters) {
  kNormalizeRowsAvx2.by_type[1][1](src, dst, n, parameters);
}

using Kernels = avx512::NormalizeKernels;

}  // namespace

constinit const NormalizeRows kNormalizeRowsAvx512 = {
    {{Kernels::run<uint8_t, uint8_t>, Kernels::run<uint8_t, float>},
     {Kernels::run<float, uint8_t>, stream_floats}}};
constinit const TensorRows kTensorRowsAvx512Vbmi = tensor_rows_of<avx512::vbmi::TensorKernels>();

}  // namespace tavix::module
