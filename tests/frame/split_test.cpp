// The range splitter: chunk sizes, the caller's chunk, task counts, steps.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "common/pool_status.h"
#include "frame/split.h"
#include "morvex-m.h"
#include "morvex-tp.h"

namespace {

using morvex::frame::chunk_layout;
using morvex::frame::split_range;

// Chunk lengths as the splitter cuts them: the first r chunks one longer.
std::vector<uint64_t> chunk_lengths(uint64_t n, unsigned h) {
  const auto l = chunk_layout(n, h);
  std::vector<uint64_t> out;
  uint64_t r = l.r, total = 0;
  for (uint64_t c = 0; c + 1 < l.chunks; ++c) {
    uint64_t len = l.q + (r ? 1 : 0);
    if (r) --r;
    out.push_back(len);
    total += len;
  }
  out.push_back(n - total);  // the caller's chunk
  return out;
}

TEST(ChunkLayout, WorkedExamples) {
  EXPECT_EQ(chunk_lengths(2, 8), (std::vector<uint64_t>{1, 1}));
  EXPECT_EQ(chunk_lengths(10, 4), (std::vector<uint64_t>{3, 3, 2, 2}));
  EXPECT_EQ(chunk_lengths(8, 4), (std::vector<uint64_t>{2, 2, 2, 2}));
  EXPECT_EQ(chunk_lengths(7, 1), (std::vector<uint64_t>{7}));
  EXPECT_EQ(chunk_lengths(5, 2), (std::vector<uint64_t>{3, 2}));
  EXPECT_EQ(chunk_lengths(3, 8), (std::vector<uint64_t>{1, 1, 1}));
  EXPECT_EQ(chunk_layout(9, 0).chunks, 1u) << "a thread count of 0 counts as 1";
}

TEST(ChunkLayout, SizesDifferByAtMostOneAndCoverTheRange) {
  for (unsigned h : {1u, 2u, 4u, 8u})
    for (uint64_t n : {2ull, 3ull, 7ull, 8ull, 9ull, 100ull, 4097ull, (1ull << 33) + 5}) {
      const auto lens = chunk_lengths(n, h);
      EXPECT_EQ(lens.size(), std::min<uint64_t>(n, h));
      uint64_t total = 0, lo = UINT64_MAX, hi = 0;
      for (uint64_t len : lens) total += len, lo = std::min(lo, len), hi = std::max(hi, len);
      EXPECT_EQ(total, n);
      EXPECT_LE(hi - lo, 1u);
      // The longer chunks come first.
      for (size_t i = 1; i < lens.size(); ++i) EXPECT_LE(lens[i], lens[i - 1]);
    }
}

struct Record {
  std::atomic<int>* hits;
  std::thread::id* who;
  std::atomic<uint64_t>* seq;
  uint64_t* order;
};

void record(uint64_t i, const Record& r) {
  r.hits[i].fetch_add(1);
  r.who[i] = std::this_thread::get_id();
  r.order[i] = r.seq->fetch_add(1);
}

uint64_t tasks_run() { return morvex::test::pool_status().tasks_run; }

class Split : public ::testing::TestWithParam<unsigned> {
 protected:
  void SetUp() override {
    morvex_m_init();
    morvex::frame::set_split_thread_count(GetParam());
  }
  void TearDown() override {
    morvex::frame::set_split_thread_count(0);
    morvex_m_fini();
  }
};

TEST_P(Split, EveryIndexOnceCallerTakesTheLastChunk) {
  const unsigned h = GetParam();
  for (uint64_t n : {2ull, 3ull, 5ull, 8ull, 10ull, 63ull, 1000ull}) {
    std::vector<std::atomic<int>> hits(n);
    std::vector<std::thread::id> who(n);
    std::vector<uint64_t> order(n);
    std::atomic<uint64_t> seq{0};
    const Record rec{hits.data(), who.data(), &seq, order.data()};
    const uint64_t before = tasks_run();
    split_range<Record, record>(0, n, 1, rec);
    const auto lens = chunk_lengths(n, h);
    EXPECT_EQ(tasks_run() - before, lens.size() - 1) << "one task per chunk but the caller's";
    for (uint64_t i = 0; i < n; ++i) ASSERT_EQ(hits[i].load(), 1) << i;
    // The caller's chunk ran here; every chunk ran in order on one thread.
    uint64_t b = 0;
    for (size_t c = 0; c < lens.size(); ++c) {
      for (uint64_t i = b; i < b + lens[c]; ++i) {
        if (c + 1 == lens.size()) {
          EXPECT_EQ(who[i], std::this_thread::get_id()) << i;
        }
        if (i > b) {
          EXPECT_EQ(who[i], who[b]) << "chunk " << c << " split across threads";
          EXPECT_GT(order[i], order[i - 1]);
        }
      }
      b += lens[c];
    }
  }
}

TEST_P(Split, SingleElementAndEmptyRangesNeverTouchThePool) {
  std::vector<std::atomic<int>> hits(20);
  std::vector<std::thread::id> who(20);
  std::vector<uint64_t> order(20);
  std::atomic<uint64_t> seq{0};
  const Record rec{hits.data(), who.data(), &seq, order.data()};
  const uint64_t before = tasks_run();
  split_range<Record, record>(5, 6, 1, rec);   // one element
  split_range<Record, record>(7, 7, 1, rec);   // empty
  split_range<Record, record>(9, 3, 1, rec);   // end below begin
  split_range<Record, record>(10, 13, 3, rec); // length equal to the step: one element
  EXPECT_EQ(tasks_run(), before);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(hits[i].load(), (i == 5 || i == 10) ? 1 : 0) << i;
  EXPECT_EQ(who[5], std::this_thread::get_id());
}

TEST_P(Split, StepsAndOffsets) {
  // begin 3, end 20, step 4: indices 3, 7, 11, 15, 19.
  std::vector<std::atomic<int>> hits(24);
  std::vector<std::thread::id> who(24);
  std::vector<uint64_t> order(24);
  std::atomic<uint64_t> seq{0};
  const Record rec{hits.data(), who.data(), &seq, order.data()};
  split_range<Record, record>(3, 20, 4, rec);
  for (int i = 0; i < 24; ++i) EXPECT_EQ(hits[i].load(), (i >= 3 && (i - 3) % 4 == 0 && i < 20) ? 1 : 0) << i;
}

INSTANTIATE_TEST_SUITE_P(HardwareThreads, Split, ::testing::Values(1u, 2u, 4u, 8u));

TEST(SplitConcurrency, SplitsFromSeveralThreads) {
  morvex_m_init();
  morvex::frame::set_split_thread_count(4);
  std::vector<std::thread> threads;
  std::atomic<int> bad{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        const uint64_t n = 1 + round % 37;
        std::vector<std::atomic<int>> hits(n);
        std::vector<std::thread::id> who(n);
        std::vector<uint64_t> order(n);
        std::atomic<uint64_t> seq{0};
        const Record rec{hits.data(), who.data(), &seq, order.data()};
        split_range<Record, record>(0, n, 1, rec);
        for (auto& h : hits)
          if (h.load() != 1) bad.fetch_add(1);
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(bad.load(), 0);
  morvex::frame::set_split_thread_count(0);
  morvex_m_fini();
}

TEST(SplitThreadCount, FollowsTheSystemUnlessPinned) {
  const unsigned hw = std::thread::hardware_concurrency();
  EXPECT_EQ(morvex::frame::split_thread_count(), hw ? hw : 1);
  morvex::frame::set_split_thread_count(3);
  EXPECT_EQ(morvex::frame::split_thread_count(), 3u);
  morvex::frame::set_split_thread_count(0);
  EXPECT_EQ(morvex::frame::split_thread_count(), hw ? hw : 1);
}

}  // namespace
