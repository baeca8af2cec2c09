// SPDX-License-Identifier: Apache-2.0
// Pictures as tensors: converted to colour, resized, normalised and packed.
#pragma once

#include <array>
#include <vector>

#include "tavix/frame.hpp"
#include "video/picture_converter.h"

namespace tavix::tool {

struct Preprocessing {
  int32_t width = 224, height = 224;
  bool crop = false;
  int32_t layout = TAVIX_DATA_FORMAT_NCHW;  // or NHWC
  int32_t colour = TAVIX_PIX_FMT_RGB24;     // or BGR24
  int32_t interpolation = 1;                // as TavixFrameResizeByCPU numbers them
  // (sample - mean) * scale, channels in their order; ImageNet's for red, green and blue.
  std::array<float, 3> mean = {123.675f, 116.28f, 103.53f};
  std::array<float, 3> scale = {1 / 58.395f, 1 / 57.12f, 1 / 57.375f};

  bool planar() const { return layout == TAVIX_DATA_FORMAT_NCHW; }

  // Of one tensor.
  std::vector<int64_t> shape() const;
};

// Works on one thread; its buffers serve every picture.
class Preprocessor {
 public:
  explicit Preprocessor(const Preprocessing &preprocessing);

  Blob tensor_of(const AVFrame &picture);

 private:
  Preprocessing preprocessing_;
  float normalisation_[8];
  PictureConverter converter_;
  PicturePtr colour_;  // of the picture's size
  Frame small_;
};

}  // namespace tavix::tool
