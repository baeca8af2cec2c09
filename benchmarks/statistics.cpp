// SPDX-License-Identifier: Apache-2.0
// Statistics of 8-bit and float frames of one, three and four channels, beside OpenCV's reductions
// and Eigen's. Results are one double for each channel.
#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "common/frame_access.h"
#include "support/harness.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {

namespace {

constexpr std::pair<const char *, TavixStatisticalFunctionOp> kOperations[] = {
    {"mean", TAVIX_STAT_OP_MEAN},
    {"stddev", TAVIX_STAT_OP_STDDEV},
    {"sum", TAVIX_STAT_OP_SUM},
    {"max", TAVIX_STAT_OP_MAX},
    {"min", TAVIX_STAT_OP_MIN}};

struct Layout {
  const char *name;
  int32_t format;
};
constexpr Layout kLayouts[] = {
    {"u8_gray", TAVIX_PIX_FMT_GRAY8},  {"u8_bgr", TAVIX_PIX_FMT_BGR24},
    {"u8_bgra", TAVIX_PIX_FMT_BGRA32}, {"f32_gray", TAVIX_PIX_FMT_GRAYF32},
    {"f32_bgr", TAVIX_PIX_FMT_BGRF32}, {"f32_bgra", TAVIX_PIX_FMT_BGRAF32}};

// A frame and the results of a call.
struct Statistics : Workload {
  Statistics(int32_t format, const Size &size)
      : frame(noise(format, size, 1)),
        results(std::make_shared<std::array<double, module::kMaxChannels>>()),
        planes(size_t(channels())) {
    inputs = frame.planes();
    outputs = {Samples(results->data(), channels())};
    for (cv::Mat &plane : planes) plane.create(size.height, size.width, frame.mat().depth());
  }

  int32_t channels() const { return frame->video.channels; }
  void store(const cv::Scalar &values) { std::copy_n(values.val, channels(), results->begin()); }

  Frame frame;
  std::shared_ptr<std::array<double, module::kMaxChannels>> results;
  std::vector<cv::Mat> planes;  // scratch of peers: one for each channel
};

void ours(Statistics &s, int32_t op) {
  TavixArrayElement elements[module::kMaxChannels];
  TavixArray array = {s.channels(), elements}, *destination = &array;
  TavixFrameStatisticalFunctionByCPU(s.frame, op, &destination);
  for (int32_t c = 0; c < array.count; ++c) (*s.results)[size_t(c)] = elements[c].value;
}

void opencv(Statistics &s, int32_t op) {
  const cv::Mat image = s.frame.mat();
  switch (op) {
    case TAVIX_STAT_OP_MEAN:
      return s.store(cv::mean(image));
    case TAVIX_STAT_OP_SUM:
      return s.store(cv::sum(image));
    case TAVIX_STAT_OP_STDDEV: {
      cv::Scalar mean, deviation;
      cv::meanStdDev(image, mean, deviation);
      return s.store(deviation);
    }
    default: {  // of one channel only
      const bool split = s.channels() > 1;
      if (split) cv::split(image, s.planes);
      for (int32_t c = 0; c < s.channels(); ++c) {
        double min, max;
        cv::minMaxLoc(split ? s.planes[size_t(c)] : image, &min, &max);
        (*s.results)[size_t(c)] = op == TAVIX_STAT_OP_MAX ? max : min;
      }
    }
  }
}

// Extremes of columns, then of what is left.
void opencv_reduce(Statistics &s, int32_t op) {
  const int code = op == TAVIX_STAT_OP_MAX ? cv::REDUCE_MAX : cv::REDUCE_MIN;
  cv::Mat row, pixel, values;
  cv::reduce(s.frame.mat(), row, 0, code);
  cv::reduce(row, pixel, 1, code);
  pixel.convertTo(values, CV_64F);
  std::copy_n(values.ptr<double>(), s.channels(), s.results->begin());
}

template <class T, int channels>
void eigen_of(Statistics &s, int32_t op) {
  using Pixels = Eigen::Map<const Eigen::Array<T, channels, Eigen::Dynamic>>;
  const TavixVideoInfo &video = s.frame->video;
  const Pixels pixels(reinterpret_cast<const T *>(s.frame->data[0]), channels,
                      Eigen::Index(video.width) * video.height);
  Eigen::Map<Eigen::Array<double, channels, 1>> results(s.results->data());
  const double count = double(pixels.cols());
  const auto wide = pixels.template cast<double>();
  switch (op) {
    case TAVIX_STAT_OP_MEAN:
      results = wide.rowwise().sum() / count;
      break;
    case TAVIX_STAT_OP_SUM:
      results = wide.rowwise().sum();
      break;
    case TAVIX_STAT_OP_STDDEV: {
      const Eigen::Array<double, channels, 1> mean = wide.rowwise().sum() / count;
      results = (wide.square().rowwise().sum() / count - mean.square()).max(0.0).sqrt();
      break;
    }
    case TAVIX_STAT_OP_MAX:
      results = pixels.rowwise().maxCoeff().template cast<double>();
      break;
    default:
      results = pixels.rowwise().minCoeff().template cast<double>();
  }
}

void eigen(Statistics &s, int32_t op) {
  const bool bytes = s.frame.mat().depth() == CV_8U;
  switch (s.channels()) {
    case 1:
      return bytes ? eigen_of<uint8_t, 1>(s, op) : eigen_of<float, 1>(s, op);
    case 3:
      return bytes ? eigen_of<uint8_t, 3>(s, op) : eigen_of<float, 3>(s, op);
    default:
      return bytes ? eigen_of<uint8_t, 4>(s, op) : eigen_of<float, 4>(s, op);
  }
}

}  // namespace

void register_benchmarks() {
  constexpr Tolerance kRounding = 1e-9;  // of sums of doubles, and a root of their difference
  for (const Layout &layout : kLayouts)
    for (const auto &[name, code] : kOperations) {
      const int32_t op = code;
      auto comparison =
          compare(std::string("stat_") + name + "_" + layout.name,
                  [&layout](const Size &size) { return Statistics(layout.format, size); });
      comparison.ours([op](Statistics &s) { ours(s, op); });
      comparison.peer("opencv", kRounding, [op](Statistics &s) { opencv(s, op); });
      comparison.peer("eigen", kRounding, [op](Statistics &s) { eigen(s, op); });
      if (op == TAVIX_STAT_OP_MAX || op == TAVIX_STAT_OP_MIN)
        comparison.peer("opencv_reduce", kExact, [op](Statistics &s) { opencv_reduce(s, op); });
    }
}

}  // namespace tavix::benchmarks
