/* SPDX-License-Identifier: Apache-2.0 */
/* Blends a picture with its blurred copy: 0.5 a + 0.5 b. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);
  const TavixSize size = {31, 31};
  check(TavixFrameBlurByCPU(src, dst, size));

  const double half[4] = {0.5, 0.5, 0.5}, zero[4] = {0};
  check(TavixFrameBinaryArithmeticByCPU(src, dst, TAVIX_BINARY_OP_ADD, half, half, zero, dst));
  write_picture("TavixFrameBinaryArithmeticByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameBinaryArithmeticByCPU.ppm: 320 x 200
*/
