/* SPDX-License-Identifier: Apache-2.0 */
/* Brightens a picture: 1.4 times every sample, plus 10, rounded and clamped. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  const double scale[4] = {1.4, 1.4, 1.4}, offset[4] = {10, 10, 10};
  check(TavixFrameUnaryArithmeticByCPU(src, TAVIX_UNARY_OP_MUL_ADD, scale, offset, dst));
  write_picture("TavixFrameUnaryArithmeticByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameUnaryArithmeticByCPU.ppm: 320 x 200
*/
