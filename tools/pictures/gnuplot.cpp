// SPDX-License-Identifier: Apache-2.0
#include "pictures/gnuplot.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

namespace tavix::tool {

namespace {

// Without a shell: while one runs, an interrupt would be lost.
bool is_on_path(const char *program) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
  const char *path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? "" : path);
  for (std::string folder; std::getline(folders, folder, ':');)
    if (access((std::filesystem::path(folder) / program).c_str(), X_OK) == 0) return true;
  return false;
}

}  // namespace

void require_gnuplot() {
  if (!is_on_path("gnuplot")) {
    throw std::runtime_error("cannot draw the plot: gnuplot is not installed");
  }
}

std::string quoted(const std::string &text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("''") : std::string(1, c);
  return result + "'";
}

void run_gnuplot(const std::string &script, const OutputFile &file) {
  std::FILE *gnuplot = popen("gnuplot > /dev/null 2>&1", "w");
  if (gnuplot == nullptr) throw std::runtime_error("cannot start gnuplot");
  std::fputs(script.c_str(), gnuplot);
  if (pclose(gnuplot) != 0 || !std::filesystem::exists(file.partial())) {
    throw std::runtime_error(fmt::format("cannot write '{}'", file.target().string()));
  }
}

}  // namespace tavix::tool
