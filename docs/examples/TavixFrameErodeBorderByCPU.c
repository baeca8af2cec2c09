/* SPDX-License-Identifier: Apache-2.0 */
/* Grows what is dark by one pixel upwards, downwards, to the left and to the right. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  const TavixKernel cross = {3, 3, TAVIX_DATA_TYPE_UINT8, (uint8_t[9]){0, 1, 0, 1, 1, 1, 0, 1, 0}};
  check(TavixFrameErodeBorderByCPU(src, dst, &cross));
  write_picture("TavixFrameErodeBorderByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameErodeBorderByCPU.ppm: 320 x 200
*/
