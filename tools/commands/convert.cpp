// SPDX-License-Identifier: Apache-2.0
// Converts one frame from a pixel format into another. Files named .png, .jpg or .jpeg are
// pictures; all others are raw: the planes one after another, each with its rows packed.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <span>
#include <stdexcept>
#include <vector>

#include "commands/commands.h"
#include "files/output_file.h"
#include "program/choice.h"
#include "program/command.h"
#include "program/size.h"
#include "tavix/interop/opencv.h"

namespace tavix::tool {

namespace {

constexpr const char *kDescription =
    "Converts one frame from one pixel format into another. Files named .png, .jpg or .jpeg are "
    "pictures; all others are raw: their planes follow each other without padding.";

namespace fs = std::filesystem;

struct Format {
  const char *name;
  int32_t code;
  int32_t pixel_bytes;    // in plane 0
  int32_t chroma_planes;  // of a 4:2:0 format, else 0
};

// clang-format off
constexpr Format kFormats[] = {
    { "rgb24",   TAVIX_PIX_FMT_RGB24,    3, 0 },
    { "bgr24",   TAVIX_PIX_FMT_BGR24,    3, 0 },
    { "gray8",   TAVIX_PIX_FMT_GRAY8,    1, 0 },
    { "bgra32",  TAVIX_PIX_FMT_BGRA32,   4, 0 },
    { "rgba32",  TAVIX_PIX_FMT_RGBA32,   4, 0 },
    { "nv12",    TAVIX_PIX_FMT_NV12,     1, 1 },
    { "nv21",    TAVIX_PIX_FMT_NV21,     1, 1 },
    { "yv12",    TAVIX_PIX_FMT_YV12,     1, 2 },
    { "i420",    TAVIX_PIX_FMT_I420,     1, 2 },
    { "rgbf32",  TAVIX_PIX_FMT_RGBF32,  12, 0 },
    { "bgrf32",  TAVIX_PIX_FMT_BGRF32,  12, 0 },
    { "rgbaf32", TAVIX_PIX_FMT_RGBAF32, 16, 0 },
    { "bgraf32", TAVIX_PIX_FMT_BGRAF32, 16, 0 },
    { "grayf32", TAVIX_PIX_FMT_GRAYF32,  4, 0 },
};
// clang-format on

const Format &format_of(int32_t code) {
  return *std::ranges::find(kFormats, code, &Format::code);
}

struct Options {
  explicit Options(Command &command);

  std::string input, output;
  int32_t from = TAVIX_PIX_FMT_NONE, to = TAVIX_PIX_FMT_NONE;
  std::string size;
  int32_t space = 2, range = 1;  // as TavixVideoInfo numbers them
};

constexpr int32_t kLargest = 32767;

template <class... Arguments>
std::runtime_error error(fmt::format_string<Arguments...> text, Arguments &&...arguments) {
  return std::runtime_error(fmt::format(text, std::forward<Arguments>(arguments)...));
}

bool is_picture(const std::string &path) {
  std::string extension = fs::path(path).extension().string();
  std::ranges::transform(extension, extension.begin(), [](unsigned char c) { return tolower(c); });
  return extension == ".png" || extension == ".jpg" || extension == ".jpeg";
}

// Calls work(row, bytes) for every row of every plane, in the order of a raw file.
template <class Work>
void for_each_row(const TavixFrameV2 &frame, Work work) {
  const Format &format = format_of(frame.video.format);
  const int32_t width = frame.video.width, height = frame.video.height;
  const auto plane = [&](int p, int32_t rows, int64_t bytes) {
    for (int32_t y = 0; y < rows; ++y) work(frame.data[p] + int64_t(y) * frame.linesize[p], bytes);
  };
  plane(0, height, int64_t(width) * format.pixel_bytes);
  for (int p = 1; p <= format.chroma_planes; ++p)
    plane(p, height / 2, width / format.chroma_planes);
}

int64_t raw_bytes(const Format &format, Size size) {
  const int64_t pixels = int64_t(size.width) * size.height;
  return pixels * format.pixel_bytes + (format.chroma_planes > 0 ? pixels / 2 : 0);
}

void require_even(const Format &format, Size size) {
  if (format.chroma_planes > 0 && (size.width % 2 != 0 || size.height % 2 != 0)) {
    throw error("{} needs an even width and height, not {} x {}", format.name, size.width,
                size.height);
  }
}

std::vector<uint8_t> read_file(const std::string &path) {
  if (!fs::exists(path)) throw error("'{}' does not exist", path);
  if (fs::is_directory(path)) throw error("'{}' is a directory, not a file", path);
  if (!fs::is_regular_file(path)) throw error("'{}' is a device or a pipe, not a file", path);
  std::vector<uint8_t> bytes(fs::file_size(path));
  std::ifstream in(path, std::ios::binary);
  in.read(reinterpret_cast<char *>(bytes.data()), std::streamsize(bytes.size()));
  if (!in) throw error("cannot read '{}'", path);
  return bytes;
}

Frame convert(const TavixFrameV2 &src, int32_t format) {
  Frame dst(format, src.video.width, src.video.height);
  dst->video.color_space = src.video.color_space;
  dst->video.color_range = src.video.color_range;
  call<TavixFrameConvertColorByCPU>(src, dst);
  return dst;
}

Frame read_picture(const Options &options, const std::vector<uint8_t> &bytes) {
  cv::Mat picture;
  if (!bytes.empty()) picture = cv::imdecode(bytes, cv::IMREAD_UNCHANGED);
  if (picture.empty()) throw error("'{}' is not a picture, or is damaged", options.input);
  if (picture.depth() != CV_8U) throw error("'{}' has more than 8 bits a sample", options.input);

  constexpr int32_t kByChannels[] = {TAVIX_PIX_FMT_NONE, TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_NONE,
                                     TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRA32};
  const Format &format = format_of(kByChannels[picture.channels()]);
  if (options.from != TAVIX_PIX_FMT_NONE && options.from != format.code) {
    throw error("'{}' holds {}, not {}", options.input, format.name, format_of(options.from).name);
  }
  const Size size =
      options.size.empty() ? Size{picture.cols, picture.rows} : size_of(options.size, kLargest);
  if (size.width != picture.cols || size.height != picture.rows) {
    throw error("'{}' has {} x {} pixels, not {}", options.input, picture.cols, picture.rows,
                options.size);
  }
  Frame frame(format.code, picture.cols, picture.rows);
  cv::Mat pixels = mat_view(*frame);
  picture.copyTo(pixels);
  return frame;
}

Frame read_raw(const Options &options, const std::vector<uint8_t> &bytes) {
  if (options.from == TAVIX_PIX_FMT_NONE || options.size.empty()) {
    throw error("'{}' is a raw file, which needs --from and --size", options.input);
  }
  const Format &format = format_of(options.from);
  const Size size = size_of(options.size, kLargest);
  require_even(format, size);
  const int64_t expected = raw_bytes(format, size);
  if (int64_t(bytes.size()) != expected) {
    throw error("'{}' has {} bytes, but {} x {} pixels of {} are {}", options.input, bytes.size(),
                size.width, size.height, format.name, expected);
  }
  Frame frame(format.code, size.width, size.height);
  const uint8_t *next = bytes.data();
  for_each_row(*frame, [&](uint8_t *row, int64_t n) {
    std::copy_n(next, n, row);
    next += n;
  });
  return frame;
}

// The bytes of the output file.
std::vector<uint8_t> encoded(const TavixFrameV2 &frame, const Options &options) {
  std::vector<uint8_t> bytes;
  if (!is_picture(options.output)) {
    for_each_row(frame,
                 [&](const uint8_t *row, int64_t n) { bytes.insert(bytes.end(), row, row + n); });
    return bytes;
  }
  // OpenCV wants blue first.
  const int32_t channels = frame.video.channels;
  const int32_t format = channels == 3   ? TAVIX_PIX_FMT_BGR24
                         : channels == 4 ? TAVIX_PIX_FMT_BGRA32
                                         : TAVIX_PIX_FMT_GRAY8;
  const Frame shown = convert(frame, format);
  if (!cv::imencode(fs::path(options.output).extension().string(), mat_view(*shown), bytes)) {
    throw error("cannot write '{}'", options.output);
  }
  return bytes;
}

// What the library would refuse, or do otherwise than asked, as a sentence of its own.
void check(const TavixFrameV2 &src, const Options &options) {
  const Format &from = format_of(src.video.format), &to = format_of(options.to);
  require_even(to, {src.video.width, src.video.height});
  if (from.code != to.code &&
      (from.code == TAVIX_PIX_FMT_GRAYF32 || to.code == TAVIX_PIX_FMT_GRAYF32)) {
    throw error("there is no conversion from {} to {}", from.name, to.name);
  }
  const bool decodes = from.chroma_planes > 0 && to.pixel_bytes >= 3;
  if (decodes && options.range == 2) {
    throw error("{} is converted to {} as limited range only", from.name, to.name);
  }
  if (is_picture(options.output) &&
      (to.chroma_planes > 0 || to.pixel_bytes > 4 || to.code == TAVIX_PIX_FMT_GRAYF32)) {
    throw error("'{}' is a picture, which cannot hold {}", options.output, to.name);
  }
}

Options::Options(Command &command) {
  CLI::App &app = command.app();
  Names formats;
  for (const Format &format : kFormats) formats.emplace_back(format.name, format.code);
  const CLI::Validator a_size(
      [](const std::string &text) {
        return size_of(text, kLargest).width > 0 ? ""
                                                 : "'" + text + "' is not a size such as 640x480";
      },
      "");
  app.add_option("INPUT", input, "raw frame or picture")->required()->type_name("");
  app.add_option("OUTPUT", output, "raw frame or picture")->required()->type_name("");
  add_choice(app, "--from", from, formats, "format of a raw input");
  add_choice(app, "--to", to, formats, "format of the result")->required();
  app.add_option("--size", size, "width and height of a raw input in pixels")
      ->check(a_size)
      ->type_name("WxH");
  add_choice(app, "--space", space, {{"bt601", 2}, {"bt709", 1}, {"bt2020", 7}},
             "colour space, by name or by number (default: bt601)", true);
  add_choice(app, "--range", range, {{"limited", 1}, {"full", 2}},
             "range of 4:2:0 results (default: limited)");
}

int run(const Command &command, const Options &options) {
  const std::vector<uint8_t> bytes = read_file(options.input);
  const Frame src =
      is_picture(options.input) ? read_picture(options, bytes) : read_raw(options, bytes);
  src->video.color_space = options.space;
  src->video.color_range = options.range;
  check(*src, options);
  const Frame dst = convert(*src, options.to);

  OutputFile file(options.output);
  file.write(encoded(*dst, options));
  file.publish();
  const char *from = format_of(src.format()).name, *to = format_of(options.to).name;
  return command.print(
      {{"width", src.width()},
       {"height", src.height()},
       {"from", from},
       {"to", to},
       {"output", options.output}},
      fmt::format("{} x {} pixels, {} to {}\n", src.width(), src.height(), from, to));
}

}  // namespace

void add_convert(CLI::App &program) {
  add_command(program, "convert", kDescription, run);
}

}  // namespace tavix::tool
