// SPDX-License-Identifier: Apache-2.0
// Every request for memory, a thread or a mapping fails once, and every one from some point on, in
// each function: the first call of a process and a later one, on one worker and on twelve. Each
// case runs in a process of its own, which must answer within seconds.
#include "failing_resources.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <oneapi/tbb/task_arena.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <opencv2/core.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

#include "calls.h"
#include "common/parallel/tavix_parallel_wrapper.h"
#include "cpu_dispatch/cpu_features.h"
#include "frame_layer_calls.h"
#include "support/sweep.h"
#include "tavix/core.h"
#include "tavix/frame.hpp"

namespace tavix::proof {
namespace {

// Lines are counted without memory of their own.
int error_lines = 0;
void count_line(void *, int32_t level, const char *, const char *, int32_t, const char *) {
  error_lines += level == TAVIX_LOG_ERROR;
}

// What a case says to its parent, in memory that both see.
struct Report {
  char complaint[512];
  int64_t requests;  // until the call was over
  bool failed;       // one of them
  bool refused;      // by a status or an exception
  size_t size;       // of the right result
  uint8_t right[1 << 16];
};

Report &report() {
  static auto *shared = static_cast<Report *>(
      mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  return *shared;
}

#define COMPLAIN_UNLESS(condition, ...)                                          \
  do {                                                                           \
    if (!(condition)) {                                                          \
      std::snprintf(report().complaint, sizeof report().complaint, __VA_ARGS__); \
      return;                                                                    \
    }                                                                            \
  } while (false)

struct Case {
  int64_t nth;
  Failure how;
  bool warm;
  int workers;
};

constexpr int kSeconds = 20;  // for a case; more is a hang

// What left a call.
enum class Left { nothing, bad_alloc, runtime_error, opencv, error, other };
struct Answer {
  int32_t status = TAVIX_OK;
  Left left = Left::nothing;
};

Answer answer_of(const Subject &subject) {
  try {
    return {subject.call(), Left::nothing};
  } catch (const cv::Exception &) {
    return {0, Left::opencv};
  } catch (const std::bad_alloc &) {
    return {0, Left::bad_alloc};
  } catch (const Error &) {
    return {0, Left::error};
  } catch (const std::runtime_error &) {  // threads, mutexes: std::system_error is one
    return {0, Left::runtime_error};
  } catch (...) {
    return {0, Left::other};
  }
}

const std::string &public_headers() {
  static const std::string all = [] {
    std::ostringstream text;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(TAVIX_PUBLIC_HEADERS))
      if (entry.path().extension() == ".h") text << std::ifstream(entry.path()).rdbuf();
    return text.str();
  }();
  return all;
}

// What the public headers say of the exceptions that leave a function.
std::string documented_exceptions(const std::string &function) {
  const std::string &text = public_headers();
  std::smatch found;
  if (!std::regex_search(text, found, std::regex("[ *]" + function + "\\("))) return "";
  const size_t declaration = size_t(found.position());
  const size_t comment = text.rfind("/**", declaration);
  const std::string contract = text.substr(comment, declaration - comment);
  if (!std::regex_search(contract, found, std::regex("@par [^@\\n]*Exceptions[^@]*")))
    return "none";
  const std::string said = found[0];
  const bool refers = std::regex_search(said, found, std::regex("As (Tavix\\w+)[.,]"));
  return refers ? documented_exceptions(found[1]) : said;
}

// The exceptions that may leave a call: always, and where it needs the arena of several workers.
struct Exceptions {
  std::set<Left> always, of_the_arena;
};

const Exceptions &documented(const Subject &subject) {
  static std::map<std::string, Exceptions> known;
  if (known.contains(subject.name)) return known[subject.name];
  Exceptions &all = known[subject.name];
  if (subject.of_layer) return all = {{Left::error, Left::bad_alloc}, {}};
  std::istringstream said(documented_exceptions(subject.name));
  for (std::string sentence; std::getline(said, sentence, '.');) {
    const bool of_the_arena = sentence.find("arena") != sentence.npos;
    for (const auto &[name, left] : {std::pair("std::bad_alloc", Left::bad_alloc),
                                     {"std::runtime_error", Left::runtime_error},
                                     {"cv::Exception", Left::opencv}})
      if (sentence.find(name) != sentence.npos)
        (of_the_arena ? all.of_the_arena : all.always).insert(left);
  }
  return all;
}

bool may_leave(const Subject &subject, Left left, int workers) {
  const Exceptions &all = documented(subject);
  return all.always.contains(left) || (workers > 1 && all.of_the_arena.contains(left));
}

void run_case(const Subject &subject, const Case &c) {
  Report &r = report();
  TavixLoggerSetSink(count_line, nullptr);
  module::worker_count = uint8_t(c.workers);
  // The process-wide start of oneTBB is its own affair: where it fails, it loses memory ever after.
  if (c.workers > 1) tbb::task_arena(2).initialize();
  if (c.warm) {
    COMPLAIN_UNLESS(subject.call() == TAVIX_OK, "refused without a failure");
    subject.take();
  }
  error_lines = 0;
  fail_request(c.nth, c.how);
  const Answer answer = answer_of(subject);
  r.requests = stop_failing();
  r.failed = has_failed();

  const bool refused = answer.left != Left::nothing || answer.status != TAVIX_OK;
  r.refused = refused;
  COMPLAIN_UNLESS(r.failed || !refused, "refused without a failure");
  COMPLAIN_UNLESS(answer.left == Left::nothing || may_leave(subject, answer.left, c.workers),
                  "exception %d left, which no header names for %d workers", int(answer.left),
                  c.workers);
  COMPLAIN_UNLESS(!refused || answer.left != Left::nothing || answer.status == TAVIX_ERROR_MEMORY ||
                      answer.status == TAVIX_ERROR_INVALID_PARAM,
                  "status %d", answer.status);
  COMPLAIN_UNLESS(error_lines <= subject.lines, "%d lines", error_lines);
  Result result = subject.take();
  const auto right = [&] {
    return c.how == Failure::none || (result.bytes.size() == r.size &&
                                      std::memcmp(result.bytes.data(), r.right, r.size) == 0);
  };
  COMPLAIN_UNLESS(refused || right(), "succeeded with another result");
  if (c.how == Failure::none) {
    r.size = result.bytes.size();
    COMPLAIN_UNLESS(r.size <= sizeof r.right, "a result of %zu bytes", r.size);
    std::memcpy(r.right, result.bytes.data(), r.size);
  }

  // The next call is as if nothing had been, and leaves nothing behind the second time.
  int64_t blocks = 0;
  for (int again = 0; again < 3; ++again) {
    const Answer next = answer_of(subject);
    COMPLAIN_UNLESS(next.left == Left::nothing && next.status == TAVIX_OK,
                    "the next call was refused: status %d, exception %d", next.status,
                    int(next.left));
    result = subject.take();
    COMPLAIN_UNLESS(right(), "the next call had another result");
    TavixDeinitialize();
    result = {};
    if (again == 2) COMPLAIN_UNLESS(live_blocks() <= blocks, "a call leaks");
    blocks = live_blocks();
  }
  if (!c.warm || c.how == Failure::none || c.workers > 1) return;
  // Nor does a failure, when it comes again. Threads of an arena come and go in their own time.
  for (int again = 0; again < 3; ++again) {
    fail_request(c.nth, c.how);
    answer_of(subject);
    stop_failing();
    subject.take();
    if (again == 2) COMPLAIN_UNLESS(live_blocks() <= blocks, "a failed call leaks");
    blocks = live_blocks();
  }
}

// Runs the case in a process of its own; the complaint, or nothing.
std::string complaint_of(const Subject &subject, const Case &c) {
  report().complaint[0] = 0;
  report().requests = 0;
  documented(subject);  // known before anything fails
  const pid_t child = fork();
  if (child == 0) {
    alarm(kSeconds);
    run_case(subject, c);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status))
    return WTERMSIG(status) == SIGALRM ? "hangs" : strsignal(WTERMSIG(status));
  return report().complaint;
}

const std::vector<Subject> &every_subject() {
  static const auto subjects = [] {
    std::vector<Subject> all = proof::subjects(), of_layer = frame_layer_subjects();
    all.insert(all.end(), of_layer.begin(), of_layer.end());
    return all;
  }();
  return subjects;
}

class FailingResources : public ::testing::TestWithParam<size_t> {};

TEST_P(FailingResources, AreAnsweredByStatusOrNamedException) {
  const Subject &subject = every_subject()[GetParam()];
  if (subject.name.ends_with("AVX") && !module::use_avx2()) GTEST_SKIP() << "no AVX2";
  int64_t cases = 0, refusals = 0;
  for (const bool warm : {false, true})
    for (const int workers : {1, 12}) {
      ASSERT_EQ(complaint_of(subject, {0, Failure::none, warm, workers}), "") << subject.name;
      const int64_t requests = report().requests;
      for (const Failure how : {Failure::once, Failure::from_then_on})
        for (int64_t nth = 1; nth <= requests; ++nth) {
          const std::string complaint = complaint_of(subject, {nth, how, warm, workers});
          EXPECT_EQ(complaint, "")
              << subject.name << ": request " << nth << " of " << requests
              << (how == Failure::once ? "" : " and all later ones")
              << (warm ? ", later call, " : ", first call, ") << workers << " workers";
          ++cases, refusals += report().refused;
        }
    }
  RecordProperty("cases", std::to_string(cases));
  std::printf("%s: %ld cases, %ld refused\n", subject.name.c_str(), long(cases), long(refusals));
}

INSTANTIATE_TEST_SUITE_P(Functions, FailingResources,
                         ::testing::Range(size_t(0), every_subject().size()),
                         [](const auto &function) { return every_subject()[function.param].name; });

TEST(FailingResources, AreDocumentedForEveryFunction) {
  for (const Subject &subject : every_subject()) {
    if (!subject.of_layer) {
      EXPECT_NE(documented_exceptions(subject.name), "") << subject.name << ": no header has it";
    }
  }
  // The words themselves, one of each kind.
  const auto of = [](const char *function) { return documented({function, 0, {}, {}}); };
  const std::set arena = {Left::bad_alloc, Left::runtime_error};
  EXPECT_EQ(of("TavixFrameBinaryArithmeticAVX").always, std::set<Left>{});
  EXPECT_EQ(of("TavixFrameBinaryArithmeticAVX").of_the_arena, arena);
  EXPECT_EQ(of("TavixFrameWarpPerspectiveByCPU").always, (std::set{Left::bad_alloc, Left::opencv}));
  EXPECT_EQ(of("TavixFrameWarpPerspectiveByCPU").of_the_arena, std::set<Left>{});
  EXPECT_EQ(of("TavixFrameMemfillByCPU").always, std::set<Left>{});
  EXPECT_EQ(of("TavixFrameMemfillByCPU").of_the_arena, std::set<Left>{});
}

// The first line of a process comes when there is no memory at all.
TEST(FailingResources, LeaveTheFirstLogLineOfAProcess) {
  const Subject subject = {"first line", 0,
                           [] {
                             const bool made = TavixVideoFrameAllocV2(0, 0, 9, 9, 0, 1) != nullptr;
                             return made ? TAVIX_OK : TAVIX_ERROR_MEMORY;
                           },
                           [] { return Result{}; }};
  ::testing::internal::CaptureStderr();
  const pid_t child = fork();
  if (child == 0) {
    fail_request(1, Failure::from_then_on);
    const Answer answer = answer_of(subject);
    _exit(answer.left == Left::nothing && answer.status == TAVIX_ERROR_MEMORY ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("no memory for a frame"),
            std::string::npos);
}

// The injector itself: what fails, fails, and is counted. Compilers leave out requests whose answer
// nobody can see: the blocks are volatile.
TEST(FailingResourcesThemselves, FailTheRequestAskedFor) {
  fail_request(2, Failure::once);
  void *volatile first = std::malloc(10), *volatile second = std::malloc(10),
                 *volatile third = std::malloc(10);
  EXPECT_EQ(stop_failing(), 3);
  EXPECT_TRUE(first != nullptr && second == nullptr && third != nullptr);
  std::free(first), std::free(third);

  fail_request(1, Failure::from_then_on);
  pthread_t thread;
  const int created = pthread_create(
      &thread, nullptr, [](void *p) { return p; }, nullptr);
  void *mapping = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  stop_failing();
  EXPECT_EQ(created, EAGAIN);
  EXPECT_EQ(mapping, MAP_FAILED);
}

// A function that loses memory when it fails must not pass.
TEST(FailingResourcesThemselves, FindAPlantedLeakAndAPlantedHang) {
  Subject planted = {"planted", 0, [] { return TAVIX_OK; }, [] { return Result{}; }};
  planted.call = [] {
    static void *volatile lost;
    lost = std::malloc(7);
    return lost == nullptr ? TAVIX_ERROR_MEMORY : TAVIX_OK;
  };
  EXPECT_EQ(complaint_of(planted, {0, Failure::none, false, 1}), "a call leaks");
  planted.call = [] {
    void *volatile block = std::malloc(7);
    const int32_t status = block == nullptr ? 99 : TAVIX_OK;
    std::free(block);
    return status;
  };
  EXPECT_EQ(complaint_of(planted, {0, Failure::none, false, 1}), "");
  EXPECT_EQ(complaint_of(planted, {1, Failure::once, false, 1}), "status 99");
  planted.call = []() -> int32_t { throw std::bad_alloc(); };
  EXPECT_EQ(complaint_of(planted, {0, Failure::none, false, 1}), "refused without a failure");
  planted.call = []() -> int32_t {
    void *volatile block = ::operator new(7);
    ::operator delete(block);
    return TAVIX_OK;
  };
  EXPECT_EQ(complaint_of(planted, {1, Failure::once, false, 1}),
            "exception 1 left, which no header names for 1 workers");
  // What the headers name where the arena cannot be made may not leave a call without an arena.
  planted.name = "TavixFrameBinaryArithmeticCommonC";
  EXPECT_EQ(complaint_of(planted, {1, Failure::once, false, 1}),
            "exception 1 left, which no header names for 1 workers");
  EXPECT_EQ(complaint_of(planted, {1, Failure::once, false, 12}), "");
  planted.call = [] {
    void *volatile block = std::malloc(7);
    if (block == nullptr) raise(SIGALRM);  // what the watchdog of a hang does
    std::free(block);
    return TAVIX_OK;
  };
  EXPECT_EQ(complaint_of(planted, {1, Failure::once, false, 1}), "hangs");
}

}  // namespace
}  // namespace tavix::proof
