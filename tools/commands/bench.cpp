// SPDX-License-Identifier: Apache-2.0
// How fast an operation is on this machine beside the same work by OpenCV and beside copying the
// bytes that it reads and writes: ratios alone, for times say more about the machine.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "commands/commands.h"
#include "program/command.h"
#include "tavix/interop/opencv.h"

namespace tavix::tool {

namespace {

constexpr double kOne[4] = {1, 1, 1, 1}, kNone[4] = {};

// What one operation is measured on: frames, and the same memory as matrices.
struct Pictures {
  Pictures(int width, int height)
      : a(height, width, CV_8UC3),
        b(height, width, CV_8UC3),
        grey(height, width, CV_8UC1),
        yuv(height * 3 / 2, width, CV_8UC1),
        floats(height, width, CV_32FC3),
        result(height, width, CV_8UC3),
        tensor(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {1, 3, height, width}) {
    cv::RNG random(1);
    for (cv::Mat *mat : {&a, &b, &yuv}) random.fill(*mat, cv::RNG::UNIFORM, 0, 256);
  }

  cv::Mat a, b, grey, yuv, floats, result;
  Blob tensor;
};

struct Operation {
  const char *name, *peer;  // the peer in words
  double bytes;             // read and written, for each pixel
  void (*ours)(const Pictures &);
  void (*opencv)(const Pictures &);
};

void binary(const Pictures &p, TavixBinaryArithmeticOp op) {
  call<TavixFrameBinaryArithmeticByCPU>(frame_view(p.a), frame_view(p.b), uint32_t(op), kOne, kOne,
                                        kNone, frame_view(p.result));
}

void convert(const TavixFrameV2 &src, TavixFrameV2 dst) {
  call<TavixFrameConvertColorByCPU>(src, dst);
}

const Operation kOperations[] = {
    {"add", "add, which takes no factors", 9, [](auto &p) { binary(p, TAVIX_BINARY_OP_ADD); },
     [](auto &p) { cv::add(p.a, p.b, p.result); }},
    {"absdiff", "absdiff, which takes no factors", 9,
     [](auto &p) { binary(p, TAVIX_BINARY_OP_ABSDIFF); },
     [](auto &p) { cv::absdiff(p.a, p.b, p.result); }},
    {"bgr-rgb", "cvtColor", 6,
     [](auto &p) { convert(frame_view(p.a), frame_view(p.result, TAVIX_PIX_FMT_RGB24)); },
     [](auto &p) { cv::cvtColor(p.a, p.result, cv::COLOR_BGR2RGB); }},
    {"bgr-gray", "cvtColor", 4, [](auto &p) { convert(frame_view(p.a), frame_view(p.grey)); },
     [](auto &p) { cv::cvtColor(p.a, p.grey, cv::COLOR_BGR2GRAY); }},
    {"i420-bgr", "cvtColor", 4.5,
     [](auto &p) { convert(frame_view(p.yuv, TAVIX_PIX_FMT_I420), frame_view(p.result)); },
     [](auto &p) { cv::cvtColor(p.yuv, p.result, cv::COLOR_YUV2BGR_I420); }},
    {"bgr-i420", "cvtColor", 4.5,
     [](auto &p) { convert(frame_view(p.a), frame_view(p.yuv, TAVIX_PIX_FMT_I420)); },
     [](auto &p) { cv::cvtColor(p.a, p.yuv, cv::COLOR_BGR2YUV_I420); }},
    {"bgr-float", "convertTo", 15, [](auto &p) { convert(frame_view(p.a), frame_view(p.floats)); },
     [](auto &p) { p.a.convertTo(p.floats, CV_32F, 1 / 255.); }},
    {"mean", "mean", 3,
     [](auto &p) {
       Array means;
       call<TavixFrameStatisticalFunctionByCPU>(frame_view(p.a), int32_t(TAVIX_STAT_OP_MEAN),
                                                out(means));
     },
     [](auto &p) { cv::mean(p.a); }},
    {"tensor", "convertTo, subtract, multiply, split", 15,
     [](auto &p) {
       constexpr float kValues[8] = {104, 116, 124, 0, 0.017f, 0.017f, 0.017f, 1};
       Frame normalised;
       call<TavixFrameDataTypeConvertNormalizationFuseByCPU>(
           frame_view(p.a), out(normalised), int32_t(TAVIX_DATA_TYPE_FLOAT32), kValues);
       call<TavixFrameToBlobByCPU>(normalised, p.tensor);
     },
     [](auto &p) {
       cv::Mat normalised;
       p.a.convertTo(normalised, CV_32F);
       cv::subtract(normalised, cv::Scalar(104, 116, 124), normalised);
       cv::multiply(normalised, cv::Scalar(0.017, 0.017, 0.017), normalised);
       cv::Mat planes[3];
       for (int c = 0; c < 3; ++c)
         planes[c] = cv::Mat(p.a.size(), CV_32F, p.tensor.elements() + size_t(c) * p.a.total());
       cv::split(normalised, planes);
     }},
};

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

double time_of(const std::function<void()> &work) {
  const Clock::time_point start = Clock::now();
  work();
  return Seconds(Clock::now() - start).count();
}

// The shortest time of each, measured in turns for so many seconds, so that what else the machine
// does meets all alike.
std::vector<double> shortest_times(const std::vector<std::function<void()>> &works,
                                   double seconds) {
  std::vector<double> shortest(works.size(), std::numeric_limits<double>::infinity());
  for (const auto &work : works) work();  // threads and tables are made
  const Clock::time_point start = Clock::now();
  int rounds = 0;
  while (Seconds(Clock::now() - start).count() < seconds || rounds < 5) {
    check_interrupted();
    for (size_t i = 0; i < works.size(); ++i)
      shortest[i] = std::min(shortest[i], time_of(works[i]));
    ++rounds;
  }
  return shortest;
}

struct Options {
  std::vector<std::string> names;
  int width = 1920, height = 1080;
  double seconds = 1;
};

int measure(const Command &command, const Options &options) {
  const Pictures pictures(options.width, options.height);
  Json result = {{"width", options.width}, {"height", options.height}};
  result["operations"] = Json::object();
  std::string text = fmt::format(
      "{} x {} pixels; how many times as long the others take\n\n{:<12}{:>10}{:>10}   {}\n",
      options.width, options.height, "operation", "OpenCV", "memcpy", "OpenCV's work");
  for (const Operation &operation : kOperations) {
    if (!options.names.empty() && std::ranges::count(options.names, operation.name) == 0) continue;
    // Half of the bytes are read, half written.
    const size_t bytes = size_t(operation.bytes / 2 * options.width * options.height);
    std::vector<uint8_t> from(bytes, 1), to(bytes);
    const std::vector<double> times =
        shortest_times({[&] { operation.ours(pictures); }, [&] { operation.opencv(pictures); },
                        [&] { std::memcpy(to.data(), from.data(), bytes); }},
                       options.seconds);
    const double opencv = times[1] / times[0], copy = times[2] / times[0];
    result["operations"][operation.name] = {{"opencv", opencv}, {"memcpy", copy}};
    text += fmt::format("{:<12}{:>10.2f}{:>10.2f}   {}\n", operation.name, opencv, copy,
                        operation.peer);
  }
  command.print(result, text);
  return kSuccess;
}

}  // namespace

void add_bench(CLI::App &program) {
  static Command command(
      program, "bench",
      "Measures operations on this machine beside OpenCV and beside copying the bytes that they "
      "read and write: prints how many times as long the others take, each on the threads that it "
      "takes by itself.");
  static Options options;
  std::vector<std::string> names;
  for (const Operation &operation : kOperations) names.push_back(operation.name);
  CLI::App &app = command.app();
  app.add_option("OPERATION", options.names,
                 fmt::format("which ones; without: all of {}", fmt::join(names, ", ")))
      ->check(CLI::IsMember(names).description(""))
      ->type_name("");
  const CLI::Validator even(
      [](const std::string &text) {
        return std::stol(text) % 2 == 0 ? std::string() : text + " is odd";
      },
      "");
  app.add_option("--width", options.width, "pixels, an even number")
      ->check(CLI::Range(2, 8192).description(""))
      ->check(even)
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--height", options.height, "pixels, an even number")
      ->check(CLI::Range(2, 8192).description(""))
      ->check(even)
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--seconds", options.seconds, "how long each operation is measured")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("SECONDS")
      ->capture_default_str();
  command.does([] { return measure(command, options); });
}

}  // namespace tavix::tool
