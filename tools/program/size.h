// SPDX-License-Identifier: Apache-2.0
// Sizes of pictures as the command line takes them.
#pragma once

#include <cstdint>
#include <string_view>

namespace tavix::tool {

struct Size {
  int32_t width, height;
};

// The sizes of "64x48", or of 0 x 0 where that is not one with sides from 1 to largest.
Size size_of(std::string_view text, int32_t largest);

}  // namespace tavix::tool
