// SPDX-License-Identifier: Apache-2.0
// The records of arithmetic, statistics and softmax with AVX2.
#include "cpu/x86/vectors_avx2.h"

#include "cpu/x86/arithmetic/binary_rows.inc"
#include "cpu/x86/arithmetic/library_rows.inc"
#include "cpu/x86/arithmetic/softmax_rows.inc"
#include "cpu/x86/arithmetic/statistics_rows.inc"
#include "cpu/x86/arithmetic/unary_rows.inc"

namespace tavix::module {

constinit const BinaryRows kBinaryRowsAvx2 = BinaryRows::of<avx2::BinaryKernels::Body>();
constinit const LibraryRows kLibraryRowsAvx2 = avx2::kLibraryRows;
constinit const SoftmaxRows kSoftmaxRowsAvx2 = {avx2::softmax_panel, avx2::softmax_lines};
constinit const StatisticsRows kStatisticsRowsAvx2 = avx2::kStatisticsRows;
constinit const UnaryRows kUnaryRowsAvx2 = UnaryRows::of<avx2::UnaryKernels<ByteMapsAvx2>::Body>();

}  // namespace tavix::module
