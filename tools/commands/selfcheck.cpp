// SPDX-License-Identifier: Apache-2.0
// Hands over to the program tavix-selfcheck. The library chooses its implementation by itself and
// exports no way to choose another one for all operations; that program is linked from the
// library's own object files, where the choice can be made, and would stand in front of the shared
// library if it were a part of this one.
#include <fmt/format.h>
#include <unistd.h>

#include <stdexcept>
#include <system_error>

#include "commands/commands.h"
#include "program/command.h"

namespace tavix::tool {

namespace {

constexpr const char *kDescription =
    "Runs every implementation that this machine can run, for every operation that has several, "
    "and compares their results: all vector implementations must give the same bits, which may "
    "differ from the portable ones in documented places only. Names the first difference.";

namespace fs = std::filesystem;

// Where it is installed, or beside this program where both were built.
fs::path helper() {
  const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
  const fs::path installed = folder / TAVIX_LIBEXEC_FROM_BIN / "tavix-selfcheck";
  return fs::exists(installed) ? installed : folder / "tavix-selfcheck";
}

struct Options {
  explicit Options(Command &command) {
    command.app().add_flag("--fault", fault, "plant a wrong bit, which the check must find");
  }

  bool fault = false;
};

int hand_over(const Command &command, const Options &options) {
  const std::string path = helper().string();
  std::vector<const char *> arguments = {path.c_str()};
  if (command.json()) arguments.push_back("--json");
  if (options.fault) arguments.push_back("--fault");
  arguments.push_back(nullptr);
  execv(path.c_str(), const_cast<char *const *>(arguments.data()));
  const int error = errno;
  throw std::system_error(error, std::generic_category(), fmt::format("cannot run '{}'", path));
}

}  // namespace

void add_selfcheck(CLI::App &program) {
  add_command(program, "selfcheck", kDescription, hand_over);
}

}  // namespace tavix::tool
