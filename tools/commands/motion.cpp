// SPDX-License-Identifier: Apache-2.0
// Shows where a video moves: the absolute difference of each frame to the one before it, amplified,
// as a video; a contact sheet of source, difference and a blend of the two frames; and the
// statistics of every frame and of its motion.
#include <fmt/format.h>

#include <utility>

#include "commands/commands.h"
#include "pictures/channel_statistics.h"
#include "pictures/contact_sheet.h"
#include "program/progress.h"
#include "program/step_times.h"
#include "program/video_options.h"
#include "tavix/interop/ffmpeg.h"
#include "video/picture_converter.h"
#include "video/video_writer.h"

namespace tavix::tool {

namespace {

constexpr const char *kDescription =
    "Shows where a video moves: writes motion.mp4, the amplified difference between each frame and "
    "the one before it; contact-sheet.png; and statistics.csv with its plot statistics.png.";

// Blue, green, red, and an entry that three-channel frames ignore. Blue and red are amplified more:
// most videos store colour at a quarter of the resolution, so that it differs less.
using Channels = double[4];
constexpr Channels kOne = {1, 1, 1, 1}, kNone = {0, 0, 0, 0}, kGain = {6, 4, 6, 1};
constexpr Channels kNow = {0.6, 0.6, 0.6, 1}, kBefore = {0.4, 0.4, 0.4, 0};

void combine(const TavixFrameV2 &a, const Channels &alpha, TavixBinaryArithmeticOp op,
             const TavixFrameV2 &b, const Channels &beta, TavixFrameV2 &dst) {
  call<TavixFrameBinaryArithmeticByCPU>(a, b, uint32_t(op), alpha, beta, kNone, dst);
}

int make_motion(const Command &, const VideoOptions &options) {
  VideoReader reader = options.open_video();
  StepTimes times;
  const auto decode = [&] { return times.run("decode", [&] { return reader.next(); }); };
  const AVFrame *picture = decode();
  const int width = picture->width, height = picture->height;

  VideoWriter video(
      options.output_path("motion.mp4"),
      {width, height, reader.time_base(), reader.frame_rate(), picture->sample_aspect_ratio});
  OutputFile sheet_file(options.output_path("contact-sheet.png"));
  ContactSheet sheet({{"source"}, {"difference", true}, {"blend of both"}});
  OutputFile csv_file(options.output_path("statistics.csv"));
  OutputFile plot_file(options.output_path("statistics.png"));
  ChannelStatistics statistics({"source", "motion"});

  PictureConverter converter;
  PicturePtr now = make_picture(AV_PIX_FMT_BGR24, width, height);
  PicturePtr before = make_picture(AV_PIX_FMT_BGR24, width, height);
  const Frame difference(TAVIX_PIX_FMT_BGR24, width, height);
  const Frame blend(TAVIX_PIX_FMT_BGR24, width, height);
  const int64_t start = picture->pts;
  Progress progress(reader.expected_pictures());

  int64_t frames = 0;
  for (; picture != nullptr; picture = decode()) {
    check_interrupted();
    times.run("convert to BGR", [&] { converter.convert(*picture, *now); });
    const TavixFrameV2 source = frame_view(*now);
    const TavixFrameV2 previous = frame_view(frames == 0 ? *now : *before);

    times.run("difference",
              [&] { combine(source, kOne, TAVIX_BINARY_OP_ABSDIFF, previous, kOne, *difference); });
    const double seconds = double(source.pts - start) * av_q2d(reader.time_base());
    times.run("statistics", [&] { statistics.add(seconds, {&source, difference.get()}); });
    times.run("blend",
              [&] { combine(source, kNow, TAVIX_BINARY_OP_ADD, previous, kBefore, *blend); });
    sheet.offer(fmt::format("{:.2f} s, frame {}", seconds, frames),
                {&source, difference.get(), blend.get()});
    // Afterwards, because scaled samples of the two frames would saturate before they are compared.
    times.run("amplify", [&] {
      call<TavixFrameUnaryArithmeticByCPU>(difference, int32_t(TAVIX_UNARY_OP_MUL_ADD), kGain,
                                           kNone, difference);
    });

    difference->pts = source.pts;
    times.run("encode", [&] { video.write(*difference); });
    progress.show(++frames);
    std::swap(now, before);
  }

  times.run("encode", [&] { video.finish(); });
  sheet.write(sheet_file);
  statistics.write(csv_file);
  statistics.plot("Channels of " + options.name(), plot_file);
  progress.clear();

  const Outputs outputs = {{"video", &video.file()},
                           {"contact sheet", &sheet_file},
                           {"statistics", &csv_file},
                           {"plot", &plot_file}};
  const Json result = {{"frames", frames},
                       {"width", width},
                       {"height", height},
                       {"milliseconds_per_frame", times.json(frames)}};
  return options.conclude(reader, outputs, result,
                          fmt::format("{} of {} x {} pixels\n\n{}\n", counted(frames, "frame"),
                                      width, height, times.table(frames, int64_t(width) * height)));
}

}  // namespace

void add_motion(CLI::App &program) {
  add_command(program, "motion", kDescription, make_motion);
}

}  // namespace tavix::tool
