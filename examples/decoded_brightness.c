/* SPDX-License-Identifier: Apache-2.0 */
/* Decodes the first picture of a video with FFmpeg and takes its mean brightness: the decoder's
 * memory is viewed as a frame, not copied. Usage: decoded_brightness VIDEO */
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <stdio.h>

#include "tavix/core.h"
#include "tavix/interop/ffmpeg.h"
#include "tavix/video_common_cpu.h"

/* The luma plane of a frame of many formats is a grey frame. */
static int print_brightness(const AVFrame *picture) {
  TavixFrameV2 view;
  const char *reason = TavixViewOfAVFrame(picture, &view);
  if (reason != NULL) return fprintf(stderr, "cannot view the picture: %s\n", reason), 1;
  if (view.video.channels == 1) view.video.format = TAVIX_PIX_FMT_GRAY8;
  TavixArray *means = NULL;
  if (TavixFrameStatisticalFunctionByCPU(&view, TAVIX_STAT_OP_MEAN, &means) != TAVIX_OK) return 1;
  printf("%d x %d pixels, mean %.2f\n", picture->width, picture->height, means->elements[0].value);
  TavixArrayFree(means);
  return 0;
}

int main(int argc, char **argv) {
  AVFormatContext *input = NULL;
  if (argc != 2 || avformat_open_input(&input, argv[1], NULL, NULL) < 0) return 1;
  const AVCodec *codec = NULL;
  avformat_find_stream_info(input, NULL);
  const int stream = av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
  if (stream < 0) return 1;
  AVCodecContext *decoder = avcodec_alloc_context3(codec);
  avcodec_parameters_to_context(decoder, input->streams[stream]->codecpar);
  avcodec_open2(decoder, codec, NULL);

  AVPacket *packet = av_packet_alloc();
  AVFrame *picture = av_frame_alloc();
  int received = AVERROR(EAGAIN);
  while (received == AVERROR(EAGAIN)) {
    const int more = av_read_frame(input, packet) >= 0;
    if (!more || packet->stream_index == stream) avcodec_send_packet(decoder, more ? packet : NULL);
    av_packet_unref(packet);
    received = avcodec_receive_frame(decoder, picture);
  }
  const int failed = received < 0 || print_brightness(picture);
  av_frame_free(&picture);
  av_packet_free(&packet);
  avcodec_free_context(&decoder);
  avformat_close_input(&input);
  return failed;
}
