// SPDX-License-Identifier: Apache-2.0
// Shows where a video moves: the absolute difference of each frame to the one before it, amplified,
// as a video; a contact sheet of source, difference and a blend of the two frames; and the
// statistics of every frame and of its motion.
#include <fmt/format.h>

#include <utility>

#include "common/channel_statistics.h"
#include "common/contact_sheet.h"
#include "common/frame_views.h"
#include "common/picture_converter.h"
#include "common/program.h"
#include "common/progress_bar.h"
#include "common/step_times.h"
#include "common/video_writer.h"
#include "tavix/video_common_cpu.h"

namespace {

using namespace tavix::examples;

// Blue, green, red, and an entry that three-channel frames ignore. Blue and red are amplified more:
// most videos store colour at a quarter of the resolution, so that it differs less.
using Channels = double[4];
constexpr Channels kOne = {1, 1, 1, 1}, kNone = {0, 0, 0, 0}, kGain = {6, 4, 6, 1};
constexpr Channels kNow = {0.6, 0.6, 0.6, 1}, kBefore = {0.4, 0.4, 0.4, 0};

void combine(const TavixFrameV2 &a, const Channels &alpha, TavixBinaryArithmeticOp op,
             const TavixFrameV2 &b, const Channels &beta, TavixFrameV2 &dst) {
  require_ok(TavixFrameBinaryArithmeticByCPU(&a, &b, op, alpha, beta, kNone, &dst),
             "combine frames");
}

void make_motion(const CLI::App &app, const VideoOptions &options) {
  VideoReader reader = options.open_video();
  StepTimes times;
  const auto decode = [&] { return times.run("decode", [&] { return reader.next(); }); };
  const AVFrame *picture = decode();
  const int width = picture->width, height = picture->height;

  VideoWriter video(
      options.output_path("motion.mp4"),
      {width, height, reader.time_base(), reader.frame_rate(), picture->sample_aspect_ratio});
  OutputFile sheet_file(options.output_path("contact-sheet.png"));
  ContactSheet sheet({"source", "difference", "blend"});
  OutputFile statistics_file(options.output_path("statistics.csv"));
  ChannelStatistics statistics({"source", "motion"});

  PictureConverter converter;
  PicturePtr now = make_picture(AV_PIX_FMT_BGR24, width, height);
  PicturePtr before = make_picture(AV_PIX_FMT_BGR24, width, height);
  const FramePtr difference = make_frame(TAVIX_PIX_FMT_BGR24, width, height);
  const FramePtr blend = make_frame(TAVIX_PIX_FMT_BGR24, width, height);
  const int64_t start = picture->pts;
  ProgressBar progress(reader.expected_pictures());

  int64_t frames = 0;
  for (; picture != nullptr; picture = decode()) {
    check_interrupted();
    times.run("convert to BGR", [&] { converter.convert(*picture, *now); });
    const TavixFrameV2 source = view_as_frame(*now);
    const TavixFrameV2 previous = view_as_frame(frames == 0 ? *now : *before);

    times.run("difference",
              [&] { combine(source, kOne, TAVIX_BINARY_OP_ABSDIFF, previous, kOne, *difference); });
    const double seconds = double(source.pts - start) * av_q2d(reader.time_base());
    times.run("statistics", [&] { statistics.add(seconds, {&source, difference.get()}); });
    // Afterwards, because scaled samples of the two frames would saturate before they are compared.
    times.run("amplify", [&] {
      combine(*difference, kGain, TAVIX_BINARY_OP_ADD, *difference, kNone, *difference);
    });
    times.run("blend",
              [&] { combine(source, kNow, TAVIX_BINARY_OP_ADD, previous, kBefore, *blend); });

    difference->pts = source.pts;
    times.run("encode", [&] { video.write(*difference); });
    sheet.offer(fmt::format("{:.2f} s, frame {}", seconds, frames),
                {&source, difference.get(), blend.get()});
    progress.show(++frames);
    std::swap(now, before);
  }

  times.run("encode", [&] { video.finish(); });
  sheet.write(sheet_file);
  statistics.write(statistics_file);
  video.file().publish();
  sheet_file.publish();
  statistics_file.publish();
  progress.clear();

  fmt::print("{} frames of {} x {} pixels\n\n", frames, width, height);
  times.print(frames, int64_t(width) * height);
  fmt::print("\nvideo          {}\ncontact sheet  {}\nstatistics     {}\n",
             video.file().target().string(), sheet_file.target().string(),
             statistics_file.target().string());
  options.report_damaged(app, reader.damaged());
}

}  // namespace

int main(int argc, char **argv) {
  VideoOptions options;
  CLI::App app(
      "Shows where a video moves: writes motion.mp4, contact-sheet.png and statistics.csv.",
      "motion");
  options.add_to(app);
  return run_program(app, argc, argv, [&] { make_motion(app, options); });
}
