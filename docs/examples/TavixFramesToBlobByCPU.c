/* SPDX-License-Identifier: Apache-2.0 */
/* Packs the picture of a list of one into a tensor of bytes, pixel by pixel with its channels. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *frame = read_picture("picture.ppm");
  const TavixFrames frames = {&frame, 1};
  TavixBlob *blob = TavixBlobAlloc(TAVIX_DATA_TYPE_UINT8, TAVIX_DATA_FORMAT_NHWC, 4,
                                   (int32_t[4]){1, frame->video.height, frame->video.width, 3});
  if (blob == NULL) return 1;

  check(TavixFramesToBlobByCPU(&frames, blob));
  const uint8_t *pixel = TavixBlobBufferGet(blob);
  printf("the first pixel: %d %d %d\n", pixel[0], pixel[1], pixel[2]);
  TavixBlobFree(blob);
  TavixFrameFreeV2(frame);
  return 0;
}

/* Prints:
the first pixel: 70 130 200
*/
