// SPDX-License-Identifier: Apache-2.0
// One frame of a video through every family of operations: a labelled grid of pictures.
#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "common/frame_views.h"
#include "common/picture_converter.h"
#include "common/picture_grid.h"
#include "common/program.h"
#include "tavix/video_common_cpu.h"

namespace {

using namespace tavix::examples;

constexpr int32_t kFormat = TAVIX_PIX_FMT_BGR24;
constexpr int32_t kLinear = 1, kReflect = 4, kConstant = 0;

struct Tile {
  std::string label;
  std::function<FramePtr(const TavixFrameV2 &source)> make;
};

FramePtr same_size(const TavixFrameV2 &source) {
  return make_frame(kFormat, source.video.width, source.video.height);
}

// A tile of the source's size.
template <class Operation>
Tile tile(const char *label, Operation operation) {
  return {label, [=](const TavixFrameV2 &source) {
            FramePtr result = same_size(source);
            require_ok(operation(source, *result), label);
            return result;
          }};
}

// Frames an operation makes belong to the caller.
template <class Operation>
FramePtr take(const char *label, Operation operation) {
  TavixFrameV2 *made = nullptr;
  const int32_t status = operation(&made);
  FramePtr owner(made);
  require_ok(status, label);
  return owner;
}

FramePtr converted(const TavixFrameV2 &source, int32_t format) {
  FramePtr result = make_frame(format, source.video.width, source.video.height);
  require_ok(TavixFrameConvertColorByCPU(&source, result.get()), "convert colours");
  return result;
}

// An ellipse of ones.
std::vector<uint8_t> disc(int side) {
  std::vector<uint8_t> element(size_t(side) * size_t(side));
  const int radius = side / 2;
  for (int y = -radius; y <= radius; ++y)
    for (int x = -radius; x <= radius; ++x)
      element[size_t((y + radius) * side + x + radius)] = x * x + y * y <= radius * radius;
  return element;
}

FramePtr masked(const TavixFrameV2 &source) {
  const FramePtr mask = converted(source, TAVIX_PIX_FMT_GRAY8);
  require_ok(TavixFrameThresholdBinaryByCPU(mask.get(), mask.get(), 110, 255, 0), "threshold");
  const FramePtr with_alpha = take(
      "mask", [&](TavixFrameV2 **out) { return TavixFrameAddMaskByCPU(&source, mask.get(), out); });
  // Seen over black: colour times alpha.
  const FramePtr alpha = converted(*mask, kFormat), colour = converted(*with_alpha, kFormat);
  const double none[4] = {}, one[4] = {1, 1, 1, 1};
  FramePtr result = same_size(source);
  require_ok(TavixFrameBinaryArithmeticByCPU(colour.get(), alpha.get(), TAVIX_BINARY_OP_AND, one,
                                             one, none, result.get()),
             "mask");
  return result;
}

FramePtr red_channel(const TavixFrameV2 &source) {
  TavixChannelFrames channels = {};
  const int32_t status = TavixFrameChannelSplitByCPU(&source, &channels, 1);
  const FramePtr red(channels.red);
  require_ok(status, "split");
  return converted(*red, kFormat);
}

FramePtr normalised(const TavixFrameV2 &source) {
  // ImageNet's mean and deviation in blue, green, red order, shown around the middle grey.
  const float to_float[8] = {103.53f,     116.28f,    123.675f,    0,
                             1 / 57.375f, 1 / 57.12f, 1 / 58.395f, 1};
  const float to_bytes[8] = {-2, -2, -2, 0, 64, 64, 64, 1};
  const auto fuse = [](const TavixFrameV2 &from, int32_t type, const float *values) {
    return take("normalise", [&](TavixFrameV2 **out) {
      return TavixFrameDataTypeConvertNormalizationFuseByCPU(&from, out, type, values);
    });
  };
  const FramePtr floats = fuse(source, TAVIX_DATA_TYPE_FLOAT32, to_float);
  return fuse(*floats, TAVIX_DATA_TYPE_UINT8, to_bytes);
}

std::vector<Tile> tiles() {
  static const std::vector<uint8_t> kDisc = disc(9);
  static float sharpen[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
  static const TavixKernel kElement = {9, 9, TAVIX_DATA_TYPE_UINT8,
                                       const_cast<uint8_t *>(kDisc.data())};
  static const TavixKernel kSharpen = {3, 3, TAVIX_DATA_TYPE_FLOAT32, sharpen};

  return {
      tile("source", [](auto &src, auto &dst) { return TavixFrameConvertColorByCPU(&src, &dst); }),
      {"resized by 1/8",
       [](const TavixFrameV2 &source) {
         return take("resize", [&](TavixFrameV2 **out) {
           return TavixFrameResizeByScaleByCPU(&source, out, 0.125, 0.125, 3);
         });
       }},
      tile("warped, affine",
           [](auto &src, auto &dst) {
             const float w = float(src.video.width), h = float(src.video.height);
             const float c = float(std::numbers::sqrt3 / 2), s = 0.5f;  // 30 degrees
             const float matrix[6] = {c,  s, (1 - c) * w / 2 - s * h / 2,
                                      -s, c, s * w / 2 + (1 - c) * h / 2};
             return TavixFrameWarpAffineByCPU(&dst, &src, matrix, kLinear, kConstant, 40);
           }),
      tile("warped, perspective",
           [](auto &src, auto &dst) {
             const float w = float(src.video.width);
             const float matrix[9] = {1, 0.3f, 0, 0, 1, 0, 0.6f / w, 0, 1};
             return TavixFrameWarpPerspectiveByCPU(&dst, &src, matrix, kLinear, kConstant, 40);
           }),
      {"bordered",
       [](const TavixFrameV2 &source) {
         const int32_t rim = std::max(1, source.video.width / 12);
         FramePtr result =
             make_frame(kFormat, source.video.width + 2 * rim, source.video.height + 2 * rim);
         require_ok(
             TavixFrameCopyMakeBorderByCPU(&source, result.get(), rim, rim, rim, rim, kReflect, 0),
             "border");
         return result;
       }},
      {"region copied",
       [](const TavixFrameV2 &source) {
         FramePtr result = same_size(source);
         require_ok(TavixFrameMemfillByCPU(&source, result.get(), 128), "fill");
         const float w = float(source.video.width), h = float(source.video.height);
         const TavixRect middle = {w / 4, h / 4, w / 2, h / 2};
         require_ok(TavixFrameRoiByCPU(&source, result.get(), middle, middle), "copy a region");
         return result;
       }},
      tile("blurred",
           [](auto &src, auto &dst) {
             return TavixFrameBlurByCPU(&src, &dst, {15, 15});
           }),
      tile("sharpened",
           [](auto &src, auto &dst) { return TavixFrameFilter2DByCPU(&src, &dst, &kSharpen); }),
      tile("dilated",
           [](auto &src, auto &dst) { return TavixFrameDilateBorderByCPU(&src, &dst, &kElement); }),
      tile("eroded",
           [](auto &src, auto &dst) { return TavixFrameErodeBorderByCPU(&src, &dst, &kElement); }),
      tile("thresholded",
           [](auto &src, auto &dst) {
             return TavixFrameThresholdBinaryByCPU(&src, &dst, 127, 255, 0);
           }),
      tile("range 64 to 192",
           [](auto &src, auto &dst) { return TavixFrameMinMaxNormByCPU(&src, &dst, 64, 192); }),
      {"red channel", red_channel},
      {"bright parts masked", masked},
      {"grey",
       [](auto &source) { return converted(*converted(source, TAVIX_PIX_FMT_GRAY8), kFormat); }},
      tile("square root",
           [](auto &src, auto &dst) {
             const double scale[4] = {255, 255, 255, 255}, none[4] = {};
             return TavixFrameUnaryArithmeticByCPU(&src, TAVIX_UNARY_OP_SQRT, scale, none, &dst);
           }),
      {"normalised", normalised},
  };
}

void make_gallery(const CLI::App &app, const VideoOptions &options) {
  VideoReader reader = options.open_video();
  OutputFile file(options.output_path("gallery.png"));

  // The middle of the video, as far as the file says where that is.
  const AVFrame *picture = reader.next();
  PicturePtr source = make_picture(AV_PIX_FMT_BGR24, picture->width, picture->height);
  PictureConverter converter;
  const int64_t middle = reader.expected_pictures() / 2;
  for (int64_t n = 0; picture != nullptr && n <= middle; ++n, picture = reader.next()) {
    check_interrupted();
    if (n == 0 || n == middle) converter.convert(*picture, *source);
  }

  const TavixFrameV2 frame = view_as_frame(*source);
  PictureGrid grid;
  for (const Tile &t : tiles()) grid.add(t.label, *t.make(frame));
  grid.write(file);
  file.publish();
  fmt::print("gallery        {}\n", file.target().string());
  options.report_damaged(app, reader.damaged());
}

}  // namespace

int main(int argc, char **argv) {
  VideoOptions options;
  CLI::App app("Shows one frame of a video through every family of operations: writes gallery.png.",
               "gallery");
  options.add_to(app);
  return run_program(app, argc, argv, [&] { make_gallery(app, options); });
}
