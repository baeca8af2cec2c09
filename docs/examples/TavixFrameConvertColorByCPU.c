/* SPDX-License-Identifier: Apache-2.0 */
/* Converts RGB to grey. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame(TAVIX_PIX_FMT_GRAY8, src->video.width, src->video.height);

  check(TavixFrameConvertColorByCPU(src, dst));
  write_picture("TavixFrameConvertColorByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameConvertColorByCPU.ppm: 320 x 200
*/
