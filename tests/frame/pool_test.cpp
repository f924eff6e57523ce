// libmorvex-tp: every task runs exactly once, whoever runs it, under load from
// several application threads; waits never hang, fini drains the queue.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "common/pool_status.h"
#include "morvex-tp.h"

namespace {

struct Counter {
  std::atomic<int> runs{0};
};

void bump(void* arg) { static_cast<Counter*>(arg)->runs.fetch_add(1); }

uint64_t tasks_run() { return morvex::test::pool_status().tasks_run; }
uint16_t workers() { return morvex::test::pool_status().workers; }

TEST(Pool, StatusBeforeAndAfterInit) {
  EXPECT_EQ(workers(), 0);
  ASSERT_EQ(morvex_tp_init(), 0);
  const unsigned hw = std::thread::hardware_concurrency();
  EXPECT_EQ(workers(), hw > 1 ? hw - 1 : 1);
  EXPECT_EQ(morvex_tp_get_status(nullptr, 16), -1);
  unsigned char one[1];
  EXPECT_EQ(morvex_tp_get_status(one, 1), -1);
  unsigned char two[2] = {};
  EXPECT_EQ(morvex_tp_get_status(two, 2), 0);  // a short buffer gets what fits
  EXPECT_EQ(two[0] | (two[1] << 8), workers());
  EXPECT_EQ(morvex_tp_fini(), 0);
  EXPECT_EQ(workers(), 0);
  EXPECT_EQ(morvex_tp_fini(), -1) << "not started";
}

TEST(Pool, ReferenceCounted) {
  morvex_tp_init();
  morvex_tp_init();
  morvex_tp_fini();
  EXPECT_GE(workers(), 1);
  morvex_tp_fini();
  EXPECT_EQ(workers(), 0);
}

TEST(Pool, WithoutPoolTasksRunAtCreation) {
  Counter c;
  morvex_tp_task* t = morvex_tp_context_new_task(nullptr, bump, &c);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(c.runs.load(), 1);
  EXPECT_EQ(morvex_tp_wait(&t, 1), 0);
  morvex_tp_task_delete(t);
  EXPECT_EQ(c.runs.load(), 1);
}

TEST(Pool, WaitSkipsNullHandlesAndEmptyLists) {
  morvex_tp_task* none[3] = {nullptr, nullptr, nullptr};
  EXPECT_EQ(morvex_tp_wait(none, 3), 0);
  EXPECT_EQ(morvex_tp_wait(nullptr, 0), 0);
  morvex_tp_task_delete(nullptr);
}

TEST(Pool, EachTaskRunsOnceAndCounts) {
  morvex_tp_init();
  const uint64_t before = tasks_run();
  std::vector<Counter> counters(1000);
  std::vector<morvex_tp_task*> tasks;
  for (auto& c : counters) tasks.push_back(morvex_tp_context_new_task(nullptr, bump, &c));
  morvex_tp_wait(tasks.data(), tasks.size());
  for (auto& c : counters) EXPECT_EQ(c.runs.load(), 1);
  for (auto* t : tasks) morvex_tp_task_delete(t);
  EXPECT_EQ(tasks_run() - before, 1000u);
  morvex_tp_fini();
}

void sleep_a_little(void* arg) {
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  static_cast<Counter*>(arg)->runs.fetch_add(1);
}

TEST(Pool, WaitOutlastsSlowTasks) {
  // Long enough that the waiter must block on a running task, not spin past it.
  morvex_tp_init();
  std::vector<Counter> counters(8);
  std::vector<morvex_tp_task*> tasks;
  for (auto& c : counters) tasks.push_back(morvex_tp_context_new_task(nullptr, sleep_a_little, &c));
  morvex_tp_wait(tasks.data(), tasks.size());
  for (auto& c : counters) EXPECT_EQ(c.runs.load(), 1);
  for (auto* t : tasks) morvex_tp_task_delete(t);
  morvex_tp_fini();
}

TEST(Pool, DeleteBeforeWaitFinishesTheTaskFirst) {
  morvex_tp_init();
  Counter c;
  morvex_tp_task* t = morvex_tp_context_new_task(nullptr, sleep_a_little, &c);
  morvex_tp_task_delete(t);
  EXPECT_EQ(c.runs.load(), 1);
  morvex_tp_fini();
}

TEST(Pool, FiniRunsEveryQueuedTask) {
  morvex_tp_init();
  std::vector<Counter> counters(64);
  std::vector<morvex_tp_task*> tasks;
  for (auto& c : counters) tasks.push_back(morvex_tp_context_new_task(nullptr, sleep_a_little, &c));
  morvex_tp_fini();  // returns only when the queue is empty
  for (auto& c : counters) EXPECT_EQ(c.runs.load(), 1);
  for (auto* t : tasks) morvex_tp_task_delete(t);
}

TEST(Pool, PrivateContext) {
  morvex_tp_context* ctx = morvex_tp_context_create(3);
  ASSERT_NE(ctx, nullptr);
  std::vector<Counter> counters(200);
  std::vector<morvex_tp_task*> tasks;
  for (auto& c : counters) tasks.push_back(morvex_tp_context_new_task(ctx, bump, &c));
  morvex_tp_wait(tasks.data(), tasks.size());
  for (auto* t : tasks) morvex_tp_task_delete(t);
  for (auto& c : counters) EXPECT_EQ(c.runs.load(), 1);
  morvex_tp_context_destroy(ctx);
  EXPECT_EQ(workers(), 0) << "the default pool was never started";
}

TEST(PoolConcurrency, FourThreadsSubmitThousandsEach) {
  morvex_tp_init();
  constexpr int kThreads = 4, kTasks = 5000;
  std::vector<std::vector<Counter>> counters(kThreads);
  for (auto& v : counters) v = std::vector<Counter>(kTasks);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      // Mixed batch sizes: single tasks, small splits and long queues.
      int i = 0;
      for (int batch = 1; i < kTasks; batch = batch * 3 % 97 + 1) {
        std::vector<morvex_tp_task*> handles;
        for (int k = 0; k < batch && i < kTasks; ++k, ++i)
          handles.push_back(morvex_tp_context_new_task(nullptr, bump, &counters[t][i]));
        morvex_tp_wait(handles.data(), handles.size());
        for (auto* h : handles) morvex_tp_task_delete(h);
      }
    });
  for (auto& th : threads) th.join();
  for (auto& v : counters)
    for (auto& c : v) ASSERT_EQ(c.runs.load(), 1);
  morvex_tp_fini();
}

TEST(PoolConcurrency, InitFiniRacesWithPrivatePools) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int round = 0; round < 20; ++round) {
        morvex_tp_context* ctx = morvex_tp_context_create(1);
        Counter c;
        morvex_tp_task* task = morvex_tp_context_new_task(ctx, bump, &c);
        morvex_tp_wait(&task, 1);
        morvex_tp_task_delete(task);
        EXPECT_EQ(c.runs.load(), 1);
        morvex_tp_context_destroy(ctx);
        morvex_tp_init();
        morvex_tp_fini();
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(workers(), 0);
}

TEST(PoolConcurrency, IdleWorkersFallAsleep) {
  morvex_tp_init();
  Counter c;
  morvex_tp_task* t = morvex_tp_context_new_task(nullptr, bump, &c);
  morvex_tp_wait(&t, 1);
  morvex_tp_task_delete(t);
  // After a short spin every worker sleeps: an idle pool uses no processor.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  morvex::test::PoolStatus st;
  do {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    st = morvex::test::pool_status();
  } while (st.sleepers != st.workers && std::chrono::steady_clock::now() < deadline);
  EXPECT_EQ(st.sleepers, st.workers);
  // And wake up for the next task.
  t = morvex_tp_context_new_task(nullptr, bump, &c);
  morvex_tp_wait(&t, 1);
  morvex_tp_task_delete(t);
  EXPECT_EQ(c.runs.load(), 2);
  morvex_tp_fini();
}

}  // namespace
