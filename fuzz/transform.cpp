// SPDX-License-Identifier: MIT
// Transforms: one-shot and plan exports of both precisions on both backends
// (FFTW loaded and the built-in one), with fuzzed lengths, wrong complex
// counts, misaligned arrays and plans handed to the wrong export.
//  - Bad lengths give -2 and write nothing; a failed plan-create leaves a
//    NULL plan. Huge lengths are only planned, never run.
//  - The two backends agree to within an FFT's rounding; a plan run on
//    other arrays gives the one-shot result, or -4 exactly when an alignment
//    class differs from the plan's; a forward then an inverse transform
//    returns n times the signal.
//  - Plans of the other direction or precision, other counts and NULL are
//    refused with -4 and -5.
#include <limits>
#include "dft/dft_api.h"
#include "fuzz.h"

namespace {

using namespace morvex::fuzz;
using morvex::test::dft::Api;

// An FFT's rounding error per bin grows with the input's magnitude and the
// number of passes: bound it by eps * sum|x| * (log2 n + 1), with a margin.
template <class T>
long double fft_bound(long double sum_abs, uint64_t n) {
  return 4.0L * std::numeric_limits<T>::epsilon() * sum_abs * (std::log2((long double)n) + 1.0L) +
         std::numeric_limits<T>::min();
}

bool g_fftw = false;  // whether FFTW could be loaded at all

// Arrays `shift` bytes past a 64-byte boundary.
template <class E>
struct Shifted {
  std::vector<unsigned char> raw;
  E* p;
  Shifted(uint64_t n, unsigned shift) : raw(n * sizeof(E) + 64 + shift) {
    p = reinterpret_cast<E*>((reinterpret_cast<uintptr_t>(raw.data()) + 63) / 64 * 64 + shift);
  }
};

template <class T, class C>
bool close(const C* a, const C* b, uint64_t n, double bound) {
  for (uint64_t i = 0; i < n; ++i)
    if (!(std::abs(double(a[i].re) - b[i].re) <= bound && std::abs(double(a[i].im) - b[i].im) <= bound)) return false;
  return true;
}

template <class T>
void fuzz(FuzzedDataProvider& in) {
  using A = Api<T>;
  using C = typename A::C;
  using O = std::conditional_t<sizeof(T) == 4, double, float>;
  const int32_t option = sizeof(T) == 4 ? MORVEX_M_OPT_FFTW3F : MORVEX_M_OPT_FFTW3;
  const bool fftw = g_fftw && in.ConsumeBool();
  FUZZ_CHECK(morvex_m_setopt(option, fftw) == 0);
  const uint64_t n = in.ConsumeIntegralInRange<uint64_t>(0, 600), bins = n / 2 + 1;
  const unsigned unit = sizeof(T) / 4 * 4;  // misalignments the element type allows
  Shifted<T> x(n, in.ConsumeIntegralInRange(0u, 15u) * unit), x2(n, in.ConsumeIntegralInRange(0u, 15u) * unit);
  Shifted<C> X(bins, in.ConsumeIntegralInRange(0u, 3u) * 8), X2(bins, in.ConsumeIntegralInRange(0u, 3u) * 8);
  Shifted<C> Xo(bins, 0);
  Shifted<T> back(n, 0);
  const uint64_t wrong = in.ConsumeIntegralInRange<uint64_t>(0, 2 * bins + 2);
  const uint64_t huge[] = {0, (1ull << 29) - 1, 1ull << 29, (1ull << 31) - 1, 1ull << 31, ~0ull};
  const uint64_t big = huge[in.ConsumeIntegralInRange(0, 5)];
  const bool half = in.ConsumeBool();
  double sum = 0;
  for (uint64_t i = 0; i < n; ++i) sum += std::abs(x.p[i] = x2.p[i] = T(in.ConsumeIntegral<int8_t>()) / 128);

  if (wrong != bins || n == 0) {  // bad lengths: nothing written
    std::vector<C> before(X.p, X.p + bins);
    FUZZ_CHECK(A::dft(x.p, n, X.p, wrong) == -2 && same_bytes(before.data(), X.p, bins * sizeof(C)));
  }
  morvex_m_dft_plan* plan = reinterpret_cast<morvex_m_dft_plan*>(1);
  const bool big_ok = big >= 1 && big <= (fftw ? (1ull << 31) - 1 : (1ull << 29) - 1);
  FUZZ_CHECK(A::create(x.p, big, X.p, big / 2 + 1, &plan) == (big_ok ? 0 : -2) && (plan != nullptr) == big_ok);
  FUZZ_CHECK(A::execute(plan, x.p, n, X.p, bins) == (big_ok ? -4 : -5));
  morvex_m_dft_plan_destroy(plan);
  if (n == 0) return;

  // The other backend (or this one) as reference; plan, one-shot and the
  // normalised forms agree with it.
  const double bound = 2 * fft_bound<T>(sum, n);
  FUZZ_CHECK(morvex_m_setopt(option, !fftw && g_fftw) == 0 && A::dft(x.p, n, Xo.p, bins) == 0);
  FUZZ_CHECK(morvex_m_setopt(option, fftw) == 0 && A::dft(x.p, n, X.p, bins) == 0 && close<T>(X.p, Xo.p, bins, bound));
  FUZZ_CHECK(A::create(x.p, n, X.p, bins, &plan) == 0 && plan);
  const bool aligned = morvex_m_dft_alignment_of(plan, x2.p) == morvex_m_dft_alignment_of(plan, x.p) &&
                       morvex_m_dft_alignment_of(plan, X2.p) == morvex_m_dft_alignment_of(plan, X.p);
  FUZZ_CHECK(fftw || aligned);
  FUZZ_CHECK(A::execute(plan, x2.p, n, X2.p, bins) == (aligned ? 0 : -4));
  FUZZ_CHECK(!aligned || close<T>(X2.p, Xo.p, bins, bound));
  FUZZ_CHECK(A::dft_divn(x.p, n, X2.p, bins, half) == 0);
  for (uint64_t k = 0; k < bins; ++k) {  // bin 0 over n, the others over n or n/2
    const double d = k == 0 || !half ? double(n) : double(float(n) * 0.5f);
    X.p[k] = {T(X.p[k].re / d), T(X.p[k].im / d)};
  }
  FUZZ_CHECK(close<T>(X2.p, X.p, bins, 2 * bound / double(n)));

  Shifted<O> xo(n, 0);
  Shifted<typename Api<O>::C> Xp(bins, 0);
  FUZZ_CHECK(A::iexecute(plan, X.p, bins, back.p, n) == -4 && Api<O>::execute(plan, xo.p, n, Xp.p, bins) == -4);
  FUZZ_CHECK(A::execute(plan, x.p, n + 1, X.p, bins) == -4 && A::execute(nullptr, x.p, n, X.p, bins) == -5);
  morvex_m_dft_plan_destroy(plan);

  // Inverse: n times the signal (each sample sums all bins: the error grows
  // with n), through a plan and in one shot.
  FUZZ_CHECK(A::dft(x.p, n, X.p, bins) == 0 && A::icreate(X.p, bins, back.p, n, &plan) == 0);
  FUZZ_CHECK(A::iexecute(plan, X.p, bins, back.p, n) == 0 && A::execute(plan, x.p, n, X.p, bins) == -4);
  morvex_m_idft_plan_destroy(plan);
  for (uint64_t i = 0; i < n; ++i) FUZZ_CHECK(std::abs(back.p[i] - double(n) * x.p[i]) <= 2 * n * bound);
  FUZZ_CHECK(A::dft(x.p, n, X.p, bins) == 0 && A::idft(X.p, bins, back.p, n) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool once = g_fftw =
      morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1) == 0 && morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1) == 0;
  (void)once;
  FuzzedDataProvider in(data, size);
  if (in.ConsumeBool()) fuzz<float>(in);
  else fuzz<double>(in);
  return 0;
}
