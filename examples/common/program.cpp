// SPDX-License-Identifier: Apache-2.0
#include "common/program.h"

#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <new>
#include <stdexcept>

#include "tavix/core.h"

extern "C" {
#include <libavutil/log.h>
}

namespace tavix::examples {

namespace fs = std::filesystem;

namespace {

volatile std::sig_atomic_t interrupted = 0;
struct Interrupted {};

int fail(const CLI::App &app, int status, const char *sentence, const char *advice = "") {
  std::fprintf(stderr, "%s: %s%s\n", app.get_name().c_str(), sentence, advice);
  return status;
}

}  // namespace

void VideoOptions::add_to(CLI::App &app) {
  app.add_option("VIDEO", video, "any video file that FFmpeg can decode")->required();
  app.add_option("--output", output, "folder for the results; made where it is missing")
      ->type_name("DIR")
      ->capture_default_str();
  app.add_flag("--skip-damaged", skip_damaged, "leave out damaged parts of the video");
}

VideoReader VideoOptions::open_video() const {
  using enum VideoReader::OnDamage;
  return VideoReader(video, skip_damaged ? kSkip : kThrow);
}

fs::path VideoOptions::output_path(const char *name) const {
  std::error_code error;
  fs::create_directories(output, error);
  if (error) {
    throw std::runtime_error(fmt::format("cannot write to '{}': {}", output, error.message()));
  }
  fs::path path = fs::path(output) / name;
  if (fs::equivalent(path, video, error)) {
    throw std::runtime_error(fmt::format("'{}' would be overwritten", video));
  }
  return path;
}

void VideoOptions::report_damaged(const CLI::App &app, int64_t parts) const {
  if (parts > 0) {
    fmt::print(stderr, "{}: {} damaged parts of '{}' were left out\n", app.get_name(), parts,
               video);
  }
}

void check_interrupted() {
  if (interrupted) throw Interrupted();
}

void require_ok(int32_t status, const char *what) {
  if (status != TAVIX_OK) {
    throw std::runtime_error(fmt::format("cannot {}: {}", what, TavixStatusName(status)));
  }
}

int run_program(CLI::App &app, int argc, char **argv, const std::function<void()> &work) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  av_log_set_level(AV_LOG_QUIET);
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, [](int) { interrupted = 1; });
  try {
    work();
    return 0;
  } catch (const Interrupted &) {
    return fail(app, 130, "interrupted");
  } catch (const DamagedVideo &error) {
    return fail(app, 1, error.what(), " (--skip-damaged leaves such parts out)");
  } catch (const std::bad_alloc &) {
    return fail(app, 1, "out of memory");
  } catch (const std::exception &error) {
    return fail(app, 1, error.what());
  }
}

}  // namespace tavix::examples
