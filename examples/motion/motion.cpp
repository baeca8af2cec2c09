// SPDX-License-Identifier: Apache-2.0
// Shows where a video moves: the absolute difference of each frame to the one before it, amplified,
// as a video; and a contact sheet of source, difference and a blend of the two frames.
//
// Exit status: 0; 1 when a file cannot be read or written, after one sentence on stderr and with
// nothing half-written left behind; 2 for a wrong command line; 130 when interrupted.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "common/contact_sheet.h"
#include "common/frame_views.h"
#include "common/picture_converter.h"
#include "common/progress_bar.h"
#include "common/step_times.h"
#include "common/video_reader.h"
#include "common/video_writer.h"
#include "tavix/video_common_cpu.h"

namespace {

using namespace tavix::examples;
namespace fs = std::filesystem;

struct Options {
  std::string video, output = ".";
  bool skip_damaged = false;
};

// Blue, green, red, and an entry that three-channel frames ignore. Blue and red are amplified more:
// most videos store colour at a quarter of the resolution, so that it differs less.
using Channels = double[4];
constexpr Channels kOne = {1, 1, 1, 1}, kNone = {0, 0, 0, 0}, kGain = {6, 4, 6, 1};
constexpr Channels kNow = {0.6, 0.6, 0.6, 1}, kBefore = {0.4, 0.4, 0.4, 0};

volatile std::sig_atomic_t interrupted = 0;
struct Interrupted {};

void combine(const TavixFrameV2 &a, const Channels &alpha, TavixBinaryArithmeticOp op,
             const TavixFrameV2 &b, const Channels &beta, TavixFrameV2 &dst) {
  const int32_t status = TavixFrameBinaryArithmeticByCPU(&a, &b, op, alpha, beta, kNone, &dst);
  if (status != TAVIX_OK) {
    throw std::runtime_error(fmt::format("cannot combine frames: {}", TavixStatusName(status)));
  }
}

fs::path output_path(const Options &options, const char *name) {
  std::error_code error;
  fs::create_directories(options.output, error);
  if (error) {
    throw std::runtime_error(
        fmt::format("cannot write to '{}': {}", options.output, error.message()));
  }
  fs::path path = fs::path(options.output) / name;
  if (fs::equivalent(path, options.video, error)) {
    throw std::runtime_error(fmt::format("'{}' would be overwritten", options.video));
  }
  return path;
}

void make_motion(const Options &options) {
  using enum VideoReader::OnDamage;
  VideoReader reader(options.video, options.skip_damaged ? kSkip : kThrow);
  StepTimes times;
  const auto decode = [&] { return times.run("decode", [&] { return reader.next(); }); };
  const AVFrame *picture = decode();
  const int width = picture->width, height = picture->height;

  VideoWriter video(
      output_path(options, "motion.mp4"),
      {width, height, reader.time_base(), reader.frame_rate(), picture->sample_aspect_ratio});
  OutputFile sheet_file(output_path(options, "contact-sheet.png"));
  ContactSheet sheet({"source", "difference", "blend"});

  PictureConverter converter;
  PicturePtr now = make_picture(AV_PIX_FMT_BGR24, width, height);
  PicturePtr before = make_picture(AV_PIX_FMT_BGR24, width, height);
  const FramePtr difference = make_frame(TAVIX_PIX_FMT_BGR24, width, height);
  const FramePtr blend = make_frame(TAVIX_PIX_FMT_BGR24, width, height);
  const int64_t start = picture->pts;
  ProgressBar progress(reader.expected_pictures());

  int64_t frames = 0;
  for (; picture != nullptr; picture = decode()) {
    if (interrupted) throw Interrupted();
    times.run("convert to BGR", [&] { converter.convert(*picture, *now); });
    const TavixFrameV2 source = view_as_frame(*now);
    const TavixFrameV2 previous = view_as_frame(frames == 0 ? *now : *before);

    times.run("difference",
              [&] { combine(source, kOne, TAVIX_BINARY_OP_ABSDIFF, previous, kOne, *difference); });
    // Afterwards, because scaled samples of the two frames would saturate before they are compared.
    times.run("amplify", [&] {
      combine(*difference, kGain, TAVIX_BINARY_OP_ADD, *difference, kNone, *difference);
    });
    times.run("blend",
              [&] { combine(source, kNow, TAVIX_BINARY_OP_ADD, previous, kBefore, *blend); });

    difference->pts = source.pts;
    times.run("encode", [&] { video.write(*difference); });
    const double seconds = double(source.pts - start) * av_q2d(reader.time_base());
    sheet.offer(fmt::format("{:.2f} s, frame {}", seconds, frames),
                {&source, difference.get(), blend.get()});
    progress.show(++frames);
    std::swap(now, before);
  }

  times.run("encode", [&] { video.finish(); });
  sheet.write(sheet_file);
  video.file().publish();
  sheet_file.publish();
  progress.clear();

  fmt::print("{} frames of {} x {} pixels\n\n", frames, width, height);
  times.print(frames, int64_t(width) * height);
  fmt::print("\nvideo          {}\ncontact sheet  {}\n", video.file().target().string(),
             sheet_file.target().string());
  if (reader.damaged() > 0) {
    fmt::print(stderr, "motion: {} damaged parts of '{}' were left out\n", reader.damaged(),
               options.video);
  }
}

int run(int argc, char **argv) {
  Options options;
  CLI::App app("Shows where a video moves: writes motion.mp4 and contact-sheet.png.", "motion");
  app.add_option("VIDEO", options.video, "any video file that FFmpeg can decode")->required();
  app.add_option("--output", options.output, "folder for the results; made where it is missing")
      ->type_name("DIR")
      ->capture_default_str();
  app.add_flag("--skip-damaged", options.skip_damaged, "leave out damaged parts of the video");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? 0 : 2;
  }

  av_log_set_level(AV_LOG_QUIET);
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, [](int) { interrupted = 1; });
  make_motion(options);
  return 0;
}

int fail(int status, const char *sentence, const char *advice = "") {
  std::fprintf(stderr, "motion: %s%s\n", sentence, advice);
  return status;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const Interrupted &) {
    return fail(130, "interrupted");
  } catch (const DamagedVideo &error) {
    return fail(1, error.what(), " (--skip-damaged leaves such parts out)");
  } catch (const std::bad_alloc &) {
    return fail(1, "out of memory");
  } catch (const std::exception &error) {
    return fail(1, error.what());
  }
}
