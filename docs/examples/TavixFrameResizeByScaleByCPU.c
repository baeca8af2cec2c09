/* SPDX-License-Identifier: Apache-2.0 */
/* Makes a new frame of half the width and a quarter of the height. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = NULL;

  check(TavixFrameResizeByScaleByCPU(src, &dst, 0.5, 0.25, 1));
  write_picture("TavixFrameResizeByScaleByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameResizeByScaleByCPU.ppm: 160 x 50
*/
