/* SPDX-License-Identifier: Apache-2.0 */
/* Converts a colour into NV12 and back. The 4:2:0 frame says which matrix and range it is in. */
#include <stdio.h>

#include "tavix/core.h"
#include "tavix/video_common_cpu.h"

int main(void) {
  TavixFrameV2 *rgb = TavixVideoFrameAllocV2(TAVIX_PIX_FMT_RGB24, TAVIX_MEMORY_HOST, 2, 2, 0, 1);
  TavixFrameV2 *nv12 = TavixVideoFrameAllocV2(TAVIX_PIX_FMT_NV12, TAVIX_MEMORY_HOST, 2, 2, 0, 1);
  int failed = rgb == NULL || nv12 == NULL;
  if (!failed) {
    for (int i = 0; i < 4; ++i) {
      rgb->data[0][3 * i] = 200; /* four orange pixels */
      rgb->data[0][3 * i + 1] = 100;
      rgb->data[0][3 * i + 2] = 50;
    }
    nv12->video.color_space = 1; /* BT.709 */
    nv12->video.color_range = 1; /* limited */
    failed = TavixFrameConvertColorByCPU(rgb, nv12) != TAVIX_OK;
  }
  if (!failed) {
    printf("Y %d, U %d, V %d\n", nv12->data[0][0], nv12->data[1][0], nv12->data[1][1]);
    failed = TavixFrameConvertColorByCPU(nv12, rgb) != TAVIX_OK;
  }
  if (!failed) printf("R %d, G %d, B %d\n", rgb->data[0][0], rgb->data[0][1], rgb->data[0][2]);
  TavixFrameFreeV2(nv12); /* null is ignored */
  TavixFrameFreeV2(rgb);
  return failed;
}
