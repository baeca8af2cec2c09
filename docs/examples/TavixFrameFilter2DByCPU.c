/* SPDX-License-Identifier: Apache-2.0 */
/* Sharpens a picture. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  const TavixKernel kernel = {3, 3, TAVIX_DATA_TYPE_FLOAT32,
                              (float[9]){0, -1, 0, -1, 5, -1, 0, -1, 0}};
  check(TavixFrameFilter2DByCPU(src, dst, &kernel));
  write_picture("TavixFrameFilter2DByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameFilter2DByCPU.ppm: 320 x 200
*/
