/* SPDX-License-Identifier: Apache-2.0 */
/* What a first user writes: adds two grey frames and looks at the sum. */
#include <stdio.h>
#include <string.h>

#include "tavix/core.h"
#include "tavix/video_common_cpu.h"

int main(void) {
  TavixFrameV2 *a = TavixVideoFrameAllocV2(TAVIX_PIX_FMT_GRAY8, TAVIX_MEMORY_HOST, 5, 3, 0, 1);
  TavixFrameV2 *b = TavixVideoFrameAllocV2(TAVIX_PIX_FMT_GRAY8, TAVIX_MEMORY_HOST, 5, 3, 0, 64);
  if (a == NULL || b == NULL) return 1;
  memset(a->data[0], 200, 15);
  memset(b->data[0], 50, (size_t)b->linesize[0] * 3);

  const double one[4] = {1, 1, 1, 1}, half[4] = {0.5, 0.5, 0.5, 0.5}, zero[4] = {0, 0, 0, 0};
  const int32_t status =
      TavixFrameBinaryArithmeticByCPU(a, b, TAVIX_BINARY_OP_ADD, one, half, zero, b);
  int wrong = status != TAVIX_OK;
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) wrong += b->data[0][y * b->linesize[0] + x] != 225;
  printf("%s, %d wrong\n", TavixStatusName(status), wrong);

  TavixFrameFreeV2(b);
  TavixFrameFreeV2(a);
  TavixDeinitialize();
  return wrong != 0;
}
