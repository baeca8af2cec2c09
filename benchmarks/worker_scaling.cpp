// SPDX-License-Identifier: Apache-2.0
// How each family of operations scales with workers: the shortest time of one call with one worker,
// and what 2, 4 and 8 workers make of it. Run it under taskset to see fewer processors.
//
//   worker_scaling [seconds for each case]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>

#include "common/parallel/tavix_parallel_wrapper.h"
#include "support/frame.h"
#include "tavix/core.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr int kWorkers[] = {1, 2, 4, 8};
constexpr int kRounds = 4;  // of every worker count in turn, so that all meet the same neighbours
constexpr double kOne[4] = {1, 1, 1, 1}, kZero[4] = {};

// The shortest call within so many seconds. The first calls make the arena and wake its threads.
double shortest(const std::function<void()> &call, double seconds) {
  for (int i = 0; i < 2; ++i) call();
  double best = std::numeric_limits<double>::max();
  const auto start = Clock::now();
  do {
    const auto before = Clock::now();
    call();
    best = std::min(best, Seconds(Clock::now() - before).count());
  } while (Seconds(Clock::now() - start).count() < seconds);
  return best;
}

void measure(const char *family, const Size &size, double seconds,
             const std::function<void()> &call) {
  double best[std::size(kWorkers)];
  std::fill(std::begin(best), std::end(best), std::numeric_limits<double>::max());
  for (int round = 0; round < kRounds; ++round) {
    for (size_t i = 0; i < std::size(kWorkers); ++i) {
      TavixDeinitialize();  // no arena of another size is left
      module::worker_count = uint8_t(kWorkers[i]);
      best[i] = std::min(best[i], shortest(call, seconds / kRounds));
    }
  }
  std::printf("%4dx%-4d  %-18s %9.1f us", size.width, size.height, family, best[0] * 1e6);
  for (size_t i = 1; i < std::size(kWorkers); ++i) std::printf("  %5.2f", best[0] / best[i]);
  std::printf("\n");
}

void measure_families(const Size &size, double seconds) {
  const Frame bgr = noise(TAVIX_PIX_FMT_BGR24, size, 1),
              other = noise(TAVIX_PIX_FMT_BGR24, size, 2);
  const Frame floats = noise(TAVIX_PIX_FMT_BGRF32, size, 3);
  Frame to_bgr(TAVIX_PIX_FMT_BGR24, size), to_floats(TAVIX_PIX_FMT_BGRF32, size);
  Frame nv12(TAVIX_PIX_FMT_NV12, size), grey(TAVIX_PIX_FMT_GRAY8, size);
  TavixArray *array = nullptr;

  measure("8-bit addition", size, seconds, [&] {
    TavixFrameBinaryArithmeticByCPU(bgr, other, TAVIX_BINARY_OP_ADD, kOne, kOne, kZero, to_bgr);
  });
  measure("8-bit multiply-add", size, seconds, [&] {
    TavixFrameUnaryArithmeticByCPU(bgr, TAVIX_UNARY_OP_MUL_ADD, kOne, kZero, to_bgr);
  });
  measure("float square root", size, seconds, [&] {
    TavixFrameUnaryArithmeticByCPU(floats, TAVIX_UNARY_OP_SQRT, kOne, kZero, to_floats);
  });
  measure("8-bit deviation", size, seconds,
          [&] { TavixFrameStatisticalFunctionByCPU(bgr, TAVIX_STAT_OP_STDDEV, &array); });
  measure("BGR to NV12", size, seconds, [&] { TavixFrameConvertColorByCPU(bgr, nv12); });
  measure("NV12 to BGR", size, seconds, [&] { TavixFrameConvertColorByCPU(nv12, to_bgr); });
  measure("8-bit to float", size, seconds, [&] { TavixFrameConvertColorByCPU(bgr, to_floats); });
  measure("BGR to grey", size, seconds, [&] { TavixFrameConvertColorByCPU(bgr, grey); });
  TavixArrayFree(array);
}

}  // namespace
}  // namespace tavix::benchmarks

int main(int argc, char **argv) {
  using namespace tavix::benchmarks;
  const double seconds = argc > 1 ? std::atof(argv[1]) : 0.5;
  std::printf(
      "   size    family              1 worker      2      4      8 workers, times as fast\n");
  for (const Size &size : {Size{64, 64}, Size{128, 128}, Size{256, 256}, Size{512, 512},
                           Size{1280, 720}, Size{1920, 1080}, Size{3840, 2160}})
    measure_families(size, seconds);
}
