// SPDX-License-Identifier: Apache-2.0
#include "bench/operations.h"

#include <opencv2/imgproc.hpp>
#include <utility>

#include "tavix/interop/opencv.h"

namespace tavix::tool {

struct Workspace {
  Workspace(int width, int height)
      : a(height, width, CV_8UC3),
        b(height, width, CV_8UC3),
        result(height, width, CV_8UC3),
        alpha(height, width, CV_8UC4),
        grey(height, width, CV_8UC1),
        yuv(height * 3 / 2, width, CV_8UC1),
        floats(height, width, CV_32FC3),
        float_result(height, width, CV_32FC3),
        half(height / 2, width / 2, CV_8UC3),
        bordered(height + 2 * kBorder, width + 2 * kBorder, CV_8UC3),
        tensor(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {1, 3, height, width}),
        softmax(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {1, 3, height, width}) {
    cv::RNG random(1);
    for (cv::Mat mat : {a, b, alpha, grey, yuv}) random.fill(mat, cv::RNG::UNIFORM, 0, 256);
    random.fill(floats, cv::RNG::UNIFORM, 0.01, 1);
    for (cv::Mat &plane : planes(tensor)) random.fill(plane, cv::RNG::UNIFORM, 0.01, 1);
  }

  // The channels of a tensor as matrices.
  std::vector<cv::Mat> planes(const Blob &blob) const {
    std::vector<cv::Mat> planes;
    for (size_t c = 0; c < 3; ++c)
      planes.emplace_back(a.size(), CV_32F, blob.elements() + c * a.total());
    return planes;
  }

  static constexpr int kBorder = 8;

  cv::Mat a, b, result, alpha, grey, yuv, floats, float_result, half, bordered;
  Blob tensor, softmax;
};

namespace {

using Operations = std::vector<Operation>;
using View = TavixFrameV2;

constexpr double kOne[4] = {1, 1, 1, 1}, kNone[4] = {};
constexpr float kMatrix[9] = {0.98f, 0.1f, 3, -0.1f, 0.98f, 5, 1e-5f, 2e-5f, 1};  // of a warp

// Two pictures into one. Factors are 1 here and none in OpenCV.
void add_binary(Operations &all) {
  using Peer = void(cv::InputArray a, cv::InputArray b, cv::OutputArray dst);
  struct Row {
    const char *name;
    TavixBinaryArithmeticOp op;
    const char *peer_name;
    Peer *peer;
  };
  const Row rows[] = {
      {"add", TAVIX_BINARY_OP_ADD, "add", [](auto &a, auto &b, auto &d) { cv::add(a, b, d); }},
      {"sub", TAVIX_BINARY_OP_SUB, "subtract",
       [](auto &a, auto &b, auto &d) { cv::subtract(a, b, d); }},
      {"mul", TAVIX_BINARY_OP_MUL, "multiply",
       [](auto &a, auto &b, auto &d) { cv::multiply(a, b, d); }},
      {"div", TAVIX_BINARY_OP_DIV, "divide",
       [](auto &a, auto &b, auto &d) { cv::divide(a, b, d); }},
      {"min", TAVIX_BINARY_OP_MIN, "min", [](auto &a, auto &b, auto &d) { cv::min(a, b, d); }},
      {"max", TAVIX_BINARY_OP_MAX, "max", [](auto &a, auto &b, auto &d) { cv::max(a, b, d); }},
      {"absdiff", TAVIX_BINARY_OP_ABSDIFF, "absdiff",
       [](auto &a, auto &b, auto &d) { cv::absdiff(a, b, d); }},
      {"or", TAVIX_BINARY_OP_OR, "bitwise_or",
       [](auto &a, auto &b, auto &d) { cv::bitwise_or(a, b, d); }},
      {"and", TAVIX_BINARY_OP_AND, "bitwise_and",
       [](auto &a, auto &b, auto &d) { cv::bitwise_and(a, b, d); }},
      {"xor", TAVIX_BINARY_OP_XOR, "bitwise_xor",
       [](auto &a, auto &b, auto &d) { cv::bitwise_xor(a, b, d); }},
  };
  for (const Row &row : rows) {
    all.push_back({row.name, std::string(row.peer_name) + ", which takes no factors", 9,
                   [op = row.op](auto &w) {
                     call<TavixFrameBinaryArithmeticByCPU>(frame_view(w.a), frame_view(w.b),
                                                           uint32_t(op), kOne, kOne, kNone,
                                                           frame_view(w.result));
                   },
                   [peer = row.peer](auto &w) { peer(w.a, w.b, w.result); }});
  }
}

// One picture of floats into another.
void add_unary(Operations &all) {
  using Peer = void(const cv::Mat &src, cv::OutputArray dst);
  struct Row {
    const char *name;
    TavixUnaryArithmeticOp op;
    const char *peer_name;
    Peer *peer;
  };
  const Row rows[] = {
      {"mul-add", TAVIX_UNARY_OP_MUL_ADD, "convertTo with one factor for all channels",
       [](auto &src, auto &d) { src.convertTo(d, -1, 1, 0.5); }},
      {"sqrt", TAVIX_UNARY_OP_SQRT, "sqrt, which takes no factors",
       [](auto &src, auto &d) { cv::sqrt(src, d); }},
      {"exp", TAVIX_UNARY_OP_EXP, "exp, which takes no factors",
       [](auto &src, auto &d) { cv::exp(src, d); }},
      {"log", TAVIX_UNARY_OP_LOG, "log, which takes no factors",
       [](auto &src, auto &d) { cv::log(src, d); }},
  };
  for (const Row &row : rows) {
    all.push_back({row.name, row.peer_name, 24,
                   [op = row.op](auto &w) {
                     call<TavixFrameUnaryArithmeticByCPU>(frame_view(w.floats), int32_t(op), kOne,
                                                          kNone, frame_view(w.float_result));
                   },
                   [peer = row.peer](auto &w) { peer(w.floats, w.float_result); }});
  }
}

void extremes(const Workspace &w) {
  std::vector<cv::Mat> channels;
  cv::split(w.a, channels);
  double least, largest;
  for (const cv::Mat &channel : channels) cv::minMaxLoc(channel, &least, &largest);
}

// One value for each channel.
void add_statistics(Operations &all) {
  struct Row {
    const char *name;
    TavixStatisticalFunctionOp op;
    const char *peer_name;
    void (*peer)(const Workspace &);
  };
  const auto deviation = [](const Workspace &w) {
    cv::Scalar mean, stddev;
    cv::meanStdDev(w.a, mean, stddev);
  };
  const Row rows[] = {
      {"mean", TAVIX_STAT_OP_MEAN, "mean", [](auto &w) { cv::mean(w.a); }},
      {"stddev", TAVIX_STAT_OP_STDDEV, "meanStdDev", deviation},
      {"sum", TAVIX_STAT_OP_SUM, "sum", [](auto &w) { cv::sum(w.a); }},
      {"channel-max", TAVIX_STAT_OP_MAX, "split, minMaxLoc", extremes},
      {"channel-min", TAVIX_STAT_OP_MIN, "split, minMaxLoc", extremes},
  };
  for (const Row &row : rows) {
    all.push_back({row.name, row.peer_name, 3,
                   [op = row.op](auto &w) {
                     Array values;
                     call<TavixFrameStatisticalFunctionByCPU>(frame_view(w.a), int32_t(op),
                                                              out(values));
                   },
                   row.peer});
  }
}

// The picture of a format, or the one that is written where there are two.
cv::Mat picture(const Workspace &w, int32_t format, bool written) {
  switch (format) {
    case TAVIX_PIX_FMT_GRAY8:
      return w.grey;
    case TAVIX_PIX_FMT_BGRA32:
      return w.alpha;
    case TAVIX_PIX_FMT_I420:
    case TAVIX_PIX_FMT_NV12:
      return w.yuv;
    default:
      return written ? w.result : w.a;
  }
}

void add_colour(Operations &all) {
  struct Row {
    const char *name;
    int32_t from, to;
    int code;  // of cvtColor
    double bytes;
  };
  constexpr Row kRows[] = {
      {"bgr-rgb", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_RGB24, cv::COLOR_BGR2RGB, 6},
      {"bgr-bgra", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRA32, cv::COLOR_BGR2BGRA, 7},
      {"bgra-bgr", TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_BGR24, cv::COLOR_BGRA2BGR, 7},
      {"bgr-gray", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_GRAY8, cv::COLOR_BGR2GRAY, 4},
      {"gray-bgr", TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_BGR24, cv::COLOR_GRAY2BGR, 4},
      {"i420-bgr", TAVIX_PIX_FMT_I420, TAVIX_PIX_FMT_BGR24, cv::COLOR_YUV2BGR_I420, 4.5},
      {"nv12-bgr", TAVIX_PIX_FMT_NV12, TAVIX_PIX_FMT_BGR24, cv::COLOR_YUV2BGR_NV12, 4.5},
      {"bgr-i420", TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_I420, cv::COLOR_BGR2YUV_I420, 4.5},
  };
  for (const Row &row : kRows) {
    all.push_back({row.name, "cvtColor", row.bytes,
                   [row](auto &w) {
                     View dst = frame_view(picture(w, row.to, true), row.to);
                     call<TavixFrameConvertColorByCPU>(
                         frame_view(picture(w, row.from, false), row.from), dst);
                   },
                   [row](auto &w) {
                     cv::Mat dst = picture(w, row.to, true);
                     cv::cvtColor(picture(w, row.from, false), dst, row.code);
                   }});
  }
  all.push_back({"bgr-float", "convertTo", 15,
                 [](auto &w) {
                   View dst = frame_view(w.float_result);
                   call<TavixFrameConvertColorByCPU>(frame_view(w.a), dst);
                 },
                 [](auto &w) {
                   cv::Mat dst = w.float_result;
                   w.a.convertTo(dst, CV_32F, 1 / 255.);
                 }});
  all.push_back({"float-bgr", "convertTo", 15,
                 [](auto &w) {
                   View dst = frame_view(w.result);
                   call<TavixFrameConvertColorByCPU>(frame_view(w.floats), dst);
                 },
                 [](auto &w) {
                   cv::Mat dst = w.result;
                   w.floats.convertTo(dst, CV_8U, 255);
                 }});
}

void add_tensors(Operations &all) {
  all.push_back({"tensor", "convertTo, subtract, multiply, split", 15,
                 [](auto &w) {
                   constexpr float kValues[8] = {104, 116, 124, 0, 0.017f, 0.017f, 0.017f, 1};
                   Frame normalised;
                   call<TavixFrameDataTypeConvertNormalizationFuseByCPU>(
                       frame_view(w.a), out(normalised), int32_t(TAVIX_DATA_TYPE_FLOAT32), kValues);
                   call<TavixFrameToBlobByCPU>(normalised, w.softmax);
                 },
                 [](auto &w) {
                   cv::Mat normalised;
                   w.a.convertTo(normalised, CV_32F);
                   cv::subtract(normalised, cv::Scalar(104, 116, 124), normalised);
                   cv::multiply(normalised, cv::Scalar(0.017, 0.017, 0.017), normalised);
                   std::vector<cv::Mat> planes = w.planes(w.softmax);
                   cv::split(normalised, planes);
                 }});
  all.push_back({"tensor-frame", "merge", 24,
                 [](auto &w) {
                   View dst = frame_view(w.float_result);
                   call<TavixBlobToFrameByCPU>(w.tensor, dst);
                 },
                 [](auto &w) {
                   cv::Mat dst = w.float_result;
                   cv::merge(w.planes(w.tensor), dst);
                 }});
  all.push_back({"softmax", "max, subtract, exp, add, divide", 24,
                 [](auto &w) { call<TavixBlobSoftmaxByCPU>(w.tensor, 1, w.softmax); },
                 [](auto &w) {
                   const std::vector<cv::Mat> src = w.planes(w.tensor);
                   std::vector<cv::Mat> dst = w.planes(w.softmax);
                   cv::Mat largest, sum;
                   cv::max(src[0], src[1], largest);
                   cv::max(largest, src[2], largest);
                   for (size_t c = 0; c < 3; ++c) {
                     cv::subtract(src[c], largest, dst[c]);
                     cv::exp(dst[c], dst[c]);
                   }
                   cv::add(dst[0], dst[1], sum);
                   cv::add(sum, dst[2], sum);
                   for (cv::Mat &plane : dst) cv::divide(plane, sum, plane);
                 }});
}

// One picture into one of another size or of the same size; OpenCV's function does the same work.
template <class Ours, class Peer>
Operation picture_operation(const char *name, const char *peer_name, double bytes,
                            cv::Mat Workspace::*dst, Ours ours, Peer peer) {
  return {name, peer_name, bytes,
          [=](auto &w) {
            View result = frame_view(w.*dst);
            ours(frame_view(w.a), result);
          },
          [=](auto &w) {
            cv::Mat result = w.*dst;
            peer(w.a, result);
          }};
}

void add_geometry(Operations &all) {
  using W = Workspace;
  all.push_back(picture_operation(
      "resize", "resize", 3.75, &W::half,
      [](auto &&src, View &dst) {
        call<TavixFrameResizeByCPU>(src, dst, dst.video.width, dst.video.height, 1);
      },
      [](auto &src, cv::Mat &dst) { cv::resize(src, dst, dst.size()); }));
  all.push_back(picture_operation(
      "warp-affine", "warpAffine", 6, &W::result,
      [](auto &&src, View &dst) { call<TavixFrameWarpAffineByCPU>(dst, src, kMatrix, 1, 0, 0.0); },
      [](auto &src, cv::Mat &dst) {
        cv::warpAffine(src, dst, cv::Mat(2, 3, CV_32F, const_cast<float *>(kMatrix)), dst.size());
      }));
  all.push_back(picture_operation(
      "warp-perspective", "warpPerspective", 6, &W::result,
      [](auto &&src, View &dst) {
        call<TavixFrameWarpPerspectiveByCPU>(dst, src, kMatrix, 1, 0, 0.0);
      },
      [](auto &src, cv::Mat &dst) {
        cv::warpPerspective(src, dst, cv::Mat(3, 3, CV_32F, const_cast<float *>(kMatrix)),
                            dst.size());
      }));
  all.push_back(picture_operation(
      "region", "copyTo", 6, &W::result,
      [](auto &&src, View &dst) {
        const TavixRect rect = {0, 0, float(dst.video.width), float(dst.video.height)};
        call<TavixFrameRoiByCPU>(src, dst, rect, rect);
      },
      [](auto &src, cv::Mat &dst) { src.copyTo(dst); }));
  all.push_back(picture_operation(
      "border", "copyMakeBorder", 6, &W::bordered,
      [](auto &&src, View &dst) {
        constexpr int32_t n = W::kBorder;
        call<TavixFrameCopyMakeBorderByCPU>(src, dst, n, n, n, n, 4, 0.0);
      },
      [](auto &src, cv::Mat &dst) {
        constexpr int n = W::kBorder;
        cv::copyMakeBorder(src, dst, n, n, n, n, cv::BORDER_REFLECT_101);
      }));
}

void add_filters(Operations &all) {
  static float sharpen[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
  static uint8_t square[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  static const TavixKernel kSharpen = {3, 3, TAVIX_DATA_TYPE_FLOAT32, sharpen};
  static const TavixKernel kSquare = {3, 3, TAVIX_DATA_TYPE_UINT8, square};
  const auto add = [&](const char *name, const char *peer_name, auto ours, auto peer) {
    all.push_back(picture_operation(name, peer_name, 6, &Workspace::result, ours, peer));
  };
  add(
      "blur", "blur",
      [](auto &&src, View &dst) {
        call<TavixFrameBlurByCPU>(src, dst, TavixSize{5, 5});
      },
      [](auto &src, cv::Mat &dst) {
        cv::blur(src, dst, {5, 5});
      });
  add(
      "box-filter", "boxFilter",
      [](auto &&src, View &dst) {
        const TavixSize size = {3, 3};
        call<TavixFrameBoxFilterByCPU>(src, dst, &size);
      },
      [](auto &src, cv::Mat &dst) {
        cv::boxFilter(src, dst, -1, {3, 3}, {-1, -1}, false, cv::BORDER_REPLICATE);
      });
  add(
      "filter-2d", "filter2D",
      [](auto &&src, View &dst) { call<TavixFrameFilter2DByCPU>(src, dst, &kSharpen); },
      [](auto &src, cv::Mat &dst) {
        cv::filter2D(src, dst, -1, cv::Mat(3, 3, CV_32F, sharpen), {-1, -1}, 0,
                     cv::BORDER_REPLICATE);
      });
  add(
      "dilate", "dilate",
      [](auto &&src, View &dst) { call<TavixFrameDilateBorderByCPU>(src, dst, &kSquare); },
      [](auto &src, cv::Mat &dst) { cv::dilate(src, dst, cv::Mat(3, 3, CV_8U, square)); });
  add(
      "erode", "erode",
      [](auto &&src, View &dst) { call<TavixFrameErodeBorderByCPU>(src, dst, &kSquare); },
      [](auto &src, cv::Mat &dst) { cv::erode(src, dst, cv::Mat(3, 3, CV_8U, square)); });
  add(
      "threshold", "threshold",
      [](auto &&src, View &dst) { call<TavixFrameThresholdBinaryByCPU>(src, dst, 99.0, 255.0, 0); },
      [](auto &src, cv::Mat &dst) { cv::threshold(src, dst, 99, 255, cv::THRESH_BINARY); });
  add(
      "min-max-norm", "normalize",
      [](auto &&src, View &dst) { call<TavixFrameMinMaxNormByCPU>(src, dst, 10, 200); },
      [](auto &src, cv::Mat &dst) { cv::normalize(src, dst, 10, 200, cv::NORM_MINMAX); });
  add(
      "fill", "setTo", [](auto &&src, View &dst) { call<TavixFrameMemfillByCPU>(src, dst, 7.0f); },
      [](auto &, cv::Mat &dst) { dst.setTo(cv::Scalar::all(7)); });
}

// Both sides make new pictures.
void add_channels(Operations &all) {
  all.push_back({"split", "split", 6,
                 [](auto &w) {
                   ChannelFrames channels;
                   call<TavixFrameChannelSplitByCPU>(frame_view(w.a), out(channels), 7u);
                 },
                 [](auto &w) {
                   std::vector<cv::Mat> channels;
                   cv::split(w.a, channels);
                 }});
  all.push_back({"mask", "mixChannels", 8,
                 [](auto &w) {
                   Frame result;
                   call<TavixFrameAddMaskByCPU>(frame_view(w.a), frame_view(w.grey), out(result));
                 },
                 [](auto &w) {
                   const cv::Mat sources[] = {w.a, w.grey};
                   cv::Mat result(w.a.size(), CV_8UC4);
                   constexpr int kFromTo[] = {0, 0, 1, 1, 2, 2, 3, 3};
                   cv::mixChannels(sources, 2, &result, 1, kFromTo, 4);
                 }});
  all.push_back({"product", "multiply", 9,
                 [](auto &w) {
                   Frame result;
                   call<TavixFrameMultiFrameByCPU>(frame_view(w.a), frame_view(w.b), out(result));
                 },
                 [](auto &w) {
                   cv::Mat result;
                   cv::multiply(w.a, w.b, result);
                 }});
}

}  // namespace

std::shared_ptr<const Workspace> make_workspace(int width, int height) {
  return std::make_shared<const Workspace>(width, height);
}

const std::vector<Operation> &operations() {
  static const Operations kAll = [] {
    Operations all;
    for (const auto add : {add_binary, add_unary, add_statistics, add_colour, add_tensors,
                           add_geometry, add_filters, add_channels}) {
      add(all);
    }
    return all;
  }();
  return kAll;
}

}  // namespace tavix::tool
