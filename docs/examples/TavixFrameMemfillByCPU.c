/* SPDX-License-Identifier: Apache-2.0 */
/* Fills a frame with one value. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  check(TavixFrameMemfillByCPU(src, dst, 200));
  write_picture("TavixFrameMemfillByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameMemfillByCPU.ppm: 320 x 200
*/
