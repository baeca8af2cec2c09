// SPDX-License-Identifier: Apache-2.0
#include "color_yuv_reference.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tavix::test {

// clang-format off
const ReferenceForward kReferenceForward[6] = {
    {{66, 129, 25}, {-38, -74, 112}, {112, -94, -18}, 16,
     {0.257f, 0.504f, 0.098f}, {-0.148f, -0.291f, 0.439f}, {0.439f, -0.368f, -0.071f}, 16},
    {{77, 150, 29}, {-43, -85, 128}, {128, -107, -21}, 0,
     {0.299f, 0.587f, 0.114f}, {-0.169f, -0.331f, 0.5f}, {0.5f, -0.419f, -0.081f}, 0},
    {{47, 157, 16}, {-26, -87, 112}, {112, -102, -10}, 16,
     {0.1826f, 0.6142f, 0.062f}, {-0.1006f, -0.3386f, 0.4392f}, {0.4392f, -0.3989f, -0.0403f}, 16},
    {{47, 157, 16}, {-26, -87, 112}, {112, -102, -10}, 0,
     {0.2126f, 0.7152f, 0.0722f}, {-0.1146f, -0.3854f, 0.5f}, {0.5f, -0.4542f, -0.0458f}, 0},
    {{57, 148, 13}, {-30, -101, 131}, {131, -119, -12}, 16,
     {0.2225f, 0.5788f, 0.0509f}, {-0.1166f, -0.3938f, 0.5104f}, {0.5104f, -0.4642f, -0.0462f}, 16},
    {{57, 148, 13}, {-30, -101, 131}, {131, -119, -12}, 0,
     {0.2627f, 0.678f, 0.0593f}, {-0.1396f, -0.4604f, 0.6f}, {0.6f, -0.5428f, -0.0572f}, 0},
};
const ReferenceInverse kReferenceInverse[6] = {
    {74, 102, -25, -52, 129, 16, 1.164f, 1.596f, 0.391f, 0.813f, 2.018f, 16},
    {64, 90, -22, -46, 113, 0, 1.0f, 1.402f, 0.344f, 0.714f, 1.772f, 0},
    {74, 115, -14, -34, 135, 16, 1.164f, 1.793f, 0.213f, 0.534f, 2.112f, 16},
    {64, 101, -12, -30, 119, 0, 1.0f, 1.5748f, 0.1873f, 0.4681f, 1.8556f, 0},
    {74, 107, -12, -42, 137, 16, 1.164f, 1.678f, 0.187f, 0.65f, 2.141f, 16},
    {64, 94, -11, -37, 120, 0, 1.0f, 1.4746f, 0.1646f, 0.5714f, 1.8814f, 0},
};
// clang-format on

constexpr int32_t kReferenceFullRange = 2;

int reference_matrix(int32_t color_space, int32_t color_range) {
  const int full = color_range == kReferenceFullRange ? 1 : 0;
  if (color_space == TAVIX_COLOR_SPACE_BT709) return 2 + full;
  if (color_space == 2 || color_space == 3 || color_space == 4) return full;
  if (color_space == TAVIX_COLOR_SPACE_BT2020_NCL || color_space == TAVIX_COLOR_SPACE_BT2020_CL)
    return 4 + full;
  return 0;
}

namespace {

// The quotient by a power of two, rounded down.
int floor_shift(int value, int bits) {
  const int divisor = 1 << bits;
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}
int byte_of(int value) {
  return value < 0 ? 0 : value > 255 ? 255 : value;
}

}  // namespace

int reference_luma(const ReferenceForward &m, int r, int g, int b) {
  return byte_of(floor_shift(m.y[0] * r + m.y[1] * g + m.y[2] * b + 128, 8) + m.offset);
}

int reference_chroma(const int32_t (&weights)[3], int r, int g, int b) {
  return byte_of(floor_shift(weights[0] * r + weights[1] * g + weights[2] * b + 128, 8) + 128);
}

std::array<int, 3> reference_pixel(const ReferenceInverse &m, int y, int u, int v) {
  const int luma = (y - m.offset) * m.y;
  return {byte_of(floor_shift(luma + m.vr * (v - 128) + 32, 6)),
          byte_of(floor_shift(luma + m.ug * (u - 128) + m.vg * (v - 128) + 32, 6)),
          byte_of(floor_shift(luma + m.ub * (u - 128) + 32, 6))};
}

namespace {

uint8_t *at(const TavixFrameV2 &frame, int plane, int x, int y) {
  return frame.data[plane] + int64_t(frame.linesize[plane]) * y + x;
}

// Channel 0, 1, 2 for R, G, B, and 3 for alpha.
int64_t element(const TavixFrameV2 &frame, int x, int channel) {
  const bool mirrored = channel != 3 && !is_r_first(frame.video.format);
  return int64_t(x) * frame.video.channels + (mirrored ? 2 - channel : channel);
}
int byte_at(const TavixFrameV2 &frame, int x, int y, int channel) {
  return *at(frame, 0, int(element(frame, x, channel)), y);
}
float float_at(const TavixFrameV2 &frame, int x, int y, int channel) {
  float value;
  std::memcpy(&value, at(frame, 0, int(4 * element(frame, x, channel)), y), 4);
  return value;
}

}  // namespace

uint8_t &luma_of(const TavixFrameV2 &frame, int x, int y) {
  return *at(frame, 0, x, y);
}

// Planar pictures have one stride for both chroma planes: that of plane 1.
uint8_t &u_of(const TavixFrameV2 &frame, int pair, int row) {
  const int64_t offset = int64_t(frame.linesize[1]) * row;
  switch (frame.video.format) {
    case TAVIX_PIX_FMT_NV12:
      return frame.data[1][offset + 2 * pair];
    case TAVIX_PIX_FMT_NV21:
      return frame.data[1][offset + 2 * pair + 1];
    case TAVIX_PIX_FMT_YV12:
      return frame.data[2][offset + pair];
    default:
      return frame.data[1][offset + pair];
  }
}
uint8_t &v_of(const TavixFrameV2 &frame, int pair, int row) {
  const int64_t offset = int64_t(frame.linesize[1]) * row;
  switch (frame.video.format) {
    case TAVIX_PIX_FMT_NV12:
      return frame.data[1][offset + 2 * pair + 1];
    case TAVIX_PIX_FMT_NV21:
      return frame.data[1][offset + 2 * pair];
    case TAVIX_PIX_FMT_YV12:
      return frame.data[1][offset + pair];
    default:
      return frame.data[2][offset + pair];
  }
}

namespace {

void encode_bytes(const TavixFrameV2 &src, const TavixFrameV2 &dst, bool vector) {
  const ReferenceForward &m =
      kReferenceForward[reference_matrix(dst.video.color_space, dst.video.color_range)];
  const int width = src.video.width, height = src.video.height;
  const auto put_luma = [&](int x, int y) {
    luma_of(dst, x, y) = uint8_t(
        reference_luma(m, byte_at(src, x, y, 0), byte_at(src, x, y, 1), byte_at(src, x, y, 2)));
  };
  const auto put_chroma = [&](int pair, int row, const int(&mean)[3]) {
    u_of(dst, pair, row) = uint8_t(reference_chroma(m.u, mean[0], mean[1], mean[2]));
    v_of(dst, pair, row) = uint8_t(reference_chroma(m.v, mean[0], mean[1], mean[2]));
  };

  for (int c = 0; c < height / 2; ++c) {
    for (int pair = 0; pair < width / 2; ++pair) {
      const int x = 2 * pair, y = 2 * c;
      int mean[3];
      for (int k = 0; k < 3; ++k) {
        const int p00 = byte_at(src, x, y, k), p01 = byte_at(src, x + 1, y, k);
        const int p10 = byte_at(src, x, y + 1, k), p11 = byte_at(src, x + 1, y + 1, k);
        const bool truncated = vector && x < width / 32 * 32;
        mean[k] = truncated ? (p00 + p01 + p10 + p11) / 4
                            : ((p00 + p01 + 1) / 2 + (p10 + p11 + 1) / 2 + 1) / 2;
      }
      put_luma(x, y), put_luma(x + 1, y), put_luma(x, y + 1), put_luma(x + 1, y + 1);
      put_chroma(pair, c, mean);
    }
  }

  if (height < 0 || height % 2 == 0) return;
  const int y = height - 1;
  for (int x = 0; x < width; x += 2) {
    const int right = std::min(x + 1, width - 1);
    int mean[3];
    for (int k = 0; k < 3; ++k)
      mean[k] = (byte_at(src, x, y, k) + byte_at(src, right, y, k) + 1) / 2;
    put_luma(x, y), put_luma(right, y);
    put_chroma(x / 2, y / 2, mean);
  }
}

void decode_bytes(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
  const ReferenceInverse &m = kReferenceInverse[reference_matrix(src.video.color_space, 0)];
  for (int y = 0; y < src.video.height / 2 * 2; ++y) {
    for (int x = 0; x < src.video.width / 2 * 2; ++x) {
      const auto rgb =
          reference_pixel(m, luma_of(src, x, y), u_of(src, x / 2, y / 2), v_of(src, x / 2, y / 2));
      for (int k = 0; k < 3; ++k) *at(dst, 0, int(element(dst, x, k)), y) = uint8_t(rgb[k]);
      if (dst.video.channels == 4) *at(dst, 0, 4 * x + 3, y) = 255;
    }
  }
}

// Not a number is below everything.
float clamp_float(float value) {
  return !(value > 0) ? 0 : value > 255 ? 255 : value;
}

void encode_floats(const TavixFrameV2 &src, const TavixFrameV2 &dst, bool vector) {
  const ReferenceForward &m =
      kReferenceForward[reference_matrix(dst.video.color_space, dst.video.color_range)];
  const int width = src.video.width;
  const auto sum = [](const float(&w)[3], const float(&p)[3], float offset) {
    const float a = w[0] * p[0], b = w[1] * p[1], c = w[2] * p[2];
    const float ab = a + b, abc = ab + c;
    return abc + offset;
  };
  for (int c = 0; c < src.video.height / 2; ++c) {
    for (int pair = 0; pair < width / 2; ++pair) {
      const bool nearest_even = vector && 2 * pair < width / 8 * 8;
      const auto rounded = [&](float value) {
        const float clamped = clamp_float(value);
        return uint8_t(nearest_even ? std::nearbyint(double(clamped)) : double(clamped + 0.5f));
      };
      float block[2][2][3];
      for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) {
          for (int k = 0; k < 3; ++k)
            block[i][j][k] = float_at(src, 2 * pair + j, 2 * c + i, k) * 255.0f;
          luma_of(dst, 2 * pair + j, 2 * c + i) = rounded(sum(m.fy, block[i][j], m.foffset));
        }
      float mean[3];
      for (int k = 0; k < 3; ++k) {
        const float left = block[0][0][k] + block[1][0][k];
        const float right = block[0][1][k] + block[1][1][k];
        const float all = left + right;
        mean[k] = all * 0.25f;
      }
      u_of(dst, pair, c) = rounded(sum(m.fu, mean, 128));
      v_of(dst, pair, c) = rounded(sum(m.fv, mean, 128));
    }
  }
}

void decode_floats(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
  const ReferenceInverse &m = kReferenceInverse[reference_matrix(src.video.color_space, 0)];
  const auto put = [&](int x, int y, int channel, float value) {
    std::memcpy(at(dst, 0, int(4 * element(dst, x, channel)), y), &value, 4);
  };
  for (int y = 0; y < src.video.height / 2 * 2; ++y) {
    for (int x = 0; x < src.video.width / 2 * 2; ++x) {
      const float luma = m.fy * (float(luma_of(src, x, y)) - m.foffset);
      const float u = float(u_of(src, x / 2, y / 2)) - 128,
                  v = float(v_of(src, x / 2, y / 2)) - 128;
      const float ug = m.fug * u, vg = m.fvg * v;
      const float less_u = luma - ug;
      put(x, y, 0, clamp_float(luma + m.fvr * v) * 0.003921569f);
      put(x, y, 1, clamp_float(less_u - vg) * 0.003921569f);
      put(x, y, 2, clamp_float(luma + m.fub * u) * 0.003921569f);
      if (dst.video.channels == 4) put(x, y, 3, 1.0f);
    }
  }
}

void copy_luma(const TavixFrameV2 &src, const TavixFrameV2 &dst, int rows) {
  for (int y = 0; y < rows; ++y)
    for (int x = 0; x < src.video.width; ++x) luma_of(dst, x, y) = luma_of(src, x, y);
}

void repack(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
  copy_luma(src, dst, src.video.height / 2 * 2);
  for (int c = 0; c < src.video.height / 2; ++c) {
    for (int pair = 0; pair < src.video.width / 2; ++pair) {
      u_of(dst, pair, c) = u_of(src, pair, c);
      v_of(dst, pair, c) = v_of(src, pair, c);
    }
  }
}

// Chroma planes are filled to the ends of their strides.
void encode_gray(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
  copy_luma(src, dst, src.video.height / 2 * 2);
  const int planes = dst.video.format <= TAVIX_PIX_FMT_NV21 ? 1 : 2;
  for (int p = 1; p <= planes; ++p)
    for (int c = 0; c < src.video.height / 2; ++c)
      std::fill_n(at(dst, p, 0, c), dst.linesize[1], uint8_t(128));
}

// Equal strides make one copy, padding included.
void decode_gray(const TavixFrameV2 &src, const TavixFrameV2 &dst) {
  if (src.linesize[0] == dst.linesize[0]) {
    std::copy_n(src.data[0], int64_t(src.linesize[0]) * std::max(src.video.height, 0), dst.data[0]);
  } else {
    copy_luma(src, dst, src.video.height);
  }
}

}  // namespace

void reference_convert(const TavixFrameV2 &src, const TavixFrameV2 &dst, bool vector) {
  const int32_t from = src.video.format, to = dst.video.format;
  if (is_yuv(from) && is_yuv(to)) return repack(src, dst);
  if (from == TAVIX_PIX_FMT_GRAY8) return encode_gray(src, dst);
  if (to == TAVIX_PIX_FMT_GRAY8) return decode_gray(src, dst);
  if (is_yuv(to)) {
    return is_float_format(from) ? encode_floats(src, dst, vector) : encode_bytes(src, dst, vector);
  }
  return is_float_format(to) ? decode_floats(src, dst) : decode_bytes(src, dst);
}

}  // namespace tavix::test
