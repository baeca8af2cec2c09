/* SPDX-License-Identifier: Apache-2.0 */
/* Adds two pictures of your own memory, without a copy: a frame is a record that points at it. */
#include <stdio.h>

#include "tavix/core.h"
#include "tavix/video_common_cpu.h"

enum { kWidth = 4, kHeight = 2 };

static TavixFrameV2 grey_view(uint8_t *pixels) {
  TavixFrameV2 frame = {
      .memory = TAVIX_MEMORY_HOST,
      .video = {.channels = 1, .width = kWidth, .height = kHeight, .format = TAVIX_PIX_FMT_GRAY8},
      .data = {pixels},
      .linesize = {kWidth}};
  return frame;
}

int main(void) {
  uint8_t a[kHeight * kWidth] = {10, 20, 30, 40, 50, 60, 70, 80};
  uint8_t b[kHeight * kWidth] = {100, 100, 100, 100, 200, 200, 200, 200};
  uint8_t sum[kHeight * kWidth];
  const TavixFrameV2 first = grey_view(a), second = grey_view(b);
  TavixFrameV2 result = grey_view(sum);

  /* sum = a + 0.5 b; each channel has factors of its own, and results stay within 0 to 255. */
  const double one[4] = {1, 1, 1, 1}, half[4] = {0.5, 0.5, 0.5, 0.5}, none[4] = {0};
  const int32_t status = TavixFrameBinaryArithmeticByCPU(&first, &second, TAVIX_BINARY_OP_ADD, one,
                                                         half, none, &result);
  if (status != TAVIX_OK) {
    fprintf(stderr, "%s\n", TavixStatusName(status));
    return 1;
  }
  for (int i = 0; i < kHeight * kWidth; ++i) printf("%d ", sum[i]);
  printf("\n");
  return 0;
}
