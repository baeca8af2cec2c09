// SPDX-License-Identifier: Apache-2.0
#include "support/core_double.h"

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "support/logged_texts.h"

namespace tavix::test {

namespace {

struct State {
  std::vector<LogLine> logs;
  std::vector<FrameRequest> frame_requests;
  std::vector<ArrayRequest> array_requests;
  std::vector<CopyRequest> copy_requests;
  std::vector<void (*)()> registered_callbacks;
  std::set<const void *> frames, arrays;  // outstanding
  int frames_until_failure = 0, arrays_until_failure = 0;
  int32_t copy_status = TAVIX_OK;
  std::function<void(TavixFrameV2 &)> alter_frames;
  bool blob_buffer_fails = false, buffer_data_fails = false;
  std::map<const TavixBuffer *, void *> buffers;
};

std::mutex mutex;  // guards the state
State state;

template <class Use>
auto locked(Use use) {
  const std::lock_guard lock(mutex);
  return use(state);
}

// The core's own definition of a service.
template <class Service>
Service *real(Service *, const char *name) {
  void *found = dlsym(RTLD_NEXT, name);
  if (found == nullptr) std::fprintf(stderr, "no core provides %s\n", name), std::abort();
  return reinterpret_cast<Service *>(found);
}
#define REAL(service) real(&service, #service)

// Counts down to a failure; true once.
bool due(int &countdown) {
  return countdown > 0 && --countdown == 0;
}

bool about_arena(const LogLine &line) {
  return line.level == TAVIX_LOG_INFO &&
         line.unit == "source/host/common/parallel/tavix_parallel_wrapper";
}

::testing::AssertionResult explain(const std::vector<LogLine> &actual) {
  auto result = ::testing::AssertionFailure() << "logged " << actual.size() << " lines:";
  for (const LogLine &line : actual) result << "\n  " << line;
  return result;
}

class FreshDoubleForEachTest : public ::testing::EmptyTestEventListener {
  void OnTestStart(const ::testing::TestInfo &) override { core_double().reset(); }
  void OnTestEnd(const ::testing::TestInfo &) override {
    EXPECT_EQ(core_double().outstanding_frames(), 0) << "frames leak";
    EXPECT_EQ(core_double().outstanding_arrays(), 0) << "arrays leak";
  }
};

[[maybe_unused]] const bool listening = [] {
  ::testing::UnitTest::GetInstance()->listeners().Append(new FreshDoubleForEachTest);
  return true;
}();

}  // namespace

bool LogLine::operator==(const LogLine &other) const {
  return level == other.level && unit == other.unit && function == other.function &&
         text == other.text;
}

std::ostream &operator<<(std::ostream &out, const LogLine &line) {
  return out << "level " << line.level << ", " << line.unit << ':' << line.line << ' '
             << line.function << ": \"" << line.text << '"';
}

CoreDouble &core_double() {
  static CoreDouble instance;
  return instance;
}

void CoreDouble::reset() {
  locked([](State &s) {
    State fresh;
    fresh.buffers.swap(s.buffers);  // those belong to blobs that still live
    s = std::move(fresh);
  });
}

std::vector<LogLine> CoreDouble::logs() const {
  return locked([](State &s) { return s.logs; });
}
std::vector<FrameRequest> CoreDouble::frame_requests() const {
  return locked([](State &s) { return s.frame_requests; });
}
std::vector<ArrayRequest> CoreDouble::array_requests() const {
  return locked([](State &s) { return s.array_requests; });
}
std::vector<CopyRequest> CoreDouble::copy_requests() const {
  return locked([](State &s) { return s.copy_requests; });
}
std::vector<void (*)()> CoreDouble::registered_callbacks() const {
  return locked([](State &s) { return s.registered_callbacks; });
}
int CoreDouble::outstanding_frames() const {
  return locked([](State &s) { return int(s.frames.size()); });
}
int CoreDouble::outstanding_arrays() const {
  return locked([](State &s) { return int(s.arrays.size()); });
}

std::vector<LogLine> CoreDouble::take_logs() {
  auto lines = locked([](State &s) { return std::exchange(s.logs, {}); });
  std::erase_if(lines, about_arena);
  return lines;
}

void CoreDouble::fail_frame_allocation(int nth) {
  locked([&](State &s) { s.frames_until_failure = nth; });
}
void CoreDouble::fail_array_allocation(int nth) {
  locked([&](State &s) { s.arrays_until_failure = nth; });
}
void CoreDouble::fail_frame_copy(int32_t status) {
  locked([&](State &s) { s.copy_status = status; });
}
void CoreDouble::fail_blob_buffer_get() {
  locked([](State &s) { s.blob_buffer_fails = true; });
}
void CoreDouble::fail_buffer_data_get() {
  locked([](State &s) { s.buffer_data_fails = true; });
}

void CoreDouble::alter_frames(std::function<void(TavixFrameV2 &)> alter) {
  locked([&](State &s) { s.alter_frames = std::move(alter); });
}

void CoreDouble::serve_buffer(const TavixBuffer *handle, void *data) {
  locked([&](State &s) { s.buffers[handle] = data; });
}
void CoreDouble::withdraw_buffer(const TavixBuffer *handle) {
  locked([&](State &s) { s.buffers.erase(handle); });
}

::testing::AssertionResult logged_once(const LogLine &expected) {
  const auto actual = core_double().take_logs();
  if (actual.size() == 1 && actual[0] == expected && actual[0].line > 0)
    return ::testing::AssertionSuccess();
  return explain(actual) << "\nbut should have logged one, with its source line:\n  " << expected;
}

::testing::AssertionResult logged_nothing() {
  const auto actual = core_double().take_logs();
  if (actual.empty()) return ::testing::AssertionSuccess();
  return explain(actual) << "\nbut should have been silent";
}

}  // namespace tavix::test

using namespace tavix::test;

TavixFrameV2 *TavixVideoFrameAllocV2(int32_t format, uint32_t memory, int32_t width, int32_t height,
                                     uint64_t device, int32_t alignment) {
  const auto [fails, alter] =
      locked([](State &s) { return std::pair(due(s.frames_until_failure), s.alter_frames); });
  const uint32_t real_memory = alter ? uint32_t(TAVIX_MEMORY_HOST) : memory;
  TavixFrameV2 *frame =
      fails ? nullptr
            : REAL(TavixVideoFrameAllocV2)(format, real_memory, width, height, device, alignment);
  if (alter && frame != nullptr) alter(*frame);
  locked([&](State &s) {
    s.frame_requests.push_back({format, memory, width, height, device, alignment, frame});
    if (frame != nullptr) s.frames.insert(frame);
  });
  return frame;
}

void TavixFrameFreeV2(TavixFrameV2 *frame) {
  locked([&](State &s) { s.frames.erase(frame); });
  REAL(TavixFrameFreeV2)(frame);
}

int32_t TavixFrameCopyV2(TavixFrameV2 *dst, const TavixFrameV2 *src, uint64_t context,
                         uint64_t options) {
  int32_t status = locked([](State &s) { return s.copy_status; });
  if (status == TAVIX_OK) status = REAL(TavixFrameCopyV2)(dst, src, context, options);
  locked([&](State &s) { s.copy_requests.push_back({dst, src, context, options, status}); });
  return status;
}

TavixArray *TavixArrayAlloc(int32_t type, int32_t count) {
  const bool fails = locked([](State &s) { return due(s.arrays_until_failure); });
  TavixArray *array = fails ? nullptr : REAL(TavixArrayAlloc)(type, count);
  locked([&](State &s) {
    s.array_requests.push_back({type, count, array});
    if (array != nullptr) s.arrays.insert(array);
  });
  return array;
}

// Not a service the operations call, but where outstanding arrays end.
void TavixArrayFree(TavixArray *array) {
  locked([&](State &s) { s.arrays.erase(array); });
  REAL(TavixArrayFree)(array);
}

void TavixLoggerLogV2(int32_t level, const char *file, const char *function, int32_t line,
                      const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  LogLine entry{level, file, function, vprinted(format, arguments), line, format};
  va_end(arguments);
  note_logged_text(format);
  locked([&](State &s) { s.logs.push_back(std::move(entry)); });
}

void TavixAtDeinitializeRegister(void (*callback)(void)) {
  locked([&](State &s) { s.registered_callbacks.push_back(callback); });
  REAL(TavixAtDeinitializeRegister)(callback);
}

void *TavixBufferDataGetV2(const TavixBuffer *buffer) {
  const auto [fails, served, data] = locked([&](State &s) {
    const auto found = s.buffers.find(buffer);
    const bool own = found != s.buffers.end();
    return std::tuple(s.buffer_data_fails, own, own ? found->second : nullptr);
  });
  if (fails) return nullptr;
  return served ? data : REAL(TavixBufferDataGetV2)(buffer);
}

void *TavixBlobBufferGet(const TavixBlob *blob) {
  const auto [fails, served, data] = locked([&](State &s) {
    const auto found = blob == nullptr ? s.buffers.end() : s.buffers.find(blob->buffer);
    const bool own = found != s.buffers.end();
    return std::tuple(s.blob_buffer_fails, own, own ? found->second : nullptr);
  });
  if (fails) return nullptr;
  return served ? data : REAL(TavixBlobBufferGet)(blob);
}
