/* SPDX-License-Identifier: Apache-2.0 */
/* Sets every sample above 127 to 255, every other to 0. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  check(TavixFrameThresholdBinaryByCPU(src, dst, 127, 255, 0));
  write_picture("TavixFrameThresholdBinaryByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameThresholdBinaryByCPU.ppm: 320 x 200
*/
