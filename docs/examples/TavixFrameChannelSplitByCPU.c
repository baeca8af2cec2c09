/* SPDX-License-Identifier: Apache-2.0 */
/* Takes the red channel as a grey picture. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  TavixChannelFrames channels = {NULL, NULL, NULL, NULL};

  check(TavixFrameChannelSplitByCPU(src, &channels, 1));
  write_picture("TavixFrameChannelSplitByCPU.ppm", channels.red);
  free_frames(src, channels.red);
  return 0;
}

/* Prints:
TavixFrameChannelSplitByCPU.ppm: 320 x 200
*/
