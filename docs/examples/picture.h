/* SPDX-License-Identifier: Apache-2.0 */
/* What the examples share: frames, and pictures (portable pixmaps: P6 as RGB24, P5 as GRAY8). */
#ifndef PICTURE_H
#define PICTURE_H

#include <stdio.h>
#include <stdlib.h>
#include <tavix/core.h>

static inline TavixFrameV2 *new_frame(int32_t format, int32_t width, int32_t height) {
  TavixFrameV2 *frame = TavixVideoFrameAllocV2(format, TAVIX_MEMORY_HOST, width, height, 0, 1);
  if (frame == NULL) exit(1);
  return frame;
}

/* A frame of the same format and size; its pixels are 0. */
static inline TavixFrameV2 *new_frame_like(const TavixFrameV2 *frame) {
  return new_frame(frame->video.format, frame->video.width, frame->video.height);
}

static inline void free_frames(TavixFrameV2 *src, TavixFrameV2 *dst) {
  TavixFrameFreeV2(dst);
  TavixFrameFreeV2(src);
}

static inline TavixFrameV2 *read_picture(const char *name) {
  FILE *file = fopen(name, "rb");
  int32_t width, height;
  if (file == NULL || fscanf(file, "P6 %d %d 255", &width, &height) != 2 || fgetc(file) == EOF) {
    fprintf(stderr, "%s: no P6 picture\n", name);
    exit(1);
  }
  TavixFrameV2 *frame = new_frame(TAVIX_PIX_FMT_RGB24, width, height);
  const size_t size = (size_t)width * (size_t)height * 3;
  if (fread(frame->data[0], 1, size, file) != size) exit(1);
  fclose(file);
  return frame;
}

static inline void write_picture(const char *name, const TavixFrameV2 *frame) {
  FILE *file = fopen(name, "wb");
  if (file == NULL) exit(1);
  const int32_t channels = frame->video.channels;
  fprintf(file, "P%d %d %d 255\n", channels == 3 ? 6 : 5, frame->video.width, frame->video.height);
  for (int32_t y = 0; y < frame->video.height; ++y)
    fwrite(frame->data[0] + (size_t)y * (size_t)frame->linesize[0], (size_t)channels,
           (size_t)frame->video.width, file);
  if (fclose(file) != 0) exit(1);
  printf("%s: %d x %d\n", name, frame->video.width, frame->video.height);
}

/* Ends the program unless the operation succeeded; the library has logged why. */
static inline void check(int32_t status) {
  if (status == TAVIX_OK) return;
  fprintf(stderr, "%s\n", TavixStatusName(status));
  exit(1);
}

#endif
