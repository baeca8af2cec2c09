/* SPDX-License-Identifier: Apache-2.0 */
/* Turns a tensor of one plane for each channel into a picture. */
#include <string.h>
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixFrameV2 *frame = new_frame(TAVIX_PIX_FMT_RGB24, 2, 1);
  TavixBlob *blob =
      TavixBlobAlloc(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, 4, (int32_t[4]){1, 3, 1, 2});
  if (blob == NULL) return 1;
  memcpy(TavixBlobBufferGet(blob), (float[6]){10, 11, 20, 21, 30, 31}, 6 * sizeof(float));

  check(TavixBlobToFrameByCPU(blob, frame));
  for (int i = 0; i < 6; ++i) printf("%d ", frame->data[0][i]);
  printf("\n");

  TavixBlobFree(blob);
  TavixFrameFreeV2(frame);
  return 0;
}

/* Prints:
10 20 30 11 21 31
*/
