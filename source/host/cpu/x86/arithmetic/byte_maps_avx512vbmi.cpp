// SPDX-License-Identifier: Apache-2.0
// Looks up 64 bytes at once: two permutations over half a map each.
#include <cstdint>

#include "cpu/x86/arithmetic/byte_maps.h"
#include "cpu/x86/avx512.h"

TAVIX_AVX512VBMI_BEGIN

namespace tavix::module::avx512::vbmi {

namespace {

template <int count>
struct Vectors {
  __m512i v[count];
};

struct MapRegisters {
  __m512i quarter[4];

  TAVIX_INLINE __m512i look_up(__m512i bytes) const {
    const __m512i lower = _mm512_permutex2var_epi8(quarter[0], bytes, quarter[1]);
    const __m512i upper = _mm512_permutex2var_epi8(quarter[2], bytes, quarter[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(bytes), lower, upper);
  }
};

// Bytes i of a vector with i % 3 or i % 4 = k.
constexpr __mmask64 kThird[] = {0x9249249249249249, 0x2492492492492492, 0x4924924924924924};
constexpr __mmask64 kFourth[] = {0x1111111111111111, 0x2222222222222222, 0x4444444444444444,
                                 0x8888888888888888};

// Vectors of interleaved channels as vectors of one channel each, and back. Bytes keep their
// places; byte i of vector j has channel (j + i) % 3.
TAVIX_INLINE Vectors<1> by_channel(const Vectors<1> &x) {
  return x;
}
TAVIX_INLINE Vectors<1> interleaved(const Vectors<1> &x) {
  return x;
}
// Thirds of each vector and the two that follow it by a step.
template <int step>
TAVIX_INLINE Vectors<3> in_thirds(const Vectors<3> &x) {
  Vectors<3> result;
  for (int i = 0; i < 3; ++i) {
    const __m512i two = _mm512_mask_blend_epi8(kThird[1], x.v[i], x.v[(i + step) % 3]);
    result.v[i] = _mm512_mask_blend_epi8(kThird[2], two, x.v[(i + 2 * step) % 3]);
  }
  return result;
}
TAVIX_INLINE Vectors<3> by_channel(const Vectors<3> &x) {
  return in_thirds<2>(x);
}
TAVIX_INLINE Vectors<3> interleaved(const Vectors<3> &x) {
  return in_thirds<1>(x);
}

// With four channels all vectors are alike: pixels are rotated by one byte more in each, so that
// byte i of vector j has channel (i - j) % 4.
TAVIX_INLINE Vectors<4> rotated(const Vectors<4> &x) {
  return {{x.v[0], _mm512_rol_epi32(x.v[1], 8), _mm512_rol_epi32(x.v[2], 16),
           _mm512_rol_epi32(x.v[3], 24)}};
}
TAVIX_INLINE Vectors<4> rotated_back(const Vectors<4> &x) {
  return {{x.v[0], _mm512_rol_epi32(x.v[1], 24), _mm512_rol_epi32(x.v[2], 16),
           _mm512_rol_epi32(x.v[3], 8)}};
}
// Byte i of vector c from vector (i - c) % 4, which undoes itself.
TAVIX_INLINE Vectors<4> exchanged(const Vectors<4> &x) {
  Vectors<4> result;
  for (int c = 0; c < 4; ++c) {
    __m512i v = x.v[(4 - c) % 4];
    for (int k = 1; k < 4; ++k) v = _mm512_mask_blend_epi8(kFourth[k], v, x.v[(4 + k - c) % 4]);
    result.v[c] = v;
  }
  return result;
}
TAVIX_INLINE Vectors<4> by_channel(const Vectors<4> &x) {
  return exchanged(rotated(x));
}
TAVIX_INLINE Vectors<4> interleaved(const Vectors<4> &x) {
  return rotated_back(exchanged(x));
}

template <int channels>
struct MapRow {
  MapRegisters maps[channels];

  explicit TAVIX_INLINE MapRow(const std::array<ByteMap, kMaxChannels> &of) {
    for (int c = 0; c < channels; ++c)
      for (int k = 0; k < 4; ++k)
        maps[c].quarter[k] = _mm512_loadu_si512(of[size_t(c)].data() + 64 * k);
  }

  TAVIX_INLINE Vectors<channels> mapped(const Vectors<channels> &bytes) const {
    Vectors<channels> x = by_channel(bytes);
    for (int c = 0; c < channels; ++c) x.v[c] = maps[c].look_up(x.v[c]);
    return interleaved(x);
  }

  void run(const uint8_t *src, uint8_t *dst, int64_t n) const {
    constexpr int kBlock = 64 * channels;
    Vectors<channels> x;
    int64_t i = 0;
    for (; i <= n - kBlock; i += kBlock) {
      for (int j = 0; j < channels; ++j) x.v[j] = _mm512_loadu_si512(src + i + 64 * j);
      x = mapped(x);
      for (int j = 0; j < channels; ++j) _mm512_storeu_si512(dst + i + 64 * j, x.v[j]);
    }
    if (i == n) return;
    for (int j = 0; j < channels; ++j)
      x.v[j] = _mm512_maskz_loadu_epi8(rest(n - i, j), src + i + 64 * j);
    x = mapped(x);
    for (int j = 0; j < channels; ++j)
      _mm512_mask_storeu_epi8(dst + i + 64 * j, rest(n - i, j), x.v[j]);
  }

  // The bytes of vector j of a block of which so many are left.
  static TAVIX_INLINE __mmask64 rest(int64_t left, int j) {
    const int64_t bytes = left - 64 * j;
    return bytes >= 64 ? ~__mmask64(0) : bytes <= 0 ? 0 : (__mmask64(1) << bytes) - 1;
  }
};

template <int channels>
void map_row(const std::array<ByteMap, kMaxChannels> &maps, const uint8_t *src, uint8_t *dst,
             int64_t n) {
  MapRow<channels>(maps).run(src, dst, n);
}

}  // namespace

}  // namespace tavix::module::avx512::vbmi

TAVIX_AVX512_END

namespace tavix::module {

void ByteMapsAvx512Vbmi::map_row(const uint8_t *src, uint8_t *dst, int64_t n) const {
  const auto map = apart_ == 1   ? avx512::vbmi::map_row<1>
                   : apart_ == 3 ? avx512::vbmi::map_row<3>
                                 : avx512::vbmi::map_row<4>;
  map(maps_, src, dst, n);
}

}  // namespace tavix::module
