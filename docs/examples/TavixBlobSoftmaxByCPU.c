/* SPDX-License-Identifier: Apache-2.0 */
/* Turns the scores of two pictures for three classes into probabilities. */
#include <string.h>
#include <tavix/video_common_cpu.h>

#include "picture.h"

int main(void) {
  TavixBlob *blob =
      TavixBlobAlloc(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NC, 2, (int32_t[2]){2, 3});
  if (blob == NULL) return 1;
  float *values = TavixBlobBufferGet(blob);
  memcpy(values, (float[6]){1, 2, 3, 0, 0, 0}, 6 * sizeof(float));

  check(TavixBlobSoftmaxByCPU(blob, -1, blob));
  for (int n = 0; n < 2; ++n)
    printf("%.4f %.4f %.4f\n", values[3 * n], values[3 * n + 1], values[3 * n + 2]);

  TavixBlobFree(blob);
  return 0;
}

/* Prints:
0.0900 0.2447 0.6652
0.3333 0.3333 0.3333
*/
