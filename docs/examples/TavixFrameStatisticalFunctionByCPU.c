/* SPDX-License-Identifier: Apache-2.0 */
/* Computes the mean of each channel. */
#include <string.h>
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = new_frame(TAVIX_PIX_FMT_RGB24, 2, 1);
  memcpy(src->data[0], (uint8_t[6]){10, 20, 30, 20, 20, 33}, 6);

  TavixArray *means = NULL;
  check(TavixFrameStatisticalFunctionByCPU(src, TAVIX_STAT_OP_MEAN, &means));
  for (int c = 0; c < means->count; ++c) printf("%g\n", means->elements[c].value);

  TavixArrayFree(means);
  TavixFrameFreeV2(src);
  return 0;
}

/* Prints:
15
20
31.5
*/
