// SPDX-License-Identifier: Apache-2.0
// Mean and deviation of the channels of every frame of a video, as a table and as a plot.
#include <fmt/format.h>

#include "commands/commands.h"
#include "pictures/channel_statistics.h"
#include "program/progress.h"
#include "program/video_options.h"
#include "tavix/interop/ffmpeg.h"
#include "video/picture_converter.h"

namespace tavix::tool {

namespace {

constexpr const char *kDescription =
    "Computes the mean and the standard deviation of blue, green and red for every frame of a "
    "video: writes statistics.csv and its plot statistics.png.";

int make_statistics(const Command &, const VideoOptions &options) {
  VideoReader reader = options.open_video();
  const AVFrame *picture = reader.next();
  const int width = picture->width, height = picture->height;
  OutputFile csv_file(options.output_path("statistics.csv"));
  OutputFile plot_file(options.output_path("statistics.png"));
  ChannelStatistics statistics({"frame"});

  PictureConverter converter;
  const PicturePtr bgr = make_picture(AV_PIX_FMT_BGR24, width, height);
  const int64_t start = picture->pts;
  Progress progress(reader.expected_pictures());
  for (; picture != nullptr; picture = reader.next()) {
    check_interrupted();
    converter.convert(*picture, *bgr);
    const TavixFrameV2 frame = frame_view(*bgr);
    statistics.add(double(picture->pts - start) * av_q2d(reader.time_base()), {&frame});
    progress.show(reader.pictures());
  }
  statistics.write(csv_file);
  statistics.plot("Channels of " + options.name(), plot_file);
  progress.clear();
  return options.conclude(
      reader, {{"statistics", &csv_file}, {"plot", &plot_file}},
      {{"frames", reader.pictures()}, {"width", width}, {"height", height}},
      fmt::format("{} of {} x {} pixels\n", counted(reader.pictures(), "frame"), width, height));
}

}  // namespace

void add_stats(CLI::App &program) {
  add_command(program, "stats", kDescription, make_statistics);
}

}  // namespace tavix::tool
