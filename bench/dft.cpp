// SPDX-License-Identifier: MIT
// Transforms: plan execution on each backend beside the same library called
// directly in the same run (FFTW with the same FFTW_ESTIMATE plan, Eigen's FFT
// with the same flags), so that the ratio is the cost of the plan layer; and
// the one-shot exports beside plan creation + execution + destruction.
#include <algorithm>
#include <complex>
#include <cstdlib>
#include <random>
#include <string>
#include <unsupported/Eigen/FFT>

#include "bench_util.h"

#ifdef MORVEX_BENCH_HAVE_FFTW
#include <fftw3.h>
#endif

namespace morvex::bench {
namespace {

constexpr int64_t kSizes[] = {1024, 4096, 65536, 1 << 20};

// The typed exports and FFTW's functions of each precision.
template <class T>
struct Types;

#ifdef MORVEX_BENCH_HAVE_FFTW
#define MORVEX_BENCH_FFTW(T, F)                                                                    \
  using FftwPlan = F##_plan;                                                                       \
  static FftwPlan r2c(int n, T* in, C* out) {                                                      \
    return F##_plan_dft_r2c_1d(n, in, reinterpret_cast<F##_complex*>(out), FFTW_ESTIMATE);         \
  }                                                                                                \
  static FftwPlan c2r(int n, C* in, T* out) {                                                      \
    return F##_plan_dft_c2r_1d(n, reinterpret_cast<F##_complex*>(in), out, FFTW_ESTIMATE);         \
  }                                                                                                \
  static void run(FftwPlan p) { F##_execute(p); }                                                  \
  static void destroy(FftwPlan p) { F##_destroy_plan(p); }
#else
#define MORVEX_BENCH_FFTW(T, F)
#endif

#define MORVEX_BENCH_TYPES(T, S, CT, OPTION, F)                         \
  template <>                                                           \
  struct Types<T> {                                                     \
    using C = CT;                                                       \
    static constexpr const char* name = #S;                             \
    static constexpr int32_t option = OPTION;                           \
    static constexpr auto create = morvex_m_dft_plan_create_r2c_1d_##S; \
    static constexpr auto execute = morvex_m_dft_plan_execute_r2c_1d_##S; \
    static constexpr auto icreate = morvex_m_idft_plan_create_c2r_1d_##S; \
    static constexpr auto iexecute = morvex_m_idft_plan_execute_c2r_1d_##S; \
    static constexpr auto once = morvex_m_dft_##S;                      \
    MORVEX_BENCH_FFTW(T, F)                                             \
  };
MORVEX_BENCH_TYPES(float, f32, morvex_m_c32f32, MORVEX_M_OPT_FFTW3F, fftwf)
MORVEX_BENCH_TYPES(double, f64, morvex_m_c64f64, MORVEX_M_OPT_FFTW3, fftw)
#undef MORVEX_BENCH_TYPES
#undef MORVEX_BENCH_FFTW

enum Backend { kEigen, kFftw };

// Selects the backend for plans made in its scope; false if FFTW is missing.
bool use_backend(benchmark::State& state, int32_t option, Backend b) {
  if (b == kEigen) return morvex_m_setopt(option, 0) == 0;
  if (morvex_m_setopt(option, 1) == 0) return true;
  state.SkipWithError("FFTW cannot be loaded");
  return false;
}

// The arrays of one transform of n samples: the signal, its bins, and the
// samples an inverse writes.
template <class T>
struct Arrays {
  explicit Arrays(size_t n_) : n(n_), bins(n_ / 2 + 1), x(n_), X(bins), y(n_) {
    std::mt19937 rng(1);
    std::uniform_real_distribution<T> d(-1, 1);
    for (size_t i = 0; i < n; ++i) x[i] = d(rng);
  }
  size_t n, bins;
  Array<T> x;
  Array<typename Types<T>::C> X;
  Array<T> y;
};

// Times f, one transform of n samples per call.
template <class F>
void measure(benchmark::State& state, size_t n, F&& f) {
  for (auto _ : state) {
    f();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(n));
}

// Where a transform library's own buffers land on the heap, relative to the
// arrays it transforms, moves its time by up to half: FFTW's buffers and
// twiddles alias the arrays in the first-level cache or not. Which way it
// falls depends on everything allocated before, down to the number of
// benchmarks registered, so one plan each for ours and the peer would time
// two placements and their ratio would measure the heap. Each side therefore
// makes up to kPlacements plans (or transform objects), each after a pad
// block of a different size, and the timed loop spends a stretch on each
// (measure_placed): both are timed over the same spread of placements.
constexpr int kPlacements = 8;

struct Pads {
  // The pad before placement k: sizes that move the next allocations by
  // different amounts modulo 4 KiB.
  void* before(int k) { return blocks[k] = std::malloc(size_t(1 + 1664 * k)); }
  ~Pads() {
    for (void* b : blocks) std::free(b);
  }
  void* blocks[kPlacements] = {};
};

// Makes up to kPlacements objects with make(k), each after its pad, then
// times run(object) over them, an equal stretch of the run's iterations on
// each (so that only one object's buffers are in the caches at a time, as in
// a program that uses one), and finally calls done(object) on each. A stretch
// is at least eight calls, so the first call on each object, with its buffers
// out of the caches, is at most an eighth of the time: long transforms, run
// only a few times, get fewer placements.
template <class Make, class Run, class Done>
void measure_placed(benchmark::State& state, size_t n, Make&& make, Run&& run, Done&& done) {
  Pads pads;
  using Object = decltype(make(0));
  const uint64_t placements = std::clamp<uint64_t>(uint64_t(state.max_iterations) / 8, 1, kPlacements);
  Object objects[kPlacements];
  for (uint64_t k = 0; k < placements; ++k) pads.before(int(k)), objects[k] = make(int(k));
  const uint64_t stretch = uint64_t(state.max_iterations) / placements;
  uint64_t i = 0;
  measure(state, n, [&] { run(objects[std::min(i++ / stretch, placements - 1)]); });
  for (uint64_t k = 0; k < placements; ++k) done(objects[k]);
}

template <class T>
void plan_forward(benchmark::State& state, Backend b) {
  using X = Types<T>;
  if (!use_backend(state, X::option, b)) return;
  Arrays<T> a(state.range(0));
  measure_placed(
      state, a.n,
      [&](int) {
        morvex_m_dft_plan* plan = nullptr;
        X::create(a.x.data(), a.n, a.X.data(), a.bins, &plan);
        X::execute(plan, a.x.data(), a.n, a.X.data(), a.bins);  // FFTW plans on the first execution
        return plan;
      },
      [&](morvex_m_dft_plan* plan) { X::execute(plan, a.x.data(), a.n, a.X.data(), a.bins); },
      [](morvex_m_dft_plan* plan) { morvex_m_dft_plan_destroy(plan); });
  morvex_m_setopt(X::option, 0);
}

template <class T>
void plan_inverse(benchmark::State& state, Backend b) {
  using X = Types<T>;
  if (!use_backend(state, X::option, b)) return;
  Arrays<T> a(state.range(0));
  measure_placed(
      state, a.n,
      [&](int) {
        morvex_m_dft_plan* plan = nullptr;
        X::icreate(a.X.data(), a.bins, a.y.data(), a.n, &plan);
        X::iexecute(plan, a.X.data(), a.bins, a.y.data(), a.n);
        return plan;
      },
      [&](morvex_m_dft_plan* plan) { X::iexecute(plan, a.X.data(), a.bins, a.y.data(), a.n); },
      [](morvex_m_dft_plan* plan) { morvex_m_dft_plan_destroy(plan); });
  morvex_m_setopt(X::option, 0);
}

#ifdef MORVEX_BENCH_HAVE_FFTW
template <class T>
void fftw_forward(benchmark::State& state) {
  Arrays<T> a(state.range(0));
  measure_placed(
      state, a.n,
      [&](int) {
        const auto p = Types<T>::r2c(int(a.n), a.x.data(), a.X.data());
        Types<T>::run(p);  // as ours, which plans on its first execution
        return p;
      },
      [](auto p) { Types<T>::run(p); }, [](auto p) { Types<T>::destroy(p); });
}

template <class T>
void fftw_inverse(benchmark::State& state) {
  Arrays<T> a(state.range(0));
  measure_placed(
      state, a.n,
      [&](int) {
        const auto p = Types<T>::c2r(int(a.n), a.X.data(), a.y.data());
        Types<T>::run(p);
        return p;
      },
      [](auto p) { Types<T>::run(p); }, [](auto p) { Types<T>::destroy(p); });
}
#endif

template <class T>
void eigen_forward(benchmark::State& state) {
  Arrays<T> a(state.range(0));
  auto* out = reinterpret_cast<std::complex<T>*>(a.X.data());
  measure_placed(
      state, a.n,
      [&](int) {
        auto* fft = new Eigen::FFT<T>;
        fft->SetFlag(Eigen::FFT<T>::HalfSpectrum);
        fft->fwd(out, a.x.data(), int(a.n));  // its tables are made on the first call
        return fft;
      },
      [&](Eigen::FFT<T>* fft) { fft->fwd(out, a.x.data(), int(a.n)); }, [](Eigen::FFT<T>* fft) { delete fft; });
}

template <class T>
void eigen_inverse(benchmark::State& state) {
  Arrays<T> a(state.range(0));
  const auto* in = reinterpret_cast<const std::complex<T>*>(a.X.data());
  measure_placed(
      state, a.n,
      [&](int) {
        auto* fft = new Eigen::FFT<T>;
        fft->SetFlag(Eigen::FFT<T>::HalfSpectrum);
        fft->SetFlag(Eigen::FFT<T>::Unscaled);
        fft->inv(a.y.data(), in, int(a.n));
        return fft;
      },
      [&](Eigen::FFT<T>* fft) { fft->inv(a.y.data(), in, int(a.n)); }, [](Eigen::FFT<T>* fft) { delete fft; });
}

// One-shot export, and the same work spelled out with a plan.
template <class T>
void one_shot(benchmark::State& state, Backend b) {
  using X = Types<T>;
  if (!use_backend(state, X::option, b)) return;
  Arrays<T> a(state.range(0));
  measure(state, a.n, [&] { X::once(a.x.data(), a.n, a.X.data(), a.bins); });
  morvex_m_setopt(X::option, 0);
}

template <class T>
void create_execute_destroy(benchmark::State& state, Backend b) {
  using X = Types<T>;
  if (!use_backend(state, X::option, b)) return;
  Arrays<T> a(state.range(0));
  measure(state, a.n, [&] {
    morvex_m_dft_plan* plan = nullptr;
    X::create(a.x.data(), a.n, a.X.data(), a.bins, &plan);
    X::execute(plan, a.x.data(), a.n, a.X.data(), a.bins);
    morvex_m_dft_plan_destroy(plan);
  });
  morvex_m_setopt(X::option, 0);
}

// A call at 1M samples takes milliseconds, so the usual minimum time gives a
// repetition a handful of calls on a single heap placement, and the medians
// of five such repetitions put the inverse f64 transforms at 0.73-1.56 of
// Eigen called directly in three runs. A second per repetition spreads each
// over every placement: 0.93-0.98 in three runs.
benchmark::internal::Benchmark* sized(benchmark::internal::Benchmark* b, int64_t n) {
  b->Arg(n);
  return n >= (int64_t(1) << 20) ? b->MinTime(1.0) : b;
}

// Registered so that each measurement sits next to its peer: per precision and
// size, plan then direct call, FFTW then Eigen, forward then inverse.
template <class T>
void register_all() {
  const std::string t = Types<T>::name;
  for (int64_t n : kSizes) {
    sized(benchmark::RegisterBenchmark(("dft/" + t + "/r2c/plan-fftw").c_str(), plan_forward<T>, kFftw), n);
#ifdef MORVEX_BENCH_HAVE_FFTW
    sized(benchmark::RegisterBenchmark(("dft/" + t + "/r2c/fftw-direct").c_str(), fftw_forward<T>), n);
#endif
    sized(benchmark::RegisterBenchmark(("dft/" + t + "/r2c/plan-eigen").c_str(), plan_forward<T>, kEigen), n);
    sized(benchmark::RegisterBenchmark(("dft/" + t + "/r2c/eigen-direct").c_str(), eigen_forward<T>), n);
    sized(benchmark::RegisterBenchmark(("dft/" + t + "/c2r/plan-fftw").c_str(), plan_inverse<T>, kFftw), n);
#ifdef MORVEX_BENCH_HAVE_FFTW
    sized(benchmark::RegisterBenchmark(("dft/" + t + "/c2r/fftw-direct").c_str(), fftw_inverse<T>), n);
#endif
    sized(benchmark::RegisterBenchmark(("dft/" + t + "/c2r/plan-eigen").c_str(), plan_inverse<T>, kEigen), n);
    sized(benchmark::RegisterBenchmark(("dft/" + t + "/c2r/eigen-direct").c_str(), eigen_inverse<T>), n);
  }
  for (int64_t n : {int64_t(4096), int64_t(65536)}) {
    for (Backend b : {kFftw, kEigen}) {
      const std::string which = b == kFftw ? "fftw" : "eigen";
      benchmark::RegisterBenchmark(("dft/" + t + "/once/" + which).c_str(), one_shot<T>, b)->Arg(n);
      benchmark::RegisterBenchmark(("dft/" + t + "/create-execute-destroy/" + which).c_str(),
                                   create_execute_destroy<T>, b)
          ->Arg(n);
    }
  }
}

const bool registered = (register_all<float>(), register_all<double>(), true);

}  // namespace
}  // namespace morvex::bench
