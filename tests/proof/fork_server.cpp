// SPDX-License-Identifier: Apache-2.0
// Preloaded into a program, starts it once and forks it for every run asked for: most of the time
// of a short run goes into loading its libraries.
//
// A request is what arrives in one read from stdin, each part with a zero at its end: the folder to
// run in, the files for the run's stdout and stderr, its bytes of address space, and its arguments.
// Two answers go to stdout: the process, and once that has ended, its status and the most memory
// that it held, in KiB.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using Main = int(int, char **, char **);
Main *program;

void limit(int resource, rlim_t most) {
  const rlimit both = {most, most};
  if (setrlimit(resource, &both) != 0) _exit(120);
}

// Takes the place of a descriptor.
void redirect(const char *file, int flags, int descriptor) {
  const int opened = open(file, flags, 0600);
  if (opened < 0 || dup2(opened, descriptor) < 0) _exit(121);
  close(opened);
}

int run(std::vector<char *> parts, char **environment) {
  redirect("/dev/null", O_RDONLY, STDIN_FILENO);
  redirect(parts[1], O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
  redirect(parts[2], O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
  if (chdir(parts[0]) != 0) _exit(122);
  limit(RLIMIT_AS, std::strtoull(parts[3], nullptr, 10));
  limit(RLIMIT_CORE, 0);
  parts.erase(parts.begin() + 1, parts.begin() + 4);  // what remains of the first is the name
  parts.push_back(nullptr);
  return program(int(parts.size()) - 1, parts.data(), environment);
}

int serve(int, char **, char **environment) {
  unsetenv("LD_PRELOAD");  // of what the program starts
  static char request[1 << 16];
  for (;;) {
    const ssize_t size = read(STDIN_FILENO, request, sizeof request);
    if (size <= 0) _exit(0);
    std::vector<char *> parts;
    for (char *part = request; part < request + size; part += std::strlen(part) + 1)
      parts.push_back(part);
    const pid_t child = fork();
    if (child == 0) return run(parts, environment);
    rusage used = {};
    int64_t answer[] = {child, 0};
    if (write(STDOUT_FILENO, answer, sizeof answer[0]) < 0) _exit(123);
    int status = 0;
    wait4(child, &status, 0, &used);
    answer[0] = status, answer[1] = used.ru_maxrss;
    if (write(STDOUT_FILENO, answer, sizeof answer) < 0) _exit(123);
  }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int __libc_start_main(
    Main *main, int count, char **arguments, void (*first)(), void (*last)(), void (*loader)(),
    void *stack) {
  program = main;
  const auto real =
      reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return real(serve, count, arguments, first, last, loader, stack);
}
