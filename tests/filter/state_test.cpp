// Lifetime of filter states, and concurrent queries on one state.
#include <gtest/gtest.h>

#include <atomic>
#include <complex>
#include <cstring>
#include <thread>
#include <vector>

#include "filter/state.h"
#include "frame/split.h"
#include "morvex-m.h"

namespace {

TEST(FilterState, DestroyAcceptsNull) { morvex_m_filter_state_destroy(nullptr); }

// Many states through every representation and an executor; the leak
// checker of the sanitizer build sees anything left behind.
TEST(FilterState, ManyCreateDestroyCycles) {
  std::vector<double> x(64, 1.0);
  for (int i = 0; i < 3000; ++i) {
    morvex_m_filter_state* st = nullptr;
    const int kind = i % 4;
    int32_t r;
    if (kind == 0)
      r = morvex_m_filter_iir_butterworth(i % 4, uint8_t(i % 9), &st, 1000.0, 100.0, 300.0);
    else if (kind == 1)
      r = morvex_m_filter_iir_chebyshev2(2, uint8_t(i % 7), &st, 1000.0, 100.0, 300.0, 30.0);
    else if (kind == 2)
      r = morvex_m_filter_iir_notch(&st, 1000.0, 50.0, 3.0);
    else
      r = morvex_m_filter_iir_chebyshev1(0, 4, &st, -1.0, 100.0, 300.0, 1.0);  // fails: nothing made
    if (kind == 3) {
      ASSERT_EQ(r, -1);
      ASSERT_EQ(st, nullptr);
      continue;
    }
    ASSERT_EQ(r, 0);
    const double *b, *a, *c;
    uint64_t n;
    ASSERT_EQ(morvex_m_filter_iir_get_tf(st, &b, &a, &n), 0);
    ASSERT_EQ(morvex_m_filter_iir_get_sos(st, &c, &n), 0);
    if (i % 3 == 0) {
      ASSERT_EQ(morvex_m_filter_execute_f64(x.data(), x.data(), x.size(), st), 0);
    }
    morvex_m_filter_state_destroy(st);
  }
}

// Several threads ask a fresh state for its representations and responses
// at once: every thread must get the one record that ends up published, and
// the same response as a lone caller.
TEST(FilterConcurrency, QueriesOnOneStateFromManyThreads) {
  constexpr int kThreads = 6, kRounds = 40, kPoints = 257;
  for (int round = 0; round < kRounds; ++round) {
    morvex_m_filter_state* st = nullptr;
    const bool notch = round % 2 == 1;  // TF first, or ZPK first
    ASSERT_EQ(notch ? morvex_m_filter_iir_notch(&st, 1000.0, 60.0, 5.0)
                    : morvex_m_filter_iir_butterworth(2, 6, &st, 1000.0, 100.0, 250.0),
              0);
    struct Seen {
      const double *b = nullptr, *sos = nullptr;
      const morvex_m_c64f64* z = nullptr;
      std::vector<morvex_m_c64f64> h = std::vector<morvex_m_c64f64>(kPoints);
      std::vector<morvex_m_c64f64> hz = std::vector<morvex_m_c64f64>(kPoints);
      int32_t stable = -1;
      int failures = 0;
    };
    std::vector<Seen> seen(kThreads);
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        Seen& s = seen[size_t(t)];
        ready.fetch_add(1);
        while (ready.load() < kThreads) {
        }
        std::vector<double> w(kPoints);
        const double* a;
        const morvex_m_c64f64* p;
        uint64_t n, nz, np;
        double k;
        // Different threads start with different representations.
        for (int q = 0; q < 5; ++q) {
          switch ((q + t) % 5) {
            case 0: s.failures += morvex_m_filter_iir_get_tf(st, &s.b, &a, &n) != 0; break;
            case 1: s.failures += morvex_m_filter_iir_get_sos(st, &s.sos, &n) != 0; break;
            case 2: s.failures += morvex_m_filter_iir_get_zpk(st, &s.z, &nz, &p, &np, &k) != 0; break;
            case 3:
              s.failures += morvex_m_filter_iir_freqz(st, kPoints, 0, 1, 0, w.data(), s.h.data(), 1000.0) != 0;
              break;
            case 4:
              s.failures += morvex_m_filter_iir_freqz_zpk(st, kPoints, 1, 0, w.data(), s.hz.data(), 1000.0) != 0;
              s.failures += morvex_m_filter_iir_isstable(st, &s.stable) != 0;
              break;
          }
        }
      });
    }
    for (auto& th : threads) th.join();
    for (const Seen& s : seen) {
      EXPECT_EQ(s.failures, 0);
      EXPECT_EQ(s.b, seen[0].b);
      EXPECT_EQ(s.sos, seen[0].sos);
      EXPECT_EQ(s.z, seen[0].z);
      EXPECT_EQ(s.stable, 1);
      EXPECT_EQ(std::memcmp(s.h.data(), seen[0].h.data(), kPoints * sizeof(morvex_m_c64f64)), 0);
      EXPECT_EQ(std::memcmp(s.hz.data(), seen[0].hz.data(), kPoints * sizeof(morvex_m_c64f64)), 0);
    }
    morvex_m_filter_state_destroy(st);
  }
}

// The response split over any number of chunks gives the same values as one
// chunk: each point is computed on its own.
TEST(FilterConcurrency, ResponseDoesNotDependOnTheSplit) {
  morvex_m_filter_state* st = nullptr;
  ASSERT_EQ(morvex_m_filter_iir_chebyshev2(3, 5, &st, 1000.0, 100.0, 200.0, 40.0), 0);
  std::vector<double> w1(1001), w2(1001);
  std::vector<morvex_m_c64f64> h1(1001), h2(1001);
  morvex::frame::set_split_thread_count(1);
  ASSERT_EQ(morvex_m_filter_iir_freqz(st, 1001, 0, 0, 1, w1.data(), h1.data(), 1000.0), 0);
  morvex::frame::set_split_thread_count(7);
  ASSERT_EQ(morvex_m_filter_iir_freqz(st, 1001, 0, 0, 1, w2.data(), h2.data(), 1000.0), 0);
  morvex::frame::set_split_thread_count(0);
  EXPECT_EQ(w1, w2);
  EXPECT_EQ(std::memcmp(h1.data(), h2.data(), h1.size() * sizeof(h1[0])), 0);
  morvex_m_filter_state_destroy(st);
}

}  // namespace
