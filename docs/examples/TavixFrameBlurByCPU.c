/* SPDX-License-Identifier: Apache-2.0 */
/* Blurs a picture: the mean of 15 x 15 pixels. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  const TavixSize size = {15, 15};
  check(TavixFrameBlurByCPU(src, dst, size));
  write_picture("TavixFrameBlurByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameBlurByCPU.ppm: 320 x 200
*/
