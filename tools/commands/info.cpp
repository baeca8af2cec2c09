// SPDX-License-Identifier: Apache-2.0
// What the operations find on this machine, and what they are built on.
#include <fmt/format.h>
#include <oneapi/tbb/version.h>

#include <algorithm>
#include <fstream>
#include <opencv2/core/utility.hpp>
#include <thread>

#include "commands/commands.h"
#include "program/command.h"
#include "tavix/frame.hpp"

extern "C" {
#include <libavutil/avutil.h>
}

namespace tavix::tool {

namespace {

constexpr const char *kDescription =
    "Prints the processor features that the operations use, how many workers they run on and "
    "why, and the versions of the libraries.";

std::string processor_model() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);)
    if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
  return "unknown";
}

// Features that the operations have code for, in the words of /proc/cpuinfo.
Json processor_features() {
  Json features = Json::array();
#if defined(__x86_64__)
  __builtin_cpu_init();
#define ADD_FEATURE(name) \
  if (__builtin_cpu_supports(name)) features.push_back(name)
  ADD_FEATURE("sse4.1");
  ADD_FEATURE("avx");
  ADD_FEATURE("avx2");
  ADD_FEATURE("avx512f");
  ADD_FEATURE("avx512bw");
  ADD_FEATURE("avx512vbmi");
#undef ADD_FEATURE
#endif
  return features;
}

// The library answers for itself: its vector functions refuse processors that lack what they need.
std::string implementation() {
  const Frame pixel(TAVIX_PIX_FMT_GRAY8, 1, 1);
  constexpr double kOne[4] = {1, 1, 1, 1}, kNone[4] = {};
  const int32_t status = TavixFrameBinaryArithmeticAVX(
      pixel.get(), pixel.get(), TAVIX_BINARY_OP_ADD, kOne, kOne, kNone, pixel.get());
  return status == TAVIX_OK ? "vector (AVX2 or wider)" : "portable";
}

// The rule of the library, which does not tell its count.
int workers_for(int processors) {
  return std::clamp(processors - processors / 10 - 2, 1, 8);
}

std::string joined(const Json &list) {
  std::string text;
  for (const Json &word : list) text += (text.empty() ? "" : " ") + word.get<std::string>();
  return text;
}

int tell(const Command &command, const NoOptions &) {
  const unsigned processors = std::thread::hardware_concurrency();
  const int workers = workers_for(int(processors));
  const std::string reason =
      fmt::format("n - n / 10 - 2 for n = {} processors, at least 1 and at most 8", processors);
  const Json result = {{"processor", processor_model()},
                       {"features", processor_features()},
                       {"implementation", implementation()},
                       {"processors", processors},
                       {"workers", workers},
                       {"workers_because", reason},
                       {"versions",
                        {{"tavix_video_common_cpu", TAVIX_VERSION},
                         {"OpenCV", cv::getVersionString()},
                         {"oneTBB", TBB_runtime_version()},
                         {"FFmpeg", av_version_info()}}}};
  std::string text;
  const auto line = [&](const std::string &name, const std::string &value) {
    text += fmt::format("{:<24}{}\n", name, value);
  };
  line("processor", result["processor"]);
  line("features", joined(result["features"]));
  line("implementation", result["implementation"]);
  line("workers", fmt::format("{} ({})", workers, reason));
  for (const auto &[name, version] : result["versions"].items()) line(name, version);
  return command.print(result, text);
}

}  // namespace

void add_info(CLI::App &program) {
  add_command(program, "info", kDescription, tell);
}

}  // namespace tavix::tool
