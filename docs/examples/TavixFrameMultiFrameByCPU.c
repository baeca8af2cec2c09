/* SPDX-License-Identifier: Apache-2.0 */
/* Multiplies a picture by one that is 1 inside a circle and 0 outside. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);
  for (int y = 0; y < 200; ++y)
    for (int x = 0; x < 960; ++x) {
      const int dx = x / 3 - 160, dy = y - 100;
      dst->data[0][y * dst->linesize[0] + x] = dx * dx + dy * dy < 90 * 90;
    }

  /* The product replaces the second factor. */
  check(TavixFrameMultiFrameByCPU(src, dst, &dst));
  write_picture("TavixFrameMultiFrameByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameMultiFrameByCPU.ppm: 320 x 200
*/
