// SPDX-License-Identifier: Apache-2.0
// Softmax against plain references. The scalar line and every line that is not contiguous: bit for
// bit. The contiguous vector line: bit for bit a restatement of its order of addition, given its
// exponential; and within the error of its order of the scalar line.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "common/log.h"
#include "cpu/x86/arithmetic/library_math.h"
#include "softmax_exp.h"
#include "softmax_reference.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/fill.h"
#include "support/guarded_blob.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

using Entry = int32_t (*)(const TavixBlob *, int32_t, TavixBlob *);
constexpr Entry kByCPU = TavixBlobSoftmaxByCPU, kForward = TavixBlobSoftmaxForward,
                kCommonC = TavixBlobSoftmaxCommonC, kAVX = TavixBlobSoftmaxAVX;

GuardedBlob float_blob(const Dims &dims) {
  return GuardedBlob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, dims);
}

void fill(GuardedBlob &blob, Fill how, uint64_t seed) {
  Random random(seed);
  for (float &v : blob.elements<float>()) v = fill_value<float>(how, random);
}

// Values of a network's last layer: a few units around 0.
void fill_scores(GuardedBlob &blob, uint64_t seed) {
  Random random(seed);
  for (float &v : blob.elements<float>()) v = float(random.below(20001) - 10000) * 1e-3f;
}

// One call on a blob as it is, into another and in place.
void expect_softmax(Entry entry, bool vector, GuardedBlob &src, const Dims &dims, size_t axis) {
  SCOPED_TRACE(::testing::Message()
               << "dims " << ::testing::PrintToString(dims) << ", axis " << axis);
  const bool lanes = vector && inner_of(dims, axis) == 1;
  const std::vector<float> expected =
      softmax_reference(src, dims, axis, lanes ? vector_line : scalar_line);
  GuardedBlob dst(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, dims);
  EXPECT_EQ(entry(src, int32_t(axis), dst), TAVIX_OK);
  const auto same = [&](const GuardedBlob &blob) {
    const auto actual = blob.elements<float>();
    return same_values<float>(expected, std::span<const float>(actual.data(), actual.size()));
  };
  EXPECT_TRUE(same(dst));
  EXPECT_TRUE(dst.intact() && src.intact());

  TavixBlob shared = *dst;
  shared.buffer = src->buffer;
  EXPECT_EQ(entry(src, int32_t(axis) - int32_t(dims.size()), &shared), TAVIX_OK);
  EXPECT_TRUE(same(src)) << "in place, axis from the end";
  EXPECT_TRUE(src.intact());
}

TEST(Softmax, EveryAxisLengthAndNeighbourhood) {
  for_each_path([](const Path &path) {
    Random random(7);
    const int cases = path.workers == 1 ? by_effort(600, 60) : by_effort(200, 30);
    for (int i = 0; i < cases && !::testing::Test::HasFailure(); ++i) {
      Dims dims;
      const int32_t rank = 1 + random.below(4);
      for (int32_t d = 0; d < rank; ++d) dims.push_back(1 + random.below(d == 0 ? 40 : 20));
      const size_t axis = size_t(random.below(rank));
      GuardedBlob src = float_blob(dims);
      i % 4 == 0 ? fill(src, kFills[i / 4 % std::size(kFills)], uint64_t(i))
                 : fill_scores(src, uint64_t(i));
      expect_softmax(path.vector ? kAVX : kCommonC, path.vector, src, dims, axis);
    }
  });
}

TEST(Softmax, LinesOfEveryLength) {
  std::vector<int32_t> lengths = {1023, 1024, 1025};  // where a group of lines becomes one line
  for (int32_t n = 1; n <= 130; n += by_effort(1, 13)) lengths.push_back(n);
  for_each_path([&](const Path &path) {
    for (const int32_t n : lengths)
      for (const auto &[dims, axis] :
           {std::pair(Dims{3, n}, 1), {Dims{n, 9}, 0}, {Dims{2, n, 1}, 1}}) {
        GuardedBlob src = float_blob(dims);
        fill_scores(src, uint64_t(n));
        expect_softmax(path.vector ? kAVX : kCommonC, path.vector, src, dims, size_t(axis));
      }
  });
}

// Fewer lines side by side than there are lanes, in one block and in several.
TEST(Softmax, NarrowNeighbourhoods) {
  for_each_path([](const Path &path) {
    for (int32_t inner = 2; inner <= 20; ++inner)
      for (const int32_t length : {1, 2, 3, 7, 8, 9, 31, 127, 128, 129, 300})
        for (const int32_t outer : {1, 3}) {
          const Dims dims = {outer, length, inner};
          GuardedBlob src = float_blob(dims);
          inner % 3 == 0 ? fill(src, kFills[size_t(length) % std::size(kFills)], uint64_t(length))
                         : fill_scores(src, uint64_t(length));
          expect_softmax(path.vector ? kAVX : kCommonC, path.vector, src, dims, 1);
        }
  });
}

#if defined(__x86_64__)
// An exponential of the C library that vectors do not know is called for every value.
TEST(Softmax, OfAnUnknownLibrary) {
  if (!module::use_avx2()) GTEST_SKIP() << "no AVX2";
  auto &library = const_cast<module::LibraryFunction &>(module::library_expf());
  const Scoped<bool> unknown(library.known, false);
  for (const auto &[dims, axis] : {std::pair(Dims{9, 50}, 0), {Dims{30, 3}, 0}, {Dims{5, 21}, 1}}) {
    GuardedBlob src = float_blob(dims);
    fill_scores(src, 3);
    expect_softmax(kAVX, true, src, dims, size_t(axis));
  }
}
#endif

// Panels, strips and stripes of the implementations end in the middle of these.
TEST(Softmax, LargeShapes) {
  for_each_path([](const Path &path) {
    for (const auto &[dims, axis] : {std::pair(Dims{21, 33, 37}, 0),
                                     {Dims{3, 5, 2111}, 1},
                                     {Dims{700, 19}, 0},
                                     {Dims{5, 3001}, 1},
                                     {Dims{2, 1, 2, 1, 3, 1, 2, 5}, 4},
                                     {Dims{2, 1, 2, 1, 3, 1, 2, 5}, 7},
                                     {Dims{9000, 17}, 0}}) {
      GuardedBlob src = float_blob(dims);
      fill_scores(src, 1);
      expect_softmax(kByCPU, path.vector, src, dims, size_t(axis));
    }
  });
}

// Lines whose least value is some way below the greatest: where exponentials end to be normal
// numbers, at 87.3, and to be anything, at 103.9.
TEST(Softmax, SpreadsUpToWhereExponentialsEnd) {
  for_each_path([](const Path &path) {
    if (path.workers > 1) return;
    for (const int32_t n : {8, 13, 40, 203})
      for (int32_t quarters = 4 * 76; quarters < 4 * 106; ++quarters) {
        const Dims dims = {2, n};
        GuardedBlob src = float_blob(dims);
        fill_scores(src, uint64_t(n));
        const auto scores = src.elements<float>();
        for (int32_t line = 0; line < 2; ++line) {
          scores[size_t(line * n + 1)] = 12.5f;
          scores[size_t(line * n + n - 1 - line * 6)] = 12.5f - float(quarters) / 4;
        }
        expect_softmax(path.vector ? kAVX : kCommonC, path.vector, src, dims, 1);
      }
  });
}

// What is known without a reference, on both kinds of path.
TEST(Softmax, KnownValues) {
  for_each_path([](const Path &) {
    for (const bool last : {true, false}) {
      const auto softmax = [&](const Line &x) {
        const int32_t n = int32_t(x.size());
        const Dims dims = last ? Dims{1, n} : Dims{n, 2};
        GuardedBlob blob = float_blob(dims);
        const auto elements = blob.elements<float>();
        for (size_t i = 0; i < elements.size(); ++i) elements[i] = x[last ? i : i / 2];
        EXPECT_EQ(kByCPU(blob, last ? 1 : 0, blob), TAVIX_OK);
        Line y;
        for (size_t k = 0; k < x.size(); ++k) y.push_back(elements[last ? k : 2 * k]);
        return y;
      };
      const auto near = [](const Line &y, const Line &expected) {
        ASSERT_EQ(y.size(), expected.size());
        for (size_t k = 0; k < y.size(); ++k) EXPECT_NEAR(y[k], expected[k], 1e-7);
      };
      EXPECT_EQ(softmax({3.5f}), Line{1.0f});
      EXPECT_EQ(softmax({-INFINITY, 0.0f}), (Line{0.0f, 1.0f}));
      for (const int32_t n : {2, 5, 8, 16, 21, 64})
        EXPECT_EQ(softmax(Line(size_t(n), -7.25f)), Line(size_t(n), 1.0f / float(n)));
      near(softmax({1000.0f, 1001.0f}), {0.26894142f, 0.73105858f});
      Line many(16, -1e30f);
      many[3] = 1001.0f, many[12] = 1000.0f;
      const Line y = softmax(many);
      EXPECT_NEAR(y[3], 0.73105858f, 1e-7);
      EXPECT_NEAR(y[12], 0.26894142f, 1e-7);
      EXPECT_EQ(y[0], 0.0f);
      for (const float bad : {NAN, INFINITY})
        for (const size_t at : {size_t(0), size_t(5), size_t(18)}) {
          Line x(19, 1.0f);
          x[at] = bad;
          for (const float v : softmax(x)) EXPECT_TRUE(std::isnan(v));
        }
      for (const float v : softmax(Line(11, -INFINITY))) EXPECT_TRUE(std::isnan(v));
      for (const float v : softmax(Line(11, NAN))) EXPECT_TRUE(std::isnan(v));
      // The exponentials of these are denormal.
      const Line small = softmax({0, -88, -90, -95, -100, -103, -104, -200, 0});
      EXPECT_GT(small[4], 0.0f);
      EXPECT_EQ(small[7], 0.0f);
    }
  });
}

// Each rounding is at most u = 2^-24 of its result: n additions of positive terms, one quotient.
TEST(Softmax, LinesSumToOne) {
  for_each_path([](const Path &) {
    for (const int32_t n : {1, 7, 8, 21, 100, 1000})
      for (const size_t axis : {size_t(0), size_t(1)}) {
        const Dims dims = axis == 0 ? Dims{n, 10} : Dims{10, n};
        GuardedBlob blob = float_blob(dims);
        fill_scores(blob, uint64_t(n));
        EXPECT_EQ(kByCPU(blob, int32_t(axis), blob), TAVIX_OK);
        const auto y = blob.elements<float>();
        for (size_t line = 0; line < 10; ++line) {
          double sum = 0;
          for (size_t k = 0; k < size_t(n); ++k)
            sum += double(axis == 0 ? y[k * 10 + line] : y[line * size_t(n) + k]);
          EXPECT_NEAR(sum, 1.0, (n + 1) * 0x1p-24);
        }
      }
  });
}

int64_t ulps_between(float a, float b) {
  const auto ordinal = [](float v) {
    const int32_t bits = std::bit_cast<int32_t>(v);
    return bits < 0 ? int64_t(INT32_MIN) - bits : int64_t(bits);
  };
  return std::abs(ordinal(a) - ordinal(b));
}

// Contiguous lines of the two implementations: the exponentials differ by one unit at most, the
// sums by the roundings of their n and n/8 + 10 additions. For few values that is a few units.
TEST(Softmax, ImplementationsAgreeToAFewUnits) {
  if (!module::use_avx2()) GTEST_SKIP() << "no AVX2";
  int64_t worst = 0;  // of lines of at most 16 values
  for (int32_t n = 1; n <= 1000; n = n < 40 ? n + 1 : n * 5 / 4) {
    GuardedBlob x = float_blob({50, n}), scalar = float_blob({50, n}), vector = float_blob({50, n});
    fill_scores(x, uint64_t(n));
    EXPECT_EQ(kCommonC(x, -1, scalar), TAVIX_OK);
    EXPECT_EQ(kAVX(x, -1, vector), TAVIX_OK);
    for (size_t i = 0; i < x.elements<float>().size(); ++i) {
      const float a = scalar.elements<float>()[i], b = vector.elements<float>()[i];
      EXPECT_NEAR(a, b, double(a) * (n + n / 8 + 14) * 0x1p-24);
      if (n <= 16) worst = std::max(worst, ulps_between(a, b));
    }
  }
  std::printf("units between lines of at most 16 values: %d\n", int(worst));
  EXPECT_LE(worst, 4);
}

// The exponential against the library's, over all floats. Where that one is constant it is not
// called for each of them.
TEST(SoftmaxExponential, IsWithinOneUnitOfTheLibrarys) {
  if (!module::use_avx2()) GTEST_SKIP() << "no AVX2";
  const auto bits = [](float v) { return std::bit_cast<uint32_t>(v); };
  const uint32_t sign = bits(-0.0f), infinity = bits(INFINITY);
  const uint32_t tiny = bits(0x1p-27f), bound = bits(104.0f);
  for (const uint32_t s : {0u, sign}) {
    EXPECT_EQ(softmax_exp_count_other(s, tiny, 1.0f), 0u) << "up to 2^-27 it is 1";
    EXPECT_EQ(expf(std::bit_cast<float>(s | tiny)), 1.0f);
    const float end = expf(std::bit_cast<float>(s | bound));
    EXPECT_EQ(end, s == 0 ? INFINITY : 0.0f);
    EXPECT_EQ(softmax_exp_count_other(s | bound, infinity + 1 - bound, end), 0u);
  }

  uint64_t floats = 0, one_unit = 0, more = 0;
  const uint32_t step = uint32_t(by_effort(1, 1009));
  for (const uint32_t s : {0u, sign})
    for (uint32_t b = tiny; b < bound; b += 8 * step, floats += 8) {
      float x[8], y[8];
      for (uint32_t i = 0; i < 8; ++i) x[i] = std::bit_cast<float>(s | (b + i));
      softmax_exp8(x, y);
      for (int i = 0; i < 8; ++i) {
        const uint32_t units = bits(expf(x[i])) - bits(y[i]);  // both are positive
        one_unit += units + 1 <= 2 && units != 0;
        more += units + 1 > 2;
      }
    }
  std::printf("units from expf, %.0f floats: 0: %.0f, 1: %.0f, more: %.0f\n", double(floats),
              double(floats - one_unit - more), double(one_unit), double(more));
  EXPECT_EQ(more, 0u);
  for (const uint32_t nan : {infinity + 1, sign | (infinity + 1), 0x7FFFFFFFu, 0xFFFFFFFFu})
    EXPECT_TRUE(std::isnan(softmax_exp(std::bit_cast<float>(nan))));
}

// The fast form has the same bits where it is used.
TEST(SoftmaxExponential, FormsAgree) {
  if (!module::use_avx2()) GTEST_SKIP() << "no AVX2";
  const uint32_t tiny = std::bit_cast<uint32_t>(-0x1p-27f), end = std::bit_cast<uint32_t>(-80.0f);
  const auto differ = [](uint32_t first, uint32_t count, uint32_t step) {
    return softmax_exp_count_forms_differ(first, count, step);
  };
  EXPECT_EQ(differ(tiny, end + 1 - tiny, uint32_t(by_effort(1, 1009))), 0u);
  EXPECT_EQ(differ(std::bit_cast<uint32_t>(-0.0f), 1, 1), 0u);
  EXPECT_EQ(differ(std::bit_cast<uint32_t>(-0.0f), tiny & INT32_MAX, 1009), 0u);
}

constexpr int32_t kInvalid = TAVIX_ERROR_INVALID_PARAM, kUnsupported = TAVIX_ERROR_UNSUPPORTED;

// A call that must be refused: each field is a fault of its own.
struct Faults {
  bool no_src = false, no_dst = false;
  int32_t src_rank = 3, dst_rank = 3;
  int32_t dst_first = 2;             // dims[0]
  int32_t src_dim = 3, dst_dim = 3;  // dims[1]
  int32_t axis = 1;
  uint32_t src_type = TAVIX_DATA_TYPE_FLOAT32, dst_type = TAVIX_DATA_TYPE_FLOAT32;
  bool no_src_buffer = false, no_dst_buffer = false;
  bool no_data = false;
};

// The log line of a refused call; none at all where there is no function.
using Text = std::function<std::string(const TavixBlob *src, const TavixBlob *dst)>;

Text says(const std::string &text) {
  return [=](auto...) { return text; };
}

struct Refusal {
  Faults faults;
  int32_t status;
  Text text;
};

// A function, and who its log lines say refuses.
struct Refuser {
  Entry entry;
  const char *unit, *function;

  void operator()(const Refusal &refusal) const;
};

void Refuser::operator()(const Refusal &refusal) const {
  const Faults &f = refusal.faults;
  GuardedBlob src = float_blob({2, 3, 4}), dst = float_blob({2, 3, 4});
  src->dims_size = f.src_rank, dst->dims_size = f.dst_rank;
  dst->dims[0] = f.dst_first;
  src->dims[1] = f.src_dim, dst->dims[1] = f.dst_dim;
  src->data_type = f.src_type, dst->data_type = f.dst_type;
  if (f.no_src_buffer) src->buffer = nullptr;
  if (f.no_dst_buffer) dst->buffer = nullptr;
  if (f.no_data) core_double().fail_buffer_data_get();
  const TavixBlob *s = f.no_src ? nullptr : &*src;
  TavixBlob *d = f.no_dst ? nullptr : &*dst;
  if (refusal.text) {
    EXPECT_REFUSED(entry(s, f.axis, d), refusal.status, unit, function, refusal.text(s, d));
  } else {
    EXPECT_EQ(entry(s, f.axis, d), refusal.status);
    EXPECT_TRUE(logged_nothing());
  }
  for (const float v : dst.elements<float>())
    EXPECT_EQ(std::bit_cast<uint32_t>(v), 0xA5A5A5A5u) << "untouched";
  core_double().reset();
}

// Checks of all three, under their own names.
const std::vector<Refusal> kShapeRefusals = {
    {{.src_rank = 3, .dst_rank = 2, .dst_dim = 4, .axis = 9},
     kInvalid,
     says("dims size mismatch: src=3, dst=2")},
    {{.src_rank = -1, .dst_rank = 9}, kInvalid, says("dims size mismatch: src=-1, dst=9")},
    {{.dst_dim = 4, .axis = 9, .src_type = 2},
     kInvalid,
     says("dim[1] value mismatch: src=3, dst=4")},
    {{.src_rank = 100, .dst_rank = 100, .src_dim = -3, .axis = 9},
     kInvalid,
     says("dim[1] value mismatch: src=-3, dst=3")},
    {{.dst_first = 3, .axis = 9}, kInvalid, says("dim[0] value mismatch: src=2, dst=3")},
    {{.dst_first = 1, .dst_dim = 4}, kInvalid, says("dim[0] value mismatch: src=2, dst=1")},
};

TEST(SoftmaxChecks, ByCPU) {
  const Refuser refused = {kByCPU, module::kBlobSetUnit, "TavixBlobSoftmaxByCPU"};
  for (const Faults &f :
       {Faults{.no_src = true}, {.no_dst = true}, {.no_src = true, .no_dst = true}})
    refused({f, kInvalid, says("src_blob or dst_blob is null")});
  for (const Refusal &refusal : kShapeRefusals) refused(refusal);
  for (const uint32_t type : {1u, 2u, 11u, ~0u})
    for (const Faults &f : {Faults{.axis = 9, .src_type = type, .no_src_buffer = true},
                            {.axis = 9, .dst_type = type, .no_src_buffer = true},
                            {.axis = 9, .src_type = type, .dst_type = type, .no_data = true}})
      refused({f, kUnsupported, says("only float data type is supported")});
  for (const Faults &f : {Faults{.axis = 9, .no_src_buffer = true, .no_data = true},
                          {.axis = 9, .no_dst_buffer = true, .no_data = true}})
    refused({f, kInvalid, says("buffer is null")});
}

const Faults kNullRecords[] = {
    {.no_src = true}, {.no_dst = true}, {.no_src = true, .no_dst = true, .axis = 9}};

std::string null_records(const TavixBlob *src, const TavixBlob *dst) {
  return printed("src_blob(%p) or dst_blob(%p) is null", src, dst);
}

TEST(SoftmaxChecks, CommonC) {
  const Refuser refused = {kCommonC, module::kArithmeticUnit, "TavixBlobSoftmaxCommonC"};
  for (const Faults &f : kNullRecords) refused({f, kInvalid, null_records});
  for (const Refusal &refusal : kShapeRefusals) refused(refusal);
  refused({{.axis = 3, .src_type = 2}, kInvalid, says("invalid axis: 3 (real check 3 in [0, 3))")});
  refused(
      {{.axis = -4, .src_type = 2}, kInvalid, says("invalid axis: -4 (real check -1 in [0, 3))")});
  refused({{.axis = INT32_MIN},
           kInvalid,
           says("invalid axis: -2147483648 (real check -2147483645 in [0, 3))")});
  refused({{.src_rank = 0, .dst_rank = 0, .axis = 0},
           kInvalid,
           says("invalid axis: 0 (real check 0 in [0, 0))")});
  refused({{.src_rank = INT32_MIN, .dst_rank = INT32_MIN, .axis = -1},
           kInvalid,
           says("invalid axis: -1 (real check 2147483647 in [0, -2147483648))")});
  refused(
      {{.src_type = 2, .no_src_buffer = true},
       kUnsupported,
       says("src_blob->data_type(2),dst_blob->data_type(0). only float data type is supported")});
  refused(
      {{.dst_type = 11, .no_data = true},
       kUnsupported,
       says("src_blob->data_type(0),dst_blob->data_type(11). only float data type is supported")});
  for (const Faults &f : {Faults{.no_src_buffer = true, .no_data = true},
                          {.no_dst_buffer = true},
                          {.no_src_buffer = true, .no_dst_buffer = true}})
    refused({f, kInvalid, [](const TavixBlob *src, const TavixBlob *dst) {
               return printed("src_blob->buffer(%p) or dst_blob->buffer(%p) is null", src->buffer,
                              dst->buffer);
             }});
  refused({{.src_rank = 9, .dst_rank = 9, .no_data = true},
           kInvalid,
           says(printed("src buffer data(%p) or dst buffer data(%p) is null", nullptr, nullptr))});
  refused({{.src_rank = 9, .dst_rank = 9, .axis = 8},
           kInvalid,
           says("dims size(9) must not exceed 8")});
}

TEST(SoftmaxChecks, AVX) {
  const Refuser refused = {kAVX, module::kArithmeticAvxUnit, "TavixBlobSoftmaxAVX"};
  for (const Faults &f : kNullRecords) refused({f, kInvalid, null_records});
  for (const Refusal &refusal : kShapeRefusals) refused(refusal);
  refused({{.axis = 3, .src_type = 2}, kInvalid, says("invalid axis: 3, dims size: 3")});
  refused({{.axis = -4, .src_type = 2}, kInvalid, says("invalid axis: -4, dims size: 3")});
  refused({{.src_rank = -1, .dst_rank = -1, .axis = 0},
           kInvalid,
           says("invalid axis: 0, dims size: -1")});
  refused({{.src_type = 2, .no_src_buffer = true},
           kUnsupported,
           says("src blob data type 2 or dst blob data type 0 is not supported for AVX softmax")});
  refused({{.dst_type = 11, .no_data = true},
           kUnsupported,
           says("src blob data type 0 or dst blob data type 11 is not supported for AVX softmax")});
  for (const Faults &f : {Faults{.no_src_buffer = true},
                          {.no_dst_buffer = true},
                          {.src_rank = 9, .dst_rank = 9, .no_data = true}})
    refused({f, kInvalid, nullptr});
  if (module::use_avx2())
    refused({{.src_rank = 9, .dst_rank = 9, .axis = 8},
             kInvalid,
             says("dims size(9) must not exceed 8")});
  const WithoutAvx2 portable;
  refused({{}, kUnsupported, says("the processor has no AVX2")});
}

// The dispatcher adds nothing; the entry leaves the axis to the implementation.
TEST(SoftmaxChecks, AxisThroughTheEntry) {
  for_each_path([](const Path &path) {
    GuardedBlob blob = float_blob({2, 3, 4});
    for (const Entry entry : {kByCPU, kForward})
      EXPECT_REFUSED(entry(blob, -4, blob), kInvalid,
                     path.vector ? module::kArithmeticAvxUnit : module::kArithmeticUnit,
                     path.vector ? "TavixBlobSoftmaxAVX" : "TavixBlobSoftmaxCommonC",
                     path.vector ? "invalid axis: -4, dims size: 3"
                                 : "invalid axis: -4 (real check -1 in [0, 3))");
  });
}

// Products wrap in 32 bits, as the number of lines does; nothing is read or written where it or the
// length of the lines is not positive. Two negative dimensions or products would make a positive
// number.
TEST(SoftmaxChecks, AbsurdDimensions) {
  constexpr int32_t kProducts = 8;
  const struct {
    Dims dims;
    int32_t axis;
    int32_t negative;  // the dimension refused, -1: none, nothing is done; kProducts
  } cases[] = {
      {{0, 3, 4}, 1, -1},
      {{2, 0, 4}, 1, -1},
      {{2, 3, 0}, 1, -1},
      {{-2, 3, 4}, 1, -1},
      {{2, -3, 4}, 1, -1},
      {{2, 3, -4}, 1, -1},
      {{-2, 3, -4}, 1, 0},
      {{2, -3, -4}, 0, 1},
      {{-2, -3, -4}, 1, -1},
      {{65536, 3, 65536}, 1, -1},
      {{1 << 30, 2, 4}, 1, -1},
      {{INT32_MIN, 2, 2}, 1, -1},
      {{INT32_MIN, INT32_MIN, 2}, 2, -1},
      {{9241, 464773, 2, 9241, 464773}, 2, kProducts},
      {{9241, 464773, 2, 9241, 464773}, 0, -1},
      {{2, 2, 3, 715827883}, 1, kProducts},
  };
  for_each_path([&](const Path &path) {
    for (const Entry entry : {kByCPU, path.vector ? kAVX : kCommonC})
      for (const auto &c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.dims));
        GuardedBlob blob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {1});
        blob->dims_size = int32_t(c.dims.size());
        std::copy(c.dims.begin(), c.dims.end(), blob->dims);
        if (c.negative < 0) {
          EXPECT_EQ(entry(blob, c.axis, blob), TAVIX_OK);
          EXPECT_TRUE(logged_nothing());
        } else {
          EXPECT_REFUSED(entry(blob, c.axis, blob), kInvalid,
                         path.vector ? module::kArithmeticAvxUnit : module::kArithmeticUnit,
                         path.vector ? "TavixBlobSoftmaxAVX" : "TavixBlobSoftmaxCommonC",
                         c.negative == kProducts
                             ? printed("32-bit products outer(%d) and inner(%d) of the dimensions "
                                       "before and after axis %d must not be negative",
                                       c.axis == 2 ? -3 : 2, c.axis == 2 ? -3 : -INT32_MAX, c.axis)
                             : printed("dim[%d] value(%d) must not be negative", c.negative,
                                       c.dims[size_t(c.negative)]));
        }
        EXPECT_EQ(std::bit_cast<uint32_t>(blob.elements<float>()[0]), 0xA5A5A5A5u);
      }
  });
}

}  // namespace
}  // namespace tavix::test
