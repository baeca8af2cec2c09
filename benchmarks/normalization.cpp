// SPDX-License-Identifier: Apache-2.0
// The normalising conversion between 8-bit and float frames, with the same parameters for every
// channel and with ImageNet's. The new frame comes from a pool of one, as from a toolkit that keeps
// its frames, so that the conversion is measured; "fresh" takes it from the core, for the peer too.
#include <dlfcn.h>

#include <algorithm>
#include <opencv2/core.hpp>
#include <vector>

#include "common/pixel_format.h"
#include "support/harness.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {

namespace {

TavixFrameV2 *pooled = nullptr;

// The core's own definition of a service.
template <class Service>
Service *real(Service *, const char *name) {
  return reinterpret_cast<Service *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

}  // namespace tavix::benchmarks

TavixFrameV2 *TavixVideoFrameAllocV2(int32_t format, uint32_t memory, int32_t width, int32_t height,
                                     uint64_t device, int32_t alignment) {
  using namespace tavix::benchmarks;
  if (pooled != nullptr) return pooled;
  static const auto allocate = real(&TavixVideoFrameAllocV2, "TavixVideoFrameAllocV2");
  return allocate(format, memory, width, height, device, alignment);
}

namespace tavix::benchmarks {

namespace {

const Sizes kTensorSizes = {{256, 256}, {640, 640}, {1920, 1080}};

struct Parameters {
  const char *name;
  float values[8];  // on the scale of bytes: means, then scales

  bool uniform() const { return values[0] == values[1]; }
  cv::Scalar mean() const { return {values[0], values[1], values[2], values[3]}; }
  cv::Scalar scale() const { return {values[4], values[5], values[6], values[7]}; }
};

// From bytes to floats, and from floats to bytes.
constexpr Parameters kToUnit = {"unit", {0, 0, 0, 0, 1 / 255.f, 1 / 255.f, 1 / 255.f, 1 / 255.f}},
                     kFromUnit = {"unit", {0, 0, 0, 0, 255, 255, 255, 255}};
// B, G, R of the deviations 0.225, 0.224, 0.229 about 0.406, 0.456, 0.485.
constexpr Parameters kToImagenet = {"imagenet",
                                    {103.53f, 116.28f, 123.675f, 0, 1 / 57.375f, 1 / 57.12f,
                                     1 / 58.395f, 1}},
                     kFromImagenet = {"imagenet",
                                      {-103.53f / 57.375f, -116.28f / 57.12f, -123.675f / 58.395f,
                                       0, 57.375f, 57.12f, 58.395f, 1}};

// A source, and what stands for the new frame.
struct Conversion : Frames {
  Conversion(int32_t src_format, int32_t dst_format, const Size &size, FloatRange range)
      : Frames({noise(src_format, size, 1, range)}, Frame(dst_format, size)),
        scratch(size.height, size.width, CV_32FC3),
        planes(3),
        float_planes(3) {}

  cv::Mat scratch;
  std::vector<cv::Mat> planes, float_planes;
};

void convert_pooled(Conversion &c, const Parameters &p) {
  pooled = c.dst;
  TavixFrameV2 *dst = nullptr;
  TavixFrameDataTypeConvertNormalizationFuseByCPU(
      c.src[0], &dst,
      module::is_float(c.dst->video.format) ? TAVIX_DATA_TYPE_FLOAT32 : TAVIX_DATA_TYPE_UINT8,
      p.values);
  pooled = nullptr;
}

// Calls body with strips of rows that stay in the second cache.
template <class Body>
void in_strips(const cv::Mat &src, cv::Mat dst, const Body &body) {
  const int rows = std::max(1, int(65536 / std::max(src.step[0], dst.step[0])));
  for (int y = 0; y < src.rows; y += rows) {
    const cv::Range strip(y, std::min(y + rows, src.rows));
    body(src.rowRange(strip), dst.rowRange(strip));
  }
}

void opencv_subtract_multiply(Conversion &c, const Parameters &p) {
  in_strips(c.src[0].mat(), c.dst.mat(), [&](const cv::Mat &src, cv::Mat dst) {
    cv::Mat floats = dst.depth() == CV_32F ? dst : c.scratch.rowRange(0, dst.rows);
    cv::subtract(src, p.mean(), floats, cv::noArray(), CV_32F);
    cv::multiply(floats, p.scale(), dst, 1.0, dst.depth());
  });
}

void opencv_split_merge(Conversion &c, const Parameters &p) {
  in_strips(c.src[0].mat(), c.dst.mat(), [&](const cv::Mat &src, cv::Mat dst) {
    cv::split(src, c.planes);
    for (int k = 0; k < 3; ++k)
      c.planes[size_t(k)].convertTo(c.float_planes[size_t(k)], dst.depth(), p.scale()[k],
                                    -p.mean()[k] * p.scale()[k]);
    cv::merge(c.float_planes, dst);
  });
}

void compare_conversion(const char *name, int32_t src_format, int32_t dst_format,
                        const Parameters &p, FloatRange range = {}) {
  // Bytes are rounded differently; products are taken in another order.
  const Tolerance tolerance = module::is_float(dst_format) ? 1e-4 : 1.0;
  auto comparison = compare(
      std::string("normalize_") + name + "_" + p.name,
      [=](const Size &size) { return Conversion(src_format, dst_format, size, range); },
      kTensorSizes);
  comparison.ours([&p](Conversion &c) { convert_pooled(c, p); });
  if (p.uniform()) {
    comparison.peer("opencv", tolerance, [&p](Conversion &c) {
      cv::Mat dst = c.dst.mat();
      c.src[0].mat().convertTo(dst, dst.depth(), p.scale()[0], -p.mean()[0] * p.scale()[0]);
    });
    return;
  }
  comparison.peer("opencv_subtract_multiply", tolerance,
                  [&p](Conversion &c) { opencv_subtract_multiply(c, p); });
  comparison.peer("opencv_split_merge", tolerance,
                  [&p](Conversion &c) { opencv_split_merge(c, p); });
}

// With the allocation of the new frame, which the core fills with zeros.
void compare_fresh() {
  auto comparison = compare(
      "normalize_u8_to_f32_unit_fresh",
      [](const Size &size) {
        return Conversion(TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRF32, size, {});
      },
      kTensorSizes);
  comparison.ours([](Conversion &c) {
    TavixFrameV2 *dst = nullptr;
    TavixFrameDataTypeConvertNormalizationFuseByCPU(c.src[0], &dst, TAVIX_DATA_TYPE_FLOAT32,
                                                    kToUnit.values);
    TavixFrameFreeV2(dst);
  });
  comparison.peer("opencv", kUnequalWork, [](Conversion &c) {  // no output to compare
    const TavixVideoInfo &video = c.dst->video;
    const Frame fresh(video.format, {video.width, video.height});
    cv::Mat dst = fresh.mat();
    c.src[0].mat().convertTo(dst, CV_32F, kToUnit.scale()[0]);
  });
}

}  // namespace

void register_benchmarks() {
  constexpr int32_t kBytes = TAVIX_PIX_FMT_BGR24, kFloats = TAVIX_PIX_FMT_BGRF32;
  compare_conversion("u8_to_f32", kBytes, kFloats, kToUnit);
  compare_conversion("u8_to_f32", kBytes, kFloats, kToImagenet);
  compare_conversion("f32_to_u8", kFloats, kBytes, kFromUnit, {-0.1f, 1.1f});
  compare_conversion("f32_to_u8", kFloats, kBytes, kFromImagenet, {-2.2f, 2.6f});
  compare_conversion("f32_to_f32", kFloats, kFloats, kToImagenet);
  compare_conversion("u8_to_u8", kBytes, kBytes, kToImagenet);
  compare_fresh();
}

}  // namespace tavix::benchmarks
