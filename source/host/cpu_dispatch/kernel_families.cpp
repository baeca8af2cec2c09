// SPDX-License-Identifier: Apache-2.0
// Which record serves which level: one line for each family, portable, AVX2, AVX-512, VBMI.
#include "cpu_dispatch/kernel_families.h"

// The records that x86 adds.
#if defined(__x86_64__)
#define TAVIX_X86(...) , __VA_ARGS__
#else
#define TAVIX_X86(...)
#endif

namespace tavix::module {

constinit KernelFamily<BinaryRows> binary_family = {
    {&kBinaryRowsC TAVIX_X86(&kBinaryRowsAvx2, &kBinaryRowsAvx512)}};
constinit KernelFamily<FloatYuvRows> float_yuv_family = {
    {&kFloatYuvRowsC TAVIX_X86(&kFloatYuvRowsAvx2, &kFloatYuvRowsAvx512)}};
constinit KernelFamily<NormalizeRows> normalize_family = {
    {&kNormalizeRowsC TAVIX_X86(&kNormalizeRowsAvx2, &kNormalizeRowsAvx512)}};
constinit KernelFamily<RepackRows> repack_family = {
    {&kRepackRowsC TAVIX_X86(&kRepackRowsAvx2, nullptr, &kRepackRowsAvx512Vbmi)}};
constinit KernelFamily<RgbRows> rgb_family = {
    {&kRgbRowsC TAVIX_X86(&kRgbRowsAvx2, nullptr, &kRgbRowsAvx512Vbmi)}};
constinit KernelFamily<RgbToYuvRows> rgb_to_yuv_family = {
    {&kRgbToYuvRowsC TAVIX_X86(&kRgbToYuvRowsAvx2, nullptr, &kRgbToYuvRowsAvx512Vbmi)}};
constinit KernelFamily<SoftmaxRows> softmax_family = {
    {&kSoftmaxRowsC TAVIX_X86(&kSoftmaxRowsAvx2, &kSoftmaxRowsAvx512)}};
constinit KernelFamily<StatisticsRows> statistics_family = {
    {&kStatisticsRowsC TAVIX_X86(&kStatisticsRowsAvx2, &kStatisticsRowsAvx512)}};
constinit KernelFamily<TensorRows> tensor_family = {
    {&kTensorRowsC TAVIX_X86(&kTensorRowsAvx2, nullptr, &kTensorRowsAvx512Vbmi)}};
constinit KernelFamily<YuvToRgbRows> yuv_to_rgb_family = {
    {&kYuvToRgbRowsC TAVIX_X86(&kYuvToRgbRowsAvx2, nullptr, &kYuvToRgbRowsAvx512Vbmi)}};
constinit KernelFamily<UnaryRows> unary_family = {
    {&kUnaryRowsC TAVIX_X86(&kUnaryRowsAvx2, &kUnaryRowsAvx512, &kUnaryRowsAvx512Vbmi)}};

const BinaryRows &binary_rows() {
  return binary_family.best();
}
const FloatYuvRows &float_yuv_rows() {
  return float_yuv_family.best();
}
const NormalizeRows &normalize_rows() {
  return normalize_family.best();
}
const RepackRows &repack_rows() {
  return repack_family.best();
}
const RgbRows &rgb_rows() {
  return rgb_family.best();
}
const RgbToYuvRows &rgb_to_yuv_rows() {
  return rgb_to_yuv_family.best();
}
const SoftmaxRows &softmax_rows() {
  return softmax_family.best();
}
const StatisticsRows &statistics_rows() {
  return statistics_family.best();
}
const TensorRows &tensor_rows() {
  return tensor_family.best();
}
const UnaryRows &unary_rows() {
  return unary_family.best();
}
const YuvToRgbRows &yuv_to_rgb_rows() {
  return yuv_to_rgb_family.best();
}

}  // namespace tavix::module
