// SPDX-License-Identifier: MIT
// Kept window weights: reusing them gives the computed bits, no key change
// reuses them, and the store keeps within its bounds.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "common/buffers.h"
#include "common/variant_harness.h"
#include "frame/split.h"
#include "generate/weight_cache.h"
#include "morvex-m.h"

namespace {

namespace gen = morvex::generate;

// One window call: kind (index into kWindows), element type, length, normalisation.
struct Call { int kind, f32; uint64_t n; int32_t norm; };

template <int A>  // the gaussian windows of alpha A / 2
int32_t gauss32(const float* i, float* o, uint64_t n, int32_t s) {
  return morvex_m_window_gaussian_f32(i, o, n, s, A * .5f);
}
template <int A>
int32_t gauss64(const double* i, double* o, uint64_t n, int32_t s) {
  return morvex_m_window_gaussian_f64(i, o, n, s, A * .5);
}

#define MORVEX_KEPT(NAME) {morvex_m_window_##NAME##_f32, morvex_m_window_##NAME##_f64}
const struct {
  int32_t (*f32)(const float*, float*, uint64_t, int32_t);
  int32_t (*f64)(const double*, double*, uint64_t, int32_t);
} kWindows[] = {MORVEX_KEPT(hanning), MORVEX_KEPT(hamming), MORVEX_KEPT(blackman), MORVEX_KEPT(blackmanharris),
                MORVEX_KEPT(nuttall), MORVEX_KEPT(blackmannuttall), MORVEX_KEPT(flattop), MORVEX_KEPT(parzen),
                {gauss32<5>, gauss64<5>}, {gauss32<6>, gauss64<6>}};
#undef MORVEX_KEPT

void call(const Call& c, const float* in, float* out) { kWindows[c.kind].f32(in, out, c.n, c.norm); }
void call(const Call& c, const double* in, double* out) { kWindows[c.kind].f64(in, out, c.n, c.norm); }

// A call's input (special values included) and its output with the store off.
template <class T>
struct Reference {
  explicit Reference(const Call& c) : in(c.n), want(c.n) {
    morvex::test::fill_random(in.data(), c.n, uint32_t(c.n), true);
    gen::set_weight_cache_enabled(false);
    call(c, in.data(), want.data());
    gen::set_weight_cache_enabled(true);
  }
  std::vector<T> in, want;
};

// Calls c with the store on, out of place and then in place (at least one
// of the two reuses kept weights), and expects the reference's bits.
template <class T>
void expect_bits(const Call& c, const Reference<T>& r) {
  SCOPED_TRACE(::testing::Message() << "window " << c.kind << " f32 " << c.f32 << " N " << c.n << " norm " << c.norm);
  std::vector<T> got(c.n), io = r.in;
  call(c, r.in.data(), got.data());
  call(c, io.data(), io.data());
  EXPECT_TRUE(morvex::test::all_same_bits(r.want.data(), got.data(), c.n));
  EXPECT_TRUE(morvex::test::all_same_bits(r.want.data(), io.data(), c.n));
}

void expect_computed_bits(const Call& c) {
  c.f32 ? expect_bits(c, Reference<float>(c)) : expect_bits(c, Reference<double>(c));
}

TEST(WeightStore, ReusedWeightsGiveTheComputedBitsUnderEveryKernel) {
  morvex::frame::set_split_thread_count(3);  // weights kept from several chunks
  morvex::test::for_each_kernel_config([](const morvex::test::KernelConfig&) {
    for (int kind = 0; kind < int(std::size(kWindows)); ++kind)
      // The last two are multiplied over the pool, from both ends at once.
      for (uint64_t n : {2u, 3u, 31u, 4099u, 65539u, 65542u})
        for (int32_t norm : {0, 1})
          for (int f32 : {0, 1}) expect_computed_bits({kind, f32, n, norm});
  });
  morvex::frame::set_split_thread_count(0);
}

TEST(WeightStore, KeysAndBounds) {
  // Neighbours differ in one part of the key (element type, normalisation,
  // length, kind, alpha), more of them than the store holds.
  const std::vector<Call> mixed{{3, 0, 100, 1}, {3, 1, 100, 1}, {3, 0, 100, 0}, {3, 0, 101, 1}, {2, 0, 100, 1},
                                {8, 0, 100, 1}, {9, 0, 100, 1}, {6, 1, 100, 1}, {6, 0, 100, 1}};
  for (int round = 0; round < 2; ++round)
    for (const Call& c : mixed) {
      expect_computed_bits(c);
      EXPECT_LE(gen::weight_cache_use().windows, gen::kEntries);
    }
  // The longest window kept fills the store alone; one sample more is not kept.
  expect_computed_bits({0, 0, gen::kMaxWeights, 0});
  EXPECT_EQ(gen::weight_cache_use().windows, 1u);
  EXPECT_EQ(gen::weight_cache_use().weights, gen::kMaxWeights);
  expect_computed_bits({0, 1, gen::kMaxWeights + 1, 0});
  EXPECT_EQ(gen::weight_cache_use().weights, gen::kMaxWeights);
  expect_computed_bits({1, 1, 4096, 0});
  EXPECT_EQ(gen::weight_cache_use().weights, 4096u);
}

TEST(WeightStoreConcurrency, EachThreadKeepsItsOwn) {
  // Each thread's own window, and one that all of them use.
  std::vector<Call> calls{{0, 0, 500, 1}, {0, 0, 700, 1}, {1, 0, 764, 1}, {2, 0, 828, 1}, {0, 0, 892, 1}};
  std::vector<Reference<double>> refs(calls.begin(), calls.end());
  morvex::frame::set_split_thread_count(2);
  std::vector<std::thread> threads;
  for (size_t t = 1; t <= 4; ++t)
    threads.emplace_back([&, t] {
      for (int round = 0; round < 4; ++round)
        for (size_t k : {size_t(0), t}) expect_bits(calls[k], refs[k]);
    });
  for (std::thread& t : threads) t.join();
  morvex::frame::set_split_thread_count(0);
}

}  // namespace
