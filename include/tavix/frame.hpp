// SPDX-License-Identifier: Apache-2.0
// The C interface with owners and exceptions, for C++17 and later; header-only.
//
//   tavix::Frame small(TAVIX_PIX_FMT_BGR24, 224, 224);
//   tavix::call<TavixFrameResizeByCPU>(picture, small, 224, 224, 3);
//
//   tavix::Frame floats;  // receives a frame that the operation makes
//   tavix::call<TavixFrameDataTypeConvertNormalizationFuseByCPU>(
//       small, tavix::out(floats), TAVIX_DATA_TYPE_FLOAT32, values);
//
// The layer takes the core's log sink when it is first used, so that an error can carry the line
// that was logged for it, and hands every line on: a program that wants the lines itself gives its
// sink to tavix::set_log_sink, not to TavixLoggerSetSink.
#ifndef TAVIX_FRAME_HPP
#define TAVIX_FRAME_HPP

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tavix/core.h"
#include "tavix/video_common_cpu.h"

namespace tavix {

/// A call that failed: "function: status: message".
class Error : public std::runtime_error {
 public:
  /// Stands for a status where the function did not return one but threw.
  static constexpr int32_t kException = -1;

  /// @param message  may be empty
  Error(std::string function, int32_t status, std::string message)
      : std::runtime_error(sentence(function, status, message)),
        function_(std::move(function)),
        message_(std::move(message)),
        status_(status) {}

  const std::string &function() const noexcept { return function_; }

  /// A TavixStatus, or kException.
  int32_t status() const noexcept { return status_; }
  const char *status_name() const noexcept { return name_of(status_); }

  /// The line that the function logged, or the text of the exception that left it.
  const std::string &message() const noexcept { return message_; }

 private:
  static const char *name_of(int32_t status) noexcept {
    return status == kException ? "exception" : TavixStatusName(status);
  }

  static std::string sentence(const std::string &function, int32_t status,
                              const std::string &message) {
    return function + ": " + name_of(status) + (message.empty() ? "" : ": ") + message;
  }

  std::string function_, message_;
  int32_t status_;
};

namespace detail {

// What this thread logged last at the level of errors, cut where it is very long. It needs no
// memory, which may be what the line is about.
struct LastError {
  char text[2048];

  void set(const char *line) noexcept { std::snprintf(text, sizeof text, "%s", line); }
};
inline LastError &last_error() noexcept {
  static thread_local LastError line = {};
  return line;
}

// The sink of the layer, and the one it hands every line to.
class LogTap {
 public:
  static LogTap &instance() {
    static LogTap *tap = new LogTap;  // never destroyed: lines may come while the program ends
    return *tap;
  }

  void set_next(TavixLogSink sink, void *user) {
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    next_ = sink == nullptr ? print : sink;
    user_ = user;
  }

 private:
  LogTap() { TavixLoggerSetSink(receive, this); }

  static void receive(void *self, int32_t level, const char *file, const char *function,
                      int32_t line, const char *message) {
    if (level >= TAVIX_LOG_ERROR) last_error().set(message);
    LogTap &tap = *static_cast<LogTap *>(self);
    const std::lock_guard<std::recursive_mutex> lock(tap.mutex_);
    tap.next_(tap.user_, level, file, function, line, message);
  }

  // As the core prints them.
  static void print(void *, int32_t level, const char *file, const char *function, int32_t line,
                    const char *message) {
    constexpr const char *kLevels[] = {"debug", "info", "warning", "error"};
    const char *name = level >= 0 && level <= 3 ? kLevels[level] : "error";
    std::fprintf(stderr, "[tavix %s] %s:%d %s: %s\n", name, file, line, function, message);
  }

  std::recursive_mutex mutex_;  // guards what follows; recursive, so that a sink may log
  TavixLogSink next_ = print;
  void *user_ = nullptr;
};

// Frees an object with a function of the core.
template <auto function>
struct FreedBy {
  template <class T>
  void operator()(T *object) const noexcept {
    function(object);
  }
};

// Forgets what was logged for earlier calls.
inline void begin_call() {
  LogTap::instance();
  last_error().set("");
}

template <class T>
T *allocated(const char *function, T *object) {
  if (object == nullptr) throw Error(function, TAVIX_ERROR_MEMORY, last_error().text);
  return object;
}

}  // namespace detail

/// Receives every log line from now on; nullptr restores the print on stderr.
inline void set_log_sink(TavixLogSink sink, void *user = nullptr) {
  detail::LogTap::instance().set_next(sink, user);
}

/// Throws Error unless status is TAVIX_OK. The message is the last error that this thread logged.
inline void check(int32_t status, const char *function) {
  detail::LogTap::instance();
  if (status != TAVIX_OK) throw Error(function, status, detail::last_error().text);
}

using FramePtr = std::unique_ptr<TavixFrameV2, detail::FreedBy<TavixFrameFreeV2>>;
using BlobPtr = std::unique_ptr<TavixBlob, detail::FreedBy<TavixBlobFree>>;
using ArrayPtr = std::unique_ptr<TavixArray, detail::FreedBy<TavixArrayFree>>;

/// A frame of the core with its owner; moves, and copies only by clone().
class Frame {
 public:
  using Record = TavixFrameV2;

  /// No frame.
  Frame() = default;

  /// Zero-filled planes; each row starts at a multiple of alignment, a power of two.
  Frame(int32_t format, int32_t width, int32_t height, int32_t alignment = 64) {
    detail::begin_call();
    frame_.reset(detail::allocated(
        "TavixVideoFrameAllocV2",
        TavixVideoFrameAllocV2(format, TAVIX_MEMORY_HOST, width, height, 0, alignment)));
  }

  /// Takes over a frame that the core allocated, or null.
  explicit Frame(TavixFrameV2 *owned) noexcept : frame_(owned) {}

  /// A frame with memory of its own: pixels, colour, times and flags of any frame.
  static Frame copy_of(const TavixFrameV2 &frame) {
    Frame copy(frame.video.format, frame.video.width, frame.video.height);
    copy->video.channels = frame.video.channels;
    check(TavixFrameCopyV2(copy.get(), &frame, 0, 0), "TavixFrameCopyV2");
    return copy;
  }
  Frame clone() const { return copy_of(*frame_); }

  explicit operator bool() const noexcept { return frame_ != nullptr; }
  TavixFrameV2 *get() const noexcept { return frame_.get(); }
  TavixFrameV2 *operator->() const noexcept { return frame_.get(); }
  TavixFrameV2 &operator*() const noexcept { return *frame_; }

  /// Gives the frame up; TavixFrameFreeV2 is the caller's business.
  TavixFrameV2 *release() noexcept { return frame_.release(); }

  int32_t width() const noexcept { return frame_->video.width; }
  int32_t height() const noexcept { return frame_->video.height; }
  int32_t format() const noexcept { return frame_->video.format; }

  /// The first sample of a row; T is uint8_t or float, as the format says.
  template <class T = uint8_t>
  T *row(int32_t y, int plane = 0) const noexcept {
    return reinterpret_cast<T *>(frame_->data[plane] + ptrdiff_t(y) * frame_->linesize[plane]);
  }

 private:
  FramePtr frame_;
};

/// A tensor of the core with its owner.
class Blob {
 public:
  using Record = TavixBlob;

  /// No tensor.
  Blob() = default;

  /// Zero-filled elements; dims are the extents, outermost first.
  Blob(TavixDataType data_type, TavixDataFormat data_format, std::initializer_list<int32_t> dims) {
    detail::begin_call();
    blob_.reset(detail::allocated(
        "TavixBlobAlloc",
        TavixBlobAlloc(data_type, data_format, int32_t(dims.size()), dims.begin())));
  }

  /// Takes over a tensor that the core allocated, or null.
  explicit Blob(TavixBlob *owned) noexcept : blob_(owned) {}

  explicit operator bool() const noexcept { return blob_ != nullptr; }
  TavixBlob *get() const noexcept { return blob_.get(); }
  TavixBlob *operator->() const noexcept { return blob_.get(); }
  TavixBlob &operator*() const noexcept { return *blob_; }
  TavixBlob *release() noexcept { return blob_.release(); }

  /// The elements; T is the type that data_type names.
  template <class T = float>
  T *elements() const noexcept {
    return static_cast<T *>(TavixBlobBufferGet(blob_.get()));
  }

  /// How many elements there are.
  size_t size() const noexcept {
    size_t product = 1;
    for (int32_t i = 0; i < blob_->dims_size; ++i) product *= size_t(blob_->dims[i]);
    return product;
  }

 private:
  BlobPtr blob_;
};

/// A result array of the core with its owner.
class Array {
 public:
  using Record = TavixArray;

  /// No array.
  Array() = default;

  /// Takes over an array that the core or an operation allocated, or null.
  explicit Array(TavixArray *owned) noexcept : array_(owned) {}

  explicit operator bool() const noexcept { return array_ != nullptr; }
  TavixArray *get() const noexcept { return array_.get(); }
  size_t size() const noexcept { return array_ ? size_t(array_->count) : 0; }
  double operator[](size_t i) const noexcept { return array_->elements[i].value; }

 private:
  ArrayPtr array_;
};

/// The frames of TavixFrameChannelSplitByCPU with their owners.
struct ChannelFrames {
  Frame red, green, blue, alpha;
};

namespace detail {

// What an operation fills: handed to it as a pointer, and taken over when it has succeeded.
template <class Owner>
struct Output {
  Owner *owner;
  typename Owner::Record *made = nullptr;

  typename Owner::Record **argument() { return &made; }
  void commit() { *owner = Owner(std::exchange(made, nullptr)); }
  void discard() { Owner(std::exchange(made, nullptr)); }
};

template <>
struct Output<ChannelFrames> {
  ChannelFrames *owner;
  TavixChannelFrames made = {};

  TavixChannelFrames *argument() { return &made; }
  ChannelFrames taken() {
    const TavixChannelFrames all = std::exchange(made, TavixChannelFrames{});
    return {Frame(all.red), Frame(all.green), Frame(all.blue), Frame(all.alpha)};
  }
  void commit() { *owner = taken(); }
  void discard() { taken(); }
};

// How arguments reach a C function: owners and records as their addresses, the rest as it is.
inline TavixFrameV2 *argument(const Frame &frame) {
  return frame.get();
}
inline TavixBlob *argument(const Blob &blob) {
  return blob.get();
}
inline TavixFrameV2 *argument(TavixFrameV2 &frame) {
  return &frame;
}
inline const TavixFrameV2 *argument(const TavixFrameV2 &frame) {
  return &frame;
}
inline TavixBlob *argument(TavixBlob &blob) {
  return &blob;
}
inline const TavixBlob *argument(const TavixBlob &blob) {
  return &blob;
}
template <class Owner>
auto argument(Output<Owner> &output) {
  return output.argument();
}
template <class T>
const T &argument(const T &value) {
  return value;
}

template <class T>
void commit(T &) {}
template <class Owner>
void commit(Output<Owner> &output) {
  output.commit();
}
template <class T>
void discard(T &, bool) {}
template <class Owner>
void discard(Output<Owner> &output, bool stale) {
  if (stale) output.made = {};
  output.discard();
}

// The name between the last "function = " and the bracket or semicolon that ends it.
template <auto function>
std::string function_name() {
  std::string_view name = __PRETTY_FUNCTION__;
  constexpr std::string_view kBefore = "function = ";
  name.remove_prefix(name.rfind(kBefore) + kBefore.size());
  name = name.substr(0, name.find_first_of(";]"));
  if (name.substr(0, 1) == "&") name.remove_prefix(1);
  return std::string(name);
}

// Throws the exception that is being handled as an Error.
[[noreturn]] inline void throw_error(const std::string &function) {
  try {
    throw;
  } catch (const std::exception &exception) {
    throw Error(function, Error::kException, exception.what());
  } catch (...) {
    throw Error(function, Error::kException, "unknown exception");
  }
}

// A mask that is refused may have freed its frame, and leaves the pointer to it behind.
template <auto function>
constexpr bool refusal_leaves_stale_output() {
  if constexpr (std::is_same_v<decltype(function), decltype(&TavixFrameAddMaskByCPU)>) {
    return function == &TavixFrameAddMaskByCPU;
  } else {
    return false;
  }
}

}  // namespace detail

/// Hands an owner to an operation that makes what it will hold.
template <class Owner>
detail::Output<Owner> out(Owner &owner) {
  return {&owner};
}

/// Calls a function of the C interface: call<TavixFrameResizeByCPU>(src, dst, 224, 224, 3).
/// Frames and tensors are given as owners, as records or as pointers, results as out(owner), which
/// keeps what it held unless the call succeeds. A status other than TAVIX_OK and every exception
/// that leaves the function arrive as Error, or as std::bad_alloc where there is no memory for one.
template <auto function, class... Arguments>
void call(Arguments &&...arguments) {
  detail::begin_call();
  int32_t status = Error::kException;
  try {
    status = function(detail::argument(arguments)...);
  } catch (...) {
    (detail::discard(arguments, false), ...);
    detail::throw_error(detail::function_name<function>());
  }
  if (status == TAVIX_OK) return (detail::commit(arguments), ...);
  (detail::discard(arguments, detail::refusal_leaves_stale_output<function>()), ...);
  throw Error(detail::function_name<function>(), status, detail::last_error().text);
}

}  // namespace tavix

#endif
