/* SPDX-License-Identifier: Apache-2.0 */
/* Copies the left half of a picture into the right half of another. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixFrameV2 *dst = new_frame_like(src);

  const TavixRect left = {0, 0, 160, 200}, right = {160, 0, 160, 200};
  check(TavixFrameRoiByCPU(src, dst, left, right));
  write_picture("TavixFrameRoiByCPU.ppm", dst);
  free_frames(src, dst);
  return 0;
}

/* Prints:
TavixFrameRoiByCPU.ppm: 320 x 200
*/
