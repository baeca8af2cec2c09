// SPDX-License-Identifier: Apache-2.0
// Unary arithmetic: every operation on 8-bit and float frames, with parameters of their own for
// each channel. 8-bit frames beside OpenCV's lookup table, which is made once and not timed; float
// frames beside SLEEF's AVX2 routines.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "common/frame_access.h"
#include "support/harness.h"
#include "support/sleef_avx2.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {

namespace {

struct Operation {
  const char *name;
  TavixUnaryArithmeticOp code;
  double scale[4], offset[4];
  SleefRow *sleef;
  void (*opencv)(cv::Mat &values);
};

// Scales that keep the functions of 0..255 within 0..255.
const Operation kOperations[] = {
    {"mul_add", TAVIX_UNARY_OP_MUL_ADD, {1.2, 0.9, 1.1, 1}, {-10, 5, 3, 0}, nullptr, nullptr},
    {"sqrt",
     TAVIX_UNARY_OP_SQRT,
     {16, 25, 9, 1},
     {1, -3, 7, 0},
     nullptr,
     [](cv::Mat &values) { cv::sqrt(values, values); }},
    {"exp",
     TAVIX_UNARY_OP_EXP,
     {0.021, 0.02, 0.019, 0.01},
     {-1, 5, 3, 0},
     sleef_exp_row_avx2,
     [](cv::Mat &values) { cv::exp(values, values); }},
    {"log",
     TAVIX_UNARY_OP_LOG,
     {1, 2, 0.5, 1},
     {100, 50, 10, 0},
     sleef_log_row_avx2,
     [](cv::Mat &values) { cv::log(values, values); }},
};

cv::Scalar scalar(const double (&values)[4]) {
  return {values[0], values[1], values[2], values[3]};
}

// Ours as a table: the row of all bytes, through the operation itself.
cv::Mat lookup_table(const Operation &operation, int32_t format) {
  Frame bytes(format, {256, 1});
  cv::Mat table = bytes.mat();
  for (int x = 0; x < 256; ++x)
    std::fill_n(table.ptr() + x * table.channels(), table.channels(), uint8_t(x));
  TavixFrameUnaryArithmeticByCPU(bytes, operation.code, operation.scale, operation.offset, bytes);
  return table.clone();
}

Comparison<Frames> compare_unary(const std::string &suffix, const Operation &operation,
                                 int32_t format, FloatRange range) {
  return compare(std::string("unary_") + operation.name + suffix,
                 [=](const Size &size) {
                   return Frames({noise(format, size, 1, range)}, Frame(format, size));
                 })
      .ours([&operation](Frames &f) {
        TavixFrameUnaryArithmeticByCPU(f.src[0], operation.code, operation.scale, operation.offset,
                                       f.dst);
      });
}

void compare_bytes(const Operation &operation) {
  compare_unary("_u8", operation, TAVIX_PIX_FMT_BGR24, {})
      .peer("opencv_lut", kExact,
            [table = lookup_table(operation, TAVIX_PIX_FMT_BGR24)](Frames &f) {
              cv::Mat dst = f.dst.mat();
              cv::LUT(f.src[0].mat(), table, dst);
            });
}

void compare_floats(const std::string &suffix, const Operation &operation, FloatRange range) {
  auto comparison = compare_unary("_f32" + suffix, operation, TAVIX_PIX_FMT_BGRF32, range);
  comparison.peer("opencv", 1e-5, [&operation](Frames &f) {
    cv::Mat dst = f.dst.mat();
    cv::multiply(f.src[0].mat(), scalar(operation.scale), dst);
    if (operation.opencv != nullptr) operation.opencv(dst);
    cv::add(dst, scalar(operation.offset), dst);
  });
  if (operation.sleef == nullptr) return;
  comparison.peer("sleef", 1e-5, [&operation](Frames &f) {
    const int64_t n = module::row_elements(f.dst->video);
    for (int32_t y = 0; y < f.dst->video.height; ++y)
      operation.sleef(module::row(*f.src[0], y), module::row(*f.dst, y), n, operation.scale,
                      operation.offset, f.dst->video.channels);
  });
}

}  // namespace

void register_benchmarks() {
  for (const Operation &operation : kOperations) {
    compare_bytes(operation);
    compare_floats("", operation, {0.5f, 255.0f});
    if (operation.sleef != nullptr) compare_floats("_unit", operation, {0.01f, 1.0f});
  }
}

}  // namespace tavix::benchmarks
