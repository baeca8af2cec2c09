// SPDX-License-Identifier: Apache-2.0
// How far two videos or pictures are apart: peak signal-to-noise ratio, structural similarity,
// largest difference, first pixel that differs, and a map of where they differ.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <stdexcept>

#include "commands/commands.h"
#include "pictures/heat_map.h"
#include "program/command.h"
#include "program/outputs.h"
#include "program/progress.h"
#include "tavix/interop/ffmpeg.h"
#include "tavix/interop/opencv.h"
#include "video/picture_converter.h"
#include "video/video_reader.h"

namespace tavix::tool {

namespace {

constexpr const char *kDescription =
    "Compares two videos or pictures of the same size, frame by frame in 8-bit colour: prints the "
    "PSNR, the SSIM of their grey forms, the largest difference and the first pixel that differs.";

struct Options {
  explicit Options(Command &command) {
    CLI::App &app = command.app();
    app.add_option("FIRST", first, "video or picture")->required()->type_name("FILE");
    app.add_option("SECOND", second, "video or picture")->required()->type_name("FILE");
    app.add_option("--heat-map", heat_map,
                   "write a map of the largest differences to this PNG file")
        ->type_name("FILE");
  }

  std::string first, second, heat_map;
};

constexpr double kOne[4] = {1, 1, 1, 1}, kNone[4] = {};

// Mean structural similarity of two grey pictures, after Wang, Bovik, Sheikh and Simoncelli (2004):
// windows are Gaussian, 11 x 11 pixels, with a deviation of 1.5.
double structural_similarity(const cv::Mat &first, const cv::Mat &second) {
  const double c1 = std::pow(0.01 * 255, 2), c2 = std::pow(0.03 * 255, 2);
  const auto mean = [](const cv::Mat &samples) {
    cv::Mat blurred;
    cv::GaussianBlur(samples, blurred, {11, 11}, 1.5);
    return blurred;
  };
  cv::Mat a, b;
  first.convertTo(a, CV_64F);
  second.convertTo(b, CV_64F);
  const cv::Mat mean_a = mean(a), mean_b = mean(b), product = mean_a.mul(mean_b);
  const cv::Mat square_a = mean_a.mul(mean_a), square_b = mean_b.mul(mean_b);
  const cv::Mat variance_a = mean(a.mul(a)) - square_a, variance_b = mean(b.mul(b)) - square_b;
  const cv::Mat covariance = mean(a.mul(b)) - product;
  const cv::Mat above = (2 * product + c1).mul(2 * covariance + c2);
  const cv::Mat below = (square_a + square_b + c1).mul(variance_a + variance_b + c2);
  cv::Mat similarity;
  cv::divide(above, below, similarity);
  return cv::mean(similarity)[0];
}

struct Pixel {
  int64_t frame;
  int x, y;
};

// The first pixel, in reading order, of which a sample is not 0.
Pixel first_pixel(const TavixFrameV2 &difference, int64_t frame) {
  for (int y = 0; y < difference.video.height; ++y) {
    const uint8_t *row = difference.data[0] + int64_t(y) * difference.linesize[0];
    const uint8_t *end = row + 3 * difference.video.width;
    const uint8_t *sample = std::find_if(row, end, [](uint8_t v) { return v != 0; });
    if (sample != end) return {frame, int(sample - row) / 3, y};
  }
  return {frame, -1, -1};
}

class Comparison {
 public:
  Comparison(int width, int height)
      : difference_(TAVIX_PIX_FMT_BGR24, width, height),
        grey_a_(TAVIX_PIX_FMT_GRAY8, width, height),
        grey_b_(TAVIX_PIX_FMT_GRAY8, width, height),
        largest_(height, width, CV_8UC1, cv::Scalar(0)) {}

  void add(const TavixFrameV2 &a, const TavixFrameV2 &b) {
    call<TavixFrameBinaryArithmeticByCPU>(a, b, uint32_t(TAVIX_BINARY_OP_ABSDIFF), kOne, kOne,
                                          kNone, difference_);
    Array maxima;
    call<TavixFrameStatisticalFunctionByCPU>(difference_, int32_t(TAVIX_STAT_OP_MAX), out(maxima));
    const double maximum = std::max({maxima[0], maxima[1], maxima[2]});
    if (maximum > 0 && !first_) first_ = first_pixel(*difference_, frames_);
    maximum_ = std::max(maximum_, maximum);
    const cv::Mat difference = mat_view(*difference_);
    squares_ += cv::norm(difference, cv::NORM_L2SQR);
    call<TavixFrameConvertColorByCPU>(a, grey_a_);
    call<TavixFrameConvertColorByCPU>(b, grey_b_);
    similarity_ += structural_similarity(mat_view(*grey_a_), mat_view(*grey_b_));

    cv::Mat channels[3];
    cv::split(difference, channels);
    for (const cv::Mat &channel : channels) cv::max(largest_, channel, largest_);
    ++frames_;
  }

  int64_t frames() const { return frames_; }
  double maximum() const { return maximum_; }
  double similarity() const { return similarity_ / double(frames_); }
  const std::optional<Pixel> &first() const { return first_; }
  const cv::Mat &largest() const { return largest_; }

  // Decibels; infinite where nothing differs.
  double ratio() const {
    const double samples = 3 * double(frames_) * double(largest_.total());
    return 10 * std::log10(255 * 255 / (squares_ / samples));
  }

 private:
  Frame difference_, grey_a_, grey_b_;
  cv::Mat largest_;  // of every pixel, over all frames
  int64_t frames_ = 0;
  double squares_ = 0, similarity_ = 0, maximum_ = 0;
  std::optional<Pixel> first_;
};

// The two files, frame by frame.
class Pair {
 public:
  explicit Pair(const Options &options)
      : names_{options.first, options.second},
        readers_{VideoReader(names_[0]), VideoReader(names_[1])} {
    next();
    const AVFrame &a = *pictures_[0], &b = *pictures_[1];
    if (a.width != b.width || a.height != b.height) {
      throw std::runtime_error(fmt::format("'{}' has {} x {} pixels, '{}' has {} x {}", names_[0],
                                           a.width, a.height, names_[1], b.width, b.height));
    }
    width_ = a.width;
    height_ = a.height;
    for (PicturePtr &bgr : bgr_) bgr = make_picture(AV_PIX_FMT_BGR24, width_, height_);
  }

  void compare_all(Comparison &comparison) {
    Progress progress(readers_[0].expected_pictures());
    for (; both(); next()) {
      check_interrupted();
      for (int i = 0; i < 2; ++i) converter_.convert(*pictures_[i], *bgr_[i]);
      comparison.add(frame_view(*bgr_[0]), frame_view(*bgr_[1]));
      progress.show(comparison.frames());
    }
  }

  // Says of each file what it has not got, once one has ended. Returns the exit status.
  int conclude(const Command &command) const {
    int status = kSuccess;
    const auto warn = [&](const std::string &sentence) {
      command.warn(sentence);
      status = kFailure;
    };
    for (int i = 0; i < 2; ++i) {
      if (pictures_[i] != nullptr) {
        warn(fmt::format("'{}' has more frames than the other", names_[i]));
      }
      if (const int64_t lost = readers_[i].lost(); lost > 0) {
        warn(fmt::format("'{}' is damaged or cut: {} of its frames are lost", names_[i], lost));
      }
    }
    return status;
  }

  bool same_length() const { return pictures_[0] == nullptr && pictures_[1] == nullptr; }
  int width() const { return width_; }
  int height() const { return height_; }

 private:
  bool both() const { return pictures_[0] != nullptr && pictures_[1] != nullptr; }
  void next() {
    for (int i = 0; i < 2; ++i) pictures_[i] = readers_[i].next();
  }

  std::string names_[2];
  VideoReader readers_[2];
  const AVFrame *pictures_[2] = {};
  PictureConverter converter_;
  PicturePtr bgr_[2];
  int width_ = 0, height_ = 0;
};

Json json_of(const Comparison &comparison) {
  const std::optional<Pixel> &first = comparison.first();
  Json result = {{"frames", comparison.frames()},
                 {"width", comparison.largest().cols},
                 {"height", comparison.largest().rows}};
  result["psnr"] = first ? Json(comparison.ratio()) : Json();
  result["ssim"] = comparison.similarity();
  result["maximum"] = comparison.maximum();
  result["first"] =
      first ? Json{{"frame", first->frame}, {"x", first->x}, {"y", first->y}} : Json();
  return result;
}

std::string text_of(const Comparison &comparison) {
  const std::string text =
      fmt::format("{} of {} x {} pixels\n", counted(comparison.frames(), "frame"),
                  comparison.largest().cols, comparison.largest().rows);
  if (!comparison.first()) return text + "no pixel differs\n";
  const Pixel &first = *comparison.first();
  return text + fmt::format(
                    "PSNR           {:.2f} dB\n"
                    "SSIM           {:.4f}\n"
                    "largest        {:.0f} of 255\n"
                    "first          frame {}, column {}, row {}\n",
                    comparison.ratio(), comparison.similarity(), comparison.maximum(), first.frame,
                    first.x, first.y);
}

int compare(const Command &command, const Options &options) {
  Pair pair(options);
  for (const std::string &input : {options.first, options.second}) {
    std::error_code ignored;  // no such map yet
    if (std::filesystem::equivalent(input, options.heat_map, ignored)) {
      throw std::runtime_error(fmt::format("'{}' would be overwritten", input));
    }
  }
  std::optional<OutputFile> map_file;
  if (!options.heat_map.empty()) map_file.emplace(options.heat_map);
  Comparison comparison(pair.width(), pair.height());
  pair.compare_all(comparison);

  Json result = json_of(comparison);
  std::string text = text_of(comparison);
  if (map_file) {
    write_heat_map(comparison.largest(), *map_file);
    map_file->publish();
    result["heat_map"] = options.heat_map;
    text += fmt::format("heat map       {}\n", options.heat_map);
  }
  result["same_length"] = pair.same_length();
  const int status = pair.conclude(command);
  command.print(result, text);
  return status;
}

}  // namespace

void add_diff(CLI::App &program) {
  add_command(program, "diff", kDescription, compare);
}

}  // namespace tavix::tool
