// SPDX-License-Identifier: Apache-2.0
// The one way to call the library: without the interpreter lock, with its log lines collected, and
// with every failure turned into a Python exception.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <exception>
#include <initializer_list>
#include <string>

#include "tavix/core.h"

namespace tavix::python {

namespace py = pybind11;

// Something a call works on, as an error describes it.
class Described {
 public:
  virtual std::string describe() const = 0;

 protected:
  ~Described() = default;
};

// Releases the interpreter lock and collects the library's log lines of this thread until finish.
class LibraryCall {
 public:
  LibraryCall();

  // Takes the lock back and hands the lines to logging. Raises for a status other than TAVIX_OK and
  // for an exception that left the library.
  void finish(const char *function, int32_t status, const std::exception_ptr &exception,
              std::initializer_list<const Described *> operands);

 private:
  PyThreadState *state_;
};

template <class Operation>
void call(const char *function, std::initializer_list<const Described *> operands,
          Operation &&operation) {
  LibraryCall library;
  int32_t status = 0;
  std::exception_ptr exception;
  try {
    status = operation();
  } catch (...) {
    exception = std::current_exception();
  }
  library.finish(function, status, exception, operands);
}

// Calls an operation that makes a frame, which it gets the address for. A failure frees what it
// left.
template <class Operation>
TavixFrameV2 *frame_of_call(const char *function, std::initializer_list<const Described *> operands,
                            Operation &&operation) {
  TavixFrameV2 *frame = nullptr;
  try {
    call(function, operands, [&] { return operation(&frame); });
  } catch (...) {
    TavixFrameFreeV2(frame);
    throw;
  }
  return frame;
}

void define_logging(py::module_ &module);

}  // namespace tavix::python
