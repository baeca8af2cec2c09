/* SPDX-License-Identifier: Apache-2.0 */
/* Turns a tensor of one channel into the grey picture of a list of one. */
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixBlob *blob = TavixBlobAlloc(TAVIX_DATA_TYPE_INT32, TAVIX_DATA_FORMAT_NHWC, 4,
                                   (int32_t[4]){1, 200, 320, 1});
  if (blob == NULL) return 1;
  int32_t *values = TavixBlobBufferGet(blob);
  for (int i = 0; i < 200 * 320; ++i) values[i] = i % 320 * 255 / 319;

  TavixFrameV2 *frame = new_frame(TAVIX_PIX_FMT_GRAY8, 320, 200);
  TavixFrames frames = {&frame, 1};
  check(TavixBlobToFramesByCPU(blob, &frames));
  write_picture("TavixBlobToFramesByCPU.ppm", frame);
  TavixFrameFreeV2(frame);
  TavixBlobFree(blob);
  return 0;
}

/* Prints:
TavixBlobToFramesByCPU.ppm: 320 x 200
*/
