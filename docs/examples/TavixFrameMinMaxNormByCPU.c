/* SPDX-License-Identifier: Apache-2.0 */
/* Maps the darkest sample to 100 and the brightest to 160. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  check(TavixFrameMinMaxNormByCPU(src, dst, 100, 160));
  write_picture("TavixFrameMinMaxNormByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameMinMaxNormByCPU.ppm: 320 x 200
*/
