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

Comparison<SwscaleFrames> compare_conversion(const std::string &name, int32_t from, int32_t to) {
  return compare(name,
                 [from, to](const Size &size) {
                   return SwscaleFrames(noise(from, size, 1, {-0.1f, 1.1f}), Frame(to, size));
                 })
      .ours([](SwscaleFrames &f) { TavixFrameConvertColorByCPU(f.src[0], f.dst); });
}

// libyuv names four-channel formats from the high byte down: its ARGB is B,G,R,A in memory.
using LibyuvRoutine = int (*)(const uint8_t *, int, uint8_t *, int, int, int);

template <LibyuvRoutine routine>
void libyuv_call(SwscaleFrames &f) {
  const TavixFrameV2 &src = *f.src[0], &dst = *f.dst;
  routine(src.data[0], src.linesize[0], dst.data[0], dst.linesize[0], src.video.width,
          src.video.height);
}

// cv::cvtColor with one code.
template <int code>
void opencv_call(SwscaleFrames &f) {
  cv::Mat dst = f.dst.mat();
  cv::cvtColor(f.src[0].mat(), dst, code);
}

// Runs two OpenCV calls on strips of rows whose intermediate result stays in the second cache.
template <class Compose>
void in_strips(SwscaleFrames &f, const Compose &compose) {
  const cv::Mat src = f.src[0].mat();
  cv::Mat dst = f.dst.mat();
  const int rows = std::max(1, int(65536 / std::max(src.step, dst.step)));
  for (int y = 0; y < src.rows; y += rows) {
    const cv::Range strip(y, std::min(y + rows, src.rows));
    compose(src.rowRange(strip), dst.rowRange(strip));
  }
}

// Another element type, times scale; first reordered where a code is given.
template <int code>
void opencv_reorder_convert(SwscaleFrames &f, double scale) {
  cv::Mat reordered;
  in_strips(f, [&](const cv::Mat &src, cv::Mat dst) {
    cv::cvtColor(src, reordered, code);
    reordered.convertTo(dst, dst.type(), scale);
  });
}

void opencv_convert(SwscaleFrames &f, double scale) {
  cv::Mat dst = f.dst.mat();
  f.src[0].mat().convertTo(dst, dst.type(), scale);
}

constexpr double kToUnit = 1.0 / 255.0;

void among_bytes() {
  compare_conversion("rgb_to_bgr", TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGR24)
      .peer("opencv", kExact, opencv_call<cv::COLOR_RGB2BGR>)
      .peer("libyuv", kExact, libyuv_call<libyuv::RAWToRGB24>)
      .peer("swscale", kExact, swscale_call);
  compare_conversion("rgba_to_bgra", TAVIX_PIX_FMT_RGBA32, TAVIX_PIX_FMT_BGRA32)
      .peer("opencv", kExact, opencv_call<cv::COLOR_RGBA2BGRA>)
      .peer("libyuv", kExact, libyuv_call<libyuv::ABGRToARGB>)
      .peer("swscale", kExact, swscale_call);
  compare_conversion("bgr_to_bgra", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRA32)
      .peer("opencv", kExact, opencv_call<cv::COLOR_BGR2BGRA>)
      .peer("libyuv", kExact, libyuv_call<libyuv::RGB24ToARGB>)
      .peer("swscale", kExact, swscale_call);
  compare_conversion("rgb_to_bgra", TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGRA32)
      .peer("opencv", kExact, opencv_call<cv::COLOR_RGB2BGRA>)
      .peer("libyuv", kExact, libyuv_call<libyuv::RAWToARGB>)
      .peer("swscale", kExact, swscale_call);
  compare_conversion("bgra_to_bgr", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_BGR24)
      .peer("opencv", kExact, opencv_call<cv::COLOR_BGRA2BGR>)
      .peer("libyuv", kExact, libyuv_call<libyuv::ARGBToRGB24>)
      .peer("swscale", kExact, swscale_call);
  compare_conversion("bgra_to_rgb", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGB24)
      .peer("opencv", kExact, opencv_call<cv::COLOR_BGRA2RGB>)
      .peer("libyuv", kExact, libyuv_call<libyuv::ARGBToRAW>)
      .peer("swscale", kExact, swscale_call);
  compare_conversion("gray_to_bgr", TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_BGR24)
      .peer("opencv", kExact, opencv_call<cv::COLOR_GRAY2BGR>)
      .peer("swscale", kUnequalWork, swscale_call);
  compare_conversion("gray_to_bgra", TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_BGRA32)
      .peer("opencv", kExact, opencv_call<cv::COLOR_GRAY2BGRA>)
      .peer("libyuv", kExact, libyuv_call<libyuv::J400ToARGB>)
      .peer("swscale", kUnequalWork, swscale_call);
}

void to_grey() {
  compare_conversion("bgr_to_gray", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_GRAY8)
      .peer("opencv", 1.0, opencv_call<cv::COLOR_BGR2GRAY>)
      .peer("libyuv", 1.0, libyuv_call<libyuv::RGB24ToJ400>)
      .peer("swscale", kUnequalWork, swscale_call);
  compare_conversion("bgra_to_gray", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_GRAY8)
      .peer("opencv", 1.0, opencv_call<cv::COLOR_BGRA2GRAY>)
      .peer("libyuv", 1.0, libyuv_call<libyuv::ARGBToJ400>)
      .peer("swscale", kUnequalWork, swscale_call);
  compare_conversion("bgrf32_to_gray", TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_GRAY8)
      .peer("opencv", 1.0,
            [](SwscaleFrames &f) { opencv_reorder_convert<cv::COLOR_BGR2GRAY>(f, 255.0); });
  compare_conversion("rgbaf32_to_gray", TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_GRAY8)
      .peer("opencv", 1.0,
            [](SwscaleFrames &f) { opencv_reorder_convert<cv::COLOR_RGBA2GRAY>(f, 255.0); });
}

void bytes_and_floats() {
  const auto to_floats = [](SwscaleFrames &f) { opencv_convert(f, kToUnit); };
  const auto to_bytes = [](SwscaleFrames &f) { opencv_convert(f, 255.0); };
  compare_conversion("bgr_to_bgrf32", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRF32)
      .peer("opencv", 1e-6, to_floats);
  compare_conversion("bgra_to_bgraf32", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_BGRAF32)
      .peer("opencv", 1e-6, to_floats);
  compare_conversion("bgr_to_rgbf32", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_RGBF32)
      .peer("opencv", 1e-6,
            [](SwscaleFrames &f) { opencv_reorder_convert<cv::COLOR_BGR2RGB>(f, kToUnit); });
  compare_conversion("bgra_to_rgbf32", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGBF32)
      .peer("opencv", 1e-6,
            [](SwscaleFrames &f) { opencv_reorder_convert<cv::COLOR_BGRA2RGB>(f, kToUnit); });
  compare_conversion("bgr_to_rgbaf32", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_RGBAF32)
      .peer("opencv", 1e-6,
            [](SwscaleFrames &f) { opencv_reorder_convert<cv::COLOR_BGR2RGBA>(f, kToUnit); });
  compare_conversion("gray_to_bgrf32", TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_BGRF32)
      .peer("opencv", 1e-6,
            [](SwscaleFrames &f) { opencv_reorder_convert<cv::COLOR_GRAY2BGR>(f, kToUnit); });

  compare_conversion("bgrf32_to_bgr", TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_BGR24)
      .peer("opencv", kExact, to_bytes);
  compare_conversion("bgraf32_to_bgra", TAVIX_PIX_FMT_BGRAF32, TAVIX_PIX_FMT_BGRA32)
      .peer("opencv", kExact, to_bytes);
  compare_conversion("rgbf32_to_bgr", TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGR24)
      .peer("opencv", kExact,
            [](SwscaleFrames &f) { opencv_reorder_convert<cv::COLOR_RGB2BGR>(f, 255.0); });
  compare_conversion("rgbaf32_to_bgr", TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_BGR24)
      .peer("opencv", kExact,
            [](SwscaleFrames &f) { opencv_reorder_convert<cv::COLOR_RGBA2BGR>(f, 255.0); });
}

void among_floats() {
  compare_conversion("rgbf32_to_bgrf32", TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGRF32)
      .peer("opencv", kExact, opencv_call<cv::COLOR_RGB2BGR>);
  compare_conversion("rgbaf32_to_bgraf32", TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_BGRAF32)
      .peer("opencv", kExact, opencv_call<cv::COLOR_RGBA2BGRA>);
  compare_conversion("rgbf32_to_bgraf32", TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGRAF32)
      .peer("opencv", kExact, opencv_call<cv::COLOR_RGB2BGRA>);
  compare_conversion("bgraf32_to_bgrf32", TAVIX_PIX_FMT_BGRAF32, TAVIX_PIX_FMT_BGRF32)
      .peer("opencv", kExact, opencv_call<cv::COLOR_BGRA2BGR>);
}

}  // namespace

void register_benchmarks() {
  among_bytes();
  to_grey();
  bytes_and_floats();
  among_floats();
}

}  // namespace tavix::benchmarks
