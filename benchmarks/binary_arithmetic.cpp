// SPDX-License-Identifier: Apache-2.0
// Binary arithmetic: every operation on 8-bit and float frames, with parameters that change nothing
// and with parameters of their own for each channel; the portable implementation beside a naive
// loop.
#include <libyuv/planar_functions.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "common/frame_access.h"
#include "common/numbers.h"
#include "cpu/common_c/arithmetic/binary_ops.h"
#include "cpu/common_c/arithmetic/operation_rows.h"
#include "support/harness.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {

namespace {

struct Parameters {
  const char *name;
  double alpha[4], beta[4], gamma[4];

  bool neutral() const { return alpha[0] == 1.0; }
};

constexpr Parameters kNeutral = {"neutral", {1, 1, 1, 1}, {1, 1, 1, 1}, {}};
constexpr Parameters kWeighted = {
    "weighted", {0.7, 0.55, 0.4, 0.9}, {0.3, 0.45, 0.6, 0.1}, {3, 5, 7, 1}};

struct Operation {
  const char *name;
  TavixBinaryArithmeticOp code;
  void (*opencv)(const cv::Mat &a, const cv::Mat &b, cv::Mat dst);
};

const Operation kOperations[] = {
    {"add", TAVIX_BINARY_OP_ADD, [](auto &a, auto &b, cv::Mat dst) { cv::add(a, b, dst); }},
    {"sub", TAVIX_BINARY_OP_SUB, [](auto &a, auto &b, cv::Mat dst) { cv::subtract(a, b, dst); }},
    {"mul", TAVIX_BINARY_OP_MUL, [](auto &a, auto &b, cv::Mat dst) { cv::multiply(a, b, dst); }},
    {"div", TAVIX_BINARY_OP_DIV, [](auto &a, auto &b, cv::Mat dst) { cv::divide(a, b, dst); }},
    {"min", TAVIX_BINARY_OP_MIN, [](auto &a, auto &b, cv::Mat dst) { cv::min(a, b, dst); }},
    {"max", TAVIX_BINARY_OP_MAX, [](auto &a, auto &b, cv::Mat dst) { cv::max(a, b, dst); }},
    {"absdiff", TAVIX_BINARY_OP_ABSDIFF,
     [](auto &a, auto &b, cv::Mat dst) { cv::absdiff(a, b, dst); }},
    {"or", TAVIX_BINARY_OP_OR, [](auto &a, auto &b, cv::Mat dst) { cv::bitwise_or(a, b, dst); }},
    {"and", TAVIX_BINARY_OP_AND, [](auto &a, auto &b, cv::Mat dst) { cv::bitwise_and(a, b, dst); }},
    {"xor", TAVIX_BINARY_OP_XOR, [](auto &a, auto &b, cv::Mat dst) { cv::bitwise_xor(a, b, dst); }},
};

struct Layout {
  const char *name;
  int32_t format;
};
constexpr Layout kBytes = {"u8", TAVIX_PIX_FMT_BGR24}, kFloats = {"f32", TAVIX_PIX_FMT_BGRF32};

using BinaryFunction = decltype(TavixFrameBinaryArithmeticByCPU);

Comparison<Frames> compare_binary(const std::string &suffix, const Operation &operation,
                                  const Layout &layout, const Parameters &parameters,
                                  BinaryFunction *function, bool by_level) {
  const std::string name =
      std::string("binary_") + operation.name + "_" + layout.name + "_" + parameters.name + suffix;
  return compare(name,
                 [format = layout.format](const Size &size) {
                   return Frames({noise(format, size, 1), noise(format, size, 2, {1.0f, 255.0f})},
                                 Frame(format, size));
                 })
      .ours(
          [code = operation.code, &parameters, function](Frames &f) {
            function(f.src[0], f.src[1], code, parameters.alpha, parameters.beta, parameters.gamma,
                     f.dst);
          },
          by_level);
}

// Runs a composition of OpenCV calls on strips of rows that stay in the second cache.
template <class Compose>
void in_strips(Frames &f, const Compose &compose) {
  const cv::Mat a = f.src[0].mat(), b = f.src[1].mat();
  cv::Mat dst = f.dst.mat();
  const int rows = std::max(1, int(65536 / a.step));
  for (int y = 0; y < a.rows; y += rows) {
    const cv::Range strip(y, std::min(y + rows, a.rows));
    compose(a.rowRange(strip), b.rowRange(strip), dst.rowRange(strip));
  }
}

cv::Scalar scalar(const double (&values)[4]) {
  return {values[0], values[1], values[2], values[3]};
}

// The scales and the offset as OpenCV calls of their own.
void opencv_scaled(Frames &f, const Operation &operation, const Parameters &parameters) {
  cv::Mat scaled_a, scaled_b;
  in_strips(f, [&](const cv::Mat &a, const cv::Mat &b, cv::Mat dst) {
    cv::multiply(a, scalar(parameters.alpha), scaled_a);
    cv::multiply(b, scalar(parameters.beta), scaled_b);
    operation.opencv(scaled_a, scaled_b, dst);
    cv::add(dst, scalar(parameters.gamma), dst);
  });
}

// Weights of their own for each channel: addWeighted on split channels.
void opencv_split_weighted(Frames &f, const Parameters &parameters) {
  std::vector<cv::Mat> channels_a, channels_b;
  in_strips(f, [&](const cv::Mat &a, const cv::Mat &b, cv::Mat dst) {
    cv::split(a, channels_a);
    cv::split(b, channels_b);
    for (size_t c = 0; c < channels_a.size(); ++c)
      cv::addWeighted(channels_a[c], parameters.alpha[c], channels_b[c], parameters.beta[c],
                      parameters.gamma[c], channels_a[c]);
    cv::merge(channels_a, dst);
  });
}

// libyuv's routines for four channels, on rows of any bytes.
template <int (*routine)(const uint8_t *, int, const uint8_t *, int, uint8_t *, int, int, int)>
void libyuv_argb(Frames &f) {
  const int bytes = f.dst->linesize[0];
  routine(f.src[0]->data[0], bytes, f.src[1]->data[0], bytes, f.dst->data[0], bytes, bytes / 4,
          f.dst->video.height);
}

void add_peers(Comparison<Frames> &comparison, const Operation &operation, const Layout &layout,
               const Parameters &parameters) {
  if (parameters.neutral()) {
    comparison.peer("opencv", kExact, [&operation](Frames &f) {
      operation.opencv(f.src[0].mat(), f.src[1].mat(), f.dst.mat());
    });
  } else {
    // Products and quotients of scaled bytes that were rounded differently lie far apart.
    comparison.peer("opencv", kUnequalWork, [&operation, &parameters](Frames &f) {
      opencv_scaled(f, operation, parameters);
    });
  }

  const bool bytes = layout.format == kBytes.format;
  if (operation.code == TAVIX_BINARY_OP_ADD && !parameters.neutral()) {
    comparison.peer("opencv_split", bytes ? 2.0 : 1e-5,
                    [&parameters](Frames &f) { opencv_split_weighted(f, parameters); });
  }
  if (!bytes || !parameters.neutral()) return;
  if (operation.code == TAVIX_BINARY_OP_ADD)
    comparison.peer("libyuv", kExact, libyuv_argb<libyuv::ARGBAdd>);
  if (operation.code == TAVIX_BINARY_OP_SUB)
    comparison.peer("libyuv", kExact, libyuv_argb<libyuv::ARGBSubtract>);
  if (operation.code == TAVIX_BINARY_OP_MUL)  // divides the product by 255
    comparison.peer("libyuv", kUnequalWork, libyuv_argb<libyuv::ARGBMultiply>);
}

// The formula as it stands, element by element.
template <int op>
uint8_t naive_element(uint8_t a, uint8_t b, double alpha, double beta, double gamma) {
  const uint8_t x = module::round_to_u8(float(a * alpha)), y = module::round_to_u8(float(b * beta));
  if (op == TAVIX_BINARY_OP_DIV && y == 0) return 0;
  const uint8_t r = op == TAVIX_BINARY_OP_DIV ? module::round_to_u8(double(x) / double(y))
                                              : module::BinaryOp<op>::run(x, y);
  return module::saturate_u8(module::round_to_int32(gamma) + r);
}
template <int op>
float naive_element(float a, float b, double alpha, double beta, double gamma) {
  const float x = float(a * alpha), y = float(b * beta);
  if constexpr (op == TAVIX_BINARY_OP_DIV) {
    if (std::fabs(double(y)) < DBL_EPSILON) return float(DBL_EPSILON);
    return float(double(x) / double(y) + gamma);
  } else {
    return float(double(module::BinaryOp<op>::run(x, y)) + gamma);
  }
}

template <class T, int op>
void naive(Frames &f, const Parameters &parameters) {
  const TavixVideoInfo &video = f.dst->video;
  for (int32_t y = 0; y < video.height; ++y) {
    const uint8_t *a = module::row(*f.src[0], y), *b = module::row(*f.src[1], y);
    uint8_t *dst = module::row(*f.dst, y);
    for (int32_t x = 0; x < video.width; ++x)
      for (int32_t c = 0; c < video.channels; ++c) {
        const int64_t i = int64_t(x) * video.channels + c;
        module::store(
            dst, i,
            naive_element<op>(module::load<T>(a, i), module::load<T>(b, i), parameters.alpha[c],
                              parameters.beta[c], parameters.gamma[c]));
      }
  }
}

template <int op>
void compare_portable(const Layout &layout, const Parameters &parameters) {
  auto comparison = compare_binary("_portable", kOperations[op], layout, parameters,
                                   TavixFrameBinaryArithmeticCommonC, false);
  comparison.peer("naive", kExact, [&layout, &parameters](Frames &f) {
    layout.format == kBytes.format ? naive<uint8_t, op>(f, parameters)
                                   : naive<float, op>(f, parameters);
  });
}

template <int... op>
void compare_all_portable(const Layout &layout, const Parameters &parameters,
                          std::integer_sequence<int, op...>) {
  (compare_portable<op>(layout, parameters), ...);
}

}  // namespace

void register_benchmarks() {
  for (const Layout *layout : {&kBytes, &kFloats})
    for (const Parameters *parameters : {&kNeutral, &kWeighted}) {
      for (const Operation &operation : kOperations) {
        auto comparison = compare_binary("", operation, *layout, *parameters,
                                         TavixFrameBinaryArithmeticByCPU, true);
        add_peers(comparison, operation, *layout, *parameters);
      }
      compare_all_portable(*layout, *parameters,
                           std::make_integer_sequence<int, module::kBinaryOps>{});
    }
}

}  // namespace tavix::benchmarks
