// SPDX-License-Identifier: Apache-2.0
#include "support/sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <string_view>

namespace tavix::test {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// Takes the axis' digit off a case number.
template <class T>
const T &digit(const std::vector<T> &axis, uint64_t &number) {
  const T &value = axis[number % axis.size()];
  number /= axis.size();
  return value;
}

}  // namespace

Effort effort() {
  const char *wish = std::getenv("TAVIX_TEST_EFFORT");
  if (wish == nullptr) return kSanitized ? Effort::quick : Effort::full;
  const std::string_view name = wish;
  return name == "quick" ? Effort::quick : name == "exhaustive" ? Effort::exhaustive : Effort::full;
}

std::vector<int32_t> numbers(int32_t first, int32_t last) {
  std::vector<int32_t> list(size_t(last - first + 1));
  std::iota(list.begin(), list.end(), first);
  return list;
}

std::ostream &operator<<(std::ostream &out, const SweepCase &c) {
  return out << format_name(c.shape.format) << ", " << c.shape.width << 'x' << c.shape.height
             << ", " << c.layout << ", fill " << c.fill << ", seed " << c.seed;
}

void sweep(const SweepAxes &axes, int budget, const std::function<void(const SweepCase &)> &run) {
  const uint64_t total = axes.formats.size() * axes.widths.size() * axes.heights.size() *
                         axes.layouts.size() * axes.fills.size();
  const uint64_t most = uint64_t(by_effort(budget, std::max(budget / 20, 1)));
  // Steps of the golden ratio visit every case once and spread any number of them evenly.
  uint64_t step = std::max<uint64_t>(uint64_t(double(total) * 0.6180339887), 1);
  while (std::gcd(step, total) != 1) ++step;
  uint64_t number = 0;
  for (uint64_t k = 0; k < std::min(total, most); ++k, number = (number + step) % total) {
    uint64_t digits = number;
    SweepCase c;
    c.shape.format = digit(axes.formats, digits);
    c.fill = digit(axes.fills, digits);
    c.layout = digit(axes.layouts, digits);
    c.shape.height = digit(axes.heights, digits);
    c.shape.width = digit(axes.widths, digits);
    c.seed = number;
    SCOPED_TRACE(::testing::Message() << c);
    run(c);
    if (::testing::Test::HasFailure()) return;
  }
}

}  // namespace tavix::test
