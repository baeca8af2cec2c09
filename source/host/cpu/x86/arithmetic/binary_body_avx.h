// SPDX-License-Identifier: Apache-2.0
// The bodies of vector binary arithmetic, in single precision, for the kernels of one instruction
// set:
//
//   struct Kernels {
//     template <class T, int op> using Body = BinaryArithmeticBodyAVX<Kernels, T, op>;
//     template <int op> static void row(src1, src2, dst, n, BinaryBytes)
//     template <int op> static void row(src1, src2, dst, n, BinaryFloats)
//   };
//
// Whole vectors and single elements agree for every operand, so a row is cut as is fastest.
#pragma once

#include <algorithm>
#include <cfloat>
#include <type_traits>

#include "common/frame_access.h"
#include "common/numbers.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "cpu/common_c/arithmetic/operation_rows.h"
#include "tavix/video_common_cpu/arithmetic.h"

namespace tavix::module {

// The parameters of float frames.
struct BinaryFloats {
  explicit BinaryFloats(const BinaryJob &job)
      : alpha(job.alpha, job.video().channels),
        beta(job.beta, job.video().channels),
        gamma(job.gamma, job.video().channels) {}

  FloatPattern alpha, beta, gamma;
};

// The parameters of 8-bit frames, as they act on the bytes of a block.
struct BinaryBytes {
  explicit BinaryBytes(const BinaryJob &job)
      : floats(job),
        scaled1(!is_neutral(floats.alpha)),
        scaled2(!is_neutral(floats.beta)),
        offset(rounded(0.0f, 1.0f), job.video().channels),
        zero_divisor(rounded(FLT_EPSILON, -1.0f), job.video().channels) {}

  BinaryFloats floats;
  bool scaled1, scaled2;     // whether a scale changes anything
  BytePattern offset;        // sat(round(gamma)), added to every result
  BytePattern zero_divisor;  // in place of a quotient by zero

 private:
  static bool is_neutral(const FloatPattern &scale) {
    return std::all_of(scale.lanes, scale.lanes + kMaxChannels * 3,
                       [](float s) { return s == 1.0f; });
  }
  // sat(round(start + sign * gamma)).
  ChannelParameters rounded(float start, float sign) const {
    ChannelParameters bytes;
    for (size_t c = 0; c < bytes.size(); ++c)
      bytes[c] = round_to_u8(start + sign * floats.gamma.lanes[c]);
    return bytes;
  }
};

template <class Kernels, class T, int op>
class BinaryArithmeticBodyAVX final : public ParallelLoopBody {
 public:
  explicit BinaryArithmeticBodyAVX(const BinaryJob &job) : job_(job), parameters_(job) {}

  void operator()(const Range &rows) const override {
    job_.for_each_row<T>(rows,
                         [this](int32_t n, const uint8_t *src1, const uint8_t *src2, uint8_t *dst) {
                           Kernels::template row<op>(src1, src2, dst, n, parameters_);
                         });
  }

 private:
  const BinaryJob job_;
  const std::conditional_t<std::is_same_v<T, uint8_t>, BinaryBytes, BinaryFloats> parameters_;
};

}  // namespace tavix::module
