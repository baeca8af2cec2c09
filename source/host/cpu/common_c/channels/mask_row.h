// SPDX-License-Identifier: Apache-2.0
// A row of pixels and a row of a mask become a row of four-channel pixels, the mask last. Elements
// are bytes or 32-bit floats, all of one type; values stay as they are.
#pragma once

#include <cstdint>

#include "cpu/common_c/blob/tensor_rows.h"

namespace tavix::module {

// Reads width pixels of 1, 3 or 4 channels and as many elements of the mask. Pixels of four
// channels stand side by side with their mask, five elements each, and the row is cut to 4 * width
// elements.
void mask_row(const TensorRows &rows, bool floats, int32_t channels, const uint8_t *src,
              const uint8_t *mask, uint8_t *dst, int32_t width);

}  // namespace tavix::module
