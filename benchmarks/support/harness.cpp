// SPDX-License-Identifier: Apache-2.0
#include "support/harness.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "common/parallel/tavix_parallel_wrapper.h"
#include "cpu_dispatch/cpu_features.h"
#include "support/stream.h"

namespace tavix::benchmarks {

namespace {

int64_t bytes_moved(const Workload &work) {
  int64_t bytes = 0;
  for (const auto *list : {&work.inputs, &work.outputs})
    for (const Samples &samples : *list) bytes += samples.bytes();
  return bytes;
}

// The workload of the case that ran last: repetitions of one case share it, and no two are in
// memory at once.
Workload &workload(const std::string &key, const detail::Case &subject, const Size &size) {
  static std::string kept_key;
  static std::shared_ptr<Workload> kept;
  if (kept_key != key) {
    kept.reset();
    kept = subject.make(size);
    kept_key = key;
  }
  return *kept;
}

using Bytes = std::vector<uint8_t>;

std::vector<Bytes> outputs_of(const detail::Run &run, Workload &work) {
  std::vector<Bytes> outputs;
  for (const Samples &samples : work.outputs)
    std::memset(samples.data(), 0x5A, size_t(samples.bytes()));
  run(work);
  for (const Samples &samples : work.outputs)
    outputs.emplace_back(samples.data(), samples.data() + samples.bytes());
  return outputs;
}

// The first place where a peer is further from ours than it may be, or nothing.
std::string disagreement(const detail::Run &ours, const detail::Run &peer, Tolerance tolerance,
                         Workload &work) {
  const std::vector<Bytes> expected = outputs_of(ours, work), found = outputs_of(peer, work);
  for (size_t k = 0; k < work.outputs.size(); ++k) {
    const Samples &samples = work.outputs[k];
    for (int64_t i = 0; i < samples.count(); ++i) {
      const double a = samples.at(expected[k].data(), i), b = samples.at(found[k].data(), i);
      const double scale = samples.is_float() ? std::max(1.0, std::fabs(a)) : 1.0;
      if (a == b || (std::isnan(a) && std::isnan(b))) continue;
      if (std::fabs(a - b) <= tolerance * scale) continue;
      return "sample " + std::to_string(i) + " of output " + std::to_string(k) + " is " +
             std::to_string(b) + ", ours is " + std::to_string(a);
    }
  }
  return {};
}

void add(const detail::Case &subject, const std::string &peer, const detail::Run &run,
         const std::function<std::string(Workload &work)> &check) {
  for (const Size &size : subject.sizes) {
    const std::string size_name = std::to_string(size.width) + "x" + std::to_string(size.height);
    const std::string key = subject.operation + "/" + size_name;
    benchmark::RegisterBenchmark(
        (subject.operation + "/" + peer + "/" + size_name).c_str(),
        [key, subject, size, run, check, checked = false](benchmark::State &state) mutable {
          Workload &work = workload(key, subject, size);
          if (const std::string error = checked ? std::string() : check(work); !error.empty()) {
            state.SkipWithError(error.c_str());
            return;
          }
          checked = true;
          for (auto _ : state) {
            run(work);
            benchmark::ClobberMemory();
          }
          state.SetBytesProcessed(int64_t(state.iterations()) * bytes_moved(work));
        });
  }
}

std::string nothing_to_check(Workload &) {
  return {};
}

std::string too_many_streams(Workload &work) {
  return std::max(work.inputs.size(), work.outputs.size()) > kMaxStreams ? "too many streams" : "";
}

// Copies half of the bytes that the operation moves, so that reading and writing add up to them.
void copy_same_bytes(Workload &work) {
  static Bytes from, to;
  const auto half = size_t(bytes_moved(work) / 2);
  if (from.size() != half) {
    from.assign(half, 1);
    to.assign(half, 2);
  }
  std::memcpy(to.data(), from.data(), half);
  benchmark::DoNotOptimize(to.data());
}

void stream_same_bytes(Workload &work) {
  benchmark::DoNotOptimize(stream_avx2(work.inputs.data(), work.inputs.size(), work.outputs.data(),
                                       work.outputs.size()));
}

// Ours on a processor that has no more than a level.
detail::Run at_level(const detail::Run &ours, module::CpuLevel level) {
  return [ours, level](Workload &work) {
    uint32_t &flags = module::detail::features.flags;
    const uint32_t processor = flags;
    if (level == module::CpuLevel::kPortable) flags &= ~module::TAVIX_CPU_FEATURE_AVX2;
    module::detail::level_limit = level;
    ours(work);
    module::detail::level_limit = module::CpuLevel::kAvx512Vbmi;
    flags = processor;
  };
}

}  // namespace

Frames::Frames(std::vector<Frame> sources, Frame destination)
    : src(std::move(sources)), dst(std::move(destination)) {
  for (const Frame &frame : src)
    for (const Samples &plane : frame.planes()) inputs.push_back(plane);
  outputs = dst.planes();
}

namespace detail {

void add_limits(const Case &subject) {
  add(subject, "memcpy", copy_same_bytes, nothing_to_check);
  if (module::use_avx2()) add(subject, "stream", stream_same_bytes, too_many_streams);
}

void add_ours(const Case &subject, const Run &ours, bool by_level) {
  add(subject, "tavix", ours, nothing_to_check);
  if (!by_level) return;
  constexpr const char *kNames[] = {"portable", "avx2", "avx512"};
  for (int level = 0; level < int(module::cpu_level()); ++level)
    add(subject, kNames[level], at_level(ours, module::CpuLevel(level)), nothing_to_check);
}

void add_peer(const Case &subject, const std::string &peer, const Run &ours, const Run &run,
              Tolerance tolerance) {
  if (tolerance < 0) return add(subject, peer, run, nothing_to_check);
  add(subject, peer, run,
      [ours, run, tolerance](Workload &work) { return disagreement(ours, run, tolerance, work); });
}

}  // namespace detail

}  // namespace tavix::benchmarks

int main(int argc, char **argv) {
  tavix::module::worker_count = 1;
  cv::setNumThreads(1);
  tavix::benchmarks::register_benchmarks();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
