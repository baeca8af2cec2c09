// SPDX-License-Identifier: Apache-2.0
// One line for each entry: what kind of conversion it is, and its driver. Only the copy, two entries
// of packed formats and grey beside 4:2:0 have checks of their own; their texts differ in wording on
// purpose.
#include "cpu/tavix_cvt_color/entries.h"

#include <utility>

#include "common/copy_bytes.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "cpu/tavix_cvt_color/entry_guard.h"
#include "cpu/tavix_cvt_color/rgb_drivers.h"
#include "cpu/x86/cvt_color/cvt_color_yuv_avx.h"
#include "tavix/core/services.h"

namespace tavix::module {

namespace {

bool is_r_first(const TavixFrameV2 &frame) {
  return traits(frame.video.format).r_first;
}

// Without pixels a record may say any number of channels, which no driver has kernels for.
int32_t step_of(const TavixVideoInfo &video, bool has_pixels) {
  return has_pixels ? pixel_step(video) : traits(video.format).channels;
}

// Each kind of conversion says what it touches and makes a driver's job of two frames.

struct Packed {
  static constexpr bool kWarns = false;

  static Reach reach(const TavixFrameV2 &src, const TavixFrameV2 &) {
    return {src.video.width > 0 ? src.video.height : 0, 0};
  }
  static PackedJob job(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    const bool r_first = is_r_first(src), any = src.video.width > 0 && src.video.height > 0;
    return {src.data[0],
            src.linesize[0],
            step_of(src.video, any),
            dst.data[0],
            dst.linesize[0],
            step_of(dst.video, any),
            src.video.width,
            src.video.height,
            r_first,
            r_first != is_r_first(dst),
            gray_weights(src.video.color_space)};
  }
};

// The step of the destination is its channel count, whatever the format has.
struct PackedToChannels : Packed {
  static Reach reach(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    return {Packed::reach(src, dst).rows, 0, true};
  }
};

// Conversions between packed and 4:2:0 pictures work on whole blocks.
struct Blocks {
  static constexpr bool kWarns = false;

  static Reach reach(const TavixFrameV2 &src, const TavixFrameV2 &) {
    const bool any = has_blocks(src.video.width, src.video.height);
    const int32_t pairs = any ? src.video.height / 2 : 0;
    return {2 * pairs, pairs};
  }
};

// From a packed frame; the matrix is the destination's.
template <class Job>
struct Encode : Blocks {
  static Job job(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    const auto yuv = yuv_planes<uint8_t>(dst);
    return {{src.data[0], src.linesize[0], src.video.channels},
            yuv,
            src.video.width,
            src.video.height,
            {rgb_to_yuv_matrix(dst.video), is_r_first(src), yuv.v_first}};
  }
};
using EncodeFloats = Encode<RgbF32ToYuvJob>;

// Of bytes, an odd last row is converted too.
struct EncodeBytes : Encode<RgbToYuvJob> {
  static constexpr bool kWarns = true;  // of odd sizes, even where nothing is converted

  static Reach reach(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    const int32_t height = src.video.height;
    const bool has_last_row = src.video.width > 0 && height > 0 && height % 2 == 1;
    return has_last_row ? Reach{height, height / 2 + 1} : Blocks::reach(src, dst);
  }
};

// To a packed frame; the matrix is the source's.
template <class Job>
struct Decode : Blocks {
  static Job job(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    const auto yuv = yuv_planes<const uint8_t>(src);
    return {{dst.data[0], dst.linesize[0], pixel_step(dst.video)},
            yuv,
            src.video.width,
            src.video.height,
            {yuv_to_rgb_matrix(src.video), is_r_first(dst), yuv.v_first}};
  }
};
using DecodeToBytes = Decode<YuvToRgbJob>;
using DecodeToFloats = Decode<YuvToRgbF32Job>;

struct Repack {
  static constexpr bool kWarns = false;

  static Reach reach(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    const int32_t luma = src.video.width > 0 ? 2 * row_pairs(src.video.height) : 0;
    return {luma, Blocks::reach(src, dst).chroma_rows};
  }
  // An interleaved picture that starts with V pairs up with the planes of the other in that order.
  static YuvRepackJob job(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    YuvRepackJob job = {yuv_planes<const uint8_t>(src), yuv_planes<uint8_t>(dst), src.video.width,
                        src.video.height};
    if (job.src.v_first) std::swap(job.dst.chroma[0], job.dst.chroma[1]);
    if (job.dst.v_first) std::swap(job.src.chroma[0], job.src.chroma[1]);
    return job;
  }
};

// Chroma is filled to the ends of its strides, whatever the width.
struct GrayToYuv {
  static Reach reach(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    const int32_t pairs = src.video.width > 0 ? row_pairs(src.video.height) : 0;
    return {2 * pairs, dst.linesize[1] != 0 ? pairs : 0};
  }
  static GrayToYuvJob job(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    return {src.data[0], src.linesize[0], yuv_planes<uint8_t>(dst), src.video.width,
            src.video.height};
  }
};

template <class Kind, class Driver>
int32_t convert(const char *entry, const TavixFrameV2 *src, const TavixFrameV2 *dst,
                Driver &driver) {
  const int32_t status = refuse_unusable(entry, src, dst, Kind::reach);
  if (status == TAVIX_OK && (Kind::kWarns || Kind::reach(*src, *dst).rows > 0))
    driver(Kind::job(*src, *dst));
  return status;
}

// The checks of the two entries of packed formats that have some.
int32_t refuse_bad_pixels(const char *entry, const TavixFrameV2 *src, const TavixFrameV2 *dst) {
  TAVIX_REFUSE_AS_IF(kCvtColorUnit, entry, any_null(src, dst), TAVIX_ERROR_INVALID_PARAM,
                     "src_frame or dst_frame is NULL");
  TAVIX_REFUSE_AS_IF(kCvtColorUnit, entry, any_plane_null(src, dst), TAVIX_ERROR_INVALID_PARAM,
                     "frame data is NULL");
  TAVIX_REFUSE_AS_IF(kCvtColorUnit, entry, src->video.width <= 0 || src->video.height <= 0,
                     TAVIX_ERROR_INVALID_PARAM, "invalid frame dimensions: %dx%d", src->video.width,
                     src->video.height);
  return TAVIX_OK;
}

int32_t convert_pixels(const char *entry, const TavixFrameV2 *src, const TavixFrameV2 *dst,
                       void (&driver)(const PackedJob &)) {
  const int32_t status = refuse_bad_pixels(entry, src, dst);
  return status == TAVIX_OK ? convert<Packed>(entry, src, dst, driver) : status;
}

// A span of rows [0, rows) of a plane; the line names the height of the frame.
int32_t refuse_impossible_span(const char *entry, const TavixFrameV2 &frame, int32_t plane,
                               int32_t rows, int32_t height) {
  TAVIX_REFUSE_AS_IF(kCvtColorUnit, entry, impossible_span(span_of(frame.linesize[plane], rows)),
                     TAVIX_ERROR_INVALID_PARAM,
                     "linesize[%d](%d) of a frame of %d rows is no span of bytes", plane,
                     frame.linesize[plane], height);
  return TAVIX_OK;
}

bool fills_chroma(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
  return span_of(dst.linesize[1], row_pairs(src.video.height)) > 0;
}

// Upside-down chroma has no span that could be filled.
int32_t refuse_unfillable(const char *entry, const TavixFrameV2 *src, const TavixFrameV2 *dst) {
  const int32_t status = refuse_unusable(entry, src, dst, GrayToYuv::reach);
  if (status != TAVIX_OK) return status;
  const int32_t height = src->video.height;
  return refuse_impossible_span(entry, *dst, 1, whole_pairs(height), height);
}

}  // namespace

int32_t ColorCopyCommon(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_IF(kCvtColorUnit, any_null(src_frame, dst_frame), TAVIX_ERROR_INVALID_PARAM,
                  "src_frame or des_frame is NULL");
  TAVIX_REFUSE_IF(kCvtColorUnit, any_plane_null(src_frame, dst_frame), TAVIX_ERROR_INVALID_PARAM,
                  "frame data is NULL");
  return TavixFrameCopyV2(dst_frame, src_frame, 0, 0);
}

int32_t TavixBGR2RGB(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  return convert_pixels(__func__, src_frame, dst_frame, BGR2RGB);
}
int32_t TavixBGR2Gray(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  return convert_pixels(__func__, src_frame, dst_frame, BGR2Gray);
}

#define TAVIX_ENTRY(kind, name, driver)                                  \
  int32_t name(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) { \
    return convert<kind>(#name, src_frame, dst_frame, driver);           \
  }

// clang-format off
TAVIX_ENTRY(Packed,           TavixBGR2BGRA,     BGR2BGRA)
TAVIX_ENTRY(Packed,           TavixBGRA2BGR,     BGRA2BGR)
TAVIX_ENTRY(Packed,           TavixBGRA2Gray,    BGR2Gray)
TAVIX_ENTRY(Packed,           TavixBGRA2RGBA,    BGRA2RGBA)
TAVIX_ENTRY(Packed,           TavixGray2BGR,     Gray2BGR)
TAVIX_ENTRY(Packed,           TavixGray2BGRA,    Gray2BGRA)
TAVIX_ENTRY(Packed,           TavixRGB2BGRF32,   RGB2BGRF32)
TAVIX_ENTRY(PackedToChannels, TavixGray2BGRF32,  Gray2BGRF32)
TAVIX_ENTRY(Packed,           TavixRGBF322BGR,   RGBF322BGR)
TAVIX_ENTRY(Packed,           TavixRGBF322Gray,  RGBF322Gray)
TAVIX_ENTRY(Packed,           TavixRGBF32Family, RGBF32Family)
TAVIX_ENTRY(EncodeBytes,      TavixBGR2NV12,     BGR2NV12Avx)
TAVIX_ENTRY(EncodeBytes,      TavixBGR2YV12,     BGR2YV12Avx)
TAVIX_ENTRY(EncodeBytes,      TavixBGRA2NV12,    BGRA2NV12Avx)
TAVIX_ENTRY(EncodeBytes,      TavixBGRA2YV12,    BGRA2YV12Avx)
TAVIX_ENTRY(DecodeToBytes,    TavixNV122BGR,     NV122BGR)
TAVIX_ENTRY(DecodeToBytes,    TavixNV122BGRA,    NV122BGR)
TAVIX_ENTRY(DecodeToBytes,    TavixYV122BGR,     YV122BGR)
TAVIX_ENTRY(DecodeToBytes,    TavixYV122BGRA,    YV122BGRA)
TAVIX_ENTRY(EncodeFloats,     TavixRGBF322NV12,  RGBF322NVAvx)
TAVIX_ENTRY(EncodeFloats,     TavixRGBF322YV12,  RGBF322YUVAvx)
TAVIX_ENTRY(DecodeToFloats,   TavixNV2BGRF32,    NV2BGRF32Avx)
TAVIX_ENTRY(DecodeToFloats,   TavixYUV2BGRF32,   YUV2BGRF32Avx)
TAVIX_ENTRY(Repack,           TavixNV122NV21,    NV122NV21)
TAVIX_ENTRY(Repack,           TavixNV122YV12,    NV122YV12)
TAVIX_ENTRY(Repack,           TavixYV122NV12,    YVU122NV)
TAVIX_ENTRY(Repack,           TavixYV122I420,    YVU122YVU12)
// clang-format on
#undef TAVIX_ENTRY

int32_t TavixGray2NV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  if (const int32_t status = refuse_unfillable(__func__, src_frame, dst_frame); status != TAVIX_OK)
    return status;
  TAVIX_REFUSE_IF(kCvtColorUnit,
                  fills_chroma(*src_frame, *dst_frame) && any_null(dst_frame->data[1]),
                  TAVIX_ERROR_INVALID_PARAM, "dst_frame->data[1] must not be nullptr");
  Gray2NV12(GrayToYuv::job(*src_frame, *dst_frame));
  return TAVIX_OK;
}

int32_t TavixGray2YV12(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  if (const int32_t status = refuse_unfillable(__func__, src_frame, dst_frame); status != TAVIX_OK)
    return status;
  TAVIX_REFUSE_IF(
      kCvtColorUnit,
      fills_chroma(*src_frame, *dst_frame) && any_null(dst_frame->data[1], dst_frame->data[2]),
      TAVIX_ERROR_INVALID_PARAM,
      "dst_frame->data[1](%p) and dst_frame->data[2](%p) must not be nullptr", dst_frame->data[1],
      dst_frame->data[2]);
  Gray2YV12(GrayToYuv::job(*src_frame, *dst_frame));
  return TAVIX_OK;
}

// Equal strides make the whole plane one span, padding included, whatever the width.
int32_t TavixYUV2Gray(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  if (const int32_t status = refuse_unusable(__func__, src_frame, dst_frame, Packed::reach);
      status != TAVIX_OK)
    return status;
  const int32_t width = src_frame->video.width, height = src_frame->video.height;
  if (src_frame->linesize[0] == dst_frame->linesize[0]) {
    if (const int32_t status = refuse_impossible_span(__func__, *src_frame, 0, height, height);
        status != TAVIX_OK)
      return status;
    const int64_t bytes = span_of(src_frame->linesize[0], height);
    TAVIX_REFUSE_IF(kCvtColorUnit, bytes > 0 && any_plane_null(src_frame, dst_frame),
                    TAVIX_ERROR_INVALID_PARAM,
                    "src_frame->data[0](%p) and dst_frame->data[0](%p) must not be nullptr",
                    src_frame->data[0], dst_frame->data[0]);
    copy_bytes(src_frame->data[0], dst_frame->data[0], bytes);
  } else {
    for (int32_t y = 0; y < height && width > 0; ++y)
      copy_bytes(row(*src_frame, y), row(*dst_frame, y), width);
  }
  return TAVIX_OK;
}

}  // namespace tavix::module
