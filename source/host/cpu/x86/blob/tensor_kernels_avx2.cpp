// SPDX-License-Identifier: Apache-2.0
// The records of tensors and of normalisation with AVX2.
#include "cpu/x86/blob/element_lanes_avx2.h"

#include "cpu/x86/blob/normalize_rows.inc"
#include "cpu/x86/blob/tensor_rows_avx2.h"

namespace tavix::module {

constinit const NormalizeRows kNormalizeRowsAvx2 = normalize_rows_of<avx2::NormalizeKernels>();
constinit const TensorRows kTensorRowsAvx2 = tensor_rows_of<avx2::TensorKernels>();

}  // namespace tavix::module
