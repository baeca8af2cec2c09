// SPDX-License-Identifier: Apache-2.0
#include "support/logged_texts.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>

namespace tavix::test {

void note_logged_text(std::string_view text) {
  static const char *path = std::getenv("TAVIX_TEST_LOGGED_TEXTS");
  if (path == nullptr) return;
  static std::mutex mutex;
  static auto &noted = *new std::set<std::string>;  // lines may come while the program ends
  const std::lock_guard lock(mutex);
  const auto [entry, fresh] = noted.emplace(text);
  if (!fresh) return;
  // At once, since a test may end its process; a line of several processes stays whole.
  if (std::FILE *file = std::fopen(path, "ab")) {
    std::fwrite(entry->c_str(), 1, entry->size() + 1, file);
    std::fclose(file);
  }
}

}  // namespace tavix::test
