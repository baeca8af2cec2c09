/* SPDX-License-Identifier: Apache-2.0 */
/* Surrounds a picture with a mirrored border of 20 pixels. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame(src->video.format, src->video.width + 40, src->video.height + 40);

  check(TavixFrameCopyMakeBorderByCPU(src, dst, 20, 20, 20, 20, 4, 0));
  write_picture("TavixFrameCopyMakeBorderByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameCopyMakeBorderByCPU.ppm: 360 x 240
*/
