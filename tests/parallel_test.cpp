// SPDX-License-Identifier: Apache-2.0
// Row loops: how many workers, which stripes, which threads, and the life of the arena.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "common/log.h"
#include "support/core_double.h"
#include "support/seams.h"
#include "support/sweep.h"

namespace tavix::module {
namespace {

using test::core_double;
using test::printed;
using test::ScopedWorkers;

class Body final : public ParallelLoopBody {
 public:
  explicit Body(std::function<void(const Range &)> run) : run_(std::move(run)) {}
  void operator()(const Range &rows) const override { run_(rows); }

 private:
  std::function<void(const Range &)> run_;
};

// The ranges a loop was cut into, lowest first.
std::vector<Range> ranges_of(const Range &whole, double nstripes = -1.0) {
  std::mutex mutex;
  std::vector<Range> ranges;
  parallel_for_(whole, Body([&](const Range &rows) {
                  const std::lock_guard lock(mutex);
                  ranges.push_back(rows);
                }),
                nstripes);
  std::sort(ranges.begin(), ranges.end(),
            [](const Range &a, const Range &b) { return a.start < b.start; });
  return ranges;
}

// Ranges that meet end to end, none of them empty, cover each row exactly once.
void expect_exact_cover(const std::vector<Range> &ranges, int32_t start, int32_t end) {
  int32_t next = start;
  for (const Range &rows : ranges) {
    EXPECT_EQ(rows.start, next);
    EXPECT_LT(rows.start, rows.end);
    EXPECT_EQ(rows.step, 1);
    next = rows.end;
  }
  EXPECT_EQ(next, end);
}

TEST(Workers, ATenthAndTwoAreSpared) {
  constexpr int32_t kCounts[][2] = {{INT_MIN, 1}, {-1, 1}, {0, 1},  {1, 1},  {2, 1},  {3, 1},
                                    {4, 2},       {5, 3},  {6, 4},  {7, 5},  {8, 6},  {9, 7},
                                    {10, 7},      {11, 8}, {12, 8}, {20, 8}, {64, 8}, {INT_MAX, 8}};
  for (const auto &[processors, workers] : kCounts)
    EXPECT_EQ(worker_count_for(processors), workers) << processors;
}

TEST(Workers, OfThisProcess) {
  EXPECT_EQ(worker_count, worker_count_for(int32_t(std::thread::hardware_concurrency())));
}

TEST(Stripes, TenRowsForEightWorkers) {
  const ScopedWorkers eight(8);
  std::vector<Range> ranges;
  const Body body([&](const Range &rows) { ranges.push_back(rows); });
  const ParallelLoopBodyWrapper wrapper(body, {0, 10, 1}, -1.0);
  EXPECT_EQ(wrapper.stripe_count(), 8);
  for (int stripe = 0; stripe < 8; ++stripe) wrapper({stripe, stripe + 1, 1});
  ASSERT_EQ(ranges.size(), 5u) << "stripes 5 to 7 have no rows";
  for (const Range &rows : ranges) EXPECT_EQ(rows.end - rows.start, 2);
  expect_exact_cover(ranges, 0, 10);
}

TEST(Stripes, NeighboursRunAsOneRange) {
  const ScopedWorkers eight(8);
  std::vector<Range> ranges;
  const Body body([&](const Range &rows) { ranges.push_back(rows); });
  const ParallelLoopBodyWrapper wrapper(body, {5, 22, 1}, -1.0);  // 8 stripes of 3 rows
  wrapper({0, 2, 1});
  wrapper({2, 8, 1});
  ASSERT_EQ(ranges.size(), 2u);
  EXPECT_EQ(ranges[0].end, 11);
  expect_exact_cover(ranges, 5, 22);
}

TEST(Stripes, EveryRowOnceForEveryHeightAndWorkerCount) {
  for (int workers = 1; workers <= 8; ++workers) {
    const ScopedWorkers count(workers);
    for (int32_t rows = 0; rows <= 20; ++rows) {
      for (const int32_t start : {0, 3, -7}) {
        SCOPED_TRACE(::testing::Message() << workers << " workers, " << rows << " rows");
        const auto ranges = ranges_of({start, start + rows, 1});
        expect_exact_cover(ranges, start, start + rows);
        const int32_t stripe_rows = (rows + workers - 1) / workers;
        for (const Range &range : ranges) EXPECT_EQ((range.start - start) % stripe_rows, 0);
      }
    }
  }
}

TEST(Stripes, AsManyAsAskedFor) {
  const ScopedWorkers eight(8);
  expect_exact_cover(ranges_of({0, 10, 1}, 3.0), 0, 10);
  for (const Range &rows : ranges_of({0, 12, 1}, 3.0)) EXPECT_EQ(rows.start % 4, 0);
  EXPECT_EQ(ranges_of({0, 10, 1}, 1.0).size(), 1u);
  expect_exact_cover(ranges_of({0, 3, 1}, 20.0), 0, 3);
}

TEST(Stripes, NothingInEmptyAndReversedRanges) {
  for (const int workers : {1, 8}) {
    const ScopedWorkers count(workers);
    EXPECT_TRUE(ranges_of({0, 0, 1}).empty());
    EXPECT_TRUE(ranges_of({5, 4, 1}).empty());
    EXPECT_TRUE(ranges_of({INT_MAX, INT_MIN, 1}).empty());
  }
  EXPECT_TRUE(core_double().logs().empty());
}

TEST(Stripes, AtMostAsManyAtOnceAsThereAreWorkers) {
  for (const int workers : {2, 4, 8}) {
    const ScopedWorkers count(workers);
    std::atomic<int> running = 0, most = 0;
    parallel_for_({0, 64, 1}, Body([&](const Range &) {
                    const int now = ++running;
                    for (int seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
                    }
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                    --running;
                  }),
                  -1.0);
    EXPECT_GE(most, 1);
    EXPECT_LE(most, workers);
  }
}

TEST(Caller, RunsShortLoopsItself) {
  constexpr struct {
    int workers;
    Range rows;
  } kShort[] = {{1, {0, 100, 1}}, {8, {4, 5, 1}}, {8, {INT_MAX - 1, INT_MAX, 1}}};
  for (const auto &loop : kShort) {
    const ScopedWorkers count(loop.workers);
    std::vector<std::thread::id> threads;
    parallel_for_(loop.rows, Body([&](const Range &part) {
                    EXPECT_EQ(part.start, loop.rows.start);
                    EXPECT_EQ(part.end, loop.rows.end);
                    threads.push_back(std::this_thread::get_id());
                  }),
                  -1.0);
    EXPECT_EQ(threads, std::vector{std::this_thread::get_id()});
  }
  EXPECT_TRUE(core_double().registered_callbacks().empty()) << "no arena";
  EXPECT_TRUE(core_double().logs().empty());
}

class Arena : public ::testing::Test {
 protected:
  static constexpr int32_t kInfo = TAVIX_LOG_INFO;
  static constexpr const char *kInitialize = "tavix::module::ParallelLoopBodyWrapper::Initialize";
  static constexpr const char *kDeinitialize =
      "tavix::module::ParallelLoopBodyWrapper::Deinitialize";

  static void expect_lines(const std::vector<test::LogLine> &expected) {
    EXPECT_EQ(core_double().logs(), expected);
    for (const auto &line : core_double().logs()) EXPECT_GT(line.line, 0);
    core_double().reset();
  }

  static void expect_created(const void *arena) {
    EXPECT_EQ(core_double().registered_callbacks().size(), 1u);
    expect_lines({{kInfo, kParallelUnit, kInitialize, printed("tbb_arena_:%p created", arena)}});
  }

  static void expect_cleanup(const void *arena) {
    expect_lines({{kInfo, kParallelUnit, kDeinitialize,
                   printed("parallel cleanup Enter, tbb_arena_:%p", arena)},
                  {kInfo, kParallelUnit, kDeinitialize, "parallel cleanup Leave"}});
  }

  const ScopedWorkers eight_{8};
};

TEST_F(Arena, IsMadeOnceReleasedAndMadeAgain) {
  for (int life = 0; life < 2; ++life) {
    ranges_of({0, 2, 1});
    const void *arena = &ParallelLoopBodyWrapper::arena();
    expect_created(arena);
    ranges_of({0, 50, 1});
    expect_lines({});
    TavixDeinitialize();
    expect_cleanup(arena);
    TavixDeinitialize();
    expect_lines({});
  }
}

TEST_F(Arena, ReleasingTwiceIsHarmless) {
  ranges_of({0, 2, 1});
  const void *arena = &ParallelLoopBodyWrapper::arena();
  void (*release)() = core_double().registered_callbacks().at(0);
  expect_created(arena);
  release();
  expect_cleanup(arena);
  release();
  expect_cleanup(nullptr);
  expect_exact_cover(ranges_of({0, 9, 1}), 0, 9);
}

TEST_F(Arena, IsReleasedUnused) {
  const void *arena = &ParallelLoopBodyWrapper::arena();
  expect_created(arena);
  TavixDeinitialize();
  expect_cleanup(arena);
}

TEST_F(Arena, IsSharedByConcurrentCallers) {
  std::atomic<int> rows_run = 0;
  {
    std::vector<std::jthread> callers;
    for (int caller = 0; caller < 4; ++caller) {
      callers.emplace_back([&rows_run] {
        for (int i = 0; i < 25; ++i)
          expect_exact_cover(ranges_of({0, 10 + i, 1}), 0, 10 + i), rows_run += 10 + i;
      });
    }
  }
  EXPECT_EQ(rows_run, 4 * (25 * 10 + 300));
  expect_created(&ParallelLoopBodyWrapper::arena());
}

TEST_F(Arena, BodiesMayLoopThemselves) {
  std::atomic<int> rows_run = 0;
  parallel_for_({0, 10, 1}, Body([&](const Range &outer) {
                  for (int32_t y = outer.start; y < outer.end; ++y) {
                    parallel_for_({0, 10, 1}, Body([&](const Range &inner) {
                                    rows_run += inner.end - inner.start;
                                  }),
                                  -1.0);
                  }
                }),
                -1.0);
  EXPECT_EQ(rows_run, 100);
}

TEST(Exceptions, OfABodyReachTheCaller) {
  for (const int workers : {1, 8}) {
    const ScopedWorkers count(workers);
    for (const int32_t bad_row : {0, 5, 15}) {
      std::string caught;
      try {
        parallel_for_({0, 16, 1}, Body([&](const Range &rows) {
                        if (rows.start <= bad_row && bad_row < rows.end)
                          throw std::runtime_error("row " + std::to_string(bad_row));
                      }),
                      -1.0);
      } catch (const std::runtime_error &error) {
        caught = error.what();
      }
      EXPECT_EQ(caught, "row " + std::to_string(bad_row));
    }
    expect_exact_cover(ranges_of({0, 16, 1}), 0, 16);
  }
}

}  // namespace
}  // namespace tavix::module
