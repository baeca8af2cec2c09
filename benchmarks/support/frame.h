// SPDX-License-Identifier: Apache-2.0
// Frames of the core with an owner, filled with noise that is the same in every run.
#pragma once

#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <vector>

#include "support/samples.h"
#include "tavix/core.h"

namespace tavix::benchmarks {

struct Size {
  int32_t width, height;
};

// A handle to a frame of any named format, with packed rows and zero-filled.
class Frame {
 public:
  Frame(int32_t format, const Size &size);

  operator TavixFrameV2 *() const { return frame_.get(); }
  TavixFrameV2 *operator->() const { return frame_.get(); }

  // The samples of every plane.
  std::vector<Samples> planes() const;

  // OpenCV's view of plane 0 of a packed format.
  cv::Mat mat() const;

 private:
  std::shared_ptr<TavixFrameV2> frame_;
};

struct FloatRange {
  float low = 0.0f, high = 255.0f;
};

// Uniform noise: all byte values, or floats of the range.
void fill_noise(const Samples &samples, uint64_t seed, FloatRange range = {});
Frame noise(int32_t format, const Size &size, uint64_t seed, FloatRange range = {});

}  // namespace tavix::benchmarks
