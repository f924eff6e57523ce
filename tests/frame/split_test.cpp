// The range splitter, observed through the chunks it hands out: how many and
// how long, which thread runs them (the caller takes the last), how many pool
// tasks they cost, and every index exactly once, for any step.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "common/pool_status.h"
#include "frame/split.h"
#include "morvex-m.h"

namespace {

using morvex::frame::set_split_thread_count;

struct Chunk {
  uint64_t first, step, count;
  std::thread::id thread;
  bool operator<(const Chunk& o) const { return first < o.first; }
};
struct Record {
  std::mutex* lock;
  std::vector<Chunk>* chunks;
};
void record(uint64_t first, uint64_t step, uint64_t count, const Record& r) {
  std::lock_guard<std::mutex> guard(*r.lock);
  r.chunks->push_back({first, step, count, std::this_thread::get_id()});
}

// The chunks of one split, in index order, and the pool tasks it ran.
std::vector<Chunk> split(uint64_t begin, uint64_t end, uint64_t step, uint64_t* tasks = nullptr) {
  std::mutex lock;
  std::vector<Chunk> chunks;
  const uint64_t before = morvex::test::pool_status().tasks_run;
  morvex::frame::split_blocks<Record, record>(begin, end, step, Record{&lock, &chunks});
  if (tasks) *tasks = morvex::test::pool_status().tasks_run - before;
  std::sort(chunks.begin(), chunks.end());
  return chunks;
}

std::vector<uint64_t> lengths(const std::vector<Chunk>& chunks) {
  std::vector<uint64_t> v;
  for (const Chunk& c : chunks) v.push_back(c.count);
  return v;
}

class Split : public ::testing::Test {  // this binary leaves start-up to each test
 protected:
  void SetUp() override { morvex_m_init(); }
  void TearDown() override {
    set_split_thread_count(0);
    morvex_m_fini();
  }
};

TEST_F(Split, ChunkLengthsForEachThreadCount) {
  // (n, threads) -> chunk lengths: one chunk per thread, the longer ones
  // first, never more chunks than elements.
  const struct {
    uint64_t n;
    unsigned h;
    std::vector<uint64_t> want;
  } cases[] = {{2, 8, {1, 1}}, {10, 4, {3, 3, 2, 2}}, {8, 4, {2, 2, 2, 2}}, {7, 1, {7}},
               {5, 2, {3, 2}},  {3, 8, {1, 1, 1}}};
  for (const auto& c : cases) {
    set_split_thread_count(c.h);
    uint64_t tasks = 0;
    const auto chunks = split(0, c.n, 1, &tasks);
    EXPECT_EQ(lengths(chunks), c.want) << "n " << c.n << ", " << c.h << " threads";
    EXPECT_EQ(tasks, c.want.size() - 1) << "one pool task per chunk but the caller's";
    EXPECT_EQ(chunks.back().thread, std::this_thread::get_id()) << "the caller runs the last chunk";
  }
  EXPECT_EQ(morvex::frame::chunk_layout(9, 0).chunks, 1u) << "a thread count of 0 counts as 1";
  // Beyond 32 bits: 2^33 + 5 over 8 threads, the first five chunks one longer.
  set_split_thread_count(8);
  std::vector<uint64_t> want(8, uint64_t(1) << 30);
  for (int k = 0; k < 5; ++k) ++want[k];
  EXPECT_EQ(lengths(split(0, (uint64_t(1) << 33) + 5, 1)), want);
}

TEST_F(Split, EveryIndexOnceForAnyStepAndStart) {
  for (unsigned h : {1u, 2u, 3u, 8u})
    for (uint64_t begin : {0u, 3u})
      for (uint64_t step : {1u, 4u})
        for (uint64_t end : {begin, begin + 1, begin + step, begin + 2 * step, uint64_t(20), uint64_t(1000)}) {
          set_split_thread_count(h);
          uint64_t tasks = 0, next = begin;
          for (const Chunk& c : split(begin, end, step, &tasks)) {
            EXPECT_EQ(c.first, next);
            EXPECT_EQ(c.step, step);
            next = c.first + c.count * step;
          }
          EXPECT_EQ(next, begin + (end > begin ? (end - begin + step - 1) / step * step : 0))
              << h << " threads, " << begin << ".." << end << " by " << step;
          if (end <= begin + step) {
            EXPECT_EQ(tasks, 0u) << "one element or none: no pool task";
          }
        }
  EXPECT_TRUE(split(9, 3, 1).empty()) << "end below begin";
}

TEST(SplitThreadCount, FollowsTheSystemUnlessPinned) {
  const unsigned hw = std::thread::hardware_concurrency();
  EXPECT_EQ(morvex::frame::split_thread_count(), hw ? hw : 1);
  set_split_thread_count(3);
  EXPECT_EQ(morvex::frame::split_thread_count(), 3u);
  set_split_thread_count(0);
  EXPECT_EQ(morvex::frame::split_thread_count(), hw ? hw : 1);
}

void hit(uint64_t i, std::vector<std::atomic<int>>* const& hits) { (*hits)[i].fetch_add(1); }

TEST(SplitConcurrency, SplitsFromSeveralThreads) {
  morvex_m_init();
  set_split_thread_count(4);
  std::atomic<int> bad{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (uint64_t round = 0; round < 200; ++round) {
        const uint64_t n = 1 + round % 37;
        std::vector<std::atomic<int>> hits(n);
        morvex::frame::split_range<std::vector<std::atomic<int>>*, hit>(0, n, 1, &hits);
        for (auto& h : hits) bad += h.load() != 1;
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(bad.load(), 0);
  set_split_thread_count(0);
  morvex_m_fini();
}

}  // namespace
