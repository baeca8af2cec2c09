// SPDX-License-Identifier: Apache-2.0
// Comes first in every file that holds mutants behind switches; see switches.py.
#ifndef TAVIX_TESTS_PROOF_MUTANTS_SWITCHES_H
#define TAVIX_TESTS_PROOF_MUTANTS_SWITCHES_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <type_traits>

namespace mutants {

inline constexpr int kMost = 4096;
inline int chosen = -1;
inline unsigned char reached[kMost];

// Constants that the compiler computes are never mutants; such places count as not reached.
[[gnu::always_inline]] constexpr inline bool is(int number) {
  if (std::is_constant_evaluated()) return false;
  reached[number] = 1;
  return chosen == number;
}

// Before any other constructor.
[[gnu::constructor(101)]] static void choose() {
  if (const char *number = std::getenv("TAVIX_MUTANT")) chosen = std::atoi(number);
}

// Each library and executable has its own record and appends it to the file, a byte for each
// mutant.
[[gnu::destructor(101)]] static void report() {
  static bool done = false;
  const char *path = std::getenv("TAVIX_MUTANTS_REACHED");
  if (path == nullptr || done) return;
  done = true;
  const int file = open(path, O_WRONLY | O_APPEND | O_CREAT, 0644);
  if (file < 0 || write(file, reached, kMost) != kMost) std::abort();
  close(file);
}

}  // namespace mutants

#endif
