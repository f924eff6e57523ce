// SPDX-License-Identifier: MIT
// Transforms through their exports: the size rule and the length limits,
// the checks of plan execution and their order, reuse on other arrays and
// alignment classes, the backend chosen at creation, the normalisations as
// exact operations on the raw bins, distinct plans on many threads, and
// allocation failure. (The values themselves are checked against numpy by the
// Python oracles.)
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <thread>

#include "common/buffers.h"
#include "dft/abstract_dft.h"
#include "dft/lib/eigen/eigen_dft.h"
#include "dft/lib/fftw3/fftw3_dft.h"
#include "dft/lib/fftw3f/fftw3f_dft.h"
#include "dft_api.h"

namespace {
// Allocations left before the one that fails, on this thread; negative when
// disarmed. Thread-local, so nothing else in the process is disturbed.
thread_local long t_fail_in = -1;
void* allocate(std::size_t size) {
  if (t_fail_in >= 0 && t_fail_in-- == 0) throw std::bad_alloc();
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
}  // namespace

// Replacing the global allocation functions reaches the library's code too
// (this binary links the library's objects).
void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& t) noexcept { return operator new(size, t); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

using namespace morvex::test::dft;
using morvex::test::all_same_bits;
using morvex::test::Buffer;
namespace lib = morvex::dft::lib;

morvex::dft::AbstractDFT* backend(morvex_m_dft_plan* p) { return reinterpret_cast<morvex::dft::AbstractDFT*>(p); }
template <class T>
const T* bits(const std::complex<T>* p) {
  return reinterpret_cast<const T*>(p);
}

class Plan : public ::testing::TestWithParam<Backend> {};

template <class T>
void expect_size_rule(Backend b) {
  // n = 8 needs 5 bins and n = 7 needs 4; other counts are refused with
  // nothing written, and a create leaves a null plan.
  const std::complex<T> sentinel(T(-7), T(7)); std::vector<T> x(9, T(1)); std::vector<std::complex<T>> X(6, sentinel);
  constexpr int32_t kLength = MORVEX_M_ERROR_DATA_LENGTH;
  for (uint64_t bins : {4, 6}) {
    auto* plan = reinterpret_cast<morvex_m_dft_plan*>(&x), *iplan = plan;  // not null, to see them cleared
    EXPECT_EQ(Api<T>::dft(x.data(), 8, c(X.data()), bins), kLength);
    EXPECT_EQ(Api<T>::dft_divn(x.data(), 8, c(X.data()), bins, 1), kLength);
    EXPECT_EQ(Api<T>::idft(c(X.data()), bins, x.data(), 8), kLength);
    EXPECT_EQ(Api<T>::create(x.data(), 8, c(X.data()), bins, &plan), kLength);
    EXPECT_EQ(Api<T>::icreate(c(X.data()), bins, x.data(), 8, &iplan), kLength);
    EXPECT_TRUE(plan == nullptr && iplan == nullptr);
  }
  for (const auto& v : X) EXPECT_EQ(v, sentinel);
  for (T v : x) EXPECT_EQ(v, T(1));
  EXPECT_EQ(Api<T>::dft(x.data(), 7, c(X.data()), 5), kLength);
  EXPECT_EQ(Api<T>::dft(x.data(), 7, c(X.data()), 4) | Api<T>::dft(x.data(), 8, c(X.data()), 5), 0);
  EXPECT_EQ(Api<T>::dft(x.data(), 0, c(X.data()), 1), kLength);
  EXPECT_EQ(Api<T>::idft(c(X.data()), 1, x.data(), 0), kLength);
  // The longest transform each backend computes: 2^29 - 1 samples for the
  // built-in one (its index arithmetic is int), 2^31 - 1 for FFTW. Plans are
  // made lazily, so creating one allocates nothing for the transform itself.
  const uint64_t longest = b == Backend::Eigen ? (uint64_t(1) << 29) - 1 : (uint64_t(1) << 31) - 1;
  for (uint64_t n : {longest, longest + 1}) {
    morvex_m_dft_plan *plan = nullptr, *iplan = nullptr; const int32_t want = n == longest ? 0 : kLength;
    EXPECT_EQ(Api<T>::create(x.data(), n, c(X.data()), n / 2 + 1, &plan), want) << n;
    EXPECT_EQ(Api<T>::icreate(c(X.data()), n / 2 + 1, x.data(), n, &iplan), want) << n;
    morvex_m_dft_plan_destroy(plan), morvex_m_idft_plan_destroy(iplan);
  }
  EXPECT_EQ(Api<T>::dft(x.data(), ~uint64_t(0), c(X.data()), ~uint64_t(0) / 2 + 1), kLength);
  // A null result pointer is refused, after the size rule.
  EXPECT_EQ(Api<T>::create(x.data(), 8, c(X.data()), 5, nullptr), MORVEX_M_NULLPTR);
  EXPECT_EQ(Api<T>::create(x.data(), 8, c(X.data()), 4, nullptr), kLength);
}

TEST_P(Plan, SizeRuleAndLongestLength) {
  MORVEX_DFT_SELECT_BACKEND(GetParam()); expect_size_rule<float>(GetParam()); expect_size_rule<double>(GetParam());
}

template <class T, class U>
void expect_execute_checks() {
  const uint64_t n = 16, bins = 9; std::vector<T> x(n, T(1)), y(n); std::vector<std::complex<T>> X(n), Y(n);
  std::vector<U> xu(n); std::vector<std::complex<U>> Xu(bins);
  morvex_m_dft_plan *fwd = nullptr, *inv = nullptr, *other = nullptr;
  ASSERT_EQ(Api<T>::create(x.data(), n, c(X.data()), bins, &fwd) | Api<T>::icreate(c(Y.data()), bins, y.data(), n, &inv) |
                Api<U>::create(xu.data(), n, c(Xu.data()), bins, &other), 0);
  // The null plan first, whatever else is wrong; then the counts; then the
  // direction and precision (the counts fit, the interface does not).
  EXPECT_EQ(Api<T>::execute(nullptr, x.data(), n + 1, c(X.data()), bins), MORVEX_M_NULLPTR);
  EXPECT_EQ(Api<T>::execute_divn(nullptr, x.data(), n, c(X.data()), bins, 1), MORVEX_M_NULLPTR);
  EXPECT_EQ(Api<T>::iexecute(nullptr, c(Y.data()), bins, y.data(), n), MORVEX_M_NULLPTR);
  const int32_t invalid[] = {
      Api<T>::execute(fwd, x.data(), n - 1, c(X.data()), bins), Api<T>::execute_divn(fwd, x.data(), n, c(X.data()), bins + 1, 0),
      Api<T>::iexecute(inv, c(Y.data()), bins + 1, y.data(), n), Api<T>::iexecute(inv, c(Y.data()), bins, y.data(), n + 1),
      Api<T>::execute(inv, x.data(), bins, c(X.data()), n),     Api<T>::iexecute(fwd, c(Y.data()), n, y.data(), bins),
      Api<T>::execute(other, x.data(), n, c(X.data()), bins),   Api<T>::execute_divn(other, x.data(), n, c(X.data()), bins, 1)};
  for (int32_t st : invalid) EXPECT_EQ(st, MORVEX_M_INVALID_PLAN);
  // The plans still work, and either destroy export releases either direction.
  EXPECT_EQ(Api<T>::execute(fwd, x.data(), n, c(X.data()), bins), 0); EXPECT_EQ(X[0], std::complex<T>(T(16), T(0)));
  // A plan that has run still refuses the other interfaces.
  ASSERT_EQ(Api<U>::execute(other, xu.data(), n, c(Xu.data()), bins), 0);
  EXPECT_EQ(Api<T>::iexecute(fwd, c(Y.data()), n, y.data(), bins), MORVEX_M_INVALID_PLAN);
  EXPECT_EQ(Api<T>::execute(other, x.data(), n, c(X.data()), bins), MORVEX_M_INVALID_PLAN);
  morvex_m_idft_plan_destroy(fwd), morvex_m_dft_plan_destroy(inv), morvex_m_dft_plan_destroy(other);
  morvex_m_dft_plan_destroy(nullptr), morvex_m_idft_plan_destroy(nullptr);
}

TEST_P(Plan, ExecuteChecksInOrder) {
  MORVEX_DFT_SELECT_BACKEND(GetParam()); expect_execute_checks<float, double>(); expect_execute_checks<double, float>();
}

template <class T>
void expect_reuse(Backend b) {
  // A plan run on other arrays of the same lengths and alignment class gives
  // what a fresh plan gives on them; FFTW refuses another alignment class
  // (8 bytes off; the element size for the real array), the built-in
  // backend takes any address.
  const uint64_t n = 1000, bins = 501; Buffer<T> a(n), other(n), in_off(n, 1), y(n), y2(n), y_fresh(n), y_off(n + 1);
  Buffer<std::complex<T>> A(bins), B(bins), fresh(bins), shifted(bins + 1);
  const std::vector<T> sig = random_signal<T>(n, 6), spectrum = random_signal<T>(2 * bins, 2);
  std::copy(sig.begin(), sig.end(), other.begin()); std::copy(sig.begin(), sig.end(), in_off.begin());
  morvex_m_dft_plan *plan = nullptr, *second = nullptr;
  ASSERT_EQ(Api<T>::create(a.data(), n, c(A.data()), bins, &plan) | Api<T>::execute(plan, a.data(), n, c(A.data()), bins) |
                Api<T>::execute(plan, other.data(), n, c(B.data()), bins) |
                Api<T>::create(other.data(), n, c(fresh.data()), bins, &second) |
                Api<T>::execute(second, other.data(), n, c(fresh.data()), bins), 0);
  EXPECT_TRUE(all_same_bits(bits(B.data()), bits(fresh.data()), 2 * bins));
  auto* off = reinterpret_cast<std::complex<T>*>(reinterpret_cast<char*>(shifted.data()) + 8);
  const int32_t refused = b == Backend::Fftw ? MORVEX_M_INVALID_PLAN : 0;
  EXPECT_EQ(Api<T>::execute(plan, other.data(), n, c(off), bins), refused);
  EXPECT_EQ(Api<T>::execute(plan, in_off.data(), n, c(A.data()), bins), refused);
  EXPECT_EQ(morvex_m_dft_alignment_of(plan, off), b == Backend::Fftw ? 8 : 0);
  EXPECT_EQ(morvex_m_idft_alignment_of(plan, in_off.data()), b == Backend::Fftw ? int(sizeof(T)) : 0);
  EXPECT_EQ(morvex_m_dft_alignment_of(plan, shifted.data()), 0);
  if (b == Backend::Eigen) {
    EXPECT_TRUE(all_same_bits(bits(off), bits(B.data()), 2 * bins));
  }
  morvex_m_dft_plan_destroy(plan), morvex_m_dft_plan_destroy(second);
  // The same for an inverse plan (whose FFTW input is overwritten: refilled).
  auto refill = [&] { std::copy(spectrum.begin(), spectrum.end(), reinterpret_cast<T*>(B.data())); };
  ASSERT_EQ(Api<T>::icreate(c(A.data()), bins, y.data(), n, &plan), 0);
  ASSERT_EQ(Api<T>::iexecute(plan, c(A.data()), bins, y.data(), n), 0);
  refill();
  ASSERT_EQ(Api<T>::iexecute(plan, c(B.data()), bins, y2.data(), n), 0);
  refill();
  ASSERT_EQ(Api<T>::idft(c(B.data()), bins, y_fresh.data(), n), 0);
  EXPECT_TRUE(all_same_bits(y2.data(), y_fresh.data(), n));
  refill();
  EXPECT_EQ(Api<T>::iexecute(plan, c(B.data()), bins, reinterpret_cast<T*>(reinterpret_cast<char*>(y_off.data()) + 8), n), refused);
  morvex_m_idft_plan_destroy(plan);
}

TEST_P(Plan, ReuseOnOtherArraysOfTheSameAlignmentClass) {
  MORVEX_DFT_SELECT_BACKEND(GetParam()); expect_reuse<float>(GetParam()); expect_reuse<double>(GetParam());
}

// Exactly a division of the raw bins: by n; or (one-sided) bin 0 halved, then
// every bin, the Nyquist bin too, divided by n/2 formed in single precision.
template <class T>
void expect_normalisations(uint64_t n) {
  const size_t bins = n / 2 + 1; const std::vector<T> x = random_signal<T>(n, uint32_t(n) + 3);
  std::vector<std::complex<T>> raw(bins), divn(bins), half(bins), pdivn(bins), phalf(bins);
  morvex_m_dft_plan* plan = nullptr;
  ASSERT_EQ(Api<T>::dft(x.data(), n, c(raw.data()), bins) | Api<T>::dft_divn(x.data(), n, c(divn.data()), bins, 0) |
                Api<T>::dft_divn(x.data(), n, c(half.data()), bins, 7) |  // any non-zero value means one-sided
                Api<T>::create(x.data(), n, c(pdivn.data()), bins, &plan) |
                Api<T>::execute_divn(plan, x.data(), n, c(pdivn.data()), bins, 0) |
                Api<T>::execute_divn(plan, x.data(), n, c(phalf.data()), bins, -1), 0);
  morvex_m_dft_plan_destroy(plan); const T d = T(float(n) * 0.5f);
  for (size_t k = 0; k < bins; ++k) {
    const std::complex<T> want = raw[k] / T(n), want_half = (k == 0 ? raw[0] * T(0.5) : raw[k]) / d;
    EXPECT_TRUE(divn[k] == want && pdivn[k] == want && half[k] == want_half && phalf[k] == want_half) << "n " << n << " bin " << k;
  }
}

TEST_P(Plan, NormalisedForms) {
  MORVEX_DFT_SELECT_BACKEND(GetParam());
  for (uint64_t n : {1, 2, 5, 16, 243, 1000}) expect_normalisations<float>(n), expect_normalisations<double>(n);
}

// Distinct plans made, run and destroyed on many threads at once (FFTW
// planning and destruction serialised inside the library) give exactly what
// the same transforms give on one thread.
template <class T>
int run_plans(uint64_t n, uint32_t seed, int rounds) {
  const std::vector<T> x = random_signal<T>(n, seed); const uint64_t bins = n / 2 + 1;
  std::vector<std::complex<T>> X(bins), want(bins);
  EXPECT_EQ(Api<T>::dft(x.data(), n, c(want.data()), bins), 0);
  int bad = 0;
  for (int r = 0; r < rounds; ++r) {
    morvex_m_dft_plan* f = nullptr; bad += Api<T>::create(x.data(), n, c(X.data()), bins, &f) != 0;
    for (int e = 0; e < 4; ++e)
      bad += Api<T>::execute(f, x.data(), n, c(X.data()), bins) != 0 || !all_same_bits(bits(X.data()), bits(want.data()), 2 * bins);
    morvex_m_dft_plan_destroy(f);
  }
  return bad;
}

TEST_P(Plan, ConcurrencyOfDistinctPlans) {
  MORVEX_DFT_SELECT_BACKEND(GetParam()); std::vector<int> bad(8, 0); std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] { bad[2 * t] = run_plans<float>(256 + 60 * t, t, 20); });
    threads.emplace_back([&, t] { bad[2 * t + 1] = run_plans<double>(1024 - 100 * t, 10 + t, 20); });
  }
  for (auto& th : threads) th.join();
  for (int b : bad) EXPECT_EQ(b, 0);
}

INSTANTIATE_TEST_SUITE_P(Backends, Plan, ::testing::Values(Backend::Eigen, Backend::Fftw), backend_name);

TEST(PlanAlignment, NullPlanGivesTheAddressModulo16) {
  EXPECT_EQ(morvex_m_dft_alignment_of(nullptr, reinterpret_cast<const void*>(0x1008)), 8);
  EXPECT_EQ(morvex_m_idft_alignment_of(nullptr, reinterpret_cast<const void*>(0x100F)), 15);
  EXPECT_EQ(morvex_m_dft_alignment_of(nullptr, reinterpret_cast<const void*>(0x1010)), 0);
}

TEST(PlanBackend, ChosenByTheOptionAtCreationAndKept) {
  float xf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  double xd[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  std::complex<float> Xf[5]; std::complex<double> Xd[5];
  morvex_m_dft_plan *pf = nullptr, *pd = nullptr, *qf = nullptr, *qd = nullptr, *ef = nullptr;
  {
    MORVEX_DFT_SELECT_BACKEND(Backend::Fftw);
    ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f32(xf, 8, c(Xf), 5, &pf) |
                  morvex_m_dft_plan_create_r2c_1d_f64(xd, 8, c(Xd), 5, &pd) |
                  morvex_m_idft_plan_create_c2r_1d_f32(c(Xf), 5, xf, 8, &qf) |
                  morvex_m_idft_plan_create_c2r_1d_f64(c(Xd), 5, xd, 8, &qd), 0);
    EXPECT_NE(dynamic_cast<lib::fftw3f::DFTR2C1DFFTWF*>(backend(pf)), nullptr);
    EXPECT_NE(dynamic_cast<lib::fftw3::DFTR2C1DFFTW*>(backend(pd)), nullptr);
    EXPECT_NE(dynamic_cast<lib::fftw3f::IDFTC2R1DFFTW*>(backend(qf)), nullptr);
    EXPECT_NE(dynamic_cast<lib::fftw3::IDFTC2R1DFFTW*>(backend(qd)), nullptr);
    morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 0);  // single precision off: the built-in backend
    ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f32(xf, 8, c(Xf), 5, &ef), 0);
    EXPECT_NE(dynamic_cast<lib::eigen::DFTR2C1D<float>*>(backend(ef)), nullptr);
  }
  // Both options off now: the FFTW plans keep FFTW and keep working.
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f64(pd, xd, 8, c(Xd), 5), 0);
  EXPECT_TRUE(Xd[0] == std::complex<double>(36, 0) && Xd[4] == std::complex<double>(-4, 0));
  ASSERT_EQ(morvex_m_idft_plan_execute_c2r_1d_f64(qd, c(Xd), 5, xd, 8), 0); EXPECT_NEAR(xd[7], 64.0, 1e-12);
  for (morvex_m_dft_plan* p : {pf, pd, qf, qd, ef}) morvex_m_dft_plan_destroy(p);
}

// The one-sided divisor is n/2 formed in single precision even in the double
// forms. That shows only where n is not exact in a float, far beyond lengths
// a test can transform, so a stand-in transform that writes known bins drives it.
class KnownBins final : public morvex::dft::AbstractDFTR2C1D<double> {
 public:
  explicit KnownBins(uint64_t n) : AbstractDFTR2C1D(n, n / 2 + 1, ~uint64_t(0)) {}
  morvex::dft::Status execute(const double*, uint64_t, Complex* out, uint64_t count) override {
    for (uint64_t k = 0; k < count; ++k) out[k] = Complex(3.0, -1.0);
    return 0;
  }
};

TEST(PlanNormalisation, OneSidedDivisorIsFormedInSinglePrecision) {
  const uint64_t n = (uint64_t(1) << 25) + 3;  // a float rounds it to 2^25 + 4
  KnownBins t(n); std::complex<double> out[3];
  ASSERT_EQ(t.executeDivN(nullptr, n, out, 3, true), 0);
  const double d = 16777218.0;  // float(n) * 0.5f, not n * 0.5 = 16777217.5
  EXPECT_TRUE(out[0] == std::complex<double>(1.5 / d, -0.5 / d) && out[2] == std::complex<double>(3.0 / d, -1.0 / d));
  ASSERT_EQ(t.executeDivN(nullptr, n, out, 3, false), 0);
  EXPECT_EQ(out[1], std::complex<double>(3.0 / double(n), -1.0 / double(n)));
}

// Runs op with the k-th allocation failing, k = 0, 1, ... until op succeeds;
// every earlier run must report -3. Returns how many runs failed.
template <class Op>
int fail_each_allocation(Op op) {
  for (long k = 0; k < 10000; ++k) {
    t_fail_in = k; const int32_t st = op(); const bool tripped = t_fail_in < 0; t_fail_in = -1;
    if (!tripped) {
      EXPECT_EQ(st, 0) << "with no allocation failing";
      return int(k);
    }
    EXPECT_EQ(st, MORVEX_M_OUT_OF_MEMORY) << "with allocation " << k << " failing";
    if (st != MORVEX_M_OUT_OF_MEMORY) return int(k);
  }
  return -1;
}

template <class T>
void expect_out_of_memory(uint64_t n) {
  SCOPED_TRACE(::testing::Message() << "n = " << n);
  const uint64_t bins = n / 2 + 1; const std::vector<T> x = random_signal<T>(n, 9);
  std::vector<std::complex<T>> X(bins), ref(bins), in(bins); std::vector<T> y(n);
  ASSERT_EQ(Api<T>::dft(x.data(), n, c(ref.data()), bins), 0);
  EXPECT_GT(fail_each_allocation([&] { return Api<T>::dft(x.data(), n, c(X.data()), bins); }), 0);
  EXPECT_EQ(X, ref);
  EXPECT_GT(fail_each_allocation([&] { return Api<T>::dft_divn(x.data(), n, c(X.data()), bins, 1); }), 0);
  EXPECT_GT(fail_each_allocation([&] {
              in = ref;  // an FFTW inverse overwrites its input
              return Api<T>::idft(c(in.data()), bins, y.data(), n);
            }), 0);
  morvex_m_dft_plan* plan = nullptr; int stale = 0;
  EXPECT_GT(fail_each_allocation([&] {
              const int32_t st = Api<T>::create(x.data(), n, c(X.data()), bins, &plan);
              stale += st != 0 && plan != nullptr;
              return st;
            }), 0);
  EXPECT_EQ(stale, 0) << "a failed create left a plan behind";
  // The first execution builds the backend's tables: a failure part-way must
  // leave none half-built, so the run that succeeds and every later one agree.
  fail_each_allocation([&] { return Api<T>::execute(plan, x.data(), n, c(X.data()), bins); });
  EXPECT_EQ(X, ref); ASSERT_EQ(Api<T>::execute(plan, x.data(), n, c(X.data()), bins), 0); EXPECT_EQ(X, ref);
  morvex_m_dft_plan_destroy(plan);
}

TEST(DftMemory, AllocationFailureIsOutOfMemory) {
  BackendScope eigen(Backend::Eigen);
  // A multiple of 4, an even length that is not, an odd one with a radix above 5.
  for (uint64_t n : {64, 30, 77}) expect_out_of_memory<float>(n), expect_out_of_memory<double>(n);
}

TEST(DftMemory, AllocationFailureOnFftw) {
  // FFTW allocates with its own allocator; the library's own allocations
  // (the backend object) still fail cleanly.
  MORVEX_DFT_SELECT_BACKEND(Backend::Fftw); expect_out_of_memory<float>(48); expect_out_of_memory<double>(48);
}

}  // namespace
