// SPDX-License-Identifier: Apache-2.0
// What a failed call tells: the function, the status and the reason, in C++ as an exception.
#include <cstdio>

#include "tavix/frame.hpp"

int main() {
  // Log lines go to stderr unless the program takes them.
  tavix::set_log_sink([](void *, int32_t, const char *, const char *, int32_t, const char *line) {
    std::printf("logged: %s\n", line);
  });
  const tavix::Frame colour(TAVIX_PIX_FMT_BGR24, 8, 8), grey(TAVIX_PIX_FMT_GRAY8, 8, 8);
  try {
    tavix::call<TavixFrameBlurByCPU>(colour, grey, TavixSize{3, 3});
  } catch (const tavix::Error &error) {
    std::printf("%s returned %s\n", error.function().c_str(), error.status_name());
  }
  // A rectangle outside its picture is an exception of OpenCV's; it arrives as the same type.
  try {
    const TavixRect large = {0, 0, 9, 9};
    tavix::call<TavixFrameRoiByCPU>(grey, grey, large, large);
  } catch (const tavix::Error &error) {
    std::printf("%s left with an exception\n", error.function().c_str());
  }
}
