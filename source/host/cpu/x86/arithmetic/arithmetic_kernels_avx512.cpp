// SPDX-License-Identifier: Apache-2.0
// The records of arithmetic, statistics and softmax with AVX-512. Byte permutations make maps of
// 8-bit samples; without them those are the maps of AVX2.
#include "cpu/x86/vectors_avx512.h"

#include "cpu/x86/arithmetic/binary_rows.inc"
#include "cpu/x86/arithmetic/library_rows.inc"
#include "cpu/x86/arithmetic/softmax_rows.inc"
#include "cpu/x86/arithmetic/statistics_rows.inc"
#include "cpu/x86/arithmetic/unary_rows.inc"

namespace tavix::module {

constinit const BinaryRows kBinaryRowsAvx512 = BinaryRows::of<avx512::BinaryKernels::Body>();
constinit const LibraryRows kLibraryRowsAvx512 = avx512::kLibraryRows;
constinit const SoftmaxRows kSoftmaxRowsAvx512 = {avx512::softmax_panel, avx512::softmax_lines};
constinit const StatisticsRows kStatisticsRowsAvx512 = avx512::kStatisticsRows;
constinit const UnaryRows kUnaryRowsAvx512 =
    UnaryRows::of<avx512::UnaryKernels<ByteMapsAvx2>::Body>();
constinit const UnaryRows kUnaryRowsAvx512Vbmi =
    UnaryRows::of<avx512::UnaryKernels<ByteMapsAvx512Vbmi>::Body>();

}  // namespace tavix::module
