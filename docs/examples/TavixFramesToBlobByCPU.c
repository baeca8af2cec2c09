/* SPDX-License-Identifier: Apache-2.0 */
/* Packs the picture of a list of one into a tensor. */
#include <string.h>
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *frame = new_frame(TAVIX_PIX_FMT_RGB24, 2, 1);
  TavixBlob *blob =
      TavixBlobAlloc(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, 4, (int32_t[4]){1, 3, 1, 2});
  if (blob == NULL) return 1;
  memcpy(frame->data[0], (uint8_t[6]){10, 20, 30, 11, 21, 31}, 6);
  TavixFrameV2 *entries[1] = {frame};
  const TavixFrames frames = {entries, 1};

  check(TavixFramesToBlobByCPU(&frames, blob));
  const float *values = TavixBlobBufferGet(blob);
  for (int c = 0; c < 3; ++c) printf("channel %d: %g %g\n", c, values[2 * c], values[2 * c + 1]);

  TavixBlobFree(blob);
  TavixFrameFreeV2(frame);
  return 0;
}

/* Prints:
channel 0: 10 11
channel 1: 20 21
channel 2: 30 31
*/
