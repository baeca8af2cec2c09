// SPDX-License-Identifier: Apache-2.0
// Prepares a video for a neural network: frames resized, normalised and packed as an array of
// floats for NumPy. Decoding, computing and writing overlap; the array is the same whatever the
// number of threads.
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <oneapi/tbb/enumerable_thread_specific.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_pipeline.h>
#include <oneapi/tbb/task_arena.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "commands/commands.h"
#include "files/npy_file.h"
#include "program/choice.h"
#include "program/progress.h"
#include "program/size.h"
#include "program/step_times.h"
#include "program/video_options.h"
#include "video/frame_selection.h"
#include "video/preprocessor.h"

namespace tavix::tool {

namespace {

constexpr const char *kDescription =
    "Prepares a video for a neural network: writes its frames to tensors.npy as an array of "
    "32-bit floats, (sample - mean) * scale. The defaults are ImageNet's means and deviations.";

struct Options {
  explicit Options(Command &command);

  VideoOptions video;
  std::string size = "224";
  Preprocessing preprocessing;
  FrameSelection::Choice choice;
  int threads = 0;  // 0: one for each processor
};

// "224", or "320x240".
std::string parse_size(const std::string &text, Preprocessing &preprocessing) {
  const bool has_both = text.find('x') != std::string::npos;
  const auto [width, height] = size_of(has_both ? text : text + "x" + text, 16384);
  preprocessing.width = width;
  preprocessing.height = height;
  return width > 0 ? "" : "'" + text + "' is not a size such as 224 or 320x240";
}

// An option that takes "0.5" for all channels, or "0.5,0.25,2".
void add_per_channel(CLI::App &app, const std::string &name, std::array<float, 3> &values,
                     const std::string &description) {
  const auto take = [&values, name](const std::vector<float> &given) {
    if (given.size() == 1)
      values.fill(given[0]);
    else if (given.size() == values.size())
      std::ranges::copy(given, values.begin());
    else
      throw CLI::ValidationError(name, "takes one number, or three with commas between them");
  };
  app.add_option_function<std::vector<float>>(name, take, description)
      ->delimiter(',')
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->type_name("A[,B,C]")
      ->default_str(fmt::format("{}", fmt::join(values, ",")));
}

Options::Options(Command &command) : video(command) {
  CLI::App &app = command.app();
  app.add_option("--size", size, "size of a tensor in pixels: one side, or width and height")
      ->check(CLI::Validator(
          [this](const std::string &text) { return parse_size(text, preprocessing); }, ""))
      ->type_name("N|WxH")
      ->capture_default_str();
  app.add_flag(
      "--crop", preprocessing.crop,
      "take the middle of each frame: 7/8 of its shorter side, in the proportions of the tensor");
  add_choice(app, "--layout", preprocessing.layout,
             {{"nchw", TAVIX_DATA_FORMAT_NCHW}, {"nhwc", TAVIX_DATA_FORMAT_NHWC}},
             "order of the dimensions (default: nchw)");
  add_choice(app, "--channels", preprocessing.colour,
             {{"rgb", TAVIX_PIX_FMT_RGB24}, {"bgr", TAVIX_PIX_FMT_BGR24}},
             "order of the channels (default: rgb)");
  add_choice(app, "--interpolation", preprocessing.interpolation,
             {{"nearest", 0}, {"linear", 1}, {"area", 3}},
             "how frames are resized (default: linear)");
  add_per_channel(app, "--mean", preprocessing.mean,
                  "means of the channels, in the range 0 to 255");
  add_per_channel(app, "--scale", preprocessing.scale, "factors of the channels");
  CLI::Option *every = app.add_option("--every", choice.every, "take every K-th frame")
                           ->check(CLI::PositiveNumber.description(""))
                           ->type_name("K");
  app.add_option("--fps", choice.rate,
                 "take RATE frames per second, or every frame of a slower video")
      ->check(CLI::PositiveNumber.description(""))
      ->excludes(every)
      ->type_name("RATE");
  app.add_option("--start", choice.start, "leave out the first SECONDS")
      ->check(CLI::NonNegativeNumber.description(""))
      ->type_name("SECONDS");
  app.add_option("--end", choice.end, "end SECONDS after the start of the video")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("SECONDS");
  app.add_option("--threads", threads, "threads that compute (default: one for each processor)")
      ->check(CLI::Range(1, 1024).description(""))
      ->type_name("N");
}

// One frame on its way through the pipeline.
struct Job {
  PicturePtr picture;
  Blob tensor;
};
using JobPtr = std::shared_ptr<Job>;

int make_tensors(const Command &, const Options &options) {
  namespace tbb = oneapi::tbb;
  VideoReader reader = options.video.open_video();
  FrameSelection selection(reader, options.choice);
  const Preprocessing &preprocessing = options.preprocessing;
  NpyFile tensors(options.video.output_path("tensors.npy"), preprocessing.shape());
  StepTimes times;
  Progress progress(selection.expected_pictures());
  int64_t frames = 0;

  // A job that is computed holds a picture and a tensor; no more are under way than keep every
  // thread busy.
  const int threads =
      options.threads > 0 ? options.threads : int(std::thread::hardware_concurrency());
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, size_t(threads));
  tbb::task_arena arena(threads);
  tbb::enumerable_thread_specific<Preprocessor> preprocessors(
      [&] { return Preprocessor(preprocessing); });

  const auto decode = [&](tbb::flow_control &control) -> JobPtr {
    check_interrupted();
    const AVFrame *picture = times.run("decode", [&] { return selection.next(); });
    if (picture == nullptr) {
      control.stop();
      return nullptr;
    }
    auto job = std::make_shared<Job>();
    job->picture.reset(av_frame_clone(picture));
    if (!job->picture) throw std::bad_alloc();
    return job;
  };
  const auto compute = [&](const JobPtr &job) {
    times.run("compute", [&] { job->tensor = preprocessors.local().tensor_of(*job->picture); });
    job->picture.reset();
    return job;
  };
  const auto write = [&](const JobPtr &job) {
    times.run("write", [&] { tensors.append({job->tensor.elements(), job->tensor.size()}); });
    progress.show(++frames);
  };
  using Mode = tbb::filter_mode;
  arena.execute([&] {
    tbb::parallel_pipeline(size_t(threads) + 2,
                           tbb::make_filter<void, JobPtr>(Mode::serial_in_order, decode) &
                               tbb::make_filter<JobPtr, JobPtr>(Mode::parallel, compute) &
                               tbb::make_filter<JobPtr, void>(Mode::serial_in_order, write));
  });
  progress.clear();
  if (frames == 0)
    throw std::runtime_error(fmt::format("'{}' has no frame in that time", options.video.video()));
  tensors.finish();

  std::vector<int64_t> shape = preprocessing.shape();
  shape.insert(shape.begin(), frames);
  const Json result = {{"frames", frames},
                       {"shape", shape},
                       {"type", "float32"},
                       {"threads", threads},
                       {"milliseconds_per_frame", times.json(frames)}};
  return options.video.conclude(
      reader, {{"tensors", &tensors.file()}}, result,
      fmt::format("{} of {} from {}, on {}\n\n{}\n", counted(frames, "tensor"),
                  fmt::join(preprocessing.shape(), " x "), counted(reader.pictures(), "frame"),
                  counted(threads, "thread"),
                  times.table(frames, int64_t(preprocessing.width) * preprocessing.height)));
}

}  // namespace

void add_tensors(CLI::App &program) {
  add_command(program, "tensors", kDescription, make_tensors);
}

}  // namespace tavix::tool
