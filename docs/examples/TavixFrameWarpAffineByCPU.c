/* SPDX-License-Identifier: Apache-2.0 */
/* Turns a picture by 20 degrees around its centre; what lies outside becomes grey. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  const float c = 0.93969262f, s = 0.34202014f, x = 160, y = 100;
  const float matrix[6] = {c, s, x - c * x - s * y, -s, c, y + s * x - c * y};
  check(TavixFrameWarpAffineByCPU(dst, src, matrix, 1, 0, 128));
  write_picture("TavixFrameWarpAffineByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameWarpAffineByCPU.ppm: 320 x 200
*/
