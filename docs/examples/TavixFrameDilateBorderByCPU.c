/* SPDX-License-Identifier: Apache-2.0 */
/* Grows what is bright by two pixels in every direction. */
#include <string.h>
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  uint8_t all[25];
  memset(all, 1, sizeof all);
  const TavixKernel kernel = {5, 5, TAVIX_DATA_TYPE_UINT8, all};
  check(TavixFrameDilateBorderByCPU(src, dst, &kernel));
  write_picture("TavixFrameDilateBorderByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameDilateBorderByCPU.ppm: 320 x 200
*/
