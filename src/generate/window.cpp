// SPDX-License-Identifier: MIT
// Spectral windows: out[i] = w(i) * s * in[i].
//
// The weights are computed in double for both element types, each from its
// own index. The cosine-sum windows cost one to four cosines per element
// (through cos_ramp, std::cos's values at a fraction of its time), which is
// what makes spreading them over the task pool pay; the flat-top
// (four cosines) computes each weight once for an element and its mirror.
// Bartlett, Welch, Parzen and Gaussian are cheap enough to run on the calling
// thread.
//
// Every window but Bartlett and Welch (a division per element, about what
// a lookup costs) keeps the multipliers w(i) * s it computed in the calling
// thread's store (weight_cache.h); a later call with the same window, length,
// normalisation, parameter and element type multiplies by them: the same
// doubles, so the same bits. The multiply runs on the calling thread below
// kSplitKept elements and over the pool from there on (see there), from
// both ends at once.
#include "generate/window.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <stdexcept>
#include <type_traits>

#include "frame/split.h"
#include "generate/cos_exact.h"
#include "generate/weight_cache.h"
#include "generate/window_weigh.h"
#include "morvex-m/generate.h"
#include "ops/overlap.h"

namespace morvex::generate {

namespace {

constexpr double kPi = std::numbers::pi;
// The multiples of the angle are formed as i * (k pi) / (N - 1), not as
// multiples of one rounded angle.
constexpr double k2Pi = 2.0 * kPi, k4Pi = 4.0 * kPi, k6Pi = 6.0 * kPi, k8Pi = 8.0 * kPi;

// A normalisation factor as the library stores it: the pair {factor, 1.0},
// indexed by whether normalisation is off, in double and in its float
// rounding (what the f32 forms multiply by, widened again to double).
struct Normalisation {
  double f64[2];
  float f32[2];
  constexpr explicit Normalisation(double s) : f64{s, 1.0}, f32{static_cast<float>(s), 1.0f} {}
};

template <class T>
inline double factor(const Normalisation& n, bool normalize) {
  if constexpr (std::is_same_v<T, float>)
    return double(n.f32[normalize ? 0 : 1]);
  else
    return n.f64[normalize ? 0 : 1];
}

// A factor computed at call time: the f32 forms use its float rounding.
template <class T>
inline double factor(double s) {
  return double(static_cast<T>(s));
}

// out = (w * s) * in, in double, rounded once to the element type; the
// multiplier w * s is what the store keeps (window_weigh.h applies it).
template <class T>
inline T weigh(double ws, T x) {
  return static_cast<T>(ws * double(x));
}

// The windows' numbers in the store's keys.
enum WindowId : uint32_t {
  kIdHanning, kIdHamming, kIdBlackman, kIdBlackmanHarris, kIdNuttall, kIdBlackmanNuttall, kIdFlattop,
  kIdParzen, kIdGaussian
};

// From this length on, a multiply by kept weights is shared out over the
// pool. Below it the multiply stays on the calling thread: a block in cache
// is multiplied in less time than a hand-off takes. The range goes out in
// pieces that each thread takes as it comes free (frame::share_blocks), not
// in shares fixed in advance: a window is often called right after a long
// transform, by when the pool's workers sleep, and a worker woken on this
// machine kind starts anywhere from a few to a few hundred microseconds
// later. With fixed halves the call waited for the late worker's half; with
// pieces the calling thread takes on what the worker has not. Measured on
// the reference machine (two hardware threads), a 1M-element f32 window
// between transforms: 1.1-1.35x the calling thread alone with pieces, 1.0-1.2x
// with halves; called back to back, about 2x. Pieces of 32K elements came out
// ahead of 16K and 64K.
constexpr uint64_t kSplitKept = uint64_t(1) << 16;
constexpr uint64_t kKeptPiece = uint64_t(1) << 15;

template <class T>
struct KeptJob {
  const double* ws;
  const T* in;
  T* out;
};

template <class T>
void kept_block(uint64_t first, uint64_t count, const KeptJob<T>& j) {
  weigh_kept(j.ws + first, j.in + first, j.out + first, count);
}

// Long windows go out in pairs of blocks, one from each end (the pieces
// count pairs): the second half's multipliers are rebuilt from the first
// and the mirror differences (weight_cache.h). Between transforms the
// weights come mostly from memory, and reading 5 bytes of them per element
// instead of 8 made a 1M-element f32 window 15-25% faster on the reference
// machine, and the block path around it about 3%.
template <class T>
struct MirroredJob {
  const double* ws;
  const int16_t* mirror;
  const T* in;
  T* out;
  uint64_t n;
};

template <class T>
void mirrored_block(uint64_t first, uint64_t count, const MirroredJob<T>& j) {
  weigh_mirrored(j.ws, j.mirror, j.in, j.out, j.n, first, count);
}

// Applies a window through the store: its kept multipliers if this thread
// has them, else Compute(keep), which weights the block and, when keep is
// not null, also writes every multiplier there. A one-element window is
// not kept (its weight may be a NaN, whose bits the flat-top's float
// product would not keep).
template <class T, class Compute>
int32_t through_store(WindowId window, bool normalize, uint64_t shape, const T* in, T* out, uint64_t n,
                      Compute&& compute) {
  if (n < 2) {
    compute(nullptr);
    return 0;
  }
  const WeightKey key{window, uint16_t(sizeof(T)), uint16_t(normalize), n, shape};
  const WeightLookup w = find_weights(key);
  if (w.ready) {
    // Pieces run at once only where no element's input is another's output.
    if (n >= kSplitKept && (in == out || ops::disjoint(out, in, n))) {
      if (w.mirror) {
        frame::share_blocks<MirroredJob<T>, mirrored_block<T>>(n / 2, kKeptPiece / 2,
                                                               MirroredJob<T>{w.ready, w.mirror, in, out, n});
        if (n % 2) weigh_kept(w.ready + n / 2, in + n / 2, out + n / 2, 1);  // the middle element
      } else {
        frame::share_blocks<KeptJob<T>, kept_block<T>>(n, kKeptPiece, KeptJob<T>{w.ready, in, out});
      }
    } else
      weigh_kept(w.ready, in, out, n);
    return 0;
  }
  compute(w.fill);
  if (w.fill) weights_filled(key);
  return 0;
}

// ---------------------------------------------------------------- cosine sums

// w = a0 - a1 cos x + a2 cos 2x - a3 cos 3x + a4 cos 4x with `terms` terms;
// Hanning (terms 0) is written (1 - cos x) * 0.5.
struct CosineSum {
  WindowId id;
  int terms;
  double a[5];
  Normalisation norm;
};

constexpr CosineSum kHanning{kIdHanning, 0, {0.5, 0.5}, Normalisation(2.0)};
constexpr CosineSum kHamming{kIdHamming, 2, {0.54, 0.46}, Normalisation(1.8518518518518516)};
constexpr CosineSum kBlackman{kIdBlackman, 3, {0.42, 0.5, 0.08}, Normalisation(2.380952380952381)};
constexpr CosineSum kBlackmanHarris{kIdBlackmanHarris, 4, {0.35875, 0.48829, 0.14128, 0.01168},
                                    Normalisation(2.787456445993031)};
constexpr CosineSum kNuttall{kIdNuttall, 4, {0.355768, 0.487396, 0.144232, 0.012604},
                             Normalisation(2.8108205347304986)};
constexpr CosineSum kBlackmanNuttall{kIdBlackmanNuttall, 4, {0.3635819, 0.4891775, 0.1365995, 0.0106411},
                                     Normalisation(2.7504119429487552)};
constexpr CosineSum kFlattop{kIdFlattop, 5, {0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368},
                             Normalisation(4.638671818375588)};

// The weight from the cosines of its angle multiples: c0 = cos x,
// c1 = cos 2x and so on (as many as the window has terms).
template <const CosineSum& W>
inline double cosine_sum_weight(double c0, double c1, double c2, double c3) {
  if constexpr (W.terms == 0) return (1.0 - c0) * 0.5;
  double w = W.a[0] - W.a[1] * c0;
  if constexpr (W.terms >= 3) w = w + W.a[2] * c1;
  if constexpr (W.terms >= 4) w = w - W.a[3] * c2;
  if constexpr (W.terms >= 5) w = w + W.a[4] * c3;
  return w;
}

template <const CosineSum& W>
constexpr int kCosines = W.terms <= 2 ? 1 : W.terms - 1;

// The angle multiples of index i: i * (2 pi k) / (N - 1) for k = 1, 2, ...
constexpr double kMultiple[4] = {k2Pi, k4Pi, k6Pi, k8Pi};

// A run of weights: for indices first + k * step (k < count), weight[k].
// The cosines of a whole run go through cos_ramp at once (arguments formed
// in the lanes), which is where the processor kernels pay; the rest is the
// scalar formula, unchanged.
constexpr uint64_t kRun = 256;

template <const CosineSum& W>
void cosine_sum_weights(uint64_t first, uint64_t step, uint64_t count, double nm1, double* weight) {
  constexpr int kC = kCosines<W>;
  double c[kC][kRun];
  for (int m = 0; m < kC; ++m) cos_ramp(Ramp::kDivide, first, step, count, kMultiple[m], nm1, c[m]);
  // (rows a window does not use are never read)
  const double* c1 = c[kC > 1 ? 1 : 0];
  const double* c2 = c[kC > 2 ? 2 : 0];
  const double* c3 = c[kC > 3 ? 3 : 0];
  for (uint64_t k = 0; k < count; ++k) weight[k] = cosine_sum_weight<W>(c[0][k], c1[k], c2[k], c3[k]);
}

template <class T>
struct WindowJob {
  const T* in;
  T* out;
  uint64_t n;
  double nm1;  // N - 1, the denominator of every symmetric window
  double scale;
  double* keep;  // where the multipliers go as well, or null
};

template <class T>
WindowJob<T> make_job(const T* in, T* out, uint64_t n, double scale, double* keep = nullptr) {
  return WindowJob<T>{in, out, n, double(n - 1), scale, keep};
}

// The export splits with step 1: a chunk is a contiguous stretch.
template <class T, const CosineSum& W>
void cosine_sum_block(uint64_t first, uint64_t step, uint64_t count, const WindowJob<T>& j) {
  frame::for_each_run<kRun>(first, step, count, [&](uint64_t base, uint64_t run) {
    double ws[kRun];
    cosine_sum_weights<W>(base, 1, run, j.nm1, ws);
    for (uint64_t k = 0; k < run; ++k) ws[k] = ws[k] * j.scale;
    if (j.keep) std::copy(ws, ws + run, j.keep + base);
    const T* in = j.in + base;
    T* out = j.out + base;
    for (uint64_t k = 0; k < run; ++k) out[k] = weigh(ws[k], in[k]);
  });
}

template <const CosineSum& W, class T>
int32_t cosine_sum(const T* in, T* out, uint64_t n, int32_t normalize) {
  const bool norm = normalize != 0;
  return through_store(W.id, norm, 0, in, out, n, [&](double* keep) {
    const WindowJob<T> j = make_job(in, out, n, factor<T>(W.norm, norm), keep);
    frame::split_blocks<WindowJob<T>, cosine_sum_block<T, W>>(0, n, 1, j);
  });
}

// ---------------------------------------------------------------- flat-top

// The f32 flat-top rounds w * s to float and weights in float.
template <class T>
inline void flattop_apply(const WindowJob<T>& j, uint64_t i, double w) {
  if constexpr (std::is_same_v<T, float>) {
    const float ws = static_cast<float>(w * j.scale);
    j.out[i] = ws * j.in[i];
    if (j.keep) j.keep[i] = double(ws);
  } else {
    const double ws = w * j.scale;
    j.out[i] = ws * j.in[i];
    if (j.keep) j.keep[i] = ws;
  }
}

template <class T>
void flattop_pair_block(uint64_t first, uint64_t step, uint64_t count, const WindowJob<T>& j) {
  frame::for_each_run<kRun>(first, step, count, [&](uint64_t base, uint64_t run) {
    double weight[kRun];
    cosine_sum_weights<kFlattop>(base, step, run, j.nm1, weight);
    for (uint64_t k = 0; k < run; ++k) {
      const uint64_t i = base + k * step;
      flattop_apply(j, i, weight[k]);
      flattop_apply(j, j.n - 1 - i, weight[k]);
    }
  });
}

template <class T>
void flattop_walk_impl(const WindowJob<T>& j, uint64_t begin, uint64_t end, uint64_t step) {
  if (step == 0) throw std::invalid_argument("Invalid step");
  frame::split_blocks<WindowJob<T>, flattop_pair_block<T>>(begin, end, step, j);
}

template <class T>
int32_t flattop(const T* in, T* out, uint64_t n, bool normalize) {
  if (n == 0) return 0;
  int32_t status = 0;
  through_store(kIdFlattop, normalize, 0, in, out, n, [&](double* keep) {
    const WindowJob<T> j = make_job(in, out, n, factor<T>(kFlattop.norm, normalize), keep);
    try {
      flattop_walk_impl(j, 0, n / 2, 1);
    } catch (...) {  // unreachable with step 1; kept so nothing crosses the C boundary
      status = MORVEX_M_FAILED;
      return;
    }
    if (n & 1) {
      double w;
      cosine_sum_weights<kFlattop>(n / 2, 1, 1, j.nm1, &w);
      flattop_apply(j, n / 2, w);
    }
  });
  return status;
}

// ---------------------------------------------------------------- Bartlett, Welch

// Both are a polynomial in r = (i - c) / c, c = (N - 1) / 2. Separate input
// and output arrays go two elements at a time through SSE2 (the x86-64
// baseline); overlapping ones element by element, reading in[i] before
// writing out[i]. Each lane performs the scalar path's operations in the same
// order, so the two paths agree to the bit.
enum class Poly { kBartlett, kWelch };

template <Poly K>
inline double poly_weight(double r) {
  if constexpr (K == Poly::kBartlett)
    return 1.0 - std::fabs(r);
  else
    return 1.0 - r * r;
}

template <Poly K>
inline __m128d poly_weight(__m128d r) {
  const __m128d one = _mm_set1_pd(1.0);
  if constexpr (K == Poly::kBartlett)
    return _mm_sub_pd(one, _mm_andnot_pd(_mm_set1_pd(-0.0), r));
  else
    return _mm_sub_pd(one, _mm_mul_pd(r, r));
}

inline __m128d load2(const double* p) { return _mm_loadu_pd(p); }
inline __m128d load2(const float* p) {
  return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
inline void store2(double* p, __m128d v) { _mm_storeu_pd(p, v); }
inline void store2(float* p, __m128d v) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_castps_si128(_mm_cvtpd_ps(v)));
}

template <Poly K, class T>
void poly_window(const T* in, T* out, uint64_t n, double scale) {
  const double c = double(n - 1) * 0.5;
  uint64_t i = 0;
  if (ops::disjoint(out, in, n)) {
    const __m128d vc = _mm_set1_pd(c), vs = _mm_set1_pd(scale), two = _mm_set1_pd(2.0);
    __m128d idx = _mm_set_pd(1.0, 0.0);  // exact: indices stay far below 2^53
    for (; i + 2 <= n; i += 2, idx = _mm_add_pd(idx, two)) {
      const __m128d w = poly_weight<K>(_mm_div_pd(_mm_sub_pd(idx, vc), vc));
      store2(out + i, _mm_mul_pd(_mm_mul_pd(w, vs), load2(in + i)));
    }
  }
  for (; i < n; ++i) out[i] = weigh(poly_weight<K>((double(i) - c) / c) * scale, in[i]);
}

// ---------------------------------------------------------------- Parzen

// Weights go to an index and its mirror at once, so the window is exactly
// symmetric; the middle element of an odd N is written once (in place, a
// second write would weight it twice).
template <class T>
inline void apply_mirrored(const T* in, T* out, uint64_t n, uint64_t i, double w, double scale, double* keep) {
  const uint64_t m = n - 1 - i;
  const double ws = w * scale;
  out[i] = weigh(ws, in[i]);
  if (m != i) out[m] = weigh(ws, in[m]);
  if (keep) keep[i] = keep[m] = ws;
}

// The f32 form does the index arithmetic (c, h, i - c) in float.
template <class T>
int32_t parzen(const T* in, T* out, uint64_t n, bool normalize) {
  static constexpr Normalisation kNorm(2.6666666666666665);
  if (n == 0) return 0;
  return through_store(kIdParzen, normalize, 0, in, out, n, [&](double* keep) {
    const double scale = factor<T>(kNorm, normalize);
    const T c = static_cast<T>(n - 1) * T(0.5), h = static_cast<T>(n) * T(0.5);
    const double hd = double(h);
    uint64_t i = 0;
    for (; i < n / 4; ++i) {  // outer quarters: 2 (1 - |d|/h)^3
      const double d = double(static_cast<T>(i) - c);
      apply_mirrored(in, out, n, i, 2.0 * std::pow(1.0 - std::fabs(d) / hd, 3.0), scale, keep);
    }
    for (; i <= (n - 1) / 2; ++i) {  // middle half: 1 - 6 (d/h)^2 (1 - |d|/h)
      const double d = double(static_cast<T>(i) - c), r = d / hd;
      apply_mirrored(in, out, n, i, 1.0 - 6.0 * (r * r) * (1.0 - std::fabs(d) / hd), scale, keep);
    }
  });
}

// ---------------------------------------------------------------- Gaussian

template <class T>
int32_t gaussian(const T* in, T* out, uint64_t n, bool normalize, T alpha_t) {
  if (n == 0) return 0;
  const double alpha = double(alpha_t);
  // Keyed by alpha's bits: windows of different alphas (and of -0.0 and
  // 0.0, whose factors differ) are different windows.
  uint64_t alpha_bits;
  std::memcpy(&alpha_bits, &alpha, sizeof alpha);
  return through_store(kIdGaussian, normalize, alpha_bits, in, out, n, [&](double* keep) {
    const double scale =
        normalize ? factor<T>(std::sqrt(2.0) * alpha / (std::erf(alpha / std::sqrt(2.0)) * std::sqrt(kPi))) : 1.0;
    const double m = double(n - 1), m2 = m * m, k = -2.0 * alpha * alpha;
    for (uint64_t i = 0; i < n; ++i) {
      const double d = double(i) - 0.5 * m;
      const double ws = std::exp(d * d * k / m2) * scale;
      if (keep) keep[i] = ws;
      out[i] = weigh(ws, in[i]);
    }
  });
}

// ---------------------------------------------------------------- exports

template <class T>
int32_t bartlett(const T* in, T* out, uint64_t n, bool normalize) {
  if (n == 0) return 0;
  const double nd = double(n);
  poly_window<Poly::kBartlett>(in, out, n, normalize ? factor<T>(nd / (0.5 * nd - 1.0)) : 1.0);
  return 0;
}

template <class T>
int32_t welch(const T* in, T* out, uint64_t n, bool normalize) {
  static constexpr Normalisation kNorm(1.5);
  if (n == 0) return 0;
  poly_window<Poly::kWelch>(in, out, n, factor<T>(kNorm, normalize));
  return 0;
}

}  // namespace

void flattop_walk(const float* in, float* out, uint64_t n, bool normalize, uint64_t begin, uint64_t end,
                  uint64_t step) {
  flattop_walk_impl(make_job(in, out, n, factor<float>(kFlattop.norm, normalize)), begin, end, step);
}

void flattop_walk(const double* in, double* out, uint64_t n, bool normalize, uint64_t begin, uint64_t end,
                  uint64_t step) {
  flattop_walk_impl(make_job(in, out, n, factor<double>(kFlattop.norm, normalize)), begin, end, step);
}

}  // namespace morvex::generate

namespace gen = morvex::generate;

#define MORVEX_WINDOWS_DEFINE(T, S)                                                                  \
  int32_t morvex_m_window_hanning_##S(const T* in, T* out, uint64_t n, int32_t normalize) {          \
    return gen::cosine_sum<gen::kHanning>(in, out, n, normalize);                                    \
  }                                                                                                  \
  int32_t morvex_m_window_hamming_##S(const T* in, T* out, uint64_t n, int32_t normalize) {          \
    return gen::cosine_sum<gen::kHamming>(in, out, n, normalize);                                    \
  }                                                                                                  \
  int32_t morvex_m_window_blackman_##S(const T* in, T* out, uint64_t n, int32_t normalize) {         \
    return gen::cosine_sum<gen::kBlackman>(in, out, n, normalize);                                   \
  }                                                                                                  \
  int32_t morvex_m_window_blackmanharris_##S(const T* in, T* out, uint64_t n, int32_t normalize) {   \
    return gen::cosine_sum<gen::kBlackmanHarris>(in, out, n, normalize);                             \
  }                                                                                                  \
  int32_t morvex_m_window_nuttall_##S(const T* in, T* out, uint64_t n, int32_t normalize) {          \
    return gen::cosine_sum<gen::kNuttall>(in, out, n, normalize);                                    \
  }                                                                                                  \
  int32_t morvex_m_window_blackmannuttall_##S(const T* in, T* out, uint64_t n, int32_t normalize) {  \
    return gen::cosine_sum<gen::kBlackmanNuttall>(in, out, n, normalize);                            \
  }                                                                                                  \
  int32_t morvex_m_window_flattop_##S(const T* in, T* out, uint64_t n, int32_t normalize) {          \
    return gen::flattop(in, out, n, normalize != 0);                                                 \
  }                                                                                                  \
  int32_t morvex_m_window_bartlett_##S(const T* in, T* out, uint64_t n, int32_t normalize) {         \
    return gen::bartlett(in, out, n, normalize != 0);                                                \
  }                                                                                                  \
  int32_t morvex_m_window_welch_##S(const T* in, T* out, uint64_t n, int32_t normalize) {            \
    return gen::welch(in, out, n, normalize != 0);                                                   \
  }                                                                                                  \
  int32_t morvex_m_window_parzen_##S(const T* in, T* out, uint64_t n, int32_t normalize) {           \
    return gen::parzen(in, out, n, normalize != 0);                                                  \
  }                                                                                                  \
  int32_t morvex_m_window_gaussian_##S(const T* in, T* out, uint64_t n, int32_t normalize, T alpha) { \
    return gen::gaussian(in, out, n, normalize != 0, alpha);                                         \
  }

extern "C" {

MORVEX_WINDOWS_DEFINE(float, f32)
MORVEX_WINDOWS_DEFINE(double, f64)

}  // extern "C"
