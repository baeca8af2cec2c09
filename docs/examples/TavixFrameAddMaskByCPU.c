/* SPDX-License-Identifier: Apache-2.0 */
/* Adds an alpha channel to a picture of two pixels. */
#include <string.h>
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = new_frame(TAVIX_PIX_FMT_RGB24, 2, 1);
  TavixFrameV2 *mask = new_frame(TAVIX_PIX_FMT_GRAY8, 2, 1);
  memcpy(src->data[0], (uint8_t[6]){1, 2, 3, 4, 5, 6}, 6);
  memcpy(mask->data[0], (uint8_t[2]){255, 128}, 2);

  TavixFrameV2 *dst = NULL;
  check(TavixFrameAddMaskByCPU(src, mask, &dst));
  printf("%s:", TavixPixelFormatName(dst->video.format));
  for (int i = 0; i < 8; ++i) printf(" %d", dst->data[0][i]);
  printf("\n");

  TavixFrameFreeV2(dst);
  TavixFrameFreeV2(mask);
  TavixFrameFreeV2(src);
  return 0;
}

/* Prints:
TAVIX_PIX_FMT_RGBA32: 1 2 3 255 4 5 6 128
*/
