// Transforms: one-shot and plan exports of both precisions on both backends
// (FFTW loaded and the built-in one), with fuzzed lengths, wrong complex
// counts, misaligned arrays and plans handed to the wrong export.
//  - Bad lengths give -2 and write nothing; a plan-create failure leaves a
//    NULL plan. Huge lengths are only planned, never run.
//  - The two backends agree to within the documented accuracy; a plan run
//    on other arrays gives the one-shot result, or -4 exactly when an
//    alignment class differs from the plan's.
//  - A forward then an inverse transform returns n times the signal.
//  - Plans of the other direction or precision, wrong counts and NULL are
//    refused with -4 and -5.
#include <cmath>
#include <complex>
#include <limits>

#include "fuzz.h"

namespace {

using namespace morvex::fuzz;

bool g_fftw = false;  // whether FFTW could be loaded at all

template <class T>
struct Api;
#define FUZZ_DFT_API(T, S, C)                                                            \
  template <>                                                                            \
  struct Api<T> {                                                                        \
    using Cx = C;                                                                        \
    static constexpr int32_t option = sizeof(T) == 4 ? MORVEX_M_OPT_FFTW3F : MORVEX_M_OPT_FFTW3; \
    static constexpr auto dft = morvex_m_dft_##S;                                        \
    static constexpr auto divn = morvex_m_dft_divn_##S;                                  \
    static constexpr auto idft = morvex_m_idft_##S;                                      \
    static constexpr auto create = morvex_m_dft_plan_create_r2c_1d_##S;                  \
    static constexpr auto execute = morvex_m_dft_plan_execute_r2c_1d_##S;                \
    static constexpr auto icreate = morvex_m_idft_plan_create_c2r_1d_##S;                \
    static constexpr auto iexecute = morvex_m_idft_plan_execute_c2r_1d_##S;              \
  };
FUZZ_DFT_API(float, f32, morvex_m_c32f32)
FUZZ_DFT_API(double, f64, morvex_m_c64f64)
#undef FUZZ_DFT_API

// Arrays with a fuzzed misalignment: `shift` elements of T past 64 bytes.
template <class E>
struct Shifted {
  std::vector<unsigned char> raw;
  E* p;
  Shifted(uint64_t n, unsigned shift_bytes) : raw(n * sizeof(E) + 64 + shift_bytes) {
    p = reinterpret_cast<E*>((reinterpret_cast<uintptr_t>(raw.data()) + 63) / 64 * 64 + shift_bytes);
  }
};

template <class T, class C>
bool close(const C* a, const C* b, uint64_t n, double scale) {
  // A few units of eps * sum|x| * log2(n) per bin, for each of two results.
  const double tol = 16 * std::numeric_limits<T>::epsilon() * scale * (std::log2(double(n)) + 1) + 1e-30;
  for (uint64_t i = 0; i < n; ++i)
    if (!(std::abs(double(a[i].re) - b[i].re) <= tol && std::abs(double(a[i].im) - b[i].im) <= tol)) return false;
  return true;
}

template <class T>
void fuzz(FuzzedDataProvider& in) {
  using A = Api<T>;
  using C = typename A::Cx;
  const bool fftw = g_fftw && in.ConsumeBool();
  FUZZ_CHECK(morvex_m_setopt(A::option, fftw) == 0);
  const uint64_t n = in.ConsumeIntegralInRange<uint64_t>(0, 600), bins = n / 2 + 1;
  const unsigned s[4] = {in.ConsumeIntegralInRange(0u, 15u) * unsigned(sizeof(T)) / 4 * 4,
                         in.ConsumeIntegralInRange(0u, 15u) * unsigned(sizeof(T)) / 4 * 4,
                         in.ConsumeIntegralInRange(0u, 3u) * 8, in.ConsumeIntegralInRange(0u, 3u) * 8};
  const uint64_t wrong = in.ConsumeIntegralInRange<uint64_t>(0, 2 * bins + 2);
  const uint64_t huge[] = {0, (1ull << 29) - 1, 1ull << 29, (1ull << 31) - 1, 1ull << 31, ~0ull};
  const uint64_t big = huge[in.ConsumeIntegralInRange(0, 5)];
  Shifted<T> x(n, s[0]), x2(n, s[1]), back(n, s[0]);
  Shifted<C> X(bins, s[2]), X2(bins, s[3]), Xo(bins, 0);
  double sum = 0;
  for (uint64_t i = 0; i < n; ++i) sum += std::abs(x.p[i] = x2.p[i] = T(in.ConsumeIntegral<int8_t>()) / 128);

  // Lengths: a wrong complex count, or n = 0, writes nothing.
  if (wrong != bins || n == 0) {
    std::vector<C> before(X.p, X.p + bins);
    FUZZ_CHECK(A::dft(x.p, n, X.p, wrong) == -2 && same_bytes(before.data(), X.p, bins * sizeof(C)));
  }
  morvex_m_dft_plan* plan = reinterpret_cast<morvex_m_dft_plan*>(1);
  const bool big_ok = big >= 1 && big <= (fftw ? (1ull << 31) - 1 : (1ull << 29) - 1);
  FUZZ_CHECK(A::create(x.p, big, X.p, big / 2 + 1, &plan) == (big_ok ? 0 : -2) && (plan != nullptr) == big_ok);
  FUZZ_CHECK(A::execute(plan, x.p, n, X.p, bins) == (big_ok ? -4 : -5));
  morvex_m_dft_plan_destroy(plan);
  if (n == 0) return;

  // The other backend, or this one, as reference; plan and one-shot agree.
  FUZZ_CHECK(morvex_m_setopt(A::option, !fftw && g_fftw) == 0);
  FUZZ_CHECK(A::dft(x.p, n, Xo.p, bins) == 0);
  FUZZ_CHECK(morvex_m_setopt(A::option, fftw) == 0);
  FUZZ_CHECK(A::dft(x.p, n, X.p, bins) == 0 && close<T>(X.p, Xo.p, bins, sum));
  FUZZ_CHECK(A::create(x.p, n, X.p, bins, &plan) == 0 && plan);
  const bool aligned = morvex_m_dft_alignment_of(plan, x2.p) == morvex_m_dft_alignment_of(plan, x.p) &&
                       morvex_m_dft_alignment_of(plan, X2.p) == morvex_m_dft_alignment_of(plan, X.p);
  FUZZ_CHECK(fftw || aligned);
  FUZZ_CHECK(A::execute(plan, x2.p, n, X2.p, bins) == (aligned ? 0 : -4));
  if (aligned) FUZZ_CHECK(close<T>(X2.p, Xo.p, bins, sum));
  const bool half = in.ConsumeBool();
  FUZZ_CHECK(A::divn(x.p, n, X2.p, bins, half) == 0);
  for (uint64_t k = 0; k < bins; ++k) {  // bin 0 over n, the others over n or n/2
    const double d = k == 0 || !half ? double(n) : double(float(n) * 0.5f);
    X.p[k] = {T(X.p[k].re / d), T(X.p[k].im / d)};
  }
  FUZZ_CHECK(close<T>(X2.p, X.p, bins, sum / double(n)));

  // Refusals: the other direction, the other precision, other counts, NULL.
  using O = std::conditional_t<sizeof(T) == 4, double, float>;
  Shifted<O> xo(n, 0);
  Shifted<typename Api<O>::Cx> Xp(bins, 0);
  FUZZ_CHECK(A::iexecute(plan, X.p, bins, back.p, n) == -4);
  FUZZ_CHECK(Api<O>::execute(plan, xo.p, n, Xp.p, bins) == -4);
  FUZZ_CHECK(A::execute(plan, x.p, n + 1, X.p, bins) == -4 && A::execute(nullptr, x.p, n, X.p, bins) == -5);
  morvex_m_dft_plan_destroy(plan);

  // Inverse: n times the signal.
  FUZZ_CHECK(A::dft(x.p, n, X.p, bins) == 0);
  FUZZ_CHECK(A::icreate(X.p, bins, back.p, n, &plan) == 0);
  FUZZ_CHECK(A::iexecute(plan, X.p, bins, back.p, n) == 0);
  // Each sample sums all bins: the error grows with n * sum|x|.
  const double tol = 8 * std::numeric_limits<T>::epsilon() * double(n) * sum * (std::log2(double(n)) + 1) + 1e-30;
  for (uint64_t i = 0; i < n; ++i) FUZZ_CHECK(std::abs(double(back.p[i]) - double(n) * x.p[i]) <= tol);
  FUZZ_CHECK(A::execute(plan, x.p, n, X.p, bins) == -4);
  morvex_m_idft_plan_destroy(plan);
  FUZZ_CHECK(A::dft(x.p, n, X.p, bins) == 0 && A::idft(X.p, bins, back.p, n) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool loaded = [] {
    g_fftw = morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1) == 0 && morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1) == 0;
    return g_fftw;
  }();
  (void)loaded;
  FuzzedDataProvider in(data, size);
  if (in.ConsumeBool()) fuzz<float>(in);
  else fuzz<double>(in);
  return 0;
}
