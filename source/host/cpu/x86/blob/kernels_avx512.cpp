// SPDX-License-Identifier: Apache-2.0
// The records of tensors and of normalisation with AVX-512, of tensors where there is VBMI besides.
#include "cpu/x86/blob/element_lanes_avx512.h"

#include "cpu/x86/blob/normalize_rows.inc"
#include "cpu/x86/blob/tensor_rows_avx512vbmi.h"

namespace tavix::module {

constinit const NormalizeRows kNormalizeRowsAvx512 = normalize_rows_of<avx512::NormalizeKernels>();
constinit const TensorRows kTensorRowsAvx512Vbmi = tensor_rows_of<avx512::vbmi::TensorKernels>();

}  // namespace tavix::module
