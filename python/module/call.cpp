// SPDX-License-Identifier: Apache-2.0
#include "call.h"

#include <cxxabi.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "tavix/core.h"

namespace tavix::python {

namespace {

struct Line {
  int32_t level;
  std::string file, function, message;
  int32_t line;
};

// The lines of the call that runs on this thread, made with the first one. The sink never takes the
// interpreter lock: a thread that holds it may be waiting to log. Any other kind of thread-local
// data is allocated when a thread first uses it, and the process ends where there is no memory for
// it.
[[gnu::tls_model("initial-exec")]] thread_local bool collecting = false;
[[gnu::tls_model("initial-exec")]] thread_local std::vector<Line> *collected = nullptr;

void collect(void *, int32_t level, const char *file, const char *function, int32_t line,
             const char *message) try {
  if (collecting) {
    if (collected == nullptr) collected = new std::vector<Line>;
    collected->push_back({level, file, function, message, line});
  } else {
    std::fprintf(stderr, "[tavix] %s:%d %s: %s\n", file, line, function, message);
  }
} catch (const std::bad_alloc &) {
  // A line that finds no memory is lost.
}

// The end of the interpreter ends daemon threads that ask for its lock by unwinding their stacks,
// which would run destructors without the lock. They wait for the end of the process instead.
void take_lock(PyThreadState *state) {
  try {
    PyEval_RestoreThread(state);
  } catch (abi::__forced_unwind &) {
    for (;;) pause();
  }
}

void forward(const std::vector<Line> &lines) {
  const py::object log = py::module_::import("tavix._logging").attr("log");
  for (const Line &line : lines) log(line.level, line.file, line.line, line.function, line.message);
}

std::string last_error(const std::vector<Line> &lines) {
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    if (line->level == TAVIX_LOG_ERROR) return line->message;
  }
  return "";
}

[[noreturn]] void raise(const char *function, const py::object &status, const std::string &message,
                        std::initializer_list<const Described *> operands) {
  py::list shapes;
  for (const Described *operand : operands) shapes.append(operand->describe());
  const py::object type = py::module_::import("tavix._errors").attr("TavixError");
  const py::object error = type(function, status, message, py::tuple(shapes));
  PyErr_SetObject(type.ptr(), error.ptr());
  throw py::error_already_set();
}

}  // namespace

LibraryCall::LibraryCall() {
  collecting = true;
  state_ = PyEval_SaveThread();
}

void LibraryCall::finish(const char *function, int32_t status, const std::exception_ptr &exception,
                         std::initializer_list<const Described *> operands) {
  take_lock(state_);
  collecting = false;
  const std::unique_ptr<std::vector<Line>> lines(std::exchange(collected, nullptr));
  if (status == TAVIX_OK && !exception && !lines) return;

  if (lines) forward(*lines);
  if (exception) {
    try {
      std::rethrow_exception(exception);
    } catch (const std::bad_alloc &) {
      throw;
    } catch (const std::exception &left) {
      raise(function, py::none(), left.what(), operands);
    } catch (...) {
      raise(function, py::none(), "unknown exception", operands);
    }
  }
  if (status != TAVIX_OK) {
    raise(function, py::int_(status), lines ? last_error(*lines) : "", operands);
  }
}

void define_logging(py::module_ &module) {
  TavixLoggerSetSink(collect, nullptr);
  module.def("_set_least_level", &TavixLoggerSetLevel, py::arg("level"));
  module.def("_status_name", &TavixStatusName, py::arg("status"));
}

}  // namespace tavix::python
