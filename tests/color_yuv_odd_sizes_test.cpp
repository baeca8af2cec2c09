// SPDX-License-Identifier: Apache-2.0
// What happens to the last row and column of odd sizes, observed, and the table of docs/colour.md,
// which must say exactly that.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

#include "color_formats.h"
#include "color_yuv_reference.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu/color.h"

namespace tavix::test {
namespace {

struct Family {
  const char *name;
  std::vector<int32_t> from, to;
};
const Family kFamilies[] = {
    {"8-bit colour to 4:2:0", kByteColors, kYuvFormats},
    {"float colour to 4:2:0", kFloatColors, kYuvFormats},
    {"grey to 4:2:0", {TAVIX_PIX_FMT_GRAY8}, kYuvFormats},
    {"4:2:0 to 8-bit colour", kYuvFormats, kByteColors},
    {"4:2:0 to float colour", kYuvFormats, kFloatColors},
    {"4:2:0 to grey", kYuvFormats, {TAVIX_PIX_FMT_GRAY8}},
    {"4:2:0 to another 4:2:0", kYuvFormats, kYuvFormats},
};

// The columns of the table: where the last row and column lie in a plane of so many rows and
// samples.
struct Place {
  bool last_row, last_column;
};
constexpr Place kPlaces[] = {{true, false}, {false, true}, {true, true}};

// One answer for every sample of a place in some planes; none when the samples disagree.
std::optional<bool> written(const GuardedFrame &zeros, const GuardedFrame &ones, const Place &place,
                            bool chroma) {
  std::optional<bool> answer;
  const auto shapes = plane_shapes(zeros->video);
  for (size_t p = chroma ? 1 : 0; p < (chroma ? shapes.size() : 1); ++p) {
    // The bytes of one column: interleaved chroma has pairs, packed planes have pixels.
    const int32_t columns = chroma ? (zeros->video.width + 1) / 2 : zeros->video.width;
    const int32_t bytes = shapes[p].row_bytes / columns;
    for (int32_t y = 0; y < shapes[p].rows; ++y) {
      for (int32_t i = 0; i < shapes[p].row_bytes; ++i) {
        if ((y == shapes[p].rows - 1) != place.last_row) continue;
        if ((i / bytes == columns - 1) != place.last_column) continue;
        const bool same = zeros.get<uint8_t>(i, y, int(p)) == ones.get<uint8_t>(i, y, int(p));
        if (answer.has_value() && *answer != same) return std::nullopt;
        answer = same;
      }
    }
  }
  return answer;
}

// Fills every byte, so that what a conversion leaves shows.
GuardedFrame filled(int32_t format, int32_t width, int32_t height, uint8_t value) {
  GuardedFrame frame({format, width, height});
  const auto shapes = plane_shapes(frame->video);
  for (size_t p = 0; p < shapes.size(); ++p)
    for (int32_t y = 0; y < shapes[p].rows; ++y)
      std::fill_n(frame.row(y, int(p)), shapes[p].row_bytes, value);
  return frame;
}

// The row of the table that one conversion deserves.
std::string observed_row(const Family &family, int32_t from, int32_t to, int32_t width,
                         int32_t height) {
  GuardedFrame src({from, width, height});
  src.fill(Fill::noise, 1);
  GuardedFrame zeros = filled(to, width, height, 0), ones = filled(to, width, height, 255);
  EXPECT_EQ(TavixFrameConvertColorByCPU(src, zeros), TAVIX_OK);
  EXPECT_EQ(TavixFrameConvertColorByCPU(src, ones), TAVIX_OK);
  std::string row = std::string("| ") + family.name + " |";
  for (const bool chroma : {false, true}) {
    for (const Place &place : kPlaces) {
      if (chroma && !is_yuv(to)) {
        row += " |";
        continue;
      }
      const auto answer = written(zeros, ones, place, chroma);
      row += !answer.has_value() ? " both |" : *answer ? " written |" : " left |";
    }
  }
  return row;
}

std::string documented_rows() {
  std::ifstream file(TAVIX_DOCS "/colour.md");
  std::string line, rows;
  bool inside = false;
  while (std::getline(file, line)) {
    if (line.starts_with("#")) inside = line == "### Odd sizes";
    if (inside && line.starts_with("| ") && line.find("4:2:0") != std::string::npos)
      rows += line + "\n";
  }
  return rows;
}

TEST(ColorYuvOddSizes, AreWhatTheDocumentSays) {
  std::string rows;
  for (const Family &family : kFamilies) {
    std::optional<std::string> agreed;
    for_each_path([&](const Path &) {
      for (const int32_t from : family.from) {
        for (const int32_t to : family.to) {
          if (from == to) continue;
          for (const auto &[width, height] : {std::pair{35, 5}, {3, 3}, {67, 9}}) {
            const std::string row = observed_row(family, from, to, width, height);
            if (!agreed.has_value()) agreed = row;
            ASSERT_EQ(row, *agreed) << from << " -> " << to << ", " << width << 'x' << height;
          }
        }
      }
    });
    ASSERT_TRUE(agreed.has_value());
    rows += *agreed + "\n";
  }
  EXPECT_EQ(documented_rows(), rows);
}

}  // namespace
}  // namespace tavix::test
