// SPDX-License-Identifier: Apache-2.0
// Colour conversion between pictures: the one place of the examples that does it. The library does
// what it can, FFmpeg the rest.
#pragma once

#include "video/picture_filter.h"

namespace tavix::tool {

class PictureConverter {
 public:
  // Fills the pixels of dst from src, in the colour space and range each of the two names; the time
  // of src goes along. By the library, without a copy: packed colour and 4:2:0, of the same size.
  // By FFmpeg, into packed colour only: every other pixel format, another size, and those 4:2:0
  // pictures of which the library would leave an odd last row or column unwritten, or whose range
  // (full) or colour space it does not tell from others.
  void convert(const AVFrame &src, AVFrame &dst);

 private:
  PictureFilter filter_;
};

}  // namespace tavix::tool
