// SPDX-License-Identifier: Apache-2.0
#include "program/describe.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tavix::tool {

namespace {

// Lines may break after a comma, as they do in lists of words.
std::string in_roff(const std::string &text) {
  std::string result;
  for (const char c : text) {
    if (c == '-' || c == '\\') result += '\\';
    result += c;
    if (c == ',') result += "\\:";
  }
  return result;
}

std::vector<const CLI::App *> commands(const CLI::App &program) {
  return program.get_subcommands([](const CLI::App *) { return true; });
}

std::vector<const CLI::Option *> options(const CLI::App &app) {
  return app.get_options([](const CLI::Option *option) { return !option->get_group().empty(); });
}

// The words that an option takes, where its type is a list "{first,second}".
std::string choices(const CLI::Option &option) {
  const std::string type = option.get_type_name();
  if (!type.starts_with('{')) return "";
  std::string words = type.substr(1, type.size() - 2);
  std::ranges::replace(words, ',', ' ');
  return words;
}

// "--size WxH", or "VIDEO".
std::string option_page(const CLI::Option &option) {
  std::string page = fmt::format(".TP\n\\fB{}\\fR", in_roff(option.get_name(false, true)));
  const bool typed = !option.get_positional() || !choices(option).empty();
  if (typed && option.get_items_expected_max() > 0) {
    page += fmt::format(" {}", in_roff(option.get_type_name()));
  }
  page += fmt::format("\n{}", in_roff(option.get_description()));
  const std::string &without = option.get_default_str();
  if (!without.empty()) page += fmt::format(" (default: {})", in_roff(without));
  return page + "\n";
}

std::string command_page(const CLI::App &command) {
  std::string usage = "tavix " + command.get_name();
  std::string page;
  for (const CLI::Option *option : options(command)) {
    if (option->get_positional()) usage += " " + option->get_name(true);
    page += option_page(*option);
  }
  return fmt::format(".SS \"{} [options]\"\n{}\n{}", in_roff(usage),
                     in_roff(command.get_description()), page);
}

std::string man_page(const CLI::App &program) {
  std::string page =
      ".TH TAVIX 1 \"\" \"" TAVIX_VERSION
      "\" \"User Commands\"\n"
      ".ad l\n"  // lines that end with a list of words cannot be filled
      ".nh\n"
      ".SH NAME\n"
      "tavix \\- operations on videos and pictures\n"
      ".SH SYNOPSIS\n"
      ".B tavix\n"
      ".I command\n"
      "[\\fIoptions\\fR]\n"
      ".SH DESCRIPTION\n"
      "Runs the operations of tavix_video_common_cpu on videos and pictures. Output files appear "
      "whole or not at all. Progress goes to stderr, the result to stdout.\n"
      ".SH OPTIONS\n";
  for (const CLI::Option *option : options(program)) page += option_page(*option);
  page += ".SH COMMANDS\n";
  for (const CLI::App *command : commands(program)) page += command_page(*command);
  return page +
         ".SH EXIT STATUS\n"
         ".TP\n0\nsuccess\n"
         ".TP\n1\n"
         "a file cannot be read or written, a video is damaged (what can be decoded is written), "
         "or a check fails\n"
         ".TP\n2\na wrong command line\n"
         ".TP\n130\ninterrupted; no file is left half-written\n"
         ".SH EXAMPLES\n"
         ".nf\n"
         "tavix motion holiday.mp4 \\-\\-output motion\n"
         "tavix tensors holiday.mp4 \\-\\-size 224 \\-\\-fps 2 \\-\\-output tensors\n"
         "tavix convert frame.png frame.nv12 \\-\\-to nv12\n"
         "tavix diff before.mp4 after.mp4 \\-\\-json\n"
         ".fi";
}

std::string words(const CLI::App &app) {
  std::string result;
  for (const CLI::Option *option : options(app))
    for (const std::string &name : option->get_lnames()) result += "--" + name + " ";
  return result;
}

// The cases that say which words a command takes: its options, and what is no option.
std::string command_case(const CLI::App &command) {
  std::string others;
  for (const CLI::Option *option : options(command))
    if (option->get_positional()) others += choices(*option);
  return fmt::format("    {}) words='{}' others='{}' ;;\n", command.get_name(), words(command),
                     others);
}

// The cases that say which words follow an option of a command.
std::string value_cases(const CLI::App &command) {
  std::string cases;
  for (const CLI::Option *option : options(command))
    for (const std::string &name : option->get_lnames())
      if (const std::string values = choices(*option); !values.empty())
        cases += fmt::format("    '{} --{}') words='{}' ;;\n", command.get_name(), name, values);
  return cases;
}

std::string bash_completion(const CLI::App &program) {
  std::string names, cases, values;
  for (const CLI::App *command : commands(program)) {
    names += command->get_name() + " ";
    cases += command_case(*command);
    values += value_cases(*command);
  }
  return fmt::format(
      "# Completion of tavix for bash.\n"
      "_tavix() {{\n"
      "  local current=${{COMP_WORDS[COMP_CWORD]}} words='{}{}' others=\n"
      "  COMPREPLY=()\n"
      "  if ((COMP_CWORD > 1)); then\n"
      "    case ${{COMP_WORDS[1]}} in\n{}    esac\n"
      "    [[ $current == -* ]] || words=$others\n"
      "    case \"${{COMP_WORDS[1]}} ${{COMP_WORDS[COMP_CWORD - 1]}}\" in\n{}    esac\n"
      "  fi\n"
      "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
      "  # Files come from bash itself where no word fits.\n"
      "}}\n"
      "complete -o default -F _tavix tavix",
      names, words(program), cases, values);
}

}  // namespace

void add_descriptions(CLI::App &program) {
  const auto add = [&](const char *name, std::string (*make)(const CLI::App &)) {
    program
        .add_flag_callback(name, [&program, make] { throw CLI::CallForVersion(make(program), 0); })
        ->group("");
  };
  add("--man", man_page);
  add("--bash-completion", bash_completion);
}

}  // namespace tavix::tool
