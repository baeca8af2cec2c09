// SPDX-License-Identifier: Apache-2.0
// 4:2:0 conversions beside zimg, which has the matrices of the standards and none of this code. How
// far the two lie apart on a picture of smooth colour, for every pair of formats and every matrix,
// is held against the table of docs/colour.md. It defines nothing: it would show a swapped or wrong
// coefficient, offset or range.
#include <gtest/gtest.h>
#include <zimg++.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <numbers>
#include <optional>
#include <sstream>

#include "color_formats.h"
#include "color_yuv_reference.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu/color.h"

namespace tavix::test {
namespace {

constexpr int kWidth = 256, kHeight = 192;

struct alignas(64) Line {
  std::array<uint8_t, 64> bytes;
};

// Three planes with rows of whole cache lines, as zimg takes them; T is uint8_t or float.
template <class T>
class Picture {
 public:
  Picture() {
    for (auto &plane : planes_) plane.resize(size_t(kWidth) * kHeight * sizeof(T) / sizeof(Line));
  }

  T &at(int plane, int x, int y) { return samples(plane)[y * kWidth + x]; }
  void *data(int plane) { return planes_[size_t(plane)].data(); }
  static constexpr ptrdiff_t kStride = kWidth * sizeof(T);

 private:
  static_assert(kStride % sizeof(Line) == 0);

  T *samples(int plane) { return reinterpret_cast<T *>(data(plane)); }

  std::array<std::vector<Line>, 3> planes_;
};

// Slow waves of the three channels, in 0..255, that meet in most colours.
template <class T>
Picture<T> smooth_colours() {
  const auto wave = [](double turns) {
    return 127.5 + 127.5 * std::sin(2 * std::numbers::pi * turns);
  };
  Picture<T> picture;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const double h = double(x) / kWidth, v = double(y) / kHeight;
      const double channels[3] = {wave(h), wave(v + 0.1), wave(0.7 * h - 0.9 * v)};
      for (int k = 0; k < 3; ++k)
        picture.at(k, x, y) =
            std::is_same_v<T, float> ? T(channels[k] / 255) : T(std::lround(channels[k]));
    }
  }
  return picture;
}

// A standard in our codes and in zimg's.
constexpr int32_t kBt601 = 2, kFullRange = 2;  // codes

struct Matrix {
  const char *name;
  int32_t color_space;
  zimg_matrix_coefficients_e matrix;
};
constexpr Matrix kMatrices[] = {{"BT.601", kBt601, ZIMG_MATRIX_ST170_M},
                                {"BT.709", TAVIX_COLOR_SPACE_BT709, ZIMG_MATRIX_BT709},
                                {"BT.2020", TAVIX_COLOR_SPACE_BT2020_NCL, ZIMG_MATRIX_BT2020_NCL}};

struct Range {
  const char *name;
  int32_t color_range;
  zimg_pixel_range_e range;
};
constexpr Range kRanges[] = {{"limited", 1, ZIMG_RANGE_LIMITED},
                             {"full", kFullRange, ZIMG_RANGE_FULL}};

template <class T>
zimgxx::zimage_format rgb_format() {
  zimgxx::zimage_format format;
  format.width = kWidth;
  format.height = kHeight;
  format.pixel_type = std::is_same_v<T, float> ? ZIMG_PIXEL_FLOAT : ZIMG_PIXEL_BYTE;
  format.color_family = ZIMG_COLOR_RGB;
  format.matrix_coefficients = ZIMG_MATRIX_RGB;
  format.pixel_range = ZIMG_RANGE_FULL;
  return format;
}

// Chroma lies in the middle of its block.
zimgxx::zimage_format yuv_format(const Matrix &matrix, const Range &range) {
  zimgxx::zimage_format format = rgb_format<uint8_t>();
  format.subsample_w = format.subsample_h = 1;
  format.color_family = ZIMG_COLOR_YUV;
  format.matrix_coefficients = matrix.matrix;
  format.pixel_range = range.range;
  format.chroma_location = ZIMG_CHROMA_CENTER;
  return format;
}

// Samples are rounded to nearest, chroma going up serves its block as it is, and every processor
// computes the same.
template <class From, class To>
Picture<To> zimg(const zimgxx::zimage_format &from, Picture<From> &src,
                 const zimgxx::zimage_format &to) {
  zimgxx::zfilter_graph_builder_params params;
  const bool up = from.color_family == ZIMG_COLOR_YUV;
  params.resample_filter_uv = up ? ZIMG_RESIZE_POINT : ZIMG_RESIZE_BILINEAR;
  params.cpu_type = ZIMG_CPU_NONE;
  const auto graph = zimgxx::FilterGraph::build(from, to, &params);

  Picture<To> dst;
  zimgxx::zimage_buffer_const in;
  zimgxx::zimage_buffer out;
  for (int k = 0; k < 3; ++k) {
    in.plane[k] = {src.data(k), src.kStride, ZIMG_BUFFER_MAX};
    out.plane[k] = {dst.data(k), dst.kStride, ZIMG_BUFFER_MAX};
  }
  std::vector<Line> scratch(graph.get_tmp_size() / sizeof(Line) + 1);
  graph.process(in, out, scratch.data());
  return dst;
}

// Maximum and mean of differences, in steps of 8-bit samples.
class Difference {
 public:
  void add(double a, double b) {
    const double distance = std::abs(a - b);
    max_ = std::max(max_, distance);
    sum_ += distance;
    ++count_;
  }
  double max() const { return max_; }
  double mean() const { return any() ? sum_ / count_ : 0; }
  bool any() const { return count_ > 0; }
  bool operator==(const Difference &) const = default;

 private:
  double max_ = 0, sum_ = 0;
  int count_ = 0;
};

// One row of the table: luma and chroma, or all colours and nothing.
using Differences = std::array<Difference, 2>;

template <class T>
void pack(Picture<T> &picture, GuardedFrame &frame) {
  const int channels = channels_of(frame->video.format);
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      for (int k = 0; k < 3; ++k)
        frame.set<T>(x * channels + (is_r_first(frame->video.format) ? k : 2 - k), y,
                     picture.at(k, x, y));
}

template <class T>
Differences compare_packed(const GuardedFrame &frame, Picture<T> &peer) {
  const int channels = channels_of(frame->video.format);
  const double step = std::is_same_v<T, float> ? 255 : 1;
  Differences differences;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      for (int k = 0; k < 3; ++k) {
        const int channel = is_r_first(frame->video.format) ? k : 2 - k;
        const double theirs = std::clamp(double(peer.at(k, x, y)) * step, 0.0, 255.0);
        differences[0].add(frame.get<T>(x * channels + channel, y) * step, theirs);
      }
    }
  }
  return differences;
}

void for_each_chroma(const auto &run) {
  for (int y = 0; y < kHeight / 2; ++y)
    for (int x = 0; x < kWidth / 2; ++x) run(x, y);
}

Differences compare_yuv(const GuardedFrame &frame, Picture<uint8_t> &peer) {
  Differences differences;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) differences[0].add(luma_of(*frame, x, y), peer.at(0, x, y));
  for_each_chroma([&](int x, int y) {
    differences[1].add(u_of(*frame, x, y), peer.at(1, x, y));
    differences[1].add(v_of(*frame, x, y), peer.at(2, x, y));
  });
  return differences;
}

// Every pair of formats of a family differs from zimg alike.
struct Pairs {
  std::vector<int32_t> from, to;
};

Differences compare_pairs(const Pairs &pairs, const Matrix &matrix, const Range &range,
                          const auto &fill, const auto &compare) {
  std::optional<Differences> agreed;
  for (const int32_t from : pairs.from) {
    for (const int32_t to : pairs.to) {
      GuardedFrame src({from, kWidth, kHeight}), dst({to, kWidth, kHeight});
      for (GuardedFrame *frame : {&src, &dst}) {
        (*frame)->video.color_space = matrix.color_space;
        (*frame)->video.color_range = range.color_range;
      }
      fill(src);
      EXPECT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK);
      const Differences differences = compare(dst);
      if (!agreed.has_value()) agreed = differences;
      EXPECT_TRUE(differences == *agreed) << conversion_name(from, to) << ", " << matrix.name;
    }
  }
  return *agreed;
}

template <class T>
Differences encode(const Pairs &pairs, const Matrix &matrix, const Range &range) {
  Picture<T> rgb = smooth_colours<T>();
  auto peer = zimg<T, uint8_t>(rgb_format<T>(), rgb, yuv_format(matrix, range));
  return compare_pairs(
      pairs, matrix, range, [&](GuardedFrame &src) { pack(rgb, src); },
      [&](const GuardedFrame &dst) { return compare_yuv(dst, peer); });
}

template <class T>
Differences decode(const Pairs &pairs, const Matrix &matrix, const Range &range) {
  Picture<uint8_t> rgb = smooth_colours<uint8_t>();
  const auto format = yuv_format(matrix, range);
  auto yuv = zimg<uint8_t, uint8_t>(rgb_format<uint8_t>(), rgb, format);
  auto peer = zimg<uint8_t, T>(format, yuv, rgb_format<T>());
  const auto fill = [&](GuardedFrame &src) {
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) luma_of(*src, x, y) = yuv.at(0, x, y);
    for_each_chroma([&](int x, int y) {
      u_of(*src, x, y) = yuv.at(1, x, y);
      v_of(*src, x, y) = yuv.at(2, x, y);
    });
  };
  return compare_pairs(pairs, matrix, range, fill,
                       [&](const GuardedFrame &dst) { return compare_packed(dst, peer); });
}

struct Family {
  const char *name;
  Differences (*compare)(const Pairs &pairs, const Matrix &matrix, const Range &range);
  Pairs pairs;
};
const Family kFamilies[] = {
    {"8-bit colour to 4:2:0", encode<uint8_t>, {kByteColors, kYuvFormats}},
    {"float colour to 4:2:0", encode<float>, {kFloatColors, kYuvFormats}},
    {"4:2:0 to 8-bit colour", decode<uint8_t>, {kYuvFormats, kByteColors}},
    {"4:2:0 to float colour", decode<float>, {kYuvFormats, kFloatColors}},
};

// Where the library differs from the standard on purpose; everywhere else both mean the same.
const char *purpose(const Family &family, const Matrix &matrix, const Range &range) {
  const bool full = range.color_range == kFullRange;
  const bool bt601 = matrix.color_space == kBt601,
             bt2020 = matrix.color_space == TAVIX_COLOR_SPACE_BT2020_NCL;
  const bool decodes = family.pairs.from == kYuvFormats;
  const bool from_bytes = family.pairs.from == kByteColors;
  if (decodes) return full ? "decoded as limited range" : "";
  if (from_bytes && full && !bt601) return "limited-range weights";
  return bt2020 ? "larger chroma weights" : "";
}

// Bounds where both mean the same: fixed point, roundings and means of blocks. Six fraction bits
// cost a colour up to one step on average.
constexpr double kSameMax = 2, kSameMean = 1;

bool same(const Differences &differences) {
  return std::ranges::all_of(differences, [](const Difference &difference) {
    return difference.max() <= kSameMax && difference.mean() <= kSameMean;
  });
}

// One row of the document's table: names, figures, and names again.
struct Row {
  std::string conversion, matrix, reason;
  std::vector<double> figures;
};

std::ostream &operator<<(std::ostream &out, const Row &row) {
  out << "| " << row.conversion << " | " << row.matrix << std::fixed;
  for (size_t i = 0; i < 4; ++i) {
    out << " |";
    if (i < row.figures.size()) out << ' ' << std::setprecision(i % 2 + 1) << row.figures[i];
  }
  return out << " |" << (row.reason.empty() ? "" : " ") << row.reason << " |\n";
}

std::string trimmed(const std::string &cell) {
  const size_t first = cell.find_first_not_of(' ');
  return first == cell.npos ? "" : cell.substr(first, cell.find_last_not_of(' ') - first + 1);
}

std::vector<Row> documented_rows() {
  std::ifstream file(TAVIX_DOCS "/colour.md");
  std::string line;
  std::vector<Row> rows;
  bool inside = false;
  while (std::getline(file, line)) {
    if (line.starts_with("#")) inside = line == "### Beside another implementation";
    if (!inside || !line.starts_with("| ") || line.find("4:2:0") == line.npos) continue;
    std::vector<std::string> cells;
    std::istringstream in(line.substr(1));
    for (std::string cell; std::getline(in, cell, '|');) cells.push_back(trimmed(cell));
    if (cells.size() != 7) {
      ADD_FAILURE() << "not seven cells: " << line;
      continue;
    }
    Row row{cells[0], cells[1], cells[6], {}};
    for (size_t i = 2; i < 6; ++i)
      if (!cells[i].empty()) row.figures.push_back(std::stod(cells[i]));
    rows.push_back(row);
  }
  return rows;
}

// The paths differ in the means of blocks, releases of zimg in a rounding maybe.
void expect_near(const Row &row, const Row &documented) {
  EXPECT_EQ(row.conversion, documented.conversion);
  EXPECT_EQ(row.matrix, documented.matrix);
  EXPECT_EQ(row.reason, documented.reason);
  ASSERT_EQ(row.figures.size(), documented.figures.size());
  for (size_t i = 0; i < row.figures.size(); ++i)
    EXPECT_NEAR(row.figures[i], documented.figures[i], i % 2 == 0 ? 1.1 : 0.1) << row;
}

TEST(ColorSanity, IsWhatTheDocumentSays) {
  const std::vector<Row> documented = documented_rows();
  for_each_path([&](const Path &path) {
    if (path.workers != 1) return;
    std::vector<Row> rows;
    for (const Family &family : kFamilies) {
      for (const Matrix &matrix : kMatrices) {
        for (const Range &range : kRanges) {
          const Differences differences = family.compare(family.pairs, matrix, range);
          Row row{family.name,
                  std::string(matrix.name) + " " + range.name,
                  purpose(family, matrix, range),
                  {}};
          for (const Difference &difference : differences)
            if (difference.any())
              row.figures.insert(row.figures.end(), {difference.max(), difference.mean()});
          EXPECT_EQ(same(differences), row.reason.empty()) << row;
          rows.push_back(row);
        }
      }
    }
    EXPECT_EQ(rows.size(), documented.size());
    for (size_t i = 0; i < std::min(rows.size(), documented.size()); ++i)
      expect_near(rows[i], documented[i]);
    if (::testing::Test::HasFailure()) {
      std::ostringstream table;
      for (const Row &row : rows) table << row;
      ADD_FAILURE() << "observed:\n" << table.str();
    }
  });
}

}  // namespace
}  // namespace tavix::test
