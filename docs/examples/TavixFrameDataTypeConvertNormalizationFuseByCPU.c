/* SPDX-License-Identifier: Apache-2.0 */
/* Converts bytes into floats from -1 to 1: (v - 127.5) / 127.5 in every channel. */
#include <string.h>
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = new_frame(TAVIX_PIX_FMT_RGB24, 2, 1);
  memcpy(src->data[0], (uint8_t[6]){0, 102, 255, 51, 153, 204}, 6);

  const float mean = 127.5f, scale = 1 / 127.5f;
  const float values[8] = {mean, mean, mean, mean, scale, scale, scale, scale};
  TavixFrameV2 *dst = NULL;
  check(
      TavixFrameDataTypeConvertNormalizationFuseByCPU(src, &dst, TAVIX_DATA_TYPE_FLOAT32, values));
  float pixels[6];
  memcpy(pixels, dst->data[0], sizeof pixels);
  printf("%s:", TavixPixelFormatName(dst->video.format));
  for (int i = 0; i < 6; ++i) printf(" %.2f", pixels[i]);
  printf("\n");

  free_frames(src, dst);
  return 0;
}

/* Prints:
TAVIX_PIX_FMT_RGBF32: -1.00 -0.20 1.00 -0.60 0.20 0.60
*/
