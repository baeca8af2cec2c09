/* SPDX-License-Identifier: Apache-2.0 */
/* Sums neighbours, two to a pixel: bright parts saturate. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  const TavixSize size = {2, 1};
  check(TavixFrameBoxFilterByCPU(src, dst, &size));
  write_picture("TavixFrameBoxFilterByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameBoxFilterByCPU.ppm: 320 x 200
*/
