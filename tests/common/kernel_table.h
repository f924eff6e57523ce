// SPDX-License-Identifier: MIT
// The kernel table: one row per kernel family, read by the variant harness of
// the tests (common/variant_harness.h) and by morvex-bench. No GoogleTest here.
//
// A row names an export family and gives everything needed to run it:
//   subsystem, name   the test binary that checks the row ("ops", ...) and the
//                     family ("convert_u8f32"); failures are reported by name
//   in_size, in_per   bytes per input element, input elements per index (all
//                     inputs of the call lie one after another: add_f32 has 2)
//   out_size, out_per the same for the output; out_extra bytes follow it
//                     (results of reductions, a filter's delay line)
//   fill(in, count, seed, s)  writes count random input elements and may pick
//                     the call's scalar arguments s[] (preset from row.s)
//   call(a)           the export, or the library's own choice of kernel
//   plain(a)          the result every processor variant must give, bit for bit
//   fused(a)          the result when the fused multiply-add kernels may run
//   flags             KernelFlags; dense, far: the harness tries every length
//                     0..dense, then a few more up to far
// KernelArgs holds the pointers, the index count n and the scalars; a call
// returns the export's status (void kernels report 0).
//
// A new kernel gets its test and its benchmark from one line in kernel_rows().
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

#include "filter/cascade.h"
#include "generate/cos_exact.h"
#include "morvex-m.h"
#include "ops/arith.h"
#include "ops/kernels.h"
#include "reduce/kernels.h"

extern "C" {
float cabsf(__complex__ float) noexcept;
double cabs(__complex__ double) noexcept;
float cargf(__complex__ float) noexcept;
double carg(__complex__ double) noexcept;
}

namespace morvex::test {

// Random values: integers of every bit pattern; floats of varied magnitude and
// sign, with zeros of both signs, infinities, NaN and subnormals sprinkled in
// when `specials` is set.
template <class T>
void fill_random(T* p, size_t n, uint32_t seed, bool specials = true) {
  using L = std::numeric_limits<T>;
  std::mt19937_64 rng(seed);
  for (size_t i = 0; i < n; ++i) {
    if constexpr (std::is_integral_v<T>) {
      p[i] = T(rng());
    } else {
      const T special[] = {T(0.0), T(-0.0), L::infinity(), -L::infinity(), L::quiet_NaN(), L::denorm_min(), -L::min()};
      const uint64_t r = rng(), k = r % 50;
      p[i] = specials && k < 7 ? special[k] : T(std::ldexp(double(r >> 11) * 0x1p-52 - 1.0, int(r % 41) - 20));
    }
  }
}

struct KernelArgs {
  const void* in;
  void* out;
  uint64_t n;
  std::array<double, 6> s;
};
using KernelCall = int32_t (*)(const KernelArgs&);
using KernelFill = void (*)(void* in, uint64_t count, uint32_t seed, double* s);

enum KernelFlags : uint16_t {
  kPlainOnly = 1,  // no processor variants: checked under one configuration
  kInPlace = 2,    // the output may be the input array
  kOverlap = 4,    // an output one element above or below the input gives the plain loop's result
  kStreams = 8,    // also a length whose output (8 MiB and more) takes the streaming stores
  kPointers = 16,  // needs real arrays even for a count of 0 (reads data[0], writes results)
  kDqVariant = 32, // has an AVX-512DQ variant: also checked with only DQ switched off
  kBwVariant = 64, // has an AVX-512BW variant: also checked with only BW switched off
};

struct KernelRow {
  const char *subsystem, *name;
  uint8_t in_size, in_per, out_size, out_per;
  uint16_t out_extra, flags;
  uint32_t dense, far;
  KernelFill fill;
  KernelCall call, plain, fused;
  std::array<double, 6> s;
  KernelRow lengths(uint32_t d, uint32_t f) const { KernelRow r = *this; r.dense = d, r.far = f; return r; }
  KernelRow extra(uint16_t bytes, uint16_t more_flags = 0) const {
    KernelRow r = *this;
    r.out_extra = bytes, r.flags |= more_flags;
    return r;
  }
};

// Typed views of the arguments: input array k and output array k.
template <class T> const T* I(const KernelArgs& a, uint64_t k = 0) { return static_cast<const T*>(a.in) + k * a.n; }
template <class T> T* O(const KernelArgs& a, uint64_t k = 0) { return static_cast<T*>(a.out) + k * a.n; }

template <class F>
int32_t status_of(F f) {
  if constexpr (std::is_void_v<decltype(f())>) return f(), 0;
  else return f();
}
// A call of a row, as an expression over `a` (the KernelArgs); the element
// loops out[i] = expr with x = in[i] (and y = the second input's [i]).
#define MORVEX_CALL(expr) \
  +[](const ::morvex::test::KernelArgs& a) -> int32_t { return ::morvex::test::status_of([&] { return expr; }); }
#define MORVEX_EACH(TI, TO, expr) \
  MORVEX_CALL(([&] { for (uint64_t i = 0; i < a.n; ++i) { const TI x = I<TI>(a)[i]; O<TO>(a)[i] = TO(expr); } }()))
#define MORVEX_EACH2(TI, TO, expr) MORVEX_CALL(([&] {                                                             \
  for (uint64_t i = 0; i < a.n; ++i) { const TI x = I<TI>(a)[i], y = I<TI>(a, 1)[i]; O<TO>(a)[i] = TO(expr); } \
}()))

template <class T, bool Specials = true>
void fill_row(void* in, uint64_t count, uint32_t seed, double*) { fill_random(static_cast<T*>(in), count, seed, Specials); }

template <class TI, class TO = TI, unsigned InPer = 1, unsigned OutPer = 1>
KernelRow row(const char* sub, const char* name, KernelCall call, KernelCall plain, uint16_t flags,
              std::array<double, 6> s = {}, KernelFill fill = fill_row<TI>, KernelCall fused = nullptr) {
  const uint32_t far = flags & kStreams ? uint32_t((8u << 20) / (sizeof(TO) * OutPer) + 37) : 4099;
  return {sub, name, uint8_t(sizeof(TI)), InPer, uint8_t(sizeof(TO)), OutPer, 0, flags,
          uint32_t(std::max<size_t>(40, 320 / sizeof(TI))), far, fill, call, plain, fused, s};
}

// ---------------------------------------------------------------- argument generators
// Two arrays, specials only in the first: no NaN meets another NaN (the
// result's payload would depend on the operand order the compiler picked).
template <class T>
void fill_pair(void* in, uint64_t count, uint32_t seed, double*) {
  fill_random(static_cast<T*>(in), count / 2, seed, true);
  fill_random(static_cast<T*>(in) + count / 2, count - count / 2, seed + 1, false);
}

// Shifts by every count (below 32, 64 for u64); bounds in both orders
// (for shift right with clipping and clip, floats included); a mask.
template <class T>
void fill_bits(void* in, uint64_t count, uint32_t seed, double* s) {
  fill_random(static_cast<T*>(in), count, seed);
  const double top = std::is_integral_v<T> ? double(std::numeric_limits<T>::max()) : 1.0;
  const double bounds[][2] = {{0, top}, {10, 100}, {100, 10}, {5, 5}, {top - 1, top}, {0, 0}, {-0.5, 0.25}};
  s[0] = seed % (sizeof(T) == 8 ? 64 : 32), s[1] = bounds[seed / 32 % 7][0], s[2] = bounds[seed / 32 % 7][1];
  if constexpr (std::is_integral_v<T>) s[3] = double(T(seed * 2654435761u));
}

// Random doubles with, every fourth element, one whose f32 result tells a
// multiply then an add from a fused multiply-add: with the f64 -> f32 row's
// scale 0.1f and offset 3.0f, the two roundings land on a float midpoint
// that ties to even, the single rounding one double step short of it.
inline void fill_narrowing(void* in, uint64_t count, uint32_t seed, double*) {
  double* p = static_cast<double*>(in);
  fill_random(p, count, seed, true);
  const double ties[] = {0x1.000dffbffc301p-7, 0x1.0125ffbfb6301p-7, 0x1.023dffbf70301p-7, 0x1.0355ffbf2a301p-7};
  for (uint64_t i = 1; i < count; i += 4) p[i] = ties[i / 4 % 4];
}

// The f64 -> f32 row at a scale of one, where the multiply may be left out:
// zeros and subnormals of both signs, values that round to a float zero or
// past the largest float, among random ones; the offset +0 or -0.7, picked
// from the length (the seed is five times the length plus a little) so that
// both meet the long lengths in cache (2624 and 10496) and the streaming one.
inline void fill_unit_narrowing(void* in, uint64_t count, uint32_t seed, double* s) {
  double* p = static_cast<double*>(in);
  fill_random(p, count, seed, true);
  const double edge[] = {-0.0, 0.0, -0x1p-1074, 0x1.8p-1060, -0x1p-160, 0x1p-150, -0x1.fffffefp127, 0x1p200};
  for (uint64_t i = 2; i < count; i += 3) p[i] = edge[i / 3 % 8];
  const uint64_t n = seed / 5;
  s[0] = 1.0, s[1] = (n + n / 64) % 2 ? -0.7 : 0.0;
}

// Complex values for the magnitude, in groups of 16 pairs (the widest
// kernel's group, which goes to the exact fallback whole when one lane needs
// it). Most groups are ordinary values, with at most one lane that is hard:
// a magnitude a hair from a rounding midpoint (where one rounding and cabsf's
// two part ways) or exactly on one, or a part whose square leaves the single
// range or the fast path's range (infinities, NaN, subnormals). A quarter of
// the groups are hard throughout: random bit patterns, parts of similar size
// or a fixed number of binades apart.
inline void fill_magnitude(void* in, uint64_t count, uint32_t seed, double*) {
  float* p = static_cast<float*>(in);
  std::mt19937_64 rng(seed);
  auto bits = [&] { float f; const uint32_t b = uint32_t(rng()); std::memcpy(&f, &b, 4); return f; };
  auto ratio = [&] { return float(int(rng() % 4001) - 2000) / 1000.0f; };
  const float edge[] = {0.0f,     -0.0f,   0x1p-149f, -1e-40f,        0x1p-126f, 0x1p-75f, 0x1p-63f,
                        0x1p-50f, 0x1.fffffep-37f,  0x1p-36f, -0x1.000002p-36f, 3.0f,     0x1p63f,  -0x1.fffffep63f,
                        0x1p64f,  0x1p100f, 0x1.fffffep127f, INFINITY, -INFINITY,   NAN};
  uint64_t group = 0, hard_lane = 0;
  for (uint64_t i = 0; i + 1 < count; i += 2) {
    if (i % 32 == 0) group = rng() % 4, hard_lane = rng() % 16;
    float re = std::ldexp(float(int(rng() % 2001) - 1000) / 997.0f, int(rng() % 41) - 20), im = re * ratio();
    switch (group == 3 ? rng() % 4 : i / 2 % 16 == hard_lane ? 4 + group : 7) {
      case 0: re = bits(), im = bits(); break;
      case 1: im = rng() & 1 ? -re : re; break;
      case 2: re = bits(), im = std::ldexp(re * ratio(), int(rng() % 60) - 30); break;
      case 4: re = edge[rng() % 20]; break;
      case 5: {  // x = m - (j + 1/2) ulp and y with x^2 + y^2 within a hair of m^2
        double f = double(8388608 + rng() % 8388608);
        if (rng() % 8 == 0) f = rng() & 1 ? 16777215.0 : 8388608.0;  // next to a power of two
        const double m = f + 0.5, x = f - double(rng() % 48), y = std::sqrt(m * m - x * x);
        const int e = int(rng() % 60) - 53;
        re = float(std::ldexp(x, e)) * (rng() & 1 ? -1.0f : 1.0f), im = float(std::ldexp(y, e));
        break;
      }
      case 6: {  // 3k, 4k, 5k: a tie between two floats (5k odd, in [2^24, 2^25)), and its neighbours
        const uint32_t k = 3355445 + 2 * uint32_t(rng() % 1118480);
        re = float(3 * k), im = float(4 * k + 4 * (int(rng() % 3) - 1));
      }
    }
    if (rng() & 1) std::swap(re, im);
    p[i] = re, p[i + 1] = im;
  }
}

// Cosine arguments: uniform over ranges up to and beyond the reduction limit,
// and hard ones a few ulps either side of multiples of pi/2 (results near
// zero), of odd multiples of pi/256 (where the table row may round either way)
// and of table rows; tiny and non-finite values.
inline void fill_cos(void* in, uint64_t count, uint32_t seed, double*) {
  double* x = static_cast<double*>(in);
  std::mt19937_64 rng(seed);
  const double range[] = {1.0, 8 * M_PI, 1e4, 0x1p24, 0x1p40};
  const double special[] = {0.0, -0.0, 0x1p-1074, 0x1p-27, -0x1p-26, 0x1p24, -0x1p24, 1e300, INFINITY, -NAN};
  for (uint64_t i = 0; i < count; ++i) {
    const int m = int(rng() % 8193) - 4096, kind = int(rng() % 8);
    double v = kind < 4 ? (double(rng() >> 11) * 0x1p-52 - 1) * range[kind + rng() % 2] : kind == 4 ? special[rng() % 10]
             : kind == 5 ? double(2 * m + 1) * M_PI / 256 : kind == 6 ? double(m) * (M_PI / 2) : double(m) * M_PI / 128;
    for (int k = int(rng() % 7) - 3; kind > 4 && k != 0; k += k < 0 ? 1 : -1) v = std::nextafter(v, k * 1e300);
    x[i] = v;
  }
}

// The ramps of the windows, i * (2 pi m) / (N - 1), and of the waveforms,
// i * w + 2 p pi, from inside a record (beyond the reduction limit too), with
// steps other than 1.
inline void fill_cos_ramp(void*, uint64_t, uint32_t seed, double* s) {
  std::mt19937_64 rng(seed);
  const bool divide = seed % 2;
  s[0] = divide, s[1] = seed % 16 == 1 ? 0x1p40 : rng() % 3 ? 0 : double(rng() % 200000), s[2] = double(1 + rng() % 3 * 3);
  s[3] = divide ? 2 * M_PI * double(1 + rng() % 4) : 2 * M_PI / (0.7 + double(rng() % 1000));
  s[4] = divide ? double(1 + rng() % 5000) : double(int(rng() % 8) - 3) * 0.5 * M_PI;
}

// ---------------------------------------------------------------- reductions and the cascade
// Both extremes, then each alone.
template <class T>
int32_t minmax4(const KernelArgs& a, void (*f)(const T*, uint64_t, T*, T*)) {
  T r[4] = {T(1), T(2), T(3), T(4)};
  f(I<T>(a), a.n, &r[0], &r[1]), f(I<T>(a), a.n, &r[2], nullptr), f(I<T>(a), a.n, nullptr, &r[3]);
  std::memcpy(a.out, r, sizeof r);
  return 0;
}
template <class T, int32_t (*F)(const T*, uint64_t, T*, T*)>
void minmax_export(const T* x, uint64_t n, T* mn, T* mx) { F(x, n, mn, mx); }

// Level and band searches: values around mid-scale with rare spikes near
// full scale and dips near zero (none at all for one seed in eight), so that
// the hits lie deep inside the vector kernels' groups or nowhere; s[0] and
// s[1] are a high and a low level that only some spikes and dips reach.
template <class T>
void fill_search(void* in, uint64_t count, uint32_t seed, double* s) {
  T* x = static_cast<T*>(in);
  std::mt19937 rng(seed);
  constexpr T top = std::numeric_limits<T>::max(), mid = top / 2;
  const bool rare = (seed * 2654435761u) >> 29 != 0;
  for (uint64_t i = 0; i < count; ++i) {
    const uint32_t r = rng(), v = (r >> 9) % 8;
    x[i] = rare && r % 512 == 0 ? T(top - v) : rare && r % 512 == 1 ? T(v) : T(mid - 20 + (r >> 9) % 41);
  }
  s[0] = double(top - 3 - seed % 3);
  s[1] = double(3 + seed % 3);
}

// A search from four starts (the plain kernels need one below the count):
// search(x, n, high, low, position).
template <class T, class Search>
int32_t search4(const KernelArgs& a, Search search) {
  uint64_t r[4] = {0, 1, a.n / 2, a.n - 1};
  for (uint64_t& pos : r) search(I<T>(a), a.n, T(a.s[0]), T(a.s[1]), pos);
  std::memcpy(a.out, r, sizeof r);
  return 0;
}

// Extreme searches: inputs with many ties (a small alphabet, zeros of both
// signs), zig-zags whose extremes grow all the way (every chunk of a long
// record beats the one before), or random values; floats with NaN in all.
template <class T>
void fill_extreme(void* in, uint64_t count, uint32_t seed, double*) {
  T* x = static_cast<T*>(in);
  fill_random(x, count, seed);
  std::mt19937 rng(seed);
  const T alphabet[] = {T(-0.0), T(0.0), T(1), T(2), std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max()};
  for (uint64_t i = 0; i < count && seed % 3; ++i) {
    x[i] = seed % 3 == 1 ? alphabet[rng() % (rng() % 8 ? 4 : 6)] : T(i % 2 ? T(i) : T(T(0) - T(i)));
    if (!std::is_integral_v<T> && rng() % 64 == 0) x[i] = std::numeric_limits<T>::quiet_NaN();
  }
}
// index_max and index_min from starts at both ends and inside, against the
// widest bar, the record's own extreme (never beaten), one of its elements
// and NaN; each answer as a position and the value's bits, 16 bytes.
template <class T>
int32_t extremes(const KernelArgs& a, bool plain) {
  using L = std::numeric_limits<T>;
  using Kernel = uint64_t (*)(const T*, uint64_t, uint64_t, T*);
  using Export = int32_t (*)(const T*, uint64_t, uint64_t*, T*);
  Kernel kernel[2];
  Export exported[2];
  if constexpr (std::is_same_v<T, int16_t>) kernel[0] = reduce::max_i16_plain, kernel[1] = reduce::min_i16_plain, exported[0] = morvex_m_index_max_i16, exported[1] = morvex_m_index_min_i16;
  if constexpr (std::is_same_v<T, uint8_t>) kernel[0] = reduce::max_u8_plain, kernel[1] = reduce::min_u8_plain, exported[0] = morvex_m_index_max_u8, exported[1] = morvex_m_index_min_u8;
  if constexpr (std::is_same_v<T, uint16_t>) kernel[0] = reduce::max_u16_plain, kernel[1] = reduce::min_u16_plain, exported[0] = morvex_m_index_max_u16, exported[1] = morvex_m_index_min_u16;
  if constexpr (std::is_same_v<T, float>) kernel[0] = reduce::max_f32_plain, kernel[1] = reduce::min_f32_plain, exported[0] = morvex_m_index_max_f32, exported[1] = morvex_m_index_min_f32;
  if constexpr (std::is_same_v<T, double>) kernel[0] = reduce::max_f64_plain, kernel[1] = reduce::min_f64_plain, exported[0] = morvex_m_index_max_f64, exported[1] = morvex_m_index_min_f64;
  const T* x = I<T>(a);
  unsigned char* out = static_cast<unsigned char*>(a.out);
  for (int k = 0; k < 2; ++k) {
    const T widest = k ? (L::has_infinity ? L::infinity() : L::max()) : (L::has_infinity ? -L::infinity() : L::lowest());
    T own = widest;
    if (a.n) kernel[k](x, 0, a.n, &own);
    const T bars[] = {widest, own, a.n ? x[a.n / 3] : T(7), L::has_quiet_NaN ? L::quiet_NaN() : T(1)};
    for (T bar : bars)
      for (uint64_t start : {uint64_t(0), uint64_t(1), a.n / 2, a.n - 1, a.n}) {
        uint64_t p = start;
        T v = bar;
        if (!plain) exported[k](x, a.n, &p, &v);
        else p = start < a.n ? kernel[k](x, start, a.n, &v) : a.n;
        std::memcpy(out, &p, 8), std::memset(out + 8, 0, 8), std::memcpy(out + 8, &v, sizeof v), out += 16;
      }
  }
  return 0;
}

// Random stable sections (complex or real pole pairs inside the unit circle),
// up to 70, and a delay line to start from; the call takes its section count
// from s[0] and leaves the delay line after the output.
template <class T>
const std::vector<T>& cascade_setup(int which) {
  static const auto make = [](int d) {
    std::mt19937 rng(d + 1);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    std::vector<T> c;
    for (int i = 0; i < 70; ++i) {
      const double p = 2 * u(rng) - 1, q = 1.9 * u(rng) - 0.95, r = 0.3 + 0.69 * u(rng), th = M_PI * u(rng);
      const double a1 = i % 3 == 2 ? -(p + q) * 0.97 : -2 * r * std::cos(th), a2 = i % 3 == 2 ? p * q * 0.97 : r * r;
      for (double v : {u(rng) - 0.5, 2 * u(rng) - 1, u(rng) - 0.5, 1.0, a1, a2}) c.push_back(T(v - 0.5 * d));
    }
    return c;
  };
  static const std::vector<T> coeffs = make(0), delay = make(1);
  return which ? delay : coeffs;
}
template <class T>
int32_t cascade(const KernelArgs& a, filter::CascadeKernel<T>* kernel) {
  const uint64_t sections = uint64_t(a.s[0]);
  std::vector<T> d(cascade_setup<T>(1).begin(), cascade_setup<T>(1).begin() + 2 * sections);
  kernel(I<T>(a), O<T>(a), a.n, cascade_setup<T>(0).data(), d.data(), sections);
  std::memcpy(O<T>(a) + a.n, d.data(), d.size() * sizeof(T));
  return 0;
}
template <class T>
void fill_cascade(void* in, uint64_t count, uint32_t seed, double* s) {
  fill_random(static_cast<T*>(in), count, seed, false);
  s[0] = 1 + seed % 70;
}

// ---------------------------------------------------------------- the table
// Deinterleave: channel k of the n samples goes to out + k * ceil(n / N). The
// two-channel kernels stream when all channels share their alignment: at far,
// not at far + 1.
#define MORVEX_DEINTERLEAVE_ROW(N, T, S, FLAGS, ...)                                                                \
  row<T>("ops", "deinterleave" #N "_" #S, MORVEX_CALL(([&] {                                                        \
    T* d[6];                                                                                                        \
    for (int k = 0; k < N; ++k) d[k] = O<T>(a) + k * ((a.n + N - 1) / N);                                           \
    return morvex_m_deinterleave##N##_##S(I<T>(a), int32_t(a.n), __VA_ARGS__);                                       \
  }())), MORVEX_CALL(([&] { for (uint64_t i = 0; i < a.n; ++i) O<T>(a)[i % N * ((a.n + N - 1) / N) + i / N] = I<T>(a)[i]; }())), \
  FLAGS).extra(N * sizeof(T)).lengths(320 / sizeof(T), N * (((8u << 20) / (N * sizeof(T)) / 64 + 1) * (64 / sizeof(T))))
// The integer conversions' calibrations, one per length in turn: an offset,
// and an offset of zero where the add may be left out (a normal positive
// scale, the smallest one, infinity) and where it may not (-0, a negative
// or subnormal scale: -0 products and flushed ones); then scales whose
// significand is all ones, as long as keeps every product exact and one bit
// longer (a fused multiply-add gives the same bits only for the first), and
// an exact negative one.
template <class TI, class TO>
void fill_calibrated(void* in, uint64_t count, uint32_t seed, double* s) {
  using L = std::numeric_limits<TO>;
  const int k = std::max(1, L::digits - std::min(std::numeric_limits<TI>::digits, L::digits));  // bits a scale may have
  auto scale_of_bits = [](int bits) { return (std::ldexp(1.0, bits) - 1) * std::ldexp(1.0, -bits - 6); };
  const double kinds[][2] = {{0.1, 3.0},
                             {0.1, 0.0},
                             {double(L::min()), 0.0},
                             {double(L::infinity()), 0.0},
                             {0.1, -0.0},
                             {-0.1, 0.0},
                             {double(L::denorm_min()) * 3, 0.0},
                             {scale_of_bits(k), -0.7},
                             {scale_of_bits(k + 1), -0.7},
                             {-scale_of_bits(k), 0.0}};
  fill_random(static_cast<TI*>(in), count, seed);
  // (the harness's seeds step by five with the length)
  s[0] = kinds[seed / 5 % 10][0], s[1] = kinds[seed / 5 % 10][1];
}
#define MORVEX_CONVERT_ROWS(TI, SI, FLAGS)                                                                           \
  row<TI, float>("ops", "convert_" #SI "f32",                                                                        \
                 MORVEX_CALL(morvex_m_convert_##SI##f32(I<TI>(a), O<float>(a), a.n, float(a.s[0]), float(a.s[1]))),  \
                 MORVEX_EACH(TI, float, float(x) * float(a.s[0]) + float(a.s[1])), FLAGS, {},                        \
                 fill_calibrated<TI, float>),                                                                        \
  row<TI, double>("ops", "convert_" #SI "f64",                                                                       \
                  MORVEX_CALL(morvex_m_convert_##SI##f64(I<TI>(a), O<double>(a), a.n, a.s[0], a.s[1])),             \
                  MORVEX_EACH(TI, double, double(x) * a.s[0] + a.s[1]), FLAGS, {}, fill_calibrated<TI, double>)
// The conversions with a wide path chosen at call time. Only i8 may share its
// storage with the output: other pairs of types may not alias, so the plain
// loop itself has no defined result in place.
constexpr uint16_t kWideConvert = kStreams;
// The raw-sample conversions, with scale and offset where a fused
// multiply-add and a multiply then an add differ on many codes.
#define MORVEX_RAW_CONVERT_ROW(TI, SI, TO, SO, FLAGS)                                                                \
  row<TI, TO>("ops", "convert_" #SI #SO, MORVEX_CALL(morvex_m_convert_##SI##SO(I<TI>(a), O<TO>(a), a.n, TO(1.0 / 3), TO(-0.7))), \
              MORVEX_CALL(ops::convert_##SI##SO##_plain(I<TI>(a), O<TO>(a), a.n, TO(1.0 / 3), TO(-0.7))), FLAGS | kStreams, {}, \
              fill_row<TI>, MORVEX_EACH(TI, TO, std::fma(TO(x), TO(1.0 / 3), TO(-0.7))))
#define MORVEX_ARITH_ROWS(T, S)                                                                                      \
  MORVEX_BINARY_ROW(T, S, add, x + y), MORVEX_BINARY_ROW(T, S, sub, x - y), MORVEX_BINARY_ROW(T, S, mul, x * y),    \
  MORVEX_BINARY_ROW(T, S, div, x / y), MORVEX_ARITHC_ROW(T, S, addc, x + T(0.1), 0.1, kArith),                      \
  MORVEX_ARITHC_ROW(T, S, subc, x - T(0.1), 0.1, kArith), MORVEX_ARITHC_ROW(T, S, mulc, x * T(1.0 / 3), 1.0 / 3, kArith), \
  MORVEX_ARITHC_ROW(T, S, divc, x / T(1.0 / 3), 1.0 / 3, kArith), MORVEX_ARITHC_ROW(T, S, csub, T(0.1) - x, 0.1, kArith), \
  MORVEX_ARITHC_ROW(T, S, cdiv, T(1.0 / 3) / x, 1.0 / 3, kArith), MORVEX_ARITHC_ROW(T, S, modc, std::fmod(x, T(0.7)), 0.7, kBits), \
  row<T>("ops", "pow_" #S, MORVEX_CALL(morvex_m_pow_##S(I<T>(a), O<T>(a), a.n, 1.7)),                                 \
         MORVEX_EACH(T, T, std::pow(double(x), 1.7)), kBits),                                                          \
  row<T>("ops", "pow2_" #S, MORVEX_CALL(morvex_m_pow2_##S(I<T>(a), O<T>(a), a.n)), MORVEX_EACH(T, T, x * x), kArith), \
  row<T>("ops", "mulc_addc_" #S, MORVEX_CALL(morvex_m_mulc_addc_##S(I<T>(a), O<T>(a), a.n, T(1.0 / 3), T(-0.7))),   \
         MORVEX_CALL(ops::mulc_addc_##S##_plain(I<T>(a), O<T>(a), a.n, T(1.0 / 3), T(-0.7))), kInPlace | kOverlap | kStreams, {}, \
         fill_row<T>, MORVEX_EACH(T, T, std::fma(x, T(1.0 / 3), T(-0.7))))
#define MORVEX_BINARY_ROW(T, S, OP, expr)                                                                            \
  row<T, T, 2>("ops", #OP "_" #S, MORVEX_CALL(morvex_m_##OP##_##S(I<T>(a), I<T>(a, 1), O<T>(a), a.n)),             \
               MORVEX_EACH2(T, T, expr), kArith, {}, fill_pair<T>)
#define MORVEX_ARITHC_ROW(T, S, OP, expr, c, FLAGS) \
  row<T>("ops", #OP "_" #S, MORVEX_CALL(morvex_m_##OP##_##S(I<T>(a), O<T>(a), a.n, T(c))), MORVEX_EACH(T, T, expr), FLAGS)
// Shifts (u8 and u16 as 32-bit values: by their width or more gives 0),
// masks, clipping (raise to low, then cap at high: NaN passes) and fill.
template <class T> using Wide = std::conditional_t<(sizeof(T) < 4), uint32_t, T>;
#define MORVEX_BITS_ROWS(T, S)                                                                                         \
  row<T>("ops", "shl_" #S, MORVEX_CALL(morvex_m_shl_##S(I<T>(a), O<T>(a), a.n, uint8_t(a.s[0]))),                       \
         MORVEX_EACH(T, T, Wide<T>(x) << int(a.s[0])), kBits, {}, fill_bits<T>),                                      \
  row<T>("ops", "shr_" #S, MORVEX_CALL(morvex_m_shr_##S(I<T>(a), O<T>(a), a.n, uint8_t(a.s[0]))),                       \
         MORVEX_EACH(T, T, Wide<T>(x) >> int(a.s[0])), kBits, {}, fill_bits<T>),                                      \
  row<T>("ops", "andc_" #S, MORVEX_CALL(morvex_m_andc_##S(I<T>(a), O<T>(a), a.n, T(a.s[3]))), MORVEX_EACH(T, T, x & T(a.s[3])), \
         kBits, {}, fill_bits<T>)
#define MORVEX_CLIP_ROW(T, S)                                                                                          \
  row<T>("ops", "clip_" #S, MORVEX_CALL(morvex_m_clip_##S(I<T>(a), O<T>(a), a.n, T(a.s[1]), T(a.s[2]))),                \
         MORVEX_EACH(T, T, (x < T(a.s[1]) ? T(a.s[1]) : x) > T(a.s[2]) ? T(a.s[2]) : (x < T(a.s[1]) ? T(a.s[1]) : x)), kBits, {}, \
         fill_bits<T>)
#define MORVEX_SET_ROW(T, S)                                                                                           \
  row<T>("ops", "set_" #S, MORVEX_CALL(morvex_m_set_##S(O<T>(a), a.n, T(-0.0))),                                       \
         MORVEX_CALL(([&] { for (uint64_t i = 0; i < a.n; ++i) O<T>(a)[i] = T(-0.0); }())), kPlainOnly, {}, fill_row<T>)
#define MORVEX_SHR_CLIP_ROW(T, S)                                                                                      \
  row<T>("ops", "shr_clip_" #S,                                                                                        \
         MORVEX_CALL(morvex_m_shr_clip_##S(I<T>(a), O<T>(a), a.n, uint8_t(a.s[0]), T(a.s[1]), T(a.s[2]))),              \
         MORVEX_CALL(ops::shr_clip_##S##_plain(I<T>(a), O<T>(a), a.n, uint8_t(a.s[0]), T(a.s[1]), T(a.s[2]))),          \
         kInPlace | kOverlap | kStreams, {}, fill_bits<T>)
// The C library functions, element by element.
#define MORVEX_MATH_ROW(F, T, S, CF) \
  row<T>("ops", #F "_" #S, MORVEX_CALL(morvex_m_##F##_##S(I<T>(a), O<T>(a), a.n)), MORVEX_EACH(T, T, ::CF(x)), kPlainOnly | kInPlace)
#define MORVEX_MATH_ROWS(F) MORVEX_MATH_ROW(F, float, f32, F##f), MORVEX_MATH_ROW(F, double, f64, F)
#define MORVEX_LOG_ROW(F, T, S, CF) row<T>("ops", #F "_" #S, MORVEX_CALL(morvex_m_##F##_##S(I<T>(a), O<T>(a), a.n, T(-1.5))), \
                                            MORVEX_EACH(T, T, ::CF(x) * T(-1.5)), kPlainOnly | kInPlace)
#define MORVEX_COMPLEX_ROW(F, T, S, CF)                                                                                \
  row<T, T, 2>("ops", #F "_" #S, MORVEX_CALL(morvex_m_##F##_##S(reinterpret_cast<const morvex_m_##S*>(a.in), O<T>(a), a.n)), \
               MORVEX_CALL(([&] { for (uint64_t i = 0; i < a.n; ++i) {                                                \
                 __complex__ T z;                                                                                     \
                 __real__ z = I<T>(a)[2 * i], __imag__ z = I<T>(a)[2 * i + 1];                                         \
                 O<T>(a)[i] = CF(z); } }())), kPlainOnly | kInPlace)
#define MORVEX_MINMAX_ROW(T, S, FLAGS) \
  row<T>("reduce", "minmax_" #S, MORVEX_CALL(minmax4<T>(a, minmax_export<T, morvex_m_minmax_##S>)), \
         MORVEX_CALL(minmax4<T>(a, reduce::minmax_##S##_plain)), kPointers | FLAGS).extra(4 * sizeof(T))
#define MORVEX_SEARCH_ROW(T, S, OP, ...) \
  row<T>("reduce", "index_" #OP "_" #S, \
         MORVEX_CALL(search4<T>(a, [](const T* x, uint64_t n, T h, T l, uint64_t& p) { \
           (void)h; (void)l; morvex_m_index_##OP##_##S(x, n, __VA_ARGS__, &p); })), \
         MORVEX_CALL(search4<T>(a, [](const T* x, uint64_t n, T h, T l, uint64_t& p) { \
           (void)h; (void)l; p = p < n ? reduce::OP##_##S##_plain(x, p, n, __VA_ARGS__) : n; })), kPointers | kBwVariant, {}, \
         fill_search<T>).extra(32)
// Rising levels are searched at the high level, falling ones at the low; the
// in-band search looks for the spikes above the high level (wrapping x - low
// with low near the top), the out-of-band one for spikes and dips alike.
#define MORVEX_SEARCH_ROWS(T, S) \
  MORVEX_SEARCH_ROW(T, S, gte, h), MORVEX_SEARCH_ROW(T, S, gt, h), MORVEX_SEARCH_ROW(T, S, lte, l), \
  MORVEX_SEARCH_ROW(T, S, lt, l), MORVEX_SEARCH_ROW(T, S, in, T(~T(0)), h), MORVEX_SEARCH_ROW(T, S, out, h, l)
// Lengths: past two groups of the widest kernel, and three chunks.
#define MORVEX_EXTREME_ROW(T, S, FLAGS) \
  row<T>("reduce", "index_max_min_" #S, MORVEX_CALL(extremes<T>(a, false)), MORVEX_CALL(extremes<T>(a, true)), kPointers | FLAGS, {}, \
         fill_extreme<T>).extra(2 * 4 * 5 * 16).lengths(uint32_t(std::max<size_t>(300, 600 / sizeof(T))), 3 * 16384 / sizeof(T) + 5)
#define MORVEX_CASCADE_ROW(T, S) \
  row<T>("filter", "cascade_" #S, MORVEX_CALL(cascade<T>(a, filter::choose_cascade_##S(I<T>(a), O<T>(a), a.n, uint64_t(a.s[0])))), \
         MORVEX_CALL(cascade<T>(a, filter::cascade_plain_##S)), kInPlace | kOverlap | kPointers, {}, fill_cascade<T>) \
      .extra(140 * sizeof(T)).lengths(40, 1100)

inline const std::vector<KernelRow>& kernel_rows() {
  namespace reduce = morvex::reduce;
  namespace ops = morvex::ops;
  constexpr uint16_t kArith = kInPlace | kOverlap | kStreams, kBits = kPlainOnly | kInPlace | kOverlap;
  static const std::vector<KernelRow> rows = {
      // ---- ops: the kernels behind the slots and the call-time choices
      row<float>("ops", "abs_f32", MORVEX_CALL(morvex_m_abs_f32(I<float>(a), O<float>(a), a.n)),
                 MORVEX_EACH(float, float, std::fabs(x)), kInPlace | kOverlap | kStreams),
      row<double>("ops", "abs_f64", MORVEX_CALL(morvex_m_abs_f64(I<double>(a), O<double>(a), a.n)),
                  MORVEX_EACH(double, double, std::fabs(x)), kInPlace | kOverlap | kStreams),
      // (overlapping arrays are outside the conversions' contract; the u8 kernels still follow the plain loop)
      MORVEX_RAW_CONVERT_ROW(uint8_t, u8, float, f32, kInPlace | kOverlap), MORVEX_RAW_CONVERT_ROW(uint16_t, u16, float, f32, 0),
      MORVEX_RAW_CONVERT_ROW(uint8_t, u8, double, f64, kInPlace | kOverlap), MORVEX_RAW_CONVERT_ROW(uint16_t, u16, double, f64, 0),
      MORVEX_SHR_CLIP_ROW(uint8_t, u8), MORVEX_SHR_CLIP_ROW(uint16_t, u16),
      row<float, float, 2>("ops", "magnitude_c32f32",
                           MORVEX_CALL(morvex_m_magnitude_c32f32(reinterpret_cast<const morvex_m_c32f32*>(a.in), O<float>(a), a.n)),
                           MORVEX_CALL(([&] { for (uint64_t i = 0; i < a.n; ++i) {
                             __complex__ float z;
                             __real__ z = I<float>(a)[2 * i], __imag__ z = I<float>(a)[2 * i + 1];
                             O<float>(a)[i] = cabsf(z); } }())), kInPlace | kStreams | kDqVariant, {}, fill_magnitude),
      MORVEX_DEINTERLEAVE_ROW(2, uint8_t, u8, kStreams | kBwVariant, d[0], d[1]),
      MORVEX_DEINTERLEAVE_ROW(3, uint8_t, u8, kStreams, d[0], d[1], d[2]),
      MORVEX_DEINTERLEAVE_ROW(4, uint8_t, u8, kStreams, d[0], d[1], d[2], d[3]),
      MORVEX_DEINTERLEAVE_ROW(2, uint16_t, u16, kStreams | kBwVariant, d[0], d[1]),
      MORVEX_DEINTERLEAVE_ROW(3, uint16_t, u16, kStreams, d[0], d[1], d[2]),
      MORVEX_DEINTERLEAVE_ROW(4, uint16_t, u16, kStreams, d[0], d[1], d[2], d[3]),
      // ---- ops without processor kernels: their streaming, in-place and overlapping paths
      MORVEX_DEINTERLEAVE_ROW(5, uint8_t, u8, kPlainOnly, d[0], d[1], d[2], d[3], d[4]),
      MORVEX_DEINTERLEAVE_ROW(6, uint16_t, u16, kPlainOnly, d[0], d[1], d[2], d[3], d[4], d[5]),
      MORVEX_ARITH_ROWS(float, f32), MORVEX_ARITH_ROWS(double, f64),
      MORVEX_CONVERT_ROWS(int8_t, i8, kWideConvert | kInPlace | kOverlap), MORVEX_CONVERT_ROWS(int16_t, i16, kWideConvert),
      MORVEX_CONVERT_ROWS(int32_t, i32, kWideConvert), MORVEX_CONVERT_ROWS(uint32_t, u32, kWideConvert),
      MORVEX_CONVERT_ROWS(int64_t, i64, kPlainOnly), MORVEX_CONVERT_ROWS(uint64_t, u64, kPlainOnly),
      row<float, double>("ops", "convert_f32f64", MORVEX_CALL(morvex_m_convert_f32f64(I<float>(a), O<double>(a), a.n, 0.1, 3.0)),
                         MORVEX_EACH(float, double, double(x) * 0.1 + 3.0), kWideConvert),
      row<double, float>("ops", "convert_f64f32", MORVEX_CALL(morvex_m_convert_f64f32(I<double>(a), O<float>(a), a.n, 0.1f, 3.0f)),
                         MORVEX_EACH(double, float, x * double(0.1f) + double(3.0f)), kWideConvert,  // formed in double, then narrowed
                         {}, fill_narrowing).lengths(40, 4123),  // 4123: passes, then 3 vectors and 3
      row<double, float>("ops", "convert_f64f32", MORVEX_CALL(morvex_m_convert_f64f32(I<double>(a), O<float>(a), a.n, float(a.s[0]), float(a.s[1]))),
                         MORVEX_EACH(double, float, x * a.s[0] + double(float(a.s[1]))), kWideConvert, {}, fill_unit_narrowing),
      MORVEX_BITS_ROWS(uint8_t, u8), MORVEX_BITS_ROWS(uint16_t, u16), MORVEX_BITS_ROWS(uint32_t, u32), MORVEX_BITS_ROWS(uint64_t, u64),
      MORVEX_CLIP_ROW(uint8_t, u8), MORVEX_CLIP_ROW(uint16_t, u16), MORVEX_CLIP_ROW(float, f32), MORVEX_CLIP_ROW(double, f64),
      row<uint16_t>("ops", "bit_mask_set_u16",
                    MORVEX_CALL(morvex_m_bit_mask_set_u16(I<uint16_t>(a), O<uint16_t>(a), a.n, 0x00F0, 0x0A00)),
                    MORVEX_EACH(uint16_t, uint16_t, (x & 0xFF0F) | 0x0A00), kBits),
      MORVEX_SET_ROW(uint8_t, u8), MORVEX_SET_ROW(int16_t, i16), MORVEX_SET_ROW(uint16_t, u16), MORVEX_SET_ROW(uint32_t, u32),
      MORVEX_SET_ROW(float, f32), MORVEX_SET_ROW(double, f64),
      MORVEX_MATH_ROWS(acos), MORVEX_MATH_ROWS(acosh), MORVEX_MATH_ROWS(asin), MORVEX_MATH_ROWS(asinh), MORVEX_MATH_ROWS(atan),
      MORVEX_MATH_ROWS(atanh), MORVEX_MATH_ROWS(cbrt), MORVEX_MATH_ROWS(cos), MORVEX_MATH_ROWS(cosh), MORVEX_MATH_ROWS(exp),
      MORVEX_MATH_ROWS(exp2), MORVEX_MATH_ROWS(sin), MORVEX_MATH_ROWS(sinh), MORVEX_MATH_ROWS(sqrt), MORVEX_MATH_ROWS(tan),
      MORVEX_MATH_ROWS(tanh), MORVEX_LOG_ROW(log, float, f32, logf), MORVEX_LOG_ROW(log2, float, f32, log2f),
      MORVEX_LOG_ROW(log10, float, f32, log10f), MORVEX_LOG_ROW(log, double, f64, log), MORVEX_LOG_ROW(log2, double, f64, log2),
      MORVEX_LOG_ROW(log10, double, f64, log10),
      row<float>("ops", "logn_f32", MORVEX_CALL(morvex_m_logn_f32(I<float>(a), O<float>(a), a.n, 3.0f, 7.0f)),
                 MORVEX_EACH(float, float, ::logf(x) * (7.0f / ::logf(3.0f))), kPlainOnly | kInPlace),  // the factor formed once
      row<double>("ops", "logn_f64", MORVEX_CALL(morvex_m_logn_f64(I<double>(a), O<double>(a), a.n, 10.0, 2.0)),
                  MORVEX_EACH(double, double, ::log(x) * (2.0 / ::log(10.0))), kPlainOnly | kInPlace),
      row<float, float, 2>("ops", "atan2_f32", MORVEX_CALL(morvex_m_atan2_f32(I<float>(a), I<float>(a, 1), O<float>(a), a.n)),
                           MORVEX_EACH2(float, float, ::atan2f(x, y)), kPlainOnly | kInPlace),
      row<double, double, 2>("ops", "hypot_f64", MORVEX_CALL(morvex_m_hypot_f64(I<double>(a), I<double>(a, 1), O<double>(a), a.n)),
                             MORVEX_EACH2(double, double, ::hypot(x, y)), kPlainOnly | kInPlace),
      row<double, double, 2>("ops", "atan2_f64", MORVEX_CALL(morvex_m_atan2_f64(I<double>(a), I<double>(a, 1), O<double>(a), a.n)),
                             MORVEX_EACH2(double, double, ::atan2(x, y)), kPlainOnly | kInPlace),
      row<float, float, 2>("ops", "hypot_f32", MORVEX_CALL(morvex_m_hypot_f32(I<float>(a), I<float>(a, 1), O<float>(a), a.n)),
                           MORVEX_EACH2(float, float, ::hypotf(x, y)), kPlainOnly | kInPlace),
      row<float, float, 1, 2>("ops", "sincos_f32", MORVEX_CALL(morvex_m_sincos_f32(I<float>(a), O<float>(a), O<float>(a, 1), a.n)),
                              MORVEX_CALL(([&] { for (uint64_t i = 0; i < a.n; ++i) O<float>(a)[i] = ::sinf(I<float>(a)[i]),
                                                 O<float>(a, 1)[i] = ::cosf(I<float>(a)[i]); }())), kPlainOnly),
      row<double, double, 1, 2>("ops", "sincos_f64",
                                MORVEX_CALL(morvex_m_sincos_f64(I<double>(a), O<double>(a), O<double>(a, 1), a.n)),
                                MORVEX_CALL(([&] { for (uint64_t i = 0; i < a.n; ++i) O<double>(a)[i] = ::sin(I<double>(a)[i]),
                                                   O<double>(a, 1)[i] = ::cos(I<double>(a)[i]); }())), kPlainOnly),
      MORVEX_COMPLEX_ROW(magnitude, double, c64f64, cabs), MORVEX_COMPLEX_ROW(atan2, float, c32f32, cargf),
      MORVEX_COMPLEX_ROW(atan2, double, c64f64, carg),
      // ---- reduce
      MORVEX_MINMAX_ROW(int16_t, i16, kBwVariant), MORVEX_MINMAX_ROW(uint8_t, u8, kBwVariant),
      MORVEX_MINMAX_ROW(uint16_t, u16, kBwVariant), MORVEX_MINMAX_ROW(float, f32, 0), MORVEX_MINMAX_ROW(double, f64, 0), MORVEX_SEARCH_ROWS(uint8_t, u8), MORVEX_SEARCH_ROWS(uint16_t, u16),
      MORVEX_EXTREME_ROW(int16_t, i16, kBwVariant), MORVEX_EXTREME_ROW(uint8_t, u8, kBwVariant),
      MORVEX_EXTREME_ROW(uint16_t, u16, kBwVariant), MORVEX_EXTREME_ROW(float, f32, 0), MORVEX_EXTREME_ROW(double, f64, 0),
      // ---- generate: the cosine of the windows and waveforms is std::cos's, bit for bit
      row<double>("generate", "cos", MORVEX_CALL(generate::cos_exact(I<double>(a), O<double>(a), a.n)),
                  MORVEX_EACH(double, double, std::cos(x)), kInPlace, {}, fill_cos).lengths(80, 1 << 20),
      [] {
        KernelRow r = row<double>("generate", "cos_ramp",
            MORVEX_CALL(generate::cos_ramp(a.s[0] ? generate::Ramp::kDivide : generate::Ramp::kAdd, uint64_t(a.s[1]),
                                           uint64_t(a.s[2]), a.n, a.s[3], a.s[4], O<double>(a))),
            MORVEX_CALL(([&] { for (uint64_t i = 0; i < a.n; ++i) {
              const double k = double(uint64_t(a.s[1]) + i * uint64_t(a.s[2]));
              O<double>(a)[i] = std::cos(a.s[0] ? k * a.s[3] / a.s[4] : k * a.s[3] + a.s[4]); } }())), 0, {}, fill_cos_ramp);
        r.in_size = r.in_per = 0;  // no input array
        return r.lengths(80, 4099);
      }(),
      // ---- filter: the section cascade, every section count to 70
      MORVEX_CASCADE_ROW(float, f32), MORVEX_CASCADE_ROW(double, f64),
  };
  return rows;
}

}  // namespace morvex::test
