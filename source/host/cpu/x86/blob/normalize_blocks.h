// SPDX-License-Identifier: Apache-2.0
// The vector rows of the normalising conversion, over the lanes of one width. Include this header
// in a target region.
#pragma once

namespace tavix::module {

namespace {

// Lanes: kCount floats to a vector, and what is done with them.
template <class Lanes>
struct NormalizeVectors {
  using Floats = typename Lanes::Floats;

  // A whole number of pixels of 1, 2, 3 or 4 channels.
  static constexpr int kPeriod = 3;
  static_assert(NormalizeParameters::kPeriod % (kPeriod * Lanes::kCount) == 0);

  // The least number of whole periods and of whole vectors of bytes.
  static constexpr int kBlockVectors = 4 * kPeriod;

  struct Parameters {
    Floats mean[kPeriod], scale[kPeriod];
  };

  // Vector number k of a block. Subtracting +0 changes no bit of a product.
  template <class From, bool centred>
  static TAVIX_INLINE Floats normalize_vector(const uint8_t *src, int k, const Parameters &p) {
    Floats samples = Lanes::template load<From>(src + k * Lanes::kCount * int(sizeof(From)));
    if constexpr (centred) samples = samples - p.mean[k % kPeriod];
    return samples * p.scale[k % kPeriod];
  }

  // Rounded in single precision. Adding the float below 1/2 and truncating gives for every float of
  // 0..255 what adding 1/2 in double does: a value less than a half by one unit stays below the
  // next integer, and a half reaches it because the sum is rounded. The clamp is left to the
  // packing, but for what int32 cannot hold; the minimum passes NaN on, which becomes the least
  // integer.
  static TAVIX_INLINE auto round_to_bytes(Floats v) {
    const Floats limited = Lanes::min(Lanes::all(255.0f), v);
    return Lanes::truncate(limited + Lanes::all(0x1.fffffep-2f));
  }

  template <class From, class To, bool centred>
  static TAVIX_INLINE void convert_block(const uint8_t *src, uint8_t *dst, const Parameters &p) {
#pragma GCC unroll 12
    for (int k = 0; k < kBlockVectors; k += 4) {
      const Floats a = normalize_vector<From, centred>(src, k, p),
                   b = normalize_vector<From, centred>(src, k + 1, p);
      const Floats c = normalize_vector<From, centred>(src, k + 2, p),
                   d = normalize_vector<From, centred>(src, k + 3, p);
      uint8_t *out = dst + k * Lanes::kCount * int(sizeof(To));
      prefetch_elements<From, 4 * Lanes::kCount>(src + k * Lanes::kCount * int(sizeof(From)));
      if constexpr (Lanes::kPrefetchesResults) prefetch_elements<To, 4 * Lanes::kCount>(out);
      if constexpr (std::is_same_v<To, uint8_t>) {
        Lanes::store_bytes(out, round_to_bytes(a), round_to_bytes(b), round_to_bytes(c),
                           round_to_bytes(d));
      } else {
        constexpr int kBytes = Lanes::kCount * int(sizeof(float));
        Lanes::store(out, a), Lanes::store(out + kBytes, b);
        Lanes::store(out + 2 * kBytes, c), Lanes::store(out + 3 * kBytes, d);
      }
    }
  }

  // Returns how many elements of whole vectors there were.
  template <class From, class To, bool centred>
  static int64_t convert_vectors(const uint8_t *src, uint8_t *dst, int64_t n, const Parameters &p) {
    constexpr int64_t kBlock = kBlockVectors * Lanes::kCount;
    int64_t i = 0;
    for (; i <= n - kBlock; i += kBlock)
      convert_block<From, To, centred>(src + i * int64_t(sizeof(From)),
                                       dst + i * int64_t(sizeof(To)), p);
    for (int k = 0; i <= n - Lanes::kCount; i += Lanes::kCount, k = (k + 1) % kPeriod) {
      Parameters turned;
      turned.mean[0] = p.mean[k], turned.scale[0] = p.scale[k];
      const Floats v = normalize_vector<From, centred>(src + i * int64_t(sizeof(From)), 0, turned);
      if constexpr (std::is_same_v<To, uint8_t>) {
        Lanes::store_bytes(dst + i, round_to_bytes(v));
      } else {
        Lanes::store(dst + i * int64_t(sizeof(To)), v);
      }
    }
    return i;
  }

  template <class From, class To>
  static void run(const uint8_t *src, uint8_t *dst, int64_t n,
                  const NormalizeParameters &parameters) {
    Parameters p;
    for (int k = 0; k < kPeriod; ++k) {
      p.mean[k] = Lanes::load(parameters.mean + k * Lanes::kCount);
      p.scale[k] = Lanes::load(parameters.scale + k * Lanes::kCount);
    }
    int64_t i = parameters.centred ? convert_vectors<From, To, true>(src, dst, n, p)
                                   : convert_vectors<From, To, false>(src, dst, n, p);
    for (; i < n; ++i) {
      const int k = int(i % NormalizeParameters::kPeriod);
      store(dst, i, normalized<To>(load<From>(src, i), parameters.mean[k], parameters.scale[k]));
    }
  }
};

}  // namespace

}  // namespace tavix::module
