// SPDX-License-Identifier: Apache-2.0
// A source and a destination of noise, and whether the destination is as it was.
//
//   FramePair frames({TAVIX_PIX_FMT_BGR24, 9, 7});
//   EXPECT_EQ(TavixFrameBlurByCPU(frames.src, frames.dst, size), TAVIX_ERROR_INVALID_PARAM);
//   EXPECT_TRUE(frames.untouched());
#pragma once

#include <vector>

#include "support/guarded_frame.h"

namespace tavix::test {

class FramePair {
 public:
  explicit FramePair(const FrameShape &shape) : FramePair(shape, shape) {}
  FramePair(const FrameShape &src_shape, const FrameShape &dst_shape,
            const FrameLayout &dst_layout = {})
      : src(src_shape), dst(dst_shape, dst_layout) {
    src.fill(Fill::noise, 1);
    dst.fill(Fill::noise, 2);
    before_ = dst.payload();
  }

  [[nodiscard]] bool untouched() const { return dst.payload() == before_ && dst.intact(); }

  GuardedFrame src, dst;

 private:
  std::vector<uint8_t> before_;
};

}  // namespace tavix::test
