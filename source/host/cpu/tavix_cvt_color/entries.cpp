// SPDX-License-Identifier: Apache-2.0
// The guard of conversions, their kinds, and the entries that the table makes of them.
#include "cpu/tavix_cvt_color/entries.h"

#include <algorithm>
#include <utility>

#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "cpu/tavix_cvt_color/rgb_drivers.h"
#include "cpu/x86/cvt_color/cvt_color_yuv_avx.h"
#include "tavix/core/services.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kCvtColorUnit;

// What a conversion touches of the two frames, in rows from the first one on.
struct Reach {
  int32_t rows;               // of plane 0; none: there is nothing to guard
  int32_t chroma_rows;        // of the planes behind it
  bool dst_channels = false;  // the destination's channel count is read, also if it is 0
};

// The distance of two pixels in elements: 1 for grey, for colour the frame's channels. A
// destination that says 0 has as many as its format.
int32_t pixel_step(const TavixVideoInfo &video) {
  const int32_t channels = traits(video.format).channels;
  if (channels <= 1) return 1;
  return video.channels == 0 ? channels : video.channels;
}

// Colour pixels must hold the format's channels, and at most an alpha besides.
bool impossible_step(const TavixVideoInfo &video, int32_t step) {
  const int32_t channels = traits(video.format).channels;
  return channels > 1 && (step < channels || step > kMaxChannels);
}

// The index of an element within a row is a 32-bit one.
bool row_too_long(int32_t width, int32_t step) {
  return int64_t(width) * step > INT32_MAX;
}

int32_t planes_of(const TavixFrameV2 &frame, const Reach &reach) {
  return reach.chroma_rows > 0 ? traits(frame.video.format).planes : 1;
}

bool lacks_planes(const TavixFrameV2 &frame, const Reach &reach) {
  for (int32_t p = 0; p < planes_of(frame, reach); ++p)
    if (frame.data[p] == nullptr) return true;
  return false;
}

// The offset of a row is a 32-bit product of its number and the stride.
bool out_of_reach(int32_t linesize, int32_t rows) {
  const int64_t last = int64_t(linesize) * (int64_t(rows) - 1);
  return last < INT32_MIN || last > INT32_MAX;
}

int32_t refuse_long_planes(const LogOrigin &by, const TavixFrameV2 &frame, const Reach &reach,
                           int32_t height) {
  // Both chroma planes share a stride.
  for (int32_t p = 0; p < std::min(planes_of(frame, reach), 2); ++p)
    TAVIX_INVALID_AS_IF(
        by, out_of_reach(frame.linesize[p], p == 0 ? reach.rows : reach.chroma_rows),
        "linesize[%d](%d) of a frame of %d rows is no span of bytes", p, frame.linesize[p], height);
  return TAVIX_OK;
}

// The guard of every conversion: refuses frames that would have it touch memory they do not have.
// What a conversion does not touch is not looked at.
int32_t refuse_unusable(const LogOrigin &by, const TavixFrameV2 &src, const TavixFrameV2 &dst,
                        const Reach &reach) {
  if (reach.rows <= 0) return TAVIX_OK;

  const TavixVideoInfo &from = src.video, &to = dst.video;
  const int32_t dst_step = reach.dst_channels ? to.channels : pixel_step(to);
  TAVIX_INVALID_AS_IF(by, impossible_step(from, from.channels) || impossible_step(to, dst_step),
                      "src channels(%d) and dst channels(%d) do not fit formats %d and %d",
                      from.channels, to.channels, from.format, to.format);
  TAVIX_INVALID_AS_IF(
      by, row_too_long(from.width, pixel_step(from)) || row_too_long(from.width, dst_step),
      "rows of %d pixels are too long", from.width);
  TAVIX_INVALID_AS_IF(by, lacks_planes(src, reach) || lacks_planes(dst, reach),
                      "a plane of src_frame(%p) or dst_frame(%p) is NULL", &src, &dst);
  TAVIX_RETURN_IF_REFUSED(refuse_long_planes(by, src, reach, from.height));
  return refuse_long_planes(by, dst, reach, from.height);
}

bool is_r_first(const TavixFrameV2 &frame) {
  return traits(frame.video.format).r_first;
}

// Without pixels a record may say any number of channels, also one that no driver has kernels for.
int32_t step_of(const TavixVideoInfo &video) {
  return std::clamp<int32_t>(pixel_step(video), traits(video.format).channels, kMaxChannels);
}

// Each kind of conversion says what it touches and makes a driver's job of two frames, which may
// have no pixels. A few have checks of their own, before the guard of all (check_records) or behind
// it (check_spans); their texts differ in wording on purpose.

struct Packed {
  static Reach reach(const TavixFrameV2 &src, const TavixFrameV2 &) {
    return {src.video.width > 0 ? src.video.height : 0, 0};
  }
  static PackedJob job(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    const bool r_first = is_r_first(src);
    return {src.data[0],
            src.linesize[0],
            step_of(src.video),
            dst.data[0],
            dst.linesize[0],
            step_of(dst.video),
            src.video.width,
            src.video.height,
            r_first,
            r_first != is_r_first(dst),
            gray_weights(src.video.color_space)};
  }
};

struct CheckedPacked : Packed {
  static int32_t check_records(const LogOrigin &by, const TavixFrameV2 *src,
                               const TavixFrameV2 *dst) {
    TAVIX_INVALID_AS_IF(by, any_null(src, dst), "src_frame or dst_frame is NULL");
    TAVIX_INVALID_AS_IF(by, any_plane_null(src, dst), "frame data is NULL");
    TAVIX_INVALID_AS_IF(by, src->video.width <= 0 || src->video.height <= 0,
                        "invalid frame dimensions: %dx%d", src->video.width, src->video.height);
    return TAVIX_OK;
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
  static Reach reach(const TavixFrameV2 &src, const TavixFrameV2 &) {
    const int32_t pairs = has_blocks(src.video.width, src.video.height) ? src.video.height / 2 : 0;
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

// Bytes of so many rows that are copied or filled as one span, padding included.
constexpr int64_t span_of(int32_t linesize, int32_t rows) {
  return rows > 0 ? int64_t(linesize) * rows : 0;
}

// A span of rows [0, rows) must be a size: neither upside-down nor more than 32 bits hold. The line
// names the height of the frame.
int32_t check_span(const LogOrigin &by, const TavixFrameV2 &frame, int32_t plane, int32_t rows,
                   int32_t height) {
  const int64_t bytes = span_of(frame.linesize[plane], rows);
  TAVIX_INVALID_AS_IF(by, bytes < 0 || bytes > INT32_MAX,
                      "linesize[%d](%d) of a frame of %d rows is no span of bytes", plane,
                      frame.linesize[plane], height);
  return TAVIX_OK;
}

// Chroma is filled to the ends of its strides, whatever the width. Upside down it has no span that
// could be filled.
struct GrayToYuv : Repack {
  static Reach reach(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
    const int32_t pairs = src.video.width > 0 ? row_pairs(src.video.height) : 0;
    return {2 * pairs, dst.linesize[1] != 0 ? pairs : 0};
  }
  static int32_t check_spans(const LogOrigin &by, const TavixFrameV2 &src,
                             const TavixFrameV2 &dst) {
    const int32_t height = src.video.height;
    TAVIX_RETURN_IF_REFUSED(check_span(by, dst, 1, whole_pairs(height), height));
    const bool fills_chroma = span_of(dst.linesize[1], row_pairs(height)) > 0;
    const bool planar = traits(dst.video.format).layout == PixelLayout::kPlanar;
    TAVIX_INVALID_AS_IF(by, fills_chroma && !planar && any_null(dst.data[1]),
                        "dst_frame->data[1] must not be nullptr");
    TAVIX_INVALID_AS_IF(by, fills_chroma && planar && any_null(dst.data[1], dst.data[2]),
                        "dst_frame->data[1](%p) and dst_frame->data[2](%p) must not be nullptr",
                        dst.data[1], dst.data[2]);
    return TAVIX_OK;
  }
};

// Equal strides make the whole plane one span, padding included, whatever the width.
struct LumaToGray : Packed {
  static int32_t check_spans(const LogOrigin &by, const TavixFrameV2 &src,
                             const TavixFrameV2 &dst) {
    if (src.linesize[0] != dst.linesize[0]) return TAVIX_OK;
    const int32_t height = src.video.height;
    TAVIX_RETURN_IF_REFUSED(check_span(by, src, 0, height, height));
    TAVIX_INVALID_AS_IF(by, span_of(src.linesize[0], height) > 0 && any_plane_null(&src, &dst),
                        "src_frame->data[0](%p) and dst_frame->data[0](%p) must not be nullptr",
                        src.data[0], dst.data[0]);
    return TAVIX_OK;
  }
};

void copy_luma(const PackedJob &job) {
  if (job.src_linesize == job.dst_linesize)
    return copy_bytes(job.src, job.dst, span_of(job.src_linesize, job.height));
  for (int32_t y = 0; y < job.height && job.width > 0; ++y)
    copy_bytes(row(job.src, job.src_linesize, y), row(job.dst, job.dst_linesize, y), job.width);
}

template <class Kind, class Driver>
int32_t convert(const LogOrigin &by, const TavixFrameV2 *src, const TavixFrameV2 *dst,
                Driver &driver) {
  if constexpr (requires { Kind::check_records; })
    TAVIX_RETURN_IF_REFUSED(Kind::check_records(by, src, dst));
  TAVIX_INVALID_AS_IF(by, any_null(src, dst), "src_frame(%p) and dst_frame(%p) must not be nullptr",
                      src, dst);
  TAVIX_RETURN_IF_REFUSED(refuse_unusable(by, *src, *dst, Kind::reach(*src, *dst)));
  if constexpr (requires { Kind::check_spans; })
    TAVIX_RETURN_IF_REFUSED(Kind::check_spans(by, *src, *dst));
  driver(Kind::job(*src, *dst));
  return TAVIX_OK;
}

}  // namespace

int32_t ColorCopyCommon(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {
  TAVIX_INVALID_IF(kUnit, any_null(src_frame, dst_frame), "src_frame or des_frame is NULL");
  TAVIX_INVALID_IF(kUnit, any_plane_null(src_frame, dst_frame), "frame data is NULL");
  return TavixFrameCopyV2(dst_frame, src_frame, 0, 0);
}

#define TAVIX_CONVERSION(kind, entry, driver, from, to)                    \
  int32_t entry(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame) {  \
    return convert<kind>(TAVIX_HERE(kUnit), src_frame, dst_frame, driver); \
  }
#include "cpu/tavix_cvt_color/conversions.inc"

}  // namespace tavix::module
