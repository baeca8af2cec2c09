// SPDX-License-Identifier: Apache-2.0
#include "selfcheck/cases.h"

#include <cstring>
#include <random>

#include "tavix/frame.hpp"

namespace tavix::selfcheck {

namespace {

// Whole blocks of every kernel and a rest; even, for 4:2:0.
constexpr int32_t kWidth = 202, kHeight = 14;

constexpr int32_t kPacked[] = {TAVIX_PIX_FMT_RGB24,  TAVIX_PIX_FMT_BGR24,   TAVIX_PIX_FMT_GRAY8,
                               TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGBA32,  TAVIX_PIX_FMT_RGBF32,
                               TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_BGRAF32,
                               TAVIX_PIX_FMT_GRAYF32};

bool is_float(int32_t format) {
  return format >= TAVIX_PIX_FMT_RGBF32;
}
bool is_yuv(int32_t format) {
  return format >= TAVIX_PIX_FMT_NV12 && format <= TAVIX_PIX_FMT_I420;
}

std::string short_name(int32_t format) {
  return TavixPixelFormatName(format) + std::strlen("TAVIX_PIX_FMT_");
}

// Calls work(row, elements) for every row of every plane; T is the type of the elements.
template <class T, class Work>
void for_each_row(const TavixFrameV2 &frame, Work work) {
  const TavixVideoInfo &video = frame.video;
  const auto plane = [&](int p, int32_t rows, int32_t elements) {
    for (int32_t y = 0; y < rows; ++y)
      work(reinterpret_cast<T *>(frame.data[p] + ptrdiff_t(y) * frame.linesize[p]), elements);
  };
  plane(0, video.height, video.width * video.channels);
  if (!is_yuv(video.format)) return;
  const bool pairs = video.format == TAVIX_PIX_FMT_NV12 || video.format == TAVIX_PIX_FMT_NV21;
  plane(1, video.height / 2, pairs ? video.width : video.width / 2);
  if (!pairs) plane(2, video.height / 2, video.width / 2);
}

// Bytes 1 to 255, or floats of 8 bits in (0, 1]: sums and products of them round in no
// implementation. The seed is the same in every run.
Frame noise(int32_t format, unsigned seed) {
  Frame frame(format, kWidth, kHeight);
  std::mt19937 random(seed);
  if (is_float(format)) {
    for_each_row<float>(*frame, [&](float *row, int32_t n) {
      for (int32_t i = 0; i < n; ++i) row[i] = float(1 + random() % 256) / 256;
    });
  } else {
    for_each_row<uint8_t>(*frame, [&](uint8_t *row, int32_t n) {
      for (int32_t i = 0; i < n; ++i) row[i] = uint8_t(1 + random() % 255);
    });
  }
  return frame;
}

template <class T>
Result elements_of(const TavixFrameV2 &frame) {
  std::vector<T> all;
  for_each_row<T>(frame, [&](const T *row, int32_t n) { all.insert(all.end(), row, row + n); });
  return all;
}
Result result_of(const Frame &frame) {
  return is_float(frame.format()) ? elements_of<float>(*frame) : elements_of<uint8_t>(*frame);
}
Result result_of(const Blob &blob) {
  return std::vector<float>(blob.elements(), blob.elements() + blob.size());
}

using Cases = std::vector<Case>;

void add_binary(Cases &cases) {
  constexpr const char *kNames[] = {"add",     "subtract",   "multiply", "divide", "minimum",
                                    "maximum", "difference", "or",       "and",    "xor"};
  for (uint32_t op = 0; op < 10; ++op) {
    for (const int32_t format : kPacked) {
      cases.push_back({std::string(kNames[op]) + " " + short_name(format), [=] {
                         constexpr double kHalf[4] = {0.5, 0.5, 0.5, 0.5}, kOne[4] = {1, 1, 1, 1};
                         constexpr double kThree[4] = {3, 3, 3, 3}, kNone[4] = {};
                         // A float quotient is rounded before an offset in one implementation.
                         const Frame a = noise(format, 1), b = noise(format, 2);
                         const Frame dst(format, kWidth, kHeight);
                         call<TavixFrameBinaryArithmeticByCPU>(
                             a, b, op, kHalf, kOne, is_float(format) ? kNone : kThree, dst);
                         return result_of(dst);
                       }});
    }
  }
}

void add_unary(Cases &cases) {
  struct Function {
    const char *name;
    int32_t op;
    double scale;
    double float_part;  // of a value, between the two
  };
  constexpr Function kFunctions[] = {{"multiply-add", TAVIX_UNARY_OP_MUL_ADD, 0.5, 0},
                                     {"square root", TAVIX_UNARY_OP_SQRT, 4, 0},
                                     {"exponential", TAVIX_UNARY_OP_EXP, 0.015625, 1e-6},
                                     {"logarithm", TAVIX_UNARY_OP_LOG, 0.5, 1e-6}};
  for (const Function &function : kFunctions) {
    for (const int32_t format : kPacked) {
      cases.push_back({std::string(function.name) + " " + short_name(format),
                       [=] {
                         const double scale[4] = {function.scale, function.scale, function.scale,
                                                  function.scale};
                         constexpr double kNone[4] = {};
                         const Frame dst(format, kWidth, kHeight);
                         call<TavixFrameUnaryArithmeticByCPU>(noise(format, 3), function.op, scale,
                                                              kNone, dst);
                         return result_of(dst);
                       },
                       function.float_part > 0 && !is_float(format) ? 1 : 0, function.float_part});
    }
  }
}

void add_statistics(Cases &cases) {
  constexpr const char *kNames[] = {"mean", "deviation", "sum", "largest", "least"};
  for (int32_t op = 0; op < 5; ++op) {
    for (const int32_t format : kPacked) {
      cases.push_back({std::string(kNames[op]) + " " + short_name(format), [=]() -> Result {
                         Array values;
                         call<TavixFrameStatisticalFunctionByCPU>(noise(format, 4), op,
                                                                  out(values));
                         std::vector<double> all;
                         for (size_t i = 0; i < values.size(); ++i) all.push_back(values[i]);
                         return all;
                       }});
    }
  }
}

void add_softmax(Cases &cases) {
  for (const int32_t axis : {0, 1, 2}) {
    cases.push_back({"softmax, axis " + std::to_string(axis),
                     [=] {
                       const Blob src(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_CHW, {7, 9, 35});
                       const Blob dst(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_CHW, {7, 9, 35});
                       std::mt19937 random(5);
                       for (size_t i = 0; i < src.size(); ++i)
                         src.elements()[i] = float(random() % 1000) / 100;
                       call<TavixBlobSoftmaxByCPU>(src, axis, dst);
                       return result_of(dst);
                     },
                     0, 1e-5});
  }
}

void add_conversions(Cases &cases) {
  for (int32_t from = 0; from < TAVIX_PIX_FMT_NONE; ++from) {
    for (int32_t to = 0; to < TAVIX_PIX_FMT_NONE; ++to) {
      const bool exists = from != 3 && from != 6 && to != 3 && to != 6 && from != to &&
                          from != TAVIX_PIX_FMT_GRAYF32 && to != TAVIX_PIX_FMT_GRAYF32;
      if (!exists) continue;
      // Samples that are moved are equal; what is computed may be rounded to a neighbour.
      const bool moved =
          is_float(from) == is_float(to) && is_yuv(from) == is_yuv(to) && to != TAVIX_PIX_FMT_GRAY8;
      cases.push_back({short_name(from) + " to " + short_name(to),
                       [=] {
                         const Frame dst(to, kWidth, kHeight);
                         call<TavixFrameConvertColorByCPU>(noise(from, 6), dst);
                         return result_of(dst);
                       },
                       moved ? 0 : 1, moved ? 0 : 1e-6});
    }
  }
}

void add_normalisation(Cases &cases) {
  for (const int32_t format : kPacked) {
    for (const int32_t type : {TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_TYPE_UINT8}) {
      const bool bytes = type == TAVIX_DATA_TYPE_UINT8;
      cases.push_back(
          {"normalise " + short_name(format) + (bytes ? " to bytes" : " to floats"), [=] {
             constexpr float kValues[8] = {10, 20, 30, 40, 0.3f, 0.7f, 1.1f, 1.3f};
             Frame dst;
             call<TavixFrameDataTypeConvertNormalizationFuseByCPU>(noise(format, 7), out(dst), type,
                                                                   kValues);
             return result_of(dst);
           }});
    }
  }
}

void add_tensors(Cases &cases) {
  for (const int32_t format : kPacked) {
    for (const bool planar : {true, false}) {
      const auto tensor_of = [=](const Frame &frame) {
        const int32_t channels = frame->video.channels;
        Blob tensor = planar ? Blob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW,
                                    {1, channels, kHeight, kWidth})
                             : Blob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NHWC,
                                    {1, kHeight, kWidth, channels});
        call<TavixFrameToBlobByCPU>(frame, tensor);
        return tensor;
      };
      const std::string what = short_name(format) + (planar ? " NCHW" : " NHWC");
      cases.push_back(
          {"frame to tensor " + what, [=] { return result_of(tensor_of(noise(format, 8))); }});
      cases.push_back({"tensor to frame " + what, [=] {
                         const Frame dst(format, kWidth, kHeight);
                         call<TavixBlobToFrameByCPU>(tensor_of(noise(format, 9)), dst);
                         return result_of(dst);
                       }});
    }
  }
}

}  // namespace

std::vector<Case> all_cases() {
  Cases cases;
  add_binary(cases);
  add_unary(cases);
  add_statistics(cases);
  add_softmax(cases);
  add_conversions(cases);
  add_normalisation(cases);
  add_tensors(cases);
  return cases;
}

}  // namespace tavix::selfcheck
