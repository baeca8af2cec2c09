// SPDX-License-Identifier: Apache-2.0
// What a call costs before its pixels: each family of operations on frames of 2 x 2, where next to
// nothing is left but the call itself, and of 64 x 64. One thread; no peers.
//
//   build/benchmark/benchmarks/call_cost --benchmark_filter=2x2
#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/parallel/tavix_parallel_wrapper.h"
#include "support/frame.h"
#include "support/samples.h"
#include "tavix/core.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {

namespace {

constexpr double kScale[] = {2, 2, 2, 2}, kOffset[] = {1, 1, 1, 1}, kNone[] = {1, 1, 1, 1};
constexpr float kNormVals[] = {103, 116, 123, 0, 0.017f, 0.017f, 0.017f, 1};

using Call = std::function<int32_t()>;  // returns its status

void add(const std::string &family, const Size &size, const Call &call) {
  const std::string name =
      family + "/" + std::to_string(size.width) + "x" + std::to_string(size.height);
  benchmark::RegisterBenchmark(name.c_str(), [call](benchmark::State &state) {
    if (call() != TAVIX_OK) return state.SkipWithError("the call is refused");
    for (auto _ : state) benchmark::DoNotOptimize(call());
  });
}

// The frames and blobs live as long as the calls that hold them.
void add_frame_families(const Size &size) {
  const auto make = [&](int32_t format) {
    return std::make_shared<Frame>(noise(format, size, 1, FloatRange{}));
  };
  const auto bgr = make(TAVIX_PIX_FMT_BGR24), result = make(TAVIX_PIX_FMT_BGR24),
             rgb = make(TAVIX_PIX_FMT_RGB24), floats = make(TAVIX_PIX_FMT_BGRF32),
             float_result = make(TAVIX_PIX_FMT_BGRF32), grey = make(TAVIX_PIX_FMT_GRAY8),
             nv12 = make(TAVIX_PIX_FMT_NV12), nv21 = make(TAVIX_PIX_FMT_NV21);
  add("binary_u8", size, [=] {
    return TavixFrameBinaryArithmeticByCPU(*bgr, *bgr, TAVIX_BINARY_OP_ADD, kNone, kNone, kOffset,
                                           *result);
  });
  add("binary_f32", size, [=] {
    return TavixFrameBinaryArithmeticByCPU(*floats, *floats, TAVIX_BINARY_OP_MAX, kNone, kNone,
                                           kOffset, *float_result);
  });
  for (const int32_t op : {0, 1, 2, 3}) {
    const std::string code = std::to_string(op);
    add("unary_u8_op" + code, size,
        [=] { return TavixFrameUnaryArithmeticByCPU(*bgr, op, kScale, kOffset, *result); });
    add("unary_f32_op" + code, size, [=] {
      return TavixFrameUnaryArithmeticByCPU(*floats, op, kScale, kOffset, *float_result);
    });
  }
  for (const int32_t op : {0, 1, 2, 3, 4}) {
    add("statistics_u8_op" + std::to_string(op), size, [=] {
      TavixArray *array = nullptr;
      const int32_t status = TavixFrameStatisticalFunctionByCPU(*bgr, op, &array);
      TavixArrayFree(array);
      return status;
    });
  }
  const auto convert = [&](const char *name, const std::shared_ptr<Frame> &from,
                           const std::shared_ptr<Frame> &to) {
    add(std::string("color_") + name, size,
        [=] { return TavixFrameConvertColorByCPU(*from, *to); });
  };
  convert("bgr_to_rgb", bgr, rgb);
  convert("bgr_to_grey", bgr, grey);
  convert("bgr_to_f32", bgr, floats);
  convert("bgr_to_nv12", bgr, nv12);
  convert("nv12_to_bgr", nv12, bgr);
  convert("nv12_to_nv21", nv12, nv21);
  convert("f32_to_nv12", floats, nv12);
  convert("nv12_to_f32", nv12, floats);
  add("normalize_u8_to_f32", size, [=] {
    TavixFrameV2 *dst = nullptr;
    const int32_t status = TavixFrameDataTypeConvertNormalizationFuseByCPU(
        *bgr, &dst, TAVIX_DATA_TYPE_FLOAT32, kNormVals);
    TavixFrameFreeV2(dst);
    return status;
  });
  // What of it is the core's.
  add("new_frame_f32", size, [=] {
    TavixFrameFreeV2(TavixVideoFrameAllocV2(TAVIX_PIX_FMT_BGRF32, TAVIX_MEMORY_HOST, size.width,
                                            size.height, 0, 1));
    return TAVIX_OK;
  });

  const int32_t dims[] = {1, 3, size.height, size.width};
  const std::shared_ptr<TavixBlob> tensor(
      TavixBlobAlloc(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, 4, dims), TavixBlobFree);
  add("frame_to_blob", size, [=] { return TavixFrameToBlobByCPU(*bgr, tensor.get()); });
  add("blob_to_frame", size, [=] { return TavixBlobToFrameByCPU(tensor.get(), *bgr); });
  add("softmax", size, [=] { return TavixBlobSoftmaxByCPU(tensor.get(), 3, tensor.get()); });
}

}  // namespace

}  // namespace tavix::benchmarks

int main(int argc, char **argv) {
  tavix::module::worker_count = 1;
  TavixLoggerSetLevel(TAVIX_LOG_ERROR);
  for (const tavix::benchmarks::Size size : {tavix::benchmarks::Size{2, 2}, {64, 64}})
    tavix::benchmarks::add_frame_families(size);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
