// SPDX-License-Identifier: Apache-2.0
// Scores of a classifier as probabilities.
#include <algorithm>
#include <cstdio>

#include "tavix/frame.hpp"

int main() {
  constexpr const char *kClasses[] = {"cat", "dog", "bird"};
  constexpr float kScores[] = {2.0f, 1.0f, -1.0f};
  const tavix::Blob scores(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NC, {1, 3});
  const tavix::Blob probabilities(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NC, {1, 3});
  std::copy(std::begin(kScores), std::end(kScores), scores.elements());

  constexpr int32_t kLastAxis = -1;
  tavix::call<TavixBlobSoftmaxByCPU>(scores, kLastAxis, probabilities);
  for (int i = 0; i < 3; ++i)
    std::printf("%s %.3f\n", kClasses[i], double(probabilities.elements()[i]));
}
