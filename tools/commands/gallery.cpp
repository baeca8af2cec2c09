// SPDX-License-Identifier: Apache-2.0
// One frame of a video through every family of operations: a labelled grid of pictures.
#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <numbers>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "pictures/picture_grid.h"
#include "program/progress.h"
#include "program/video_options.h"
#include "tavix/interop/ffmpeg.h"
#include "video/picture_converter.h"

namespace tavix::tool {

namespace {

constexpr const char *kDescription =
    "Shows one frame of a video through every family of operations: writes gallery.png.";

constexpr int32_t kFormat = TAVIX_PIX_FMT_BGR24;
constexpr int kLeast = 8;  // pixels a side: an eighth of it is a picture
constexpr double kOne[4] = {1, 1, 1, 1}, kNone[4] = {};
constexpr int32_t kLinear = 1, kArea = 3;       // interpolation
constexpr int32_t kConstant = 0, kReflect = 4;  // borders

struct Tile {
  std::string label;
  std::function<Frame(const TavixFrameV2 &source)> make;
};

Frame same_size(const TavixFrameV2 &source, int32_t format = kFormat) {
  return Frame(format, source.video.width, source.video.height);
}

// A tile of the source's size.
template <class Operation>
Tile tile(const char *label, Operation operation) {
  return {label, [=](const TavixFrameV2 &source) {
            Frame result = same_size(source);
            operation(source, *result);
            return result;
          }};
}

Frame converted(const TavixFrameV2 &source, int32_t format) {
  Frame result = same_size(source, format);
  call<TavixFrameConvertColorByCPU>(source, result);
  return result;
}

// An ellipse of ones.
std::vector<uint8_t> disc(int side) {
  std::vector<uint8_t> element;
  const int radius = side / 2;
  for (int y = -radius; y <= radius; ++y)
    for (int x = -radius; x <= radius; ++x) element.push_back(x * x + y * y <= radius * radius);
  return element;
}

Frame bright_parts(const TavixFrameV2 &source) {
  const Frame mask = converted(source, TAVIX_PIX_FMT_GRAY8);
  call<TavixFrameThresholdBinaryByCPU>(mask, mask, 110, 255, 0);
  Frame with_alpha;
  call<TavixFrameAddMaskByCPU>(source, mask, out(with_alpha));
  // Seen over black: colour times alpha.
  const Frame alpha = converted(*mask, kFormat), colour = converted(*with_alpha, kFormat);
  Frame result = same_size(source);
  call<TavixFrameBinaryArithmeticByCPU>(colour, alpha, uint32_t(TAVIX_BINARY_OP_AND), kOne, kOne,
                                        kNone, result);
  return result;
}

Frame red_channel(const TavixFrameV2 &source) {
  ChannelFrames channels;
  call<TavixFrameChannelSplitByCPU>(source, out(channels), 1u);
  return converted(*channels.red, kFormat);
}

// What a blur takes away.
Frame edges(const TavixFrameV2 &source) {
  Frame result = same_size(source);
  call<TavixFrameBlurByCPU>(source, result, TavixSize{15, 15});
  constexpr double kFour[4] = {4, 4, 4, 4};
  call<TavixFrameBinaryArithmeticByCPU>(source, result, uint32_t(TAVIX_BINARY_OP_ABSDIFF), kOne,
                                        kOne, kNone, result);
  call<TavixFrameUnaryArithmeticByCPU>(result, int32_t(TAVIX_UNARY_OP_MUL_ADD), kFour, kNone,
                                       result);
  return result;
}

Frame normalised(const TavixFrameV2 &source) {
  // ImageNet's mean and deviation in blue, green, red order, shown around the middle grey.
  constexpr float kToFloat[8] = {103.53f,     116.28f,    123.675f,    0,
                                 1 / 57.375f, 1 / 57.12f, 1 / 58.395f, 1};
  constexpr float kToBytes[8] = {-2, -2, -2, 0, 64, 64, 64, 1};
  Frame floats, bytes;
  call<TavixFrameDataTypeConvertNormalizationFuseByCPU>(source, out(floats),
                                                        int32_t(TAVIX_DATA_TYPE_FLOAT32), kToFloat);
  call<TavixFrameDataTypeConvertNormalizationFuseByCPU>(floats, out(bytes),
                                                        int32_t(TAVIX_DATA_TYPE_UINT8), kToBytes);
  return bytes;
}

std::vector<Tile> tiles() {
  static const std::vector<uint8_t> kDisc = disc(9);
  static float sharpen[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
  static const TavixKernel kElement = {9, 9, TAVIX_DATA_TYPE_UINT8,
                                       const_cast<uint8_t *>(kDisc.data())};
  static const TavixKernel kSharpen = {3, 3, TAVIX_DATA_TYPE_FLOAT32, sharpen};

  return {
      tile("source", [](auto &src, auto &dst) { call<TavixFrameConvertColorByCPU>(src, dst); }),
      {"resized to 1/8, enlarged",
       [](const TavixFrameV2 &source) {
         Frame small;
         call<TavixFrameResizeByScaleByCPU>(source, out(small), 0.125, 0.125, kArea);
         return small;
       }},
      tile("warped, affine",
           [](auto &src, auto &dst) {
             const float w = float(src.video.width), h = float(src.video.height);
             const float c = float(std::numbers::sqrt3 / 2), s = 0.5f;  // 30 degrees
             const float matrix[6] = {c,  s, (1 - c) * w / 2 - s * h / 2,
                                      -s, c, s * w / 2 + (1 - c) * h / 2};
             call<TavixFrameWarpAffineByCPU>(dst, src, matrix, kLinear, kConstant, 40);
           }),
      tile("warped, perspective",
           [](auto &src, auto &dst) {
             const float w = float(src.video.width);
             const float matrix[9] = {1, 0.3f, 0, 0, 1, 0, 0.6f / w, 0, 1};
             call<TavixFrameWarpPerspectiveByCPU>(dst, src, matrix, kLinear, kConstant, 40);
           }),
      {"border reflected",
       [](const TavixFrameV2 &source) {
         const int32_t rim = std::max(1, source.video.width / 12);
         Frame result(kFormat, source.video.width + 2 * rim, source.video.height + 2 * rim);
         call<TavixFrameCopyMakeBorderByCPU>(source, result, rim, rim, rim, rim, kReflect, 0);
         return result;
       }},
      tile("middle copied onto grey",
           [](auto &src, auto &dst) {
             call<TavixFrameMemfillByCPU>(src, dst, 128.0f);
             const float w = float(src.video.width), h = float(src.video.height);
             const TavixRect middle = {w / 4, h / 4, w / 2, h / 2};
             call<TavixFrameRoiByCPU>(src, dst, middle, middle);
           }),
      tile("blurred, 15 x 15",
           [](auto &src, auto &dst) {
             call<TavixFrameBlurByCPU>(src, dst, TavixSize{15, 15});
           }),
      tile("sharpened",
           [](auto &src, auto &dst) { call<TavixFrameFilter2DByCPU>(src, dst, &kSharpen); }),
      {"difference from blur, x 4", edges},
      tile("dilated, disc of 9",
           [](auto &src, auto &dst) { call<TavixFrameDilateBorderByCPU>(src, dst, &kElement); }),
      tile("eroded, disc of 9",
           [](auto &src, auto &dst) { call<TavixFrameErodeBorderByCPU>(src, dst, &kElement); }),
      tile("each channel above 127",
           [](auto &src, auto &dst) {
             call<TavixFrameThresholdBinaryByCPU>(src, dst, 127, 255, 0);
           }),
      tile("range mapped to 64..192",
           [](auto &src, auto &dst) { call<TavixFrameMinMaxNormByCPU>(src, dst, 64, 192); }),
      {"red channel", red_channel},
      {"bright parts kept", bright_parts},
      {"grey",
       [](auto &source) { return converted(*converted(source, TAVIX_PIX_FMT_GRAY8), kFormat); }},
      tile("square root of 255 x sample",
           [](auto &src, auto &dst) {
             constexpr double kScale[4] = {255, 255, 255, 255};
             call<TavixFrameUnaryArithmeticByCPU>(src, int32_t(TAVIX_UNARY_OP_SQRT), kScale, kNone,
                                                  dst);
           }),
      {"normalised, shown around grey", normalised},
  };
}

int make_gallery(const Command &, const VideoOptions &options) {
  VideoReader reader = options.open_video();
  OutputFile file(options.output_path("gallery.png"));

  // The middle of the video, as far as the file says where that is.
  const AVFrame *picture = reader.next();
  if (std::min(picture->width, picture->height) < kLeast) {
    throw std::runtime_error(
        fmt::format("frames of {} x {} pixels are too small: {} x {} are needed", picture->width,
                    picture->height, kLeast, kLeast));
  }
  PicturePtr source = make_picture(AV_PIX_FMT_BGR24, picture->width, picture->height);
  PictureConverter converter;
  const int64_t middle = reader.expected_pictures() / 2;
  Progress progress(middle);
  int64_t shown = 0;
  for (int64_t n = 0; picture != nullptr && n <= middle; ++n, picture = reader.next()) {
    check_interrupted();
    // A file may end before it says it does: the first picture is better than none.
    if (n == 0 || n == middle) converter.convert(*picture, *source), shown = n;
    progress.show(n);
  }
  progress.clear();

  const TavixFrameV2 frame = frame_view(*source);
  PictureGrid grid;
  for (const Tile &t : tiles()) grid.add(t.label, *t.make(frame));
  grid.write(file);
  return options.conclude(
      reader, {{"gallery", &file}}, {{"frame", shown}},
      fmt::format("frame {} of {} x {} pixels\n", shown, frame.video.width, frame.video.height));
}

}  // namespace

void add_gallery(CLI::App &program) {
  add_command(program, "gallery", kDescription, make_gallery);
}

}  // namespace tavix::tool
