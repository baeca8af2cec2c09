// SPDX-License-Identifier: Apache-2.0
// Statistics against the reference of their tests, into new arrays and into the caller's.
#include <algorithm>

#include "families.h"
#include "statistics_reference.h"
#include "support/core_double.h"
#include "tavix/core/host.h"

namespace tavix::fuzz {

namespace {

struct Entry {
  const char *name;
  decltype(&TavixFrameStatisticalFunctionByCPU) entry;
};
constexpr Entry kEntries[] = {
    {"TavixFrameStatisticalFunctionByCPU", TavixFrameStatisticalFunctionByCPU},
    {"TavixFrameStatisticalFunctionForward", TavixFrameStatisticalFunctionForward},
    {"TavixFrameStatisticalFunctionCommonC", TavixFrameStatisticalFunctionCommonC},
    {"TavixFrameStatisticalFunctionAVX", TavixFrameStatisticalFunctionAVX}};

template <class T, class Sum>
void expect_channel(const test::GuardedFrame &frame, int32_t c, int32_t op, double actual) {
  const double pixels = double(frame->video.width) * frame->video.height;
  test::expect_statistic(test::statistics_reference<T, Sum>(frame, c), pixels, op, actual);
}

}  // namespace

void statistics(Choices &c, std::span<const Path> paths) {
  const Entry entry = c.of(kEntries);
  const int32_t op = c.rarely() ? c.of(kIntegers) : c.below(test::kOps);
  FrameRecord src(c, any_shape(c));
  src.maybe_spoil(c);
  const bool null = c.rarely(), scarce = c.rarely();

  // An array of the caller's has a few elements more than it says.
  constexpr TavixArrayElement kUnset = {-7, -7.5};
  const int32_t given_count = c.rarely() ? c.of(kIntegers) : c.below(6);
  const uint8_t how = c.byte();
  const bool given = how % 4 == 0;
  if (how > 250 && !src.spoiled) src.lengthen_rows();
  std::vector<TavixArrayElement> elements;
  TavixArray own = {}, *array = nullptr;
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src;
  TavixArray **out = null ? c.maybe(&array) : &array;
  const bool no_elements = null && c.rarely();

  const auto expect_unset = [&](size_t first) {
    for (size_t k = first; k < elements.size(); ++k)
      EXPECT_TRUE(elements[k].type == kUnset.type && elements[k].value == kUnset.value);
  };
  const auto run = [&] {
    elements.assign(8, kUnset);
    own = {given_count, no_elements ? nullptr : elements.data()};
    array = given ? &own : nullptr;
    if (scarce) test::core_double().fail_array_allocation();
    const int32_t status = entry.entry(in, op, out);
    if (status != TAVIX_OK) expect_unset(0);
    return status;
  };
  const auto expect_result = [&](const Path &) {
    const TavixVideoInfo &video = src->video;
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->count, video.channels);
    const int32_t set = given ? std::min(video.channels, given_count) : video.channels;
    for (int32_t k = 0; k < set; ++k) {
      EXPECT_EQ(array->elements[k].type, TAVIX_ARRAY_TYPE_DOUBLE);
      const double actual = array->elements[k].value;
      test::is_float_format(video.format)
          ? expect_channel<float, long double>(src.frame, k, op, actual)
          : expect_channel<uint8_t, int64_t>(src.frame, k, op, actual);
    }
    expect_unset(given ? size_t(std::max(set, 0)) : 0);
  };
  const auto take_made = [&] {
    std::vector<uint8_t> bytes;
    // The padding between the two fields may be anything.
    const auto take = [&](const TavixArrayElement *list, int32_t count) {
      for (int32_t k = 0; k < count; ++k) {
        append_bytes(bytes, list[k].type);
        append_bytes(bytes, list[k].value);
      }
    };
    append_bytes(bytes, own.count);
    take(elements.data(), int32_t(elements.size()));
    if (array != nullptr && array != &own) {
      take(array->elements, array->count);
      TavixArrayFree(array);
    }
    array = nullptr;
    return bytes;
  };
  const bool exact = !test::is_float_format(src->video.format);
  Call call{.function = entry.name,
            .run = run,
            .sources = {&src},
            .expect_result = expect_result,
            .take_made = take_made,
            .must_succeed = !src.spoiled && !null && !scarce && op >= 0 && op < test::kOps,
            .same_bits = exact};
  check(call, paths);
}

}  // namespace tavix::fuzz
