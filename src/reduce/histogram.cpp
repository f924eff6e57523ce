// SPDX-License-Identifier: MIT
// Linear histograms. The bin of a sample is a double-precision division by
// the bin width, truncated, clamped to the last bin; the division (not a
// multiplication by a reciprocal) is what puts samples on bin edges where
// the interface says, so it is kept even though it costs a few cycles per
// sample. Only u8 samples avoid it per sample: there are just 256 values, so
// the bin of each value is computed once per call with the same arithmetic.
#include <cstdint>
#include <type_traits>

#include "morvex-m/reduce.h"

namespace morvex::reduce {

namespace {

// The differences of the bin rule: 32-bit integer differences for integer
// samples, single-precision ones for f32, double for f64; all then divided
// in double.
template <class T>
inline double difference(T a, T b) {
  if constexpr (std::is_integral_v<T>)
    return double(int32_t(a) - int32_t(b));
  else
    return double(T(a - b));
}

// trunc(q) as an unsigned 64-bit bin, clamped to `last`. With no bins the
// width is infinite (or NaN), every in-range quotient is 0 or NaN, and `last`
// is 0 rather than a wrapped count - 1: so every in-range sample lands in
// bins[0], NaNs included, and none can be sent to a wild index. A quotient that no
// bin number can represent (NaN from 0/0 or a NaN sample, or one too large)
// is clamped too: that is where NaN samples are counted.
inline uint64_t bin_of(double q, uint64_t last) {
  if (!(q > -1.0 && q < 18446744073709551616.0)) return last;
  const uint64_t b = uint64_t(q);
  return b > last ? last : b;
}

template <class T, class C>
struct Histogram {
  T min, max;
  C* bins;
  uint64_t last;
  double width;

  Histogram(T lo, T hi, C* b, uint64_t count)
      : min(lo), max(hi), bins(b), last(count ? count - 1 : 0), width(difference(hi, lo) / double(count)) {}

  uint64_t bin(T x) const { return bin_of(difference(x, min) / width, last); }

  // One loop per combination of present out-of-range counters, so that the
  // inner loop tests no pointer. The out-of-range counts are kept locally and
  // added once (wrapping at the counter width like single increments).
  template <bool kBelow, bool kAbove>
  uint64_t run(const T* x, uint64_t n, C* below, C* above) const {
    uint64_t in = 0, lo = 0, hi = 0;
    for (uint64_t i = 0; i < n; ++i) {
      const T v = x[i];
      if (v < min) {
        lo += kBelow;
      } else if (v > max) {
        hi += kAbove;
      } else {
        ++bins[bin(v)];
        ++in;
      }
    }
    if constexpr (kBelow) *below = C(*below + lo);
    if constexpr (kAbove) *above = C(*above + hi);
    return in + lo + hi;
  }
};

// u8: the same rule through a table of the 256 possible samples.
template <class C>
struct HistogramU8 {
  enum : uint8_t { kIn, kBelowRange, kAboveRange };
  uint8_t kind[256];
  uint64_t bin[256];
  C* bins;

  HistogramU8(uint8_t min, uint8_t max, C* b, uint64_t count) : bins(b) {
    const Histogram<uint8_t, C> h(min, max, b, count);
    for (unsigned v = 0; v < 256; ++v) {
      kind[v] = v < min ? kBelowRange : v > max ? kAboveRange : kIn;
      bin[v] = kind[v] == kIn ? h.bin(uint8_t(v)) : 0;
    }
  }

  template <bool kBelow, bool kAbove>
  uint64_t run(const uint8_t* x, uint64_t n, C* below, C* above) const {
    uint64_t in = 0, lo = 0, hi = 0;
    for (uint64_t i = 0; i < n; ++i) {
      const uint8_t v = x[i];
      switch (kind[v]) {
        case kIn:
          ++bins[bin[v]];
          ++in;
          break;
        case kBelowRange:
          lo += kBelow;
          break;
        default:
          hi += kAbove;
          break;
      }
    }
    if constexpr (kBelow) *below = C(*below + lo);
    if constexpr (kAbove) *above = C(*above + hi);
    return in + lo + hi;
  }
};

template <class H, class T, class C>
inline uint64_t run(const H& h, const T* x, uint64_t n, C* below, C* above) {
  if (below && above) return h.template run<true, true>(x, n, below, above);
  if (below) return h.template run<true, false>(x, n, below, above);
  if (above) return h.template run<false, true>(x, n, below, above);
  return h.template run<false, false>(x, n, below, above);
}

// Below this many samples the table costs more than it saves.
constexpr uint64_t kU8TableFrom = 512;

template <class T, class C>
uint64_t histogram(const T* x, uint64_t n, T min, T max, C* bins, uint64_t count, C* below, C* above) {
  if (n == 0) return 0;
  if constexpr (std::is_same_v<T, uint8_t>) {
    if (n >= kU8TableFrom) return run(HistogramU8<C>(min, max, bins, count), x, n, below, above);
  }
  return run(Histogram<T, C>(min, max, bins, count), x, n, below, above);
}

}  // namespace

}  // namespace morvex::reduce

extern "C" {

#define MORVEX_HISTOGRAM_EXPORT(T, S, C, CS)                                                              \
  uint64_t morvex_m_histogram_lin_1d_##S##CS(const T* data, uint64_t count, T min, T max, C* bins,        \
                                             uint64_t binCount, C* below, C* above) {                     \
    return morvex::reduce::histogram<T, C>(data, count, min, max, bins, binCount, below, above);          \
  }
#define MORVEX_HISTOGRAM_EXPORT_ALL(T, S)              \
  MORVEX_HISTOGRAM_EXPORT(T, S, uint16_t, u16)         \
  MORVEX_HISTOGRAM_EXPORT(T, S, uint32_t, u32)         \
  MORVEX_HISTOGRAM_EXPORT(T, S, uint64_t, u64)
MORVEX_HISTOGRAM_EXPORT_ALL(int16_t, i16)
MORVEX_HISTOGRAM_EXPORT_ALL(uint8_t, u8)
MORVEX_HISTOGRAM_EXPORT_ALL(uint16_t, u16)
MORVEX_HISTOGRAM_EXPORT_ALL(float, f32)
MORVEX_HISTOGRAM_EXPORT_ALL(double, f64)
#undef MORVEX_HISTOGRAM_EXPORT_ALL
#undef MORVEX_HISTOGRAM_EXPORT

}  // extern "C"
