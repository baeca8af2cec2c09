/* SPDX-License-Identifier: Apache-2.0 */
/* Makes a picture of 160 x 100 pixels, every pixel the mean of the area it covers. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame(src->video.format, 160, 100);

  check(TavixFrameResizeByCPU(src, dst, 160, 100, 3));
  write_picture("TavixFrameResizeByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameResizeByCPU.ppm: 160 x 100
*/
