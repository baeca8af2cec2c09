/* SPDX-License-Identifier: Apache-2.0 */
/* A program that brings its own records and calls no function of the core: the library has to find
 * the core by itself. */
#include <stdio.h>
#include <string.h>

#include "tavix/video_common_cpu.h"

int main(void) {
  uint8_t pixels[4] = {1, 2, 3, 4}, sum[4] = {0};
  TavixFrameV2 src;
  memset(&src, 0, sizeof(src));
  src.memory = TAVIX_MEMORY_HOST;
  src.video.channels = 1;
  src.video.width = 2;
  src.video.height = 2;
  src.video.format = TAVIX_PIX_FMT_GRAY8;
  src.data[0] = pixels;
  src.linesize[0] = 2;
  TavixFrameV2 dst = src;
  dst.data[0] = sum;

  const double one[4] = {1, 1, 1, 1}, zero[4] = {0, 0, 0, 0};
  const int32_t status =
      TavixFrameBinaryArithmeticByCPU(&src, &src, TAVIX_BINARY_OP_ADD, one, one, zero, &dst);
  int wrong = status != TAVIX_OK;
  for (int i = 0; i < 4; ++i) wrong += sum[i] != 2 * pixels[i];
  printf("status %d, %d wrong\n", (int)status, wrong);
  return wrong != 0;
}
