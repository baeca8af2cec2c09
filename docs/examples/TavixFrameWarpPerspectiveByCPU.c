/* SPDX-License-Identifier: Apache-2.0 */
/* Tilts a picture away from the viewer. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  const float matrix[9] = {1, 0.3f, 0, 0, 1, 0, 0, 0.0025f, 1};
  check(TavixFrameWarpPerspectiveByCPU(dst, src, matrix, 1, 0, 128));
  write_picture("TavixFrameWarpPerspectiveByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameWarpPerspectiveByCPU.ppm: 320 x 200
*/
