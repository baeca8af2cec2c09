// SPDX-License-Identifier: Apache-2.0
// Prepares a video for an image classifier: the middle of every picture, 224 x 224 pixels of red,
// green and blue, normalised with ImageNet's mean and deviation, as an N x 3 x 224 x 224 array of
// floats for NumPy. Every tensor is read back from the file and turned into a picture again, which
// must be the one it was made from.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>

#include "common/contact_sheet.h"
#include "common/frame_views.h"
#include "common/npy_file.h"
#include "common/picture_converter.h"
#include "common/program.h"
#include "common/progress_bar.h"
#include "common/step_times.h"
#include "tavix/video_common_cpu.h"

namespace {

using namespace tavix::examples;

constexpr int32_t kSide = 224;
constexpr int32_t kChannels = 3;
constexpr int32_t kArea = 3;  // resize by averages
// A classifier's picture is 224 of 256 parts of the shorter side.
constexpr double kPart = 224.0 / 256;

// Means, then scales, of red, green and blue, and of a fourth channel that there is not.
using NormVals = std::array<float, 8>;
constexpr NormVals kNormalize = {255 * 0.485f,       255 * 0.456f,       255 * 0.406f,       0,
                                 1 / (255 * 0.229f), 1 / (255 * 0.224f), 1 / (255 * 0.225f), 1};
constexpr NormVals kRestore = {-0.485f / 0.229f, -0.456f / 0.224f, -0.406f / 0.225f, 0,
                               255 * 0.229f,     255 * 0.224f,     255 * 0.225f,     1};

struct FreeBlob {
  void operator()(TavixBlob *blob) const { TavixBlobFree(blob); }
};
using BlobPtr = std::unique_ptr<TavixBlob, FreeBlob>;

BlobPtr make_tensor() {
  constexpr int32_t kDims[] = {1, kChannels, kSide, kSide};
  BlobPtr tensor(TavixBlobAlloc(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, 4, kDims));
  if (!tensor) throw std::bad_alloc();
  return tensor;
}

std::span<float> elements(const TavixBlob &tensor) {
  return {static_cast<float *>(TavixBlobBufferGet(&tensor)), size_t(kChannels) * kSide * kSide};
}

// The square in the middle; the pixels stay where they are.
TavixFrameV2 middle_of(TavixFrameV2 frame) {
  TavixVideoInfo &video = frame.video;
  const int32_t shorter = std::min(video.width, video.height);
  const int32_t side = std::max(1, int32_t(std::lround(shorter * kPart)));
  frame.data[0] +=
      (video.height - side) / 2 * frame.linesize[0] + (video.width - side) / 2 * video.channels;
  video.width = video.height = side;
  return frame;
}

FramePtr normalized(const TavixFrameV2 &frame, TavixDataType type, const NormVals &values) {
  TavixFrameV2 *result = nullptr;
  const int32_t status =
      TavixFrameDataTypeConvertNormalizationFuseByCPU(&frame, &result, type, values.data());
  FramePtr owned(result);
  require_ok(status, "normalise a picture");
  return owned;
}

int64_t samples_that_differ(const TavixFrameV2 &a, const TavixFrameV2 &b) {
  int64_t different = 0;
  for (int32_t y = 0; y < a.video.height; ++y) {
    const uint8_t *row_a = a.data[0] + y * a.linesize[0], *row_b = b.data[0] + y * b.linesize[0];
    for (int32_t i = 0; i < a.video.width * a.video.channels; ++i)
      different += row_a[i] != row_b[i];
  }
  return different;
}

void preprocess(const CLI::App &app, const VideoOptions &options) {
  VideoReader reader = options.open_video();
  StepTimes times;
  const auto decode = [&] { return times.run("decode", [&] { return reader.next(); }); };
  const AVFrame *picture = decode();
  const int width = picture->width, height = picture->height;

  NpyFile tensors(options.output_path("tensors.npy"), {kChannels, kSide, kSide});
  OutputFile sheet_file(options.output_path("contact-sheet.png"));
  ContactSheet sheet({"before", "after"});

  PictureConverter converter;
  const PicturePtr rgb = make_picture(AV_PIX_FMT_RGB24, width, height);
  const FramePtr input = make_frame(TAVIX_PIX_FMT_RGB24, kSide, kSide);
  const FramePtr floats = make_frame(TAVIX_PIX_FMT_RGBF32, kSide, kSide);
  const BlobPtr tensor = make_tensor(), tensor_read = make_tensor();
  const FramePtr before = make_frame(TAVIX_PIX_FMT_BGR24, kSide, kSide);
  const FramePtr after = make_frame(TAVIX_PIX_FMT_BGR24, kSide, kSide);
  const int64_t start = picture->pts;
  ProgressBar progress(reader.expected_pictures());

  int64_t frames = 0, different = 0;
  for (; picture != nullptr; picture = decode()) {
    check_interrupted();
    times.run("convert to RGB", [&] { converter.convert(*picture, *rgb); });
    const TavixFrameV2 middle = middle_of(view_as_frame(*rgb));
    times.run("resize", [&] {
      require_ok(TavixFrameResizeByCPU(&middle, input.get(), kSide, kSide, kArea),
                 "resize a picture");
    });
    const FramePtr network_input = times.run(
        "normalise", [&] { return normalized(*input, TAVIX_DATA_TYPE_FLOAT32, kNormalize); });
    times.run("to tensor", [&] {
      require_ok(TavixFrameToBlobByCPU(network_input.get(), tensor.get()), "make a tensor");
    });
    times.run("write", [&] { tensors.append(elements(*tensor)); });

    times.run("read back", [&] { tensors.read(frames, elements(*tensor_read)); });
    times.run("from tensor", [&] {
      require_ok(TavixBlobToFrameByCPU(tensor_read.get(), floats.get()), "read a tensor");
    });
    const FramePtr restored =
        times.run("restore", [&] { return normalized(*floats, TAVIX_DATA_TYPE_UINT8, kRestore); });
    different += samples_that_differ(*input, *restored);

    require_ok(TavixFrameConvertColorByCPU(input.get(), before.get()), "convert a picture");
    require_ok(TavixFrameConvertColorByCPU(restored.get(), after.get()), "convert a picture");
    const double seconds = double(picture->pts - start) * av_q2d(reader.time_base());
    sheet.offer(fmt::format("{:.2f} s, frame {}", seconds, frames), {before.get(), after.get()});
    progress.show(++frames);
  }
  progress.clear();
  if (different > 0) {
    throw std::runtime_error(fmt::format("{} samples changed on the way back", different));
  }

  tensors.finish();
  sheet.write(sheet_file);
  tensors.file().publish();
  sheet_file.publish();

  fmt::print("{} tensors of {} x {} x {} from frames of {} x {} pixels\n\n", frames, kChannels,
             kSide, kSide, width, height);
  times.print(frames, int64_t(kSide) * kSide);
  fmt::print("\ntensors        {}\ncontact sheet  {}\n", tensors.file().target().string(),
             sheet_file.target().string());
  fmt::print("round trip     all {} samples are as before\n", frames * kChannels * kSide * kSide);
  options.report_damaged(app, reader.damaged());
}

}  // namespace

int main(int argc, char **argv) {
  VideoOptions options;
  CLI::App app(
      "Prepares a video for an image classifier: writes tensors.npy, N x 3 x 224 x 224 floats "
      "normalised for ImageNet, and contact-sheet.png.",
      "classify_preprocess");
  options.add_to(app);
  return run_program(app, argc, argv, [&] { preprocess(app, options); });
}
