/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Pictures of FFmpeg as frames and back, without a copy; header-only. For C11, and with exceptions
 * and owners for C++17 and later. A program that includes this header links libavutil itself.
 *
 * A view borrows: it holds pointers and no reference, and lives no longer than the pixels it shows.
 * In C++, tavix::PictureFrame keeps a reference to its picture.
 *
 * What corresponds:
 *   rgb24 bgr24 gray8 grayf32  the formats of these names
 *   rgba bgra                  RGBA32 BGRA32; so are rgb0 and bgr0, whose fourth byte is no alpha
 *   nv12 nv21 yuv420p          NV12 NV21 I420
 *   yuvj420p                   I420 of full range
 *   rgbf32 rgbaf32             RGBF32 RGBAF32, where FFmpeg has them
 * and, back only, YV12: yuv420p with its chroma planes in the other order.
 *
 * Pictures that are stored bottom up keep their negative line sizes. Note that operations take the
 * samples of a 4:2:0 frame as limited range, whatever its range says.
 */
#ifndef TAVIX_INTEROP_FFMPEG_H
#define TAVIX_INTEROP_FFMPEG_H

#include <stddef.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
#include <libavutil/version.h>
#ifdef __cplusplus
}
#endif

#include "tavix/core/records.h"

/** A pixel format of both sides. */
typedef struct TavixAVFormat {
  enum AVPixelFormat picture;
  int32_t frame;    /**< TavixPixelFormat */
  int32_t channels; /**< interleaved in plane 0 */
} TavixAVFormat;

/** A colour space of both sides. */
typedef struct TavixAVColorSpace {
  enum AVColorSpace picture;
  int32_t frame;
} TavixAVColorSpace;

/** The pixel formats that correspond, their count in *count. Of two rows for one format of frames,
 * the first is the way back. */
static inline const TavixAVFormat *TavixAVFormats(int *count) {
  static const TavixAVFormat rows[] = {
      /* clang-format off */
      { AV_PIX_FMT_RGB24,    TAVIX_PIX_FMT_RGB24,   3 },
      { AV_PIX_FMT_BGR24,    TAVIX_PIX_FMT_BGR24,   3 },
      { AV_PIX_FMT_GRAY8,    TAVIX_PIX_FMT_GRAY8,   1 },
      { AV_PIX_FMT_BGRA,     TAVIX_PIX_FMT_BGRA32,  4 },
      { AV_PIX_FMT_RGBA,     TAVIX_PIX_FMT_RGBA32,  4 },
      { AV_PIX_FMT_BGR0,     TAVIX_PIX_FMT_BGRA32,  4 },
      { AV_PIX_FMT_RGB0,     TAVIX_PIX_FMT_RGBA32,  4 },
      { AV_PIX_FMT_NV12,     TAVIX_PIX_FMT_NV12,    1 },
      { AV_PIX_FMT_NV21,     TAVIX_PIX_FMT_NV21,    1 },
      { AV_PIX_FMT_YUV420P,  TAVIX_PIX_FMT_I420,    1 },
      { AV_PIX_FMT_YUVJ420P, TAVIX_PIX_FMT_I420,    1 },
      { AV_PIX_FMT_GRAYF32,  TAVIX_PIX_FMT_GRAYF32, 1 },
#ifdef AV_PIX_FMT_RGBF32
      { AV_PIX_FMT_RGBF32,   TAVIX_PIX_FMT_RGBF32,  3 },
#endif
#ifdef AV_PIX_FMT_RGBAF32
      { AV_PIX_FMT_RGBAF32,  TAVIX_PIX_FMT_RGBAF32, 4 },
#endif
      /* clang-format on */
  };
  *count = (int)(sizeof rows / sizeof rows[0]);
  return rows;
}

/** The colour spaces that correspond, as TavixAVFormats. */
static inline const TavixAVColorSpace *TavixAVColorSpaces(int *count) {
  static const TavixAVColorSpace rows[] = {
      /* clang-format off */
      { AVCOL_SPC_UNSPECIFIED, 0 },
      { AVCOL_SPC_BT709,       1 },
      { AVCOL_SPC_BT470BG,     2 },
      { AVCOL_SPC_SMPTE170M,   3 },
      { AVCOL_SPC_SMPTE170M,   4 },
      { AVCOL_SPC_BT2020_NCL,  7 },
      { AVCOL_SPC_BT2020_CL,   8 },
      /* clang-format on */
  };
  *count = (int)(sizeof rows / sizeof rows[0]);
  return rows;
}

/* NOLINTBEGIN(modernize-use-nullptr): this part is C */

/** The row of a picture's pixel format, or NULL. */
static inline const TavixAVFormat *TavixAVFormatOf(int picture_format) {
  int count;
  const TavixAVFormat *row = TavixAVFormats(&count);
  for (const TavixAVFormat *end = row + count; row != end; ++row)
    if ((int)row->picture == picture_format) return row;
  return NULL;
}

/** The row of a picture's colour space, or NULL. */
static inline const TavixAVColorSpace *TavixAVColorSpaceOf(enum AVColorSpace space) {
  int count;
  const TavixAVColorSpace *row = TavixAVColorSpaces(&count);
  for (const TavixAVColorSpace *end = row + count; row != end; ++row)
    if (row->picture == space) return row;
  return NULL;
}

/** Whether a picture of this pixel format is YUV. */
static inline int TavixAVIsYuv(const TavixAVFormat *format) {
  return format->frame >= TAVIX_PIX_FMT_NV12 && format->frame <= TAVIX_PIX_FMT_I420;
}

/**
 * Views a picture as a frame: planes, line sizes, colour space and range, times.
 *
 * A packed picture in a colour space without a counterpart gets 0: its pixels do not depend on it.
 *
 * @param view  overwritten; borrows the planes of the picture
 * @return NULL, or why the picture has no counterpart; view is left alone then
 */
static inline const char *TavixViewOfAVFrame(const AVFrame *picture, TavixFrameV2 *view) {
  const TavixAVFormat *format = TavixAVFormatOf(picture->format);
  const TavixAVColorSpace *space = TavixAVColorSpaceOf(picture->colorspace);
  TavixFrameV2 frame;

  if (picture->data[0] == NULL) return "the picture has no pixels";
  if (format == NULL) return "its pixel format has no counterpart";
  if (picture->crop_top || picture->crop_bottom || picture->crop_left || picture->crop_right)
    return "it is yet to be cropped (av_frame_apply_cropping)";
  if (TavixAVIsYuv(format) && space == NULL) return "its colour space has no counterpart";
  if (format->frame == TAVIX_PIX_FMT_I420 && picture->linesize[1] != picture->linesize[2])
    return "its chroma planes differ in line size";

  memset(&frame, 0, sizeof frame);
  frame.memory = TAVIX_MEMORY_HOST;
  frame.video.channels = format->channels;
  frame.video.width = picture->width;
  frame.video.height = picture->height;
  frame.video.format = format->frame;
  frame.video.color_space = space == NULL ? 0 : space->frame;
  /* Both sides number ranges alike: 0 unspecified, 1 limited, 2 full. */
  frame.video.color_range = picture->format == AV_PIX_FMT_YUVJ420P ? (int32_t)AVCOL_RANGE_JPEG
                                                                   : (int32_t)picture->color_range;
  for (int p = 0; p < TAVIX_FRAME_MAX_PLANES; ++p) {
    frame.data[p] = picture->data[p];
    frame.linesize[p] = picture->linesize[p];
  }
  frame.pts = picture->pts;
  frame.dts = picture->pkt_dts;
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
  frame.duration = picture->duration;
#else
  frame.duration = picture->pkt_duration;
#endif
  *view = frame;
  return NULL;
}

/**
 * Views a frame as a picture. The picture owns no buffer: functions of FFmpeg that need a reference
 * (av_frame_ref, an encoder) copy its pixels.
 *
 * @param picture  from av_frame_alloc, without buffers; its other fields are kept
 * @return NULL, or why the frame has no counterpart; picture is left alone then
 */
static inline const char *TavixViewAsAVFrame(const TavixFrameV2 *frame, AVFrame *picture) {
  /* FFmpeg has one order of planes for the two formats. */
  const int swapped = frame->video.format == TAVIX_PIX_FMT_YV12;
  const int planar = swapped || frame->video.format == TAVIX_PIX_FMT_I420;
  const int32_t wanted = swapped ? TAVIX_PIX_FMT_I420 : frame->video.format;
  int formats, spaces;
  const TavixAVFormat *format = TavixAVFormats(&formats);
  const TavixAVColorSpace *space = TavixAVColorSpaces(&spaces);
  const TavixAVFormat *const formats_end = format + formats;
  const TavixAVColorSpace *const spaces_end = space + spaces;

  if (picture->buf[0] != NULL) return "the picture has buffers of its own";
  if (frame->memory != TAVIX_MEMORY_HOST) return "the frame is outside host memory";
  while (format != formats_end && format->frame != wanted) ++format;
  while (space != spaces_end && space->frame != frame->video.color_space) ++space;
  if (format == formats_end) return "its pixel format has no counterpart";
  if (frame->video.channels != format->channels)
    return "its pixels have another number of channels";
  if (space == spaces_end) return "its colour space has no counterpart";
  if (frame->video.color_range < 0 || frame->video.color_range > 2)
    return "its colour range has no counterpart";

  picture->format = format->picture;
  picture->width = frame->video.width;
  picture->height = frame->video.height;
  picture->colorspace = space->picture;
  picture->color_range = (enum AVColorRange)frame->video.color_range;
  for (int p = 0; p < AV_NUM_DATA_POINTERS; ++p) {
    picture->data[p] = frame->data[p];
    picture->linesize[p] = frame->linesize[p];
  }
  if (swapped) {
    picture->data[1] = frame->data[2];
    picture->data[2] = frame->data[1];
  }
  /* Frames address both chroma planes with one line size. */
  if (planar) picture->linesize[2] = picture->linesize[1];
  picture->pts = frame->pts;
  picture->pkt_dts = frame->dts;
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
  picture->duration = frame->duration;
#else
  picture->pkt_duration = frame->duration;
#endif
  return NULL;
}

/* NOLINTEND(modernize-use-nullptr) */

#ifdef __cplusplus

#include "tavix/frame.hpp"

namespace tavix {

using AVFramePtr = std::unique_ptr<AVFrame, void (*)(AVFrame *)>;

namespace detail {

inline AVFramePtr make_av_frame() {
  AVFrame *picture = av_frame_alloc();
  if (picture == nullptr) throw std::bad_alloc();
  return AVFramePtr(picture, [](AVFrame *owned) { av_frame_free(&owned); });
}

inline void require_counterpart(const char *reason, const char *function, const char *format) {
  if (reason == nullptr) return;
  throw Error(function, TAVIX_ERROR_UNSUPPORTED,
              std::string(format ? format : "unknown format") + ": " + reason);
}

}  // namespace detail

/// Views a picture as a frame, as TavixViewOfAVFrame; borrows. Throws Error with the reason.
inline TavixFrameV2 frame_view(const AVFrame &picture) {
  TavixFrameV2 view;
  detail::require_counterpart(TavixViewOfAVFrame(&picture, &view), "frame_view",
                              av_get_pix_fmt_name(AVPixelFormat(picture.format)));
  return view;
}

/// Views a frame as a picture, as TavixViewAsAVFrame; borrows. Throws Error with the reason.
inline AVFramePtr av_frame_view(const TavixFrameV2 &frame) {
  AVFramePtr picture = detail::make_av_frame();
  detail::require_counterpart(TavixViewAsAVFrame(&frame, picture.get()), "av_frame_view",
                              TavixPixelFormatName(frame.video.format));
  return picture;
}

/// A picture as a frame that keeps a reference to it: lives on when the decoder reuses the AVFrame.
class PictureFrame {
 public:
  /// Throws Error where the picture has no counterpart.
  explicit PictureFrame(const AVFrame &picture) : picture_(detail::make_av_frame()) {
    frame_view(picture);  // refuses before a reference is taken
    if (av_frame_ref(picture_.get(), &picture) < 0) throw std::bad_alloc();
    view_ = frame_view(*picture_);
  }

  const TavixFrameV2 &operator*() const noexcept { return view_; }
  const TavixFrameV2 *operator->() const noexcept { return &view_; }
  const TavixFrameV2 *get() const noexcept { return &view_; }

 private:
  AVFramePtr picture_;
  TavixFrameV2 view_;
};

}  // namespace tavix

#endif

#endif
