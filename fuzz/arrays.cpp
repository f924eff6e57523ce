// SPDX-License-Identifier: MIT
// Array exports with fuzzed contents and parameters: histograms (NaN,
// infinities, min above max, zero bins, absent out-of-range counters) count
// what landed somewhere, and the halves of a record add up to one call;
// unwrap in fuzzed blocks equals one call up to its first NaN; every deinterleave form equals the
// generic strided copy under every kernel configuration; the exponential fit
// fails exactly for a sample <= 0 and then writes nothing; every window with
// its parameter gives the same bits on one chunk, on seven and kept.
#include <algorithm>
#include <cmath>

#include "frame/split.h"
#include "generate/weight_cache.h"
#include "fuzz.h"

namespace {

using namespace morvex::fuzz;

template <class T>
std::vector<T> values(FuzzedDataProvider& in, size_t max) {
  std::vector<T> v(in.ConsumeIntegralInRange<size_t>(0, max));
  for (T& x : v) x = raw<T>(in);
  return v;
}

template <class T, class C>
using Histogram = uint64_t (*)(const T*, uint64_t, T, T, C*, uint64_t, C*, C*);

template <class T, class C>
void histogram(FuzzedDataProvider& in, Histogram<T, C> h) {
  const T lo = raw<T>(in), hi = raw<T>(in);
  const uint64_t nbins = in.ConsumeIntegralInRange(0, 40);
  const bool with_below = in.ConsumeBool(), with_above = in.ConsumeBool();
  const std::vector<T> x = values<T>(in, 1100);
  const uint64_t cut = x.empty() ? 0 : in.ConsumeIntegralInRange<uint64_t>(0, x.size());
  // Even zero bins count in-range samples in bins[0]: one counter always.
  std::vector<C> bins(std::max<uint64_t>(nbins, 1)), split(bins.size());
  C out[2] = {}, split_out[2] = {};
  const uint64_t got = h(x.data(), x.size(), lo, hi, bins.data(), nbins, with_below ? &out[0] : nullptr,
                         with_above ? &out[1] : nullptr);
  uint64_t landed = uint64_t(out[0]) + out[1];
  for (C b : bins) landed += b;
  FUZZ_CHECK(got == landed && (!with_below || !with_above || got == x.size()));
  for (const auto [from, len] : {std::pair<uint64_t, uint64_t>{0, cut}, {cut, x.size() - cut}}) {
    h(x.data() + from, len, lo, hi, split.data(), nbins, with_below ? &split_out[0] : nullptr,
      with_above ? &split_out[1] : nullptr);
  }
  FUZZ_CHECK(split == bins && same_bytes(out, split_out, sizeof out));
}

template <class T>
void unwrap(FuzzedDataProvider& in, int32_t (*f)(const T*, T*, uint64_t, T*)) {
  const T start = in.ConsumeBool() ? T(NAN) : raw<T>(in);
  const uint32_t cut = in.ConsumeIntegral<uint32_t>();
  std::vector<T> x = values<T>(in, 600);
  const uint64_t n = x.size();
  x.push_back(0);  // a count of 0 with a NaN state still reads and writes element 0
  std::vector<T> whole(n + 1), split(n + 1);
  T s = start, t = start;
  FUZZ_CHECK(f(x.data(), whole.data(), n, &s) == 0);
  std::vector<uint64_t> cuts = blocks(n, cut);
  if (cuts.empty()) cuts.push_back(0);  // an empty record is one empty call
  for (uint64_t base = 0; const uint64_t len : cuts) {
    FUZZ_CHECK(f(x.data() + base, split.data() + base, len, &t) == 0);
    base += len;
  }
  // Blocks change nothing up to the first NaN output: from there one call
  // carries the NaN on while the next block after it starts a new signal.
  uint64_t upto = 0;
  while (upto < n && !std::isnan(whole[upto])) ++upto;
  FUZZ_CHECK(same(whole.data(), split.data(), std::min(upto + 1, n)) && (upto < n || same(&s, &t, 1)));
}

template <class T>
void deinterleave(FuzzedDataProvider& in) {
  const unsigned channels = in.ConsumeIntegralInRange(2u, 6u), kernels = in.ConsumeIntegral<uint8_t>();
  const std::vector<T> x = values<T>(in, 700);
  const int32_t total = in.ConsumeIntegralInRange<int32_t>(-3, int32_t(x.size()));
  const uint64_t used = total > 0 ? uint64_t(total) : 0;
  std::vector<std::vector<T>> got(6), want(6);
  T* d[6];
  for (unsigned k = 0; k < 6; ++k) {
    got[k].resize(k < channels ? used / channels + (k < used % channels) : 0), want[k] = got[k], d[k] = got[k].data();
    if (!want[k].empty())
      FUZZ_CHECK(morvex_m_deinterleave(x.data(), k, channels, int64_t(want[k].size()), sizeof(T), want[k].data()) == 0);
  }
  auto call = [&](auto f2, auto f3, auto f4, auto f5, auto f6) {
    switch (channels) {
      case 2: return f2(x.data(), total, d[0], d[1]);
      case 3: return f3(x.data(), total, d[0], d[1], d[2]);
      case 4: return f4(x.data(), total, d[0], d[1], d[2], d[3]);
      case 5: return f5(x.data(), total, d[0], d[1], d[2], d[3], d[4]);
      default: return f6(x.data(), total, d[0], d[1], d[2], d[3], d[4], d[5]);
    }
  };
  switch_kernels(kernels);
  int32_t status;
  if constexpr (sizeof(T) == 1)
    status = call(morvex_m_deinterleave2_u8, morvex_m_deinterleave3_u8, morvex_m_deinterleave4_u8,
                  morvex_m_deinterleave5_u8, morvex_m_deinterleave6_u8);
  else
    status = call(morvex_m_deinterleave2_u16, morvex_m_deinterleave3_u16, morvex_m_deinterleave4_u16,
                  morvex_m_deinterleave5_u16, morvex_m_deinterleave6_u16);
  switch_kernels(0);
  FUZZ_CHECK(status == 0 && got == want);
}

void fit(FuzzedDataProvider& in) {
  std::vector<double> y(in.ConsumeIntegralInRange(0, 64));
  bool positive = true;
  for (double& v : y) {
    v = in.ConsumeBool() ? raw<double>(in) : in.ConsumeIntegral<uint8_t>() / 8.0;
    positive &= !(v <= 0);  // -0.0 is rejected, NaN is not
  }
  double a = 7, b = 7;
  const int32_t status = morvex_m_fit_exp_f64(y.data(), y.size(), in.ConsumeBool() ? &a : nullptr, &b);
  FUZZ_CHECK(positive ? status == 0 && (y.size() >= 2 || (std::isnan(b) && (a == 7 || std::isnan(a))))
                      : status == -1 && a == 7 && b == 7);
}

template <class T>
using Window = int32_t (*)(const T*, T*, uint64_t, int32_t);
#define FUZZ_WINDOWS(S)                                                                                      \
  {morvex_m_window_hanning_##S, morvex_m_window_hamming_##S, morvex_m_window_bartlett_##S,                \
   morvex_m_window_parzen_##S, morvex_m_window_welch_##S, morvex_m_window_blackman_##S,                   \
   morvex_m_window_blackmanharris_##S, morvex_m_window_nuttall_##S, morvex_m_window_blackmannuttall_##S,  \
   morvex_m_window_flattop_##S, nullptr}

template <class T>
void window(FuzzedDataProvider& in, const Window<T> (&fns)[11]) {
  const unsigned which = in.ConsumeIntegralInRange(0u, 10u);
  const int32_t normalize = in.ConsumeBool();
  const T alpha = in.ConsumeBool() ? raw<T>(in) : T(in.ConsumeIntegral<uint8_t>()) / 32;
  std::vector<T> x(in.ConsumeIntegralInRange(0, 2000));
  for (T& v : x) v = T(in.ConsumeIntegral<int8_t>()) / 64;
  std::vector<T> want(x.size());
  auto run = [&](const T* from, T* to) {
    if (fns[which]) return fns[which](from, to, x.size(), normalize);
    if constexpr (sizeof(T) == 4) return morvex_m_window_gaussian_f32(from, to, x.size(), normalize, alpha);
    else return morvex_m_window_gaussian_f64(from, to, x.size(), normalize, alpha);
  };
  // Computed on one chunk, on seven (the weights then kept), from the kept weights.
  morvex::generate::set_weight_cache_enabled(false);
  morvex::frame::set_split_thread_count(1);
  FUZZ_CHECK(run(x.data(), want.data()) == 0);
  morvex::generate::set_weight_cache_enabled(true);
  morvex::frame::set_split_thread_count(7);
  for (int kept = 0; kept < 2; ++kept) {
    std::vector<T> got = x;
    FUZZ_CHECK(run(got.data(), got.data()) == 0 && same(got.data(), want.data(), x.size()));
  }
  morvex::frame::set_split_thread_count(0);
}

template <class T>
void histograms(FuzzedDataProvider& in, Histogram<T, uint16_t> h16, Histogram<T, uint32_t> h32,
                Histogram<T, uint64_t> h64) {
  const int counter = in.ConsumeIntegralInRange(0, 2);
  counter == 0 ? histogram(in, h16) : counter == 1 ? histogram(in, h32) : histogram(in, h64);
}
#define FUZZ_HISTOGRAMS(T, S) \
  histograms<T>(in, morvex_m_histogram_lin_1d_##S##u16, morvex_m_histogram_lin_1d_##S##u32, \
                morvex_m_histogram_lin_1d_##S##u64)

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  switch (in.ConsumeIntegralInRange(0, 11)) {
    case 0: FUZZ_HISTOGRAMS(int16_t, i16); break;
    case 1: FUZZ_HISTOGRAMS(uint8_t, u8); break;
    case 2: FUZZ_HISTOGRAMS(uint16_t, u16); break;
    case 3: FUZZ_HISTOGRAMS(float, f32); break;
    case 4: FUZZ_HISTOGRAMS(double, f64); break;
    case 5: unwrap<float>(in, morvex_m_unwrap_f32); break;
    case 6: unwrap<double>(in, morvex_m_unwrap_f64); break;
    case 7: deinterleave<uint8_t>(in); break;
    case 8: deinterleave<uint16_t>(in); break;
    case 9: fit(in); break;
    case 10: window<float>(in, FUZZ_WINDOWS(f32)); break;
    default: window<double>(in, FUZZ_WINDOWS(f64)); break;
  }
  return 0;
}
