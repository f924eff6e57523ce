// libmorvex-tp: every task runs exactly once, whoever runs it, under load
// from several application threads; waits never hang, fini drains the queue,
// idle workers sleep.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "common/pool_status.h"
#include "morvex-tp.h"

namespace {

using morvex::test::pool_status;

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
  EXPECT_EQ(pool_status().workers, 0);
  ASSERT_EQ(morvex_tp_init(), 0);
  morvex_tp_init();
  morvex_tp_fini();
  const unsigned hw = std::thread::hardware_concurrency();
  EXPECT_EQ(pool_status().workers, hw > 1 ? hw - 1 : 1) << "still started after the first of two fini";
  EXPECT_EQ(morvex_tp_get_status(nullptr, 16), -1);
  unsigned char one[1], two[2] = {};
  EXPECT_EQ(morvex_tp_get_status(one, 1), -1);
  EXPECT_EQ(morvex_tp_get_status(two, 2), 0);  // a short buffer gets what fits
  EXPECT_EQ(two[0] | (two[1] << 8), pool_status().workers);
  EXPECT_EQ(morvex_tp_fini(), 0);
  EXPECT_EQ(pool_status().workers, 0);
  EXPECT_EQ(morvex_tp_fini(), -1) << "not started";
}

TEST(Pool, WithoutThePoolTasksRunAtCreation) {
  std::atomic<int> c{0};
  morvex_tp_task* t = morvex_tp_context_new_task(nullptr, bump, &c);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(c.load(), 1);
  EXPECT_EQ(morvex_tp_wait(&t, 1), 0);
  morvex_tp_task_delete(t);
  morvex_tp_task* none[2] = {nullptr, nullptr};
  EXPECT_EQ(morvex_tp_wait(none, 2), 0);
  EXPECT_EQ(morvex_tp_wait(nullptr, 0), 0);
  morvex_tp_task_delete(nullptr);
  EXPECT_EQ(c.load(), 1);
}

TEST(Pool, EachTaskOnceQuickOrSlowAndCounted) {
  morvex_tp_init();
  const uint64_t before = pool_status().tasks_run;
  std::vector<std::atomic<int>> quick(1000), slow(8);
  run_all(nullptr, quick);
  run_all(nullptr, slow, sleep_then_bump);
  EXPECT_EQ(ran_once(quick) + ran_once(slow), 0);
  EXPECT_EQ(pool_status().tasks_run - before, 1008u);
  // Deleting a task before waiting finishes it first.
  std::atomic<int> c{0};
  morvex_tp_task_delete(morvex_tp_context_new_task(nullptr, sleep_then_bump, &c));
  EXPECT_EQ(c.load(), 1);
  // fini returns only when the queue is empty.
  std::vector<std::atomic<int>> queued(64);
  std::vector<morvex_tp_task*> tasks;
  for (auto& q : queued) tasks.push_back(morvex_tp_context_new_task(nullptr, sleep_then_bump, &q));
  morvex_tp_fini();
  EXPECT_EQ(ran_once(queued), 0);
  for (auto* t : tasks) morvex_tp_task_delete(t);
}

TEST(Pool, PrivateContext) {
  morvex_tp_context* ctx = morvex_tp_context_create(3);
  ASSERT_NE(ctx, nullptr);
  std::vector<std::atomic<int>> counters(200);
  run_all(ctx, counters);
  EXPECT_EQ(ran_once(counters), 0);
  morvex_tp_context_destroy(ctx);
  EXPECT_EQ(pool_status().workers, 0) << "the default pool was never started";
}

TEST(PoolConcurrency, FourThreadsSubmitThousandsEach) {
  morvex_tp_init();
  std::vector<std::vector<std::atomic<int>>> counters(4);
  std::vector<std::thread> threads;
  for (auto& mine : counters)
    threads.emplace_back([&mine] {
      mine = std::vector<std::atomic<int>>(5000);
      // Mixed batch sizes: single tasks, small splits and long queues.
      for (size_t i = 0, batch = 1; i < mine.size(); i += batch, batch = batch * 3 % 97 + 1) {
        std::vector<std::atomic<int>> part(std::min(batch, mine.size() - i));
        run_all(nullptr, part);
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
        morvex_tp_context* ctx = morvex_tp_context_create(1);
        std::vector<std::atomic<int>> one(1);
        run_all(ctx, one);
        EXPECT_EQ(ran_once(one), 0);
        morvex_tp_context_destroy(ctx);
        morvex_tp_init();
        morvex_tp_fini();
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(pool_status().workers, 0);
}

TEST(PoolConcurrency, IdleWorkersFallAsleepAndWakeUp) {
  morvex_tp_init();
  std::vector<std::atomic<int>> first(1), second(1);
  run_all(nullptr, first);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  morvex::test::PoolStatus st;
  do {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    st = pool_status();
  } while (st.sleepers != st.workers && std::chrono::steady_clock::now() < deadline);
  EXPECT_EQ(st.sleepers, st.workers) << "an idle pool uses no processor";
  run_all(nullptr, second);
  EXPECT_EQ(ran_once(second), 0);
  morvex_tp_fini();
}

}  // namespace
