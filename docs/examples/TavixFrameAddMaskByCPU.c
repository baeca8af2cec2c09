/* SPDX-License-Identifier: Apache-2.0 */
/* Adds an alpha channel that fades to the right, and shows the result over white. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *src = read_picture("picture.ppm");
  const int32_t width = src->video.width, height = src->video.height;
  TavixFrameV2 *mask = new_frame(TAVIX_PIX_FMT_GRAY8, width, height);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x)
      mask->data[0][y * mask->linesize[0] + x] = (uint8_t)(255 - 255 * x / width);

  TavixFrameV2 *dst = NULL;
  check(TavixFrameAddMaskByCPU(src, mask, &dst));
  printf("%s\n", TavixPixelFormatName(dst->video.format));

  /* The rows of the new frame are packed. */
  TavixFrameV2 *shown = new_frame_like(src);
  for (int32_t i = 0; i < width * height; ++i) {
    const uint8_t *pixel = dst->data[0] + 4 * i;
    for (int c = 0; c < 3; ++c)
      shown->data[0][3 * i + c] = (uint8_t)(255 - pixel[3] * (255 - pixel[c]) / 255);
  }
  write_picture("TavixFrameAddMaskByCPU.ppm", shown);

  free_frames(src, dst);
  free_frames(mask, shown);
  return 0;
}

/* Prints:
TAVIX_PIX_FMT_RGBA32
TavixFrameAddMaskByCPU.ppm: 320 x 200
*/
