// SPDX-License-Identifier: Apache-2.0
// Softmax along the last and along the first axis, beside oneDNN, XNNPACK, Eigen, OpenCV's row
// operations and loops around SLEEF's exponential. A size says values of a line x lines.
#include <omp.h>
#include <xnnpack.h>

#include <Eigen/Core>
#include <algorithm>
#include <memory>
#include <oneapi/dnnl/dnnl.hpp>
#include <vector>

#include "cpu_dispatch/cpu_features.h"
#include "support/harness.h"
#include "support/sleef_softmax_avx2.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {

namespace {

using Blob = std::shared_ptr<TavixBlob>;
Blob make_blob(const std::vector<int32_t> &dims) {
  return {TavixBlobAlloc(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NC, int32_t(dims.size()),
                         dims.data()),
          TavixBlobFree};
}

// Two blobs and what peers prepare once for them.
struct Softmax : Workload {
  // axis 1: lines are contiguous. axis 0: their values are so many lines apart.
  Softmax(int32_t line_length, int32_t line_count, int32_t softmax_axis)
      : length(line_length),
        lines(line_count),
        axis(softmax_axis),
        src(make_blob(dims())),
        dst(make_blob(dims())),
        x(static_cast<float *>(TavixBlobBufferGet(src.get()))),
        y(static_cast<float *>(TavixBlobBufferGet(dst.get()))),
        engine(dnnl::engine::kind::cpu, 0),
        stream(engine) {
    const int64_t count = int64_t(length) * lines;
    inputs = {Samples(x, count)};
    outputs = {Samples(y, count)};
    fill_noise(inputs[0], 1, {-10.0f, 10.0f});

    const dnnl::memory::desc tensor({dims()[0], dims()[1]}, dnnl::memory::data_type::f32,
                                    dnnl::memory::format_tag::ab);
    const dnnl::softmax_forward::desc softmax(dnnl::prop_kind::forward_inference, tensor, axis);
    onednn = dnnl::softmax_forward(dnnl::softmax_forward::primitive_desc(softmax, engine));
    arguments = {{DNNL_ARG_SRC, dnnl::memory(tensor, engine, x)},
                 {DNNL_ARG_DST, dnnl::memory(tensor, engine, y)}};

    if (axis != 1 || xnn_initialize(nullptr) != xnn_status_success) return;
    xnn_operator_t made = nullptr;
    const size_t stride = size_t(length);
    if (xnn_create_softmax_nc_f32(stride, stride, stride, 0, &made) != xnn_status_success) return;
    xnnpack = std::shared_ptr<xnn_operator>(made, xnn_delete_operator);
    xnn_setup_softmax_nc_f32(made, size_t(lines), x, y, nullptr);
  }

  std::vector<int32_t> dims() const {
    return axis == 1 ? std::vector{lines, length} : std::vector{length, lines};
  }

  int32_t length, lines, axis;
  Blob src, dst;
  float *x, *y;
  dnnl::engine engine;
  dnnl::stream stream;
  dnnl::softmax_forward onednn;
  std::unordered_map<int, dnnl::memory> arguments;
  std::shared_ptr<xnn_operator> xnnpack;
};

void run_onednn(Softmax &s) {
  s.onednn.execute(s.stream, s.arguments);
  s.stream.wait();
}

void run_xnnpack(Softmax &s) {
  xnn_run_operator(s.xnnpack.get(), nullptr);
}

void run_eigen(Softmax &s) {
  using Matrix = Eigen::Array<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
  const Eigen::Map<const Matrix> x(s.x, s.dims()[0], s.dims()[1]);
  Eigen::Map<Matrix> y(s.y, s.dims()[0], s.dims()[1]);
  if (s.axis == 1) {
    for (Eigen::Index i = 0; i < x.rows(); ++i) {
      y.row(i) = (x.row(i) - x.row(i).maxCoeff()).exp();
      y.row(i) /= y.row(i).sum();
    }
  } else {
    constexpr Eigen::Index kStrip = 4096;  // columns that stay in the second cache
    for (Eigen::Index i = 0; i < x.cols(); i += kStrip) {
      const Eigen::Index width = std::min(kStrip, x.cols() - i);
      const auto from = x.middleCols(i, width);
      auto to = y.middleCols(i, width);
      const Eigen::Array<float, 1, Eigen::Dynamic> max = from.colwise().maxCoeff();
      for (Eigen::Index k = 0; k < x.rows(); ++k) to.row(k) = (from.row(k) - max).exp();
      const Eigen::Array<float, 1, Eigen::Dynamic> sum = to.colwise().sum();
      for (Eigen::Index k = 0; k < x.rows(); ++k) to.row(k) /= sum;
    }
  }
}

// Row operations on strips of columns that stay in the second cache.
void run_opencv(Softmax &s) {
  constexpr int kStrip = 4096;
  cv::Mat max, sum;
  for (int i = 0; i < s.lines; i += kStrip) {
    const int width = std::min(kStrip, s.lines - i);
    const auto row = [&](float *of, int k) {
      return cv::Mat(1, width, CV_32F, of + int64_t(k) * s.lines + i);
    };
    row(s.x, 0).copyTo(max);
    for (int k = 1; k < s.length; ++k) cv::max(max, row(s.x, k), max);
    sum = cv::Mat::zeros(1, width, CV_32F);
    for (int k = 0; k < s.length; ++k) {
      cv::Mat e = row(s.y, k);
      cv::subtract(row(s.x, k), max, e);
      cv::exp(e, e);
      cv::add(sum, e, sum);
    }
    for (int k = 0; k < s.length; ++k) {
      cv::Mat e = row(s.y, k);
      cv::divide(e, sum, e);
    }
  }
}

constexpr Tolerance kFewUnits = 1e-5;

// What every axis is compared with.
using SleefSoftmax = decltype(sleef_softmax_lines_avx2);
Comparison<Softmax> compare_softmax(const std::string &name, int32_t axis, const Sizes &sizes,
                                    SleefSoftmax *sleef) {
  auto comparison = compare(
      name, [axis](const Size &size) { return Softmax(size.width, size.height, axis); }, sizes);
  comparison.ours([axis](Softmax &s) { TavixBlobSoftmaxByCPU(s.src.get(), axis, s.dst.get()); })
      .peer("onednn", kFewUnits, run_onednn)
      .peer("eigen", kFewUnits, run_eigen);
  if (module::use_avx2())
    comparison.peer("sleef", kFewUnits,
                    [sleef](Softmax &s) { sleef(s.x, s.y, s.length, s.lines); });
  return comparison;
}

}  // namespace

void register_benchmarks() {
  omp_set_num_threads(1);
  compare_softmax("softmax_last_axis", 1, {{1000, 100}, {1000, 1000}, {64, 10000}, {21, 1000}},
                  sleef_softmax_lines_avx2)
      .peer("xnnpack", kFewUnits, run_xnnpack);
  compare_softmax("softmax_first_axis", 0, {{21, 4096}, {21, 513 * 513}},
                  sleef_softmax_columns_avx2)
      .peer("opencv", kFewUnits, run_opencv);
}

}  // namespace tavix::benchmarks
