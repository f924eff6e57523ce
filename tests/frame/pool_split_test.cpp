// SPDX-License-Identifier: MIT
// libmorvex-tp and the range splitter over it: every task runs exactly once,
// whoever runs it, under load from several application threads; waits never
// hang, fini drains the queue, idle workers sleep. The splitter is observed
// through the chunks it hands out: how many and how long, which thread runs
// them (the caller takes the last), how many pool tasks they cost, and every
// index exactly once, for any step; likewise the pieces a shared range is
// taken in.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "frame/split.h"
#include "morvex-m.h"
#include "morvex-tp.h"
#include "tp/cadence.h"

namespace {

// The default pool's status record.
struct PoolStatus {
  uint16_t workers, sleepers; uint32_t queued; uint64_t tasks_run;
};
PoolStatus pool_status() {
  unsigned char st[16] = {};
  morvex_tp_get_status(st, sizeof st); PoolStatus s;
  std::memcpy(&s.workers, st, 2), std::memcpy(&s.sleepers, st + 2, 2), std::memcpy(&s.queued, st + 4, 4);
  std::memcpy(&s.tasks_run, st + 8, 8);
  return s;
}

void bump(void* arg) { static_cast<std::atomic<int>*>(arg)->fetch_add(1); }
void sleep_then_bump(void* arg) {
  std::this_thread::sleep_for(std::chrono::milliseconds(2));  // long enough that a waiter must block
  bump(arg);
}

// Submits one task per counter to ctx (null: the default pool), waits for
// them all and deletes them.
void run_all(morvex_tp_context* ctx, std::vector<std::atomic<int>>& counters, void (*fn)(void*) = bump) {
  std::vector<morvex_tp_task*> tasks;
  for (auto& c : counters) tasks.push_back(morvex_tp_context_new_task(ctx, fn, &c));
  EXPECT_EQ(morvex_tp_wait(tasks.data(), tasks.size()), 0);
  for (auto* t : tasks) morvex_tp_task_delete(t);
}

int ran_once(const std::vector<std::atomic<int>>& counters) {
  int bad = 0;
  for (auto& c : counters) bad += c.load() != 1;
  return bad;
}

TEST(Pool, StatusAndReferenceCount) {
  EXPECT_EQ(pool_status().workers, 0); ASSERT_EQ(morvex_tp_init(), 0);
  morvex_tp_init(); morvex_tp_fini(); const unsigned hw = std::thread::hardware_concurrency();
  EXPECT_EQ(pool_status().workers, hw > 1 ? hw - 1 : 1) << "still started after the first of two fini";
  EXPECT_EQ(morvex_tp_get_status(nullptr, 16), -1);
  unsigned char one[1], two[2] = {};
  EXPECT_EQ(morvex_tp_get_status(one, 1), -1);
  EXPECT_EQ(morvex_tp_get_status(two, 2), 0);  // a short buffer gets what fits
  EXPECT_EQ(two[0] | (two[1] << 8), pool_status().workers);
  EXPECT_EQ(morvex_tp_fini(), 0); EXPECT_EQ(pool_status().workers, 0); EXPECT_EQ(morvex_tp_fini(), -1) << "not started";
}

TEST(Pool, WithoutThePoolTasksRunAtCreation) {
  std::atomic<int> c{0};
  morvex_tp_task* t = morvex_tp_context_new_task(nullptr, bump, &c);
  ASSERT_NE(t, nullptr); EXPECT_EQ(c.load(), 1); EXPECT_EQ(morvex_tp_wait(&t, 1), 0);
  morvex_tp_task_delete(t);
  morvex_tp_task* none[2] = {nullptr, nullptr};
  EXPECT_EQ(morvex_tp_wait(none, 2), 0); EXPECT_EQ(morvex_tp_wait(nullptr, 0), 0);
  morvex_tp_task_delete(nullptr);
  EXPECT_EQ(c.load(), 1);
}

TEST(Pool, EachTaskOnceQuickOrSlowAndCounted) {
  morvex_tp_init(); const uint64_t before = pool_status().tasks_run;
  std::vector<std::atomic<int>> quick(1000), slow(8); run_all(nullptr, quick); run_all(nullptr, slow, sleep_then_bump);
  EXPECT_EQ(ran_once(quick) + ran_once(slow), 0); EXPECT_EQ(pool_status().tasks_run - before, 1008u);
  // Deleting a task before waiting finishes it first.
  std::atomic<int> c{0};
  morvex_tp_task_delete(morvex_tp_context_new_task(nullptr, sleep_then_bump, &c));
  EXPECT_EQ(c.load(), 1);
  // fini returns only when the queue is empty.
  std::vector<std::atomic<int>> queued(64); std::vector<morvex_tp_task*> tasks;
  for (auto& q : queued) tasks.push_back(morvex_tp_context_new_task(nullptr, sleep_then_bump, &q));
  morvex_tp_fini();
  EXPECT_EQ(ran_once(queued), 0);
  for (auto* t : tasks) morvex_tp_task_delete(t);
}

TEST(Pool, PrivateContext) {
  morvex_tp_context* ctx = morvex_tp_context_create(3);
  ASSERT_NE(ctx, nullptr);
  std::vector<std::atomic<int>> counters(200); run_all(ctx, counters);
  EXPECT_EQ(ran_once(counters), 0);
  morvex_tp_context_destroy(ctx);
  EXPECT_EQ(pool_status().workers, 0) << "the default pool was never started";
}

TEST(PoolConcurrency, FourThreadsSubmitThousandsEach) {
  morvex_tp_init(); std::vector<std::vector<std::atomic<int>>> counters(4); std::vector<std::thread> threads;
  for (auto& mine : counters)
    threads.emplace_back([&mine] {
      mine = std::vector<std::atomic<int>>(5000);
      // Mixed batch sizes: single tasks, small splits and long queues.
      for (size_t i = 0, batch = 1; i < mine.size(); i += batch, batch = batch * 3 % 97 + 1) {
        std::vector<std::atomic<int>> part(std::min(batch, mine.size() - i)); run_all(nullptr, part);
        for (size_t k = 0; k < part.size(); ++k) mine[i + k] = part[k].load();
      }
    });
  for (auto& th : threads) th.join();
  for (auto& mine : counters) EXPECT_EQ(ran_once(mine), 0);
  morvex_tp_fini();
}

TEST(PoolConcurrency, InitAndFiniRaceWithPrivatePools) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int round = 0; round < 20; ++round) {
        morvex_tp_context* ctx = morvex_tp_context_create(1); std::vector<std::atomic<int>> one(1); run_all(ctx, one);
        EXPECT_EQ(ran_once(one), 0);
        morvex_tp_context_destroy(ctx); morvex_tp_init(); morvex_tp_fini();
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(pool_status().workers, 0);
}

TEST(PoolConcurrency, IdleWorkersFallAsleepAndWakeUp) {
  morvex_tp_init(); std::vector<std::atomic<int>> first(1), second(1); run_all(nullptr, first);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5); PoolStatus st;
  do {
    std::this_thread::sleep_for(std::chrono::milliseconds(5)); st = pool_status();
  } while (st.sleepers != st.workers && std::chrono::steady_clock::now() < deadline);
  EXPECT_EQ(st.sleepers, st.workers) << "an idle pool uses no processor";
  run_all(nullptr, second);
  EXPECT_EQ(ran_once(second), 0);
  morvex_tp_fini();
}

// When a worker is back for a steady caller: the times tasks were seen in, the window
// it spins in out (or none).
TEST(PoolCadence, WindowAroundTheNextSplit) {
  using morvex::tp::Cadence;
  constexpr int64_t us = 1000, ms = 1000 * us, t0 = 1000 * ms;
  struct Case {
    const char* what; std::vector<int64_t> at; int64_t from, until;  // until 0: no window
  } cases[] = {
      {"first task", {t0}, 0, 0},
      {"steady 2 ms: lead 2/8 ms", {t0, t0 + 2 * ms}, t0 + 4 * ms - 250 * us, t0 + 4 * ms + 250 * us},
      {"8 ms: lead 1 ms", {t0, t0 + 8 * ms}, t0 + 15 * ms, t0 + 17 * ms},
      {"1 ms: lead 200 us", {t0, t0 + ms}, t0 + 2 * ms - 200 * us, t0 + 2 * ms + 200 * us},
      {"400 us: lead a quarter", {t0, t0 + 400 * us}, t0 + 700 * us, t0 + 900 * us},
      {"tasks of one split are no gap", {t0, t0 + 2 * ms, t0 + 2 * ms + 49 * us}, t0 + 4049 * us - 250 * us,
       t0 + 4049 * us + 250 * us},
      {"50 us is a gap", {t0, t0 + 50 * us}, t0 + 100 * us - 12500, t0 + 100 * us + 12500},
      {"20 ms is a cadence", {t0, t0 + 20 * ms}, t0 + 37500 * us, t0 + 42500 * us},
      {"longer is none", {t0, t0 + 20 * ms + 1}, 0, 0},
      {"a long pause ends it", {t0, t0 + 2 * ms, t0 + 30 * ms}, 0, 0},
  };
  for (const Case& c : cases) {
    Cadence cadence;
    for (int64_t t : c.at) cadence.seen(t);
    const Cadence::Window w = cadence.next();
    if (c.until == 0) {
      EXPECT_LE(w.until, c.at.back()) << c.what;
    } else {
      EXPECT_EQ(w.from, c.from) << c.what;
      EXPECT_EQ(w.until, c.until) << c.what;
    }
  }
}

// ---------------------------------------------------------------- the splitter
using morvex::frame::set_split_thread_count;

struct Chunk {
  uint64_t first, step, count; std::thread::id thread;
  bool operator<(const Chunk& o) const { return first < o.first; }
};
struct Record {
  std::mutex* lock; std::vector<Chunk>* chunks;
};
void record(uint64_t first, uint64_t step, uint64_t count, const Record& r) {
  std::lock_guard<std::mutex> guard(*r.lock);
  r.chunks->push_back({first, step, count, std::this_thread::get_id()});
}

// The chunks of one split, in index order, and the pool tasks it ran.
std::vector<Chunk> split(uint64_t begin, uint64_t end, uint64_t step, uint64_t* tasks = nullptr) {
  std::mutex lock; std::vector<Chunk> chunks; const uint64_t before = pool_status().tasks_run;
  morvex::frame::split_blocks<Record, record>(begin, end, step, Record{&lock, &chunks});
  if (tasks) *tasks = pool_status().tasks_run - before;
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
    set_split_thread_count(0); morvex_m_fini();
  }
};

TEST_F(Split, ChunkLengthsForEachThreadCount) {
  // (n, threads) -> chunk lengths: one chunk per thread, the longer ones
  // first, never more chunks than elements.
  const struct {
    uint64_t n; unsigned h; std::vector<uint64_t> want;
  } cases[] = {{2, 8, {1, 1}}, {10, 4, {3, 3, 2, 2}}, {8, 4, {2, 2, 2, 2}}, {7, 1, {7}},
               {5, 2, {3, 2}},  {3, 8, {1, 1, 1}}};
  for (const auto& c : cases) {
    set_split_thread_count(c.h); uint64_t tasks = 0; const auto chunks = split(0, c.n, 1, &tasks);
    EXPECT_EQ(lengths(chunks), c.want) << "n " << c.n << ", " << c.h << " threads";
    EXPECT_EQ(tasks, c.want.size() - 1) << "one pool task per chunk but the caller's";
    EXPECT_EQ(chunks.back().thread, std::this_thread::get_id()) << "the caller runs the last chunk";
  }
  EXPECT_EQ(morvex::frame::chunk_layout(9, 0).chunks, 1u) << "a thread count of 0 counts as 1";
  // Beyond 32 bits: 2^33 + 5 over 8 threads, the first five chunks one longer.
  set_split_thread_count(8); std::vector<uint64_t> want(8, uint64_t(1) << 30);
  for (int k = 0; k < 5; ++k) ++want[k];
  EXPECT_EQ(lengths(split(0, (uint64_t(1) << 33) + 5, 1)), want);
}

TEST_F(Split, EveryIndexOnceForAnyStepAndStart) {
  for (unsigned h : {1u, 2u, 3u, 8u})
    for (uint64_t begin : {0u, 3u})
      for (uint64_t step : {1u, 4u})
        for (uint64_t end : {begin, begin + 1, begin + step, begin + 2 * step, uint64_t(20), uint64_t(1000)}) {
          set_split_thread_count(h); uint64_t tasks = 0, next = begin;
          for (const Chunk& c : split(begin, end, step, &tasks)) {
            EXPECT_EQ(c.first, next); EXPECT_EQ(c.step, step);
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

struct Pieces {
  std::mutex* lock; std::vector<Chunk>* pieces;
};
void record_piece(uint64_t first, uint64_t count, const Pieces& r) {
  std::lock_guard<std::mutex> guard(*r.lock);
  r.pieces->push_back({first, 1, count, std::this_thread::get_id()});
}

TEST_F(Split, SharedPiecesCoverEveryIndexOnce) {
  // (n, piece, threads): pieces of `piece` in order, the last one shorter,
  // whichever thread takes them, and never more pool tasks than helpers.
  const struct {
    uint64_t n, piece; unsigned h;
  } cases[] = {{1, 4, 2}, {4, 4, 2}, {5, 4, 2}, {1000, 7, 3}, {64, 1, 8}, {10, 0, 2}, {3, 1, 8}};
  for (const auto& c : cases) {
    set_split_thread_count(c.h); std::mutex lock; std::vector<Chunk> pieces;
    const uint64_t before = pool_status().tasks_run;
    morvex::frame::share_blocks<Pieces, record_piece>(c.n, c.piece, Pieces{&lock, &pieces});
    const uint64_t tasks = pool_status().tasks_run - before, piece = c.piece ? c.piece : 1;
    std::sort(pieces.begin(), pieces.end());
    uint64_t next = 0;
    for (const Chunk& p : pieces) {
      EXPECT_EQ(p.first, next); EXPECT_EQ(p.count, std::min(piece, c.n - p.first));
      next = p.first + p.count;
    }
    EXPECT_EQ(next, c.n) << "n " << c.n << ", piece " << c.piece << ", " << c.h << " threads";
    EXPECT_LE(tasks, std::min<uint64_t>(c.h, (c.n + piece - 1) / piece) - 1);
  }
  std::mutex lock; std::vector<Chunk> none;
  morvex::frame::share_blocks<Pieces, record_piece>(0, 4, Pieces{&lock, &none});
  EXPECT_TRUE(none.empty());
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
  morvex_m_init(); set_split_thread_count(4);
  std::atomic<int> bad{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (uint64_t round = 0; round < 200; ++round) {
        const uint64_t n = 1 + round % 37; std::vector<std::atomic<int>> hits(n);
        morvex::frame::split_range<std::vector<std::atomic<int>>*, hit>(0, n, 1, &hits);
        for (auto& h : hits) bad += h.load() != 1;
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(bad.load(), 0);
  set_split_thread_count(0); morvex_m_fini();
}

}  // namespace
