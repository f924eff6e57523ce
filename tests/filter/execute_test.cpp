// SPDX-License-Identifier: MIT
// Filter execution through the states: random blocks give what one call
// gives, in every kernel configuration and from rest or steady state; the
// steady start's DC level, resets, order 0, the element type fixed by the
// first call; many create/destroy cycles (the leak checker watches) and
// concurrent queries on one state. (The section cascade's kernels are rows of
// the kernel table; the samples are checked against scipy by the Python oracles.)
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "common/buffers.h"
#include "common/variant_harness.h"
#include "filter/state.h"
#include "frame/split.h"

MORVEX_KERNEL_ROW_TESTS(filter);

namespace {

struct State {
  morvex_m_filter_state* s = nullptr;
  State(int band, int order) { EXPECT_EQ(morvex_m_filter_iir_butterworth(band, uint8_t(order), &s, 1000.0, 80.0, 200.0), 0); }
  ~State() { morvex_m_filter_state_destroy(s); }
};

template <class T>
int32_t run(const T* in, T* out, uint64_t n, morvex_m_filter_state* s) {
  if constexpr (sizeof(T) == 4) return morvex_m_filter_execute_f32(in, out, n, s);
  else return morvex_m_filter_execute_f64(in, out, n, s);
}

template <class T>
void blocks_give_one_call() {
  std::mt19937 rng(3);
  for (int band : {0, 2})
    for (int order : {1, 2, 4, 8, 13, 24, 40})
      for (int32_t steady : {0, 1}) {
        std::vector<T> in(3001), whole(in.size()), blocks(in.size());
        morvex::test::fill_random(in.data(), in.size(), uint32_t(order), false);
        morvex::test::for_each_kernel_config([&](const morvex::test::KernelConfig&) {
          State a(band, order), b(band, order);
          morvex_m_filter_reset_delay_line(a.s, steady), morvex_m_filter_reset_delay_line(b.s, steady);
          ASSERT_EQ(run<T>(in.data(), whole.data(), in.size(), a.s), 0);
          for (size_t at = 0, len; at < in.size(); at += len) {
            len = std::min<size_t>(in.size() - at, rng() % 700);
            ASSERT_EQ(run<T>(in.data() + at, blocks.data() + at, len, b.s), 0);
          }
          ASSERT_TRUE(morvex::test::all_same_bits(blocks.data(), whole.data(), in.size())) << band << " " << order << " " << steady;
        });
      }
}

TEST(FilterExecute, BlocksGiveWhatOneCallGivesF32) { blocks_give_one_call<float>(); }
TEST(FilterExecute, BlocksGiveWhatOneCallGivesF64) { blocks_give_one_call<double>(); }

TEST(FilterExecute, SteadyStartsResetsOrderZeroAndTheElementType) {
  for (int order : {1, 2, 5, 8}) {
    State st(0, order); const double* c; uint64_t n;
    ASSERT_EQ(morvex_m_filter_iir_get_sos(st.s, &c, &n), 0);
    double gain = 1.0;  // at zero frequency: the product of the sections' sums
    for (uint64_t i = 0; i < n; i += 6) gain *= (c[i] + c[i + 1] + c[i + 2]) / (c[i + 3] + c[i + 4] + c[i + 5]);
    std::vector<double> y(300);
    for (double level : {-2.5, 4.0}) {  // re-armed, a later block starts from its own first sample
      morvex_m_filter_reset_delay_line(st.s, 1); std::vector<double> x(300, level);
      ASSERT_EQ(morvex_m_filter_execute_f64(x.data(), y.data(), 0, st.s), 0);  // leaves the start pending
      ASSERT_EQ(morvex_m_filter_execute_f64(x.data(), y.data(), x.size(), st.s), 0);
      for (double v : y) ASSERT_NEAR(v, level * gain, 1e-12) << "order " << order;
    }
  }
  State a(2, 3), b(2, 3);  // a reset to zero is a fresh start
  std::vector<float> x(500), ya(500), yb(500); morvex::test::fill_random(x.data(), x.size(), 9, false);
  ASSERT_EQ(morvex_m_filter_execute_f32(x.data(), ya.data(), 123, a.s), 0);
  morvex_m_filter_reset_delay_line(a.s, 0);
  ASSERT_EQ(morvex_m_filter_execute_f32(x.data(), ya.data(), x.size(), a.s), 0);
  ASSERT_EQ(morvex_m_filter_execute_f32(x.data(), yb.data(), x.size(), b.s), 0);
  EXPECT_TRUE(morvex::test::all_same_bits(ya.data(), yb.data(), x.size()));
  // Order 0: one pass-through section carrying the gain 1; an executor
  // without any section copies, overlapping arrays included.
  State zero(0, 0); std::vector<double> orig(100), y(100);
  for (size_t i = 0; i < orig.size(); ++i) orig[i] = double(i) - 40.5;
  ASSERT_EQ(morvex_m_filter_execute_f64(orig.data(), y.data(), y.size(), zero.s), 0); EXPECT_EQ(y, orig);
  morvex::def::FitlerIIRSOS<double> none{morvex::FilterState::IIR::SOS{}};
  ASSERT_EQ(none.execute(y.data(), y.data() + 3, 90), 0);
  EXPECT_TRUE(std::equal(orig.begin(), orig.begin() + 90, y.begin() + 3));
  // The first call fixes the element type; the other is refused, nothing written.
  std::vector<double> xd(10, 1.0);
  ASSERT_EQ(morvex_m_filter_execute_f32(x.data(), x.data(), 10, a.s), 0);
  EXPECT_EQ(morvex_m_filter_execute_f64(xd.data(), xd.data(), xd.size(), a.s), -1);
  EXPECT_EQ(xd, std::vector<double>(10, 1.0));
}

// Many states through every representation and an executor, and a failed
// design that makes nothing: the leak checker of the sanitizer build sees
// anything left behind.
TEST(FilterState, ManyCreateDestroyCycles) {
  std::vector<double> x(64, 1.0);
  for (int i = 0; i < 3000; ++i) {
    morvex_m_filter_state* st = nullptr; const int kind = i % 4;
    const int32_t r = kind == 0   ? morvex_m_filter_iir_butterworth(i % 4, uint8_t(i % 9), &st, 1000.0, 100.0, 300.0)
                      : kind == 1 ? morvex_m_filter_iir_chebyshev2(2, uint8_t(i % 7), &st, 1000.0, 100.0, 300.0, 30.0)
                      : kind == 2 ? morvex_m_filter_iir_notch(&st, 1000.0, 50.0, 3.0)
                                  : morvex_m_filter_iir_chebyshev1(0, 4, &st, -1.0, 100.0, 300.0, 1.0);
    ASSERT_EQ(r, kind == 3 ? -1 : 0);
    if (kind == 3) continue;
    const double *b, *a, *c; uint64_t n;
    ASSERT_EQ(morvex_m_filter_iir_get_tf(st, &b, &a, &n) | morvex_m_filter_iir_get_sos(st, &c, &n), 0);
    if (i % 3 == 0) {
      ASSERT_EQ(morvex_m_filter_execute_f64(x.data(), x.data(), x.size(), st), 0);
    }
    morvex_m_filter_state_destroy(st);
  }
}

// Several threads ask a fresh state for its representations and responses at
// once, each starting with a different query: all get the one record that
// ends up published, and the response a lone caller gets (which does not
// depend on how the points are split either).
TEST(FilterConcurrency, QueriesOnOneStateFromManyThreads) {
  constexpr int kThreads = 6, kPoints = 257;
  for (int round = 0; round < 40; ++round) {
    morvex_m_filter_state* st = nullptr;
    ASSERT_EQ(round % 2 ? morvex_m_filter_iir_notch(&st, 1000.0, 60.0, 5.0)
                        : morvex_m_filter_iir_butterworth(2, 6, &st, 1000.0, 100.0, 250.0), 0);
    struct Seen {
      const double *b = nullptr, *sos = nullptr; const morvex_m_c64f64* z = nullptr;
      std::vector<morvex_m_c64f64> h = std::vector<morvex_m_c64f64>(kPoints), hz = h; int32_t stable = -1, failures = 0;
    };
    std::vector<Seen> seen(kThreads);
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
      threads.emplace_back([&, t] {
        Seen& s = seen[size_t(t)]; morvex::frame::set_split_thread_count(unsigned(1 + t));
        for (ready.fetch_add(1); ready.load() < kThreads;) {
        }
        std::vector<double> w(kPoints); const double* a; const morvex_m_c64f64* p; uint64_t n, nz, np; double k;
        for (int q = 0; q < 5; ++q) switch ((q + t) % 5) {
            case 0: s.failures += morvex_m_filter_iir_get_tf(st, &s.b, &a, &n) != 0; break;
            case 1: s.failures += morvex_m_filter_iir_get_sos(st, &s.sos, &n) != 0; break;
            case 2: s.failures += morvex_m_filter_iir_get_zpk(st, &s.z, &nz, &p, &np, &k) != 0; break;
            case 3: s.failures += morvex_m_filter_iir_freqz(st, kPoints, 0, 1, 0, w.data(), s.h.data(), 1000.0) != 0; break;
            case 4: s.failures += morvex_m_filter_iir_freqz_zpk(st, kPoints, 1, 0, w.data(), s.hz.data(), 1000.0) != 0 ||
                                  morvex_m_filter_iir_isstable(st, &s.stable) != 0;
          }
      });
    for (auto& th : threads) th.join();
    morvex::frame::set_split_thread_count(0);
    for (const Seen& s : seen)
      EXPECT_TRUE(s.failures == 0 && s.b == seen[0].b && s.sos == seen[0].sos && s.z == seen[0].z && s.stable == 1 &&
                  !std::memcmp(s.h.data(), seen[0].h.data(), kPoints * sizeof(morvex_m_c64f64)) &&
                  !std::memcmp(s.hz.data(), seen[0].hz.data(), kPoints * sizeof(morvex_m_c64f64)));
    morvex_m_filter_state_destroy(st);
  }
}

}  // namespace
