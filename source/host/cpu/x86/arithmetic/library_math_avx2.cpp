// SPDX-License-Identifier: Apache-2.0
// Which library is at hand: whether its functions are those that the rows compute, as AVX2 has
// them.
#include "cpu/x86/arithmetic/library_math.h"

#include <bit>
#include <cmath>

namespace tavix::module {

void ask_library(float (*library)(float), const float *x, float *y, uint64_t lanes) {
  for (; lanes != 0; lanes &= lanes - 1) {
    const int lane = std::countr_zero(lanes);
    y[lane] = library(x[lane]);
  }
}

namespace {

// A thousand arguments around a centre, closest together in the middle, where libraries differ
// most.
constexpr int32_t kProbes = 1024;

LibraryFunction examined(float (*call)(float), LibraryRows::Row *row, float centre, float reach) {
  float x[kProbes], y[kProbes];
  for (int32_t i = 0; i < kProbes; ++i) {
    constexpr int32_t kHalf = kProbes / 2;
    const float t = float(i - kHalf) / kHalf;
    x[i] = centre + reach * t * t * t;
  }
  row(x, y, kProbes, {call, true});
  for (int32_t i = 0; i < kProbes; ++i)
    if (std::bit_cast<uint32_t>(call(x[i])) != std::bit_cast<uint32_t>(y[i])) return {call, false};
  return {call, true};
}

}  // namespace

LibraryFunction examined_expf(float (*call)(float)) {
  return examined(call, kLibraryRowsAvx2.expf, 0.0f, 80.0f);
}
LibraryFunction examined_logf(float (*call)(float)) {
  return examined(call, kLibraryRowsAvx2.logf, 1.0f, 0.4f);
}

const LibraryFunction &library_expf() {
  static LibraryFunction function = examined_expf(expf);
  return function;
}
const LibraryFunction &library_logf() {
  static LibraryFunction function = examined_logf(logf);
  return function;
}

}  // namespace tavix::module
