// SPDX-License-Identifier: Apache-2.0
// Conversions among the packed formats: 8-bit colour, grey and float.
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>

#include <opencv2/imgproc.hpp>

#include "support/harness.h"
#include "support/swscale.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {

namespace {

using Call = void (*)(SwscaleFrames &f);

void ours(SwscaleFrames &f) {
  TavixFrameConvertColorByCPU(f.src[0], f.dst);
}

// libyuv names four-channel formats from the high byte down: its ARGB is B,G,R,A in memory.
using LibyuvRoutine = int (*)(const uint8_t *, int, uint8_t *, int, int, int);

template <LibyuvRoutine routine>
void yuv(SwscaleFrames &f) {
  const TavixFrameV2 &src = *f.src[0], &dst = *f.dst;
  routine(src.data[0], src.linesize[0], dst.data[0], dst.linesize[0], src.video.width,
          src.video.height);
}

template <int code>
void cvt(SwscaleFrames &f) {
  cv::Mat dst = f.dst.mat();
  cv::cvtColor(f.src[0].mat(), dst, code);
}

// Bytes to floats of 0 to 1, or back.
void convert_type(const cv::Mat &src, cv::Mat dst) {
  src.convertTo(dst, dst.type(), src.depth() == CV_8U ? 1.0 / 255.0 : 255.0);
}

void type(SwscaleFrames &f) {
  convert_type(f.src[0].mat(), f.dst.mat());
}

// Both, on strips of rows whose intermediate result stays in the second cache.
template <int code>
void cvt_type(SwscaleFrames &f) {
  const cv::Mat src = f.src[0].mat();
  cv::Mat dst = f.dst.mat(), reordered;
  const int rows = std::max(1, int(65536 / std::max(src.step, dst.step)));
  for (int y = 0; y < src.rows; y += rows) {
    const cv::Range strip(y, std::min(y + rows, src.rows));
    cv::cvtColor(src.rowRange(strip), reordered, code);
    convert_type(reordered, dst.rowRange(strip));
  }
}

struct Conversion {
  const char *name;
  int32_t from, to;
  Call opencv, libyuv, swscale;  // null where there is none
  Tolerance tolerance = kExact;  // of opencv and libyuv
};

// clang-format off
constexpr Tolerance kLastBits = 1e-6;  // a product instead of a quotient
constexpr Tolerance kGray = 1.0;       // weights of more bits
const Conversion kConversions[] = {
    {"rgb_to_bgr", TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGR24,
     cvt<cv::COLOR_RGB2BGR>, yuv<libyuv::RAWToRGB24>, swscale_call},
    {"rgba_to_bgra", TAVIX_PIX_FMT_RGBA32, TAVIX_PIX_FMT_BGRA32,
     cvt<cv::COLOR_RGBA2BGRA>, yuv<libyuv::ABGRToARGB>, swscale_call},
    {"bgr_to_bgra", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRA32,
     cvt<cv::COLOR_BGR2BGRA>, yuv<libyuv::RGB24ToARGB>, swscale_call},
    {"rgb_to_bgra", TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGRA32,
     cvt<cv::COLOR_RGB2BGRA>, yuv<libyuv::RAWToARGB>, swscale_call},
    {"bgra_to_bgr", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_BGR24,
     cvt<cv::COLOR_BGRA2BGR>, yuv<libyuv::ARGBToRGB24>, swscale_call},
    {"bgra_to_rgb", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGB24,
     cvt<cv::COLOR_BGRA2RGB>, yuv<libyuv::ARGBToRAW>, swscale_call},
    {"gray_to_bgr", TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_BGR24,
     cvt<cv::COLOR_GRAY2BGR>, nullptr, swscale_call},
    {"gray_to_bgra", TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_BGRA32,
     cvt<cv::COLOR_GRAY2BGRA>, yuv<libyuv::J400ToARGB>, swscale_call},

    {"bgr_to_gray", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_GRAY8,
     cvt<cv::COLOR_BGR2GRAY>, yuv<libyuv::RGB24ToJ400>, swscale_call, kGray},
    {"bgra_to_gray", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_GRAY8,
     cvt<cv::COLOR_BGRA2GRAY>, yuv<libyuv::ARGBToJ400>, swscale_call, kGray},
    {"bgrf32_to_gray", TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_GRAY8,
     cvt_type<cv::COLOR_BGR2GRAY>, nullptr, nullptr, kGray},
    {"rgbaf32_to_gray", TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_GRAY8,
     cvt_type<cv::COLOR_RGBA2GRAY>, nullptr, nullptr, kGray},

    {"bgr_to_bgrf32", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRF32,
     type, nullptr, nullptr, kLastBits},
    {"bgra_to_bgraf32", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_BGRAF32,
     type, nullptr, nullptr, kLastBits},
    {"bgr_to_rgbf32", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_RGBF32,
     cvt_type<cv::COLOR_BGR2RGB>, nullptr, nullptr, kLastBits},
    {"bgra_to_rgbf32", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGBF32,
     cvt_type<cv::COLOR_BGRA2RGB>, nullptr, nullptr, kLastBits},
    {"bgr_to_rgbaf32", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_RGBAF32,
     cvt_type<cv::COLOR_BGR2RGBA>, nullptr, nullptr, kLastBits},
    {"gray_to_bgrf32", TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_BGRF32,
     cvt_type<cv::COLOR_GRAY2BGR>, nullptr, nullptr, kLastBits},

    {"bgrf32_to_bgr", TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_BGR24,
     type, nullptr, nullptr},
    {"bgraf32_to_bgra", TAVIX_PIX_FMT_BGRAF32, TAVIX_PIX_FMT_BGRA32,
     type, nullptr, nullptr},
    {"rgbf32_to_bgr", TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGR24,
     cvt_type<cv::COLOR_RGB2BGR>, nullptr, nullptr},
    {"rgbaf32_to_bgr", TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_BGR24,
     cvt_type<cv::COLOR_RGBA2BGR>, nullptr, nullptr},

    {"rgbf32_to_bgrf32", TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGRF32,
     cvt<cv::COLOR_RGB2BGR>, nullptr, nullptr},
    {"rgbaf32_to_bgraf32", TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_BGRAF32,
     cvt<cv::COLOR_RGBA2BGRA>, nullptr, nullptr},
    {"rgbf32_to_bgraf32", TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGRAF32,
     cvt<cv::COLOR_RGB2BGRA>, nullptr, nullptr},
    {"bgraf32_to_bgrf32", TAVIX_PIX_FMT_BGRAF32, TAVIX_PIX_FMT_BGRF32,
     cvt<cv::COLOR_BGRA2BGR>, nullptr, nullptr},
};
// clang-format on

}  // namespace

void register_benchmarks() {
  for (const Conversion &c : kConversions) {
    auto comparison = compare(c.name, [&c](const Size &size) {
      return SwscaleFrames(noise(c.from, size, 1, {-0.1f, 1.1f}), Frame(c.to, size));
    });
    comparison.ours(ours);
    if (c.opencv) comparison.peer("opencv", c.tolerance, c.opencv);
    if (c.libyuv) comparison.peer("libyuv", c.tolerance, c.libyuv);
    // swscale takes grey for limited range.
    const bool gray = c.from == TAVIX_PIX_FMT_GRAY8 || c.to == TAVIX_PIX_FMT_GRAY8;
    if (c.swscale) comparison.peer("swscale", gray ? kUnequalWork : kExact, c.swscale);
  }
}

}  // namespace tavix::benchmarks
