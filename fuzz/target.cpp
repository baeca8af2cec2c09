// SPDX-License-Identifier: Apache-2.0
#include "target.h"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include "support/core_double.h"
#include "support/seams.h"

namespace tavix::fuzz {

namespace {

std::vector<Path> every_path() {
  std::vector<Path> paths;
  for (const module::CpuLevel level : test::levels())
    for (const int workers : {1, 8})
      paths.push_back({level, level != module::CpuLevel::kPortable, workers});
  return paths;
}

}  // namespace

void try_input(Family *family, const uint8_t *data, size_t size) {
  // OpenCV reports what it raises on the error stream otherwise.
  [[maybe_unused]] static const auto silent = cv::redirectError(
      [](int, const char *, const char *, const char *, int, void *) { return 0; });
  static const std::vector<Path> paths = every_path();
  test::core_double().reset();
  Choices choices(data, size);
  family(choices, paths);
}

}  // namespace tavix::fuzz
