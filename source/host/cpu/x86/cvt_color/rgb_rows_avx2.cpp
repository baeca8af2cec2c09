// SPDX-License-Identifier: Apache-2.0
// Vector rows of the packed conversions.
#include "cpu/tavix_cvt_color/rgb_rows.h"

namespace tavix::module {

// Follows with the vector kernels; until then both paths run the portable rows.
const RgbRows rgb_rows_avx2 = rgb_rows_c;

}  // namespace tavix::module
