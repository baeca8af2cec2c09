// SPDX-License-Identifier: Apache-2.0
#include "records.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/core_double.h"

namespace tavix::fuzz {

namespace {

constexpr int32_t kNoFormats[] = {-1, 3, 6, 7, 9, 16, 17, 1000, INT32_MIN, INT32_MAX};
constexpr int32_t kLess[] = {1, 0, -1, INT32_MIN};

}  // namespace

double any_number(Choices &c) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity(),
                   kNaN = std::numeric_limits<double>::quiet_NaN();
  constexpr double kNumbers[] = {
      0,       1,       2,       3,         0.5,       -1,         8.25,    255,
      0.1,     1.5,     2.5,     -0.5,      -0.0,      127.5,      0x1p-24, 0x1p-23,
      0x1p-52, 0x1p-53, 1.0 / 3, 0x1p31,    -0x1p31,   1e-310,     1e30,    -1e30,
      1e-30,   1e308,   -1e308,  8421504.5, kInfinity, -kInfinity, kNaN,    -254.5};
  const uint8_t choice = c.byte();
  if (choice < 64) return kNumbers[choice % std::size(kNumbers)];
  // Hundredths between -2 and 3.
  return (choice * 256 + c.byte() - 64 * 256) / (192.0 * 256) * 5 - 2;
}

test::FrameShape any_shape(Choices &c) {
  const int32_t format = c.of(kPackedFormats);
  const uint8_t width = c.byte(), height = c.byte();
  return {format, width < 250 ? 1 + width % 70 : 40 * (width - 248),
          height < 250 ? 1 + height % 7 : height - 250};
}

test::FrameLayout FrameRecord::any_layout(Choices &c) {
  const uint8_t layout = c.byte();
  if (row_distance != 0) return {.bottom_up = layout % 4 == 3, .row_distance = row_distance};
  if (layout < 128) return test::kLayouts[layout % 4];
  return {.pad = layout % 32, .shift = layout / 32 % 2 * (layout % 5), .bottom_up = layout > 191};
}

std::vector<uint8_t> take_frame(TavixFrameV2 *&frame) {
  std::vector<uint8_t> bytes;
  if (frame == nullptr) return bytes;
  const test::PlaneShape plane = test::plane_shapes(frame->video)[0];
  for (int32_t y = 0; y < plane.rows; ++y) {
    const uint8_t *row = frame->data[0] + int64_t(frame->linesize[0]) * y;
    bytes.insert(bytes.end(), row, row + plane.row_bytes);
  }
  append_bytes(bytes, frame->video);
  TavixFrameFreeV2(frame);
  frame = nullptr;
  return bytes;
}

FrameRecord::FrameRecord(Choices &c, const test::FrameShape &shape, const test::FrameLayout &how)
    : layout(how), frame(shape, how) {
  const test::Fill fill = c.of(test::kFills);
  frame.fill(fill, c.byte());
  frame->video.color_space = c.below(11) - 1;
  frame->video.color_range = c.below(4);
  frame->device = c.byte();
}

void FrameRecord::maybe_spoil(Choices &c) {
  if (!c.rarely()) return;
  spoiled = true;
  TavixFrameV2 &record = *frame;
  switch (c.below(7)) {
    case 0:
      record.memory = 1 + c.byte();
      break;
    case 1:
      record.data[c.below(3)] = nullptr;
      break;
    case 2:
      record.video.width = std::min(record.video.width, c.of(kLess));
      break;
    case 3:
      record.video.height = std::min(record.video.height, c.of(kLess));
      break;
    case 4:
      record.video.channels = c.of(kLess);
      break;
    case 5: {
      const bool planar = test::plane_shapes(record.video).size() > 1;
      const bool gapless = layout.pad == 0 && layout.row_distance == 0;
      record.video.format = c.of(kNoFormats);
      // Planes of another 4:2:0 format may be larger than these, and luma that is copied into grey
      // has its padding after the last row too.
      if ((planar || !gapless) && test::plane_shapes(record.video).size() > 1)
        record.video.format = 6;
      break;
    }
    case 6:  // more channels in fewer pixels
      record.video.width /= 2;
      record.video.channels *= 2;
      break;
  }
}

void FrameRecord::lengthen_rows() {
  spoiled = true;
  frame->video.width = 1 << 30;
  frame->video.channels = 4;
}

void FrameRecord::spread_rows() {
  spoiled = true;
  frame->linesize[0] = INT32_MAX;
}

BlobRecord::BlobRecord(Choices &c, uint32_t data_type, uint32_t data_format,
                       const std::vector<int32_t> &dims)
    : blob(data_type, data_format, dims, test::blob_element_bytes(data_type) == 0 ? 64 : 0) {
  const test::Fill fill = c.of(test::kFills);
  test::Random random(c.byte());
  if (data_type == TAVIX_DATA_TYPE_FLOAT32) {
    for (float &element : blob.elements<float>()) element = test::fill_value<float>(fill, random);
  } else {
    for (uint8_t &byte : blob.elements<uint8_t>()) byte = test::fill_value<uint8_t>(fill, random);
  }
}

std::vector<uint8_t> BlobRecord::contents() const {
  const auto bytes = blob.elements<uint8_t>();
  return {bytes.begin(), bytes.end()};
}

void BlobRecord::restore(const std::vector<uint8_t> &contents) {
  std::copy(contents.begin(), contents.end(), blob.elements<uint8_t>().begin());
}

void BlobRecord::maybe_spoil(Choices &c) {
  if (!c.rarely()) return;
  spoiled = true;
  switch (c.below(6)) {
    case 0:
      blob->dims_size = c.of(kIntegers);
      break;
    case 1:
      blob->dims[c.below(4)] = c.of({0, -1, INT32_MIN});
      break;
    case 2:
      blob->buffer = nullptr;
      break;
    case 3:
      blob->data_type = c.of({1, 4, 7, 10, 99, -1});
      break;
    case 4:
      blob->data_format = c.of({2, 3, 8, 9, 14, 15, 16, 999, 1000, 1005, 1006, -1});
      break;
    case 5:  // nowhere
      test::core_double().serve_buffer(blob->buffer, nullptr);
      break;
  }
}

}  // namespace tavix::fuzz
