// SPDX-License-Identifier: Apache-2.0
#include "support/stream.h"

#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::benchmarks {

namespace {

constexpr int64_t kVector = 32;
constexpr int64_t kBlock = 4 * kVector;

struct Stream {
  uint8_t *next;
  const uint8_t *end;
  int64_t blocks;  // in one turn
};

TAVIX_INLINE __m256i load(const uint8_t *bytes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes));
}

TAVIX_INLINE __m256i read_block(const uint8_t *from) {
  return _mm256_or_si256(_mm256_or_si256(load(from), load(from + kVector)),
                         _mm256_or_si256(load(from + 2 * kVector), load(from + 3 * kVector)));
}

TAVIX_INLINE void write_block(uint8_t *to, __m256i value) {
  for (int64_t i = 0; i < kBlock; i += kVector)
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to + i), value);
  asm volatile("");  // keeps the blocks of a turn from becoming a call of memset
}

// What no whole number of turns covers.
TAVIX_INLINE __m256i read_rest(Stream &stream) {
  __m256i seen = _mm256_setzero_si256();
  for (; stream.end - stream.next >= kBlock; stream.next += kBlock)
    seen = _mm256_or_si256(seen, read_block(stream.next));
  for (; stream.next < stream.end; ++stream.next)
    seen = _mm256_or_si256(seen, _mm256_set1_epi8(char(*stream.next)));
  return seen;
}

TAVIX_INLINE void write_rest(Stream &stream, __m256i value) {
  for (; stream.end - stream.next >= kBlock; stream.next += kBlock) write_block(stream.next, value);
  for (; stream.next < stream.end; ++stream.next) *stream.next = 0x55;
}

// Whole turns, all streams side by side. The counts are constants so that every position lives in a
// register.
template <size_t inputs, size_t outputs>
__m256i run_turns(Stream *streams, int64_t turns, __m256i value) {
  constexpr size_t count = inputs + outputs;
  uint8_t *next[count];
  int64_t blocks[count];
  for (size_t k = 0; k < count; ++k) next[k] = streams[k].next, blocks[k] = streams[k].blocks;

  __m256i seen = _mm256_setzero_si256();
  for (; turns > 0; --turns) {
#pragma GCC unroll 8
    for (size_t k = 0; k < count; ++k)
      for (int64_t block = blocks[k]; block > 0; --block, next[k] += kBlock) {
        if (k < inputs) {
          seen = _mm256_or_si256(seen, read_block(next[k]));
        } else {
          write_block(next[k], value);
        }
      }
  }
  for (size_t k = 0; k < count; ++k) streams[k].next = next[k];
  return seen;
}

using RunTurns = __m256i (*)(Stream *streams, int64_t turns, __m256i value);

constexpr RunTurns kRunTurns[kMaxStreams + 1][kMaxStreams + 1] = {
    {nullptr, run_turns<0, 1>, run_turns<0, 2>, run_turns<0, 3>, run_turns<0, 4>},
    {run_turns<1, 0>, run_turns<1, 1>, run_turns<1, 2>, run_turns<1, 3>, run_turns<1, 4>},
    {run_turns<2, 0>, run_turns<2, 1>, run_turns<2, 2>, run_turns<2, 3>, run_turns<2, 4>},
    {run_turns<3, 0>, run_turns<3, 1>, run_turns<3, 2>, run_turns<3, 3>, run_turns<3, 4>},
    {run_turns<4, 0>, run_turns<4, 1>, run_turns<4, 2>, run_turns<4, 3>, run_turns<4, 4>},
};

}  // namespace

int stream_avx2(const Samples *inputs, size_t input_count, const Samples *outputs,
                size_t output_count) {
  constexpr int64_t kMostUneven = 64;
  const size_t count = input_count + output_count;

  Stream streams[2 * kMaxStreams];
  int64_t longest = 0;
  for (size_t k = 0; k < count; ++k) {
    const Samples &samples = k < input_count ? inputs[k] : outputs[k - input_count];
    streams[k] = {samples.data(), samples.data() + samples.bytes(), 0};
    longest = samples.bytes() > longest ? samples.bytes() : longest;
  }

  // In one turn each stream advances in proportion to its length, the shortest by one block.
  // Streams that are too short to matter, such as a handful of results, are left to the end.
  int64_t shortest = longest;
  for (size_t k = 0; k < count; ++k) {
    const int64_t bytes = streams[k].end - streams[k].next;
    if (bytes >= longest / kMostUneven && bytes < shortest) shortest = bytes;
  }
  for (size_t k = 0; k < count && shortest > 0; ++k)
    streams[k].blocks = (streams[k].end - streams[k].next) / shortest;

  const __m256i value = _mm256_set1_epi8(0x55);
  __m256i seen = kRunTurns[input_count][output_count](streams, shortest / kBlock, value);
  for (size_t k = 0; k < input_count; ++k) seen = _mm256_or_si256(seen, read_rest(streams[k]));
  for (size_t k = input_count; k < count; ++k) write_rest(streams[k], value);
  return _mm256_movemask_epi8(seen);
}

}  // namespace tavix::benchmarks

TAVIX_AVX2_END
