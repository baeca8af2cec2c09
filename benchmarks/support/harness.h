// SPDX-License-Identifier: Apache-2.0
// One operation beside its peers. A subject is one file that defines register_benchmarks():
//
//   void tavix::benchmarks::register_benchmarks() {
//     compare("invert_u8_bgr", [](const Size &size) {              // what one call works on
//       return Frames({noise(TAVIX_PIX_FMT_BGR24, size, 1)}, Frame(TAVIX_PIX_FMT_BGR24, size));
//     })
//         .ours([](Frames &f) { TavixFrameInvertByCPU(f.src[0], f.dst); })
//         .peer("opencv", kExact, [](Frames &f) {
//           cv::Mat dst = f.dst.mat();                             // a peer's own header, no copy
//           cv::bitwise_not(f.src[0].mat(), dst);
//         });
//   }
//
// and one line of CMakeLists.txt: tavix_benchmark(subject peers...). The benchmarks are named
// operation/peer/size, ours is "tavix", and "memcpy" and "stream" are added to every operation, and
// ours once more for each narrower level of processor than the one at hand ("portable", "avx2",
// "avx512"). All run on one thread. A peer that claims equal work is checked against ours before it
// is timed.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/frame.h"
#include "support/samples.h"

namespace tavix::benchmarks {

// Each subject's list of comparisons.
void register_benchmarks();

// What one call reads and writes; memcpy and the stream limit move the same bytes. A subject whose
// calls work on anything but frames derives a record of its own and fills the two lists.
struct Workload {
  std::vector<Samples> inputs, outputs;
};

// Sources and one destination.
struct Frames : Workload {
  Frames(std::vector<Frame> sources, Frame destination);

  std::vector<Frame> src;
  Frame dst;
};

// How far the outputs of a peer may lie from ours: an absolute difference for integers, relative to
// magnitudes above 1 for floats.
using Tolerance = double;
inline constexpr Tolerance kExact = 0.0;
inline constexpr Tolerance kUnequalWork = -1.0;  // not compared: the peer does something nearby

using Sizes = std::vector<Size>;
inline const Sizes kSizes = {{256, 256}, {1920, 1080}, {3840, 2160}};

namespace detail {

struct Case {
  std::string operation;
  std::function<std::shared_ptr<Workload>(const Size &size)> make;
  Sizes sizes;
};
using Run = std::function<void(Workload &work)>;

void add_limits(const Case &subject);
void add_ours(const Case &subject, const Run &ours, bool by_level);
void add_peer(const Case &subject, const std::string &peer, const Run &ours, const Run &run,
              Tolerance tolerance);

}  // namespace detail

template <class Work>
class Comparison {
 public:
  explicit Comparison(detail::Case subject) : subject_(std::move(subject)) {
    detail::add_limits(subject_);
  }

  // by_level: the call has kernels of its own for several levels of processor.
  template <class Run>
  Comparison &ours(Run run, bool by_level = true) {
    ours_ = erase(std::move(run));
    detail::add_ours(subject_, ours_, by_level);
    return *this;
  }

  // Call after ours().
  template <class Run>
  Comparison &peer(const std::string &name, Tolerance tolerance, Run run) {
    detail::add_peer(subject_, name, ours_, erase(std::move(run)), tolerance);
    return *this;
  }

 private:
  template <class Run>
  static detail::Run erase(Run run) {
    return [run](Workload &work) { run(static_cast<Work &>(work)); };
  }

  detail::Case subject_;
  detail::Run ours_;
};

// Starts the comparison of one operation at every size; make(size) returns a Workload.
template <class Make>
auto compare(const std::string &operation, Make make, const Sizes &sizes = kSizes) {
  using Work = std::invoke_result_t<Make, const Size &>;
  return Comparison<Work>(
      {operation, [make](const Size &size) { return std::make_shared<Work>(make(size)); }, sizes});
}

}  // namespace tavix::benchmarks
