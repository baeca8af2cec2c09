// SPDX-License-Identifier: Apache-2.0
// The program "tavix": operations on videos and pictures, each a sub-command.
#include "commands/commands.h"
#include "program/command.h"
#include "program/describe.h"

// NOLINTNEXTLINE(bugprone-exception-escape): where there is no memory for options, nothing can run
int main(int argc, char **argv) {
  using namespace tavix::tool;
  CLI::App program("CPU image and tensor operations on videos and pictures.", "tavix");
  program.require_subcommand(1);
  program.set_help_flag("-h,--help", "print this help");
  program.set_version_flag("--version", "tavix " TAVIX_VERSION, "print the version");
  program.get_formatter()->column_width(34);
  for (AddCommand *add : {add_motion, add_gallery, add_convert, add_tensors, add_stats, add_diff,
                          add_info, add_bench, add_selfcheck}) {
    add(program);
  }
  add_descriptions(program);
  return run_program(program, argc, argv);
}
