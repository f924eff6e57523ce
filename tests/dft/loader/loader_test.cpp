// FFTW loading as the library does it, with FFTW present (a stand-in that
// computes the transforms directly), absent, and incomplete (the stand-in
// without its plan destroyer), whatever the machine has installed: the
// options, the files asked for and closed, lazy planning and plan reuse,
// failed planning, unloading at the last shut-down, and the planner lock.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <complex>
#include <thread>
#include <vector>

#include "common/buffers.h"
#include "dft/abstract_dft.h"
#include "dft/lib/eigen/eigen_dft.h"
#include "dft/lib/fftw3/fftw3_dft.h"
#include "dft/lib/fftw3f/fftw3f_dft.h"
#include "frame/lifecycle.h"
#include "interpose.h"
#include "morvex-m.h"
#include "dft_api.h"

namespace {

using namespace morvex::test::dft;
namespace loader = morvex::test::loader;
namespace lib = morvex::dft::lib;

struct FakeStats {
  int planned, destroyed, destroyed_null, executed, executed_new_arrays, max_inside;
};

// A view of one stand-in library, opened behind the library's back only for
// the moment of each call, so that it never keeps the stand-in loaded itself.
class Fake {
 public:
  explicit Fake(const char* path) : path_(path) {}
  bool mapped() const {
    void* h = loader::real_dlopen(path_, RTLD_LAZY | RTLD_NOLOAD);
    if (h) loader::real_dlclose(h);
    return h != nullptr;
  }
  FakeStats stats() const { return call<FakeStats>("fake_fftw_stats"); }
  void fail_next_plans(int count) const { call<void>("fake_fftw_fail_next_plans", count); }
  void linger(int us) const { call<void>("fake_fftw_linger", us); }

 private:
  template <class R, class... A>
  R call(const char* name, A... args) const {
    void* h = loader::real_dlopen(path_, RTLD_LAZY | RTLD_NOLOAD);
    if (!h) throw std::runtime_error(std::string(path_) + " is not loaded");
    auto* f = reinterpret_cast<R (*)(A...)>(dlsym(h, name));
    struct Closer {
      void* h;
      ~Closer() { loader::real_dlclose(h); }
    } closer{h};
    return f(args...);
  }
  const char* path_;
};

const Fake kFakeD(FAKE_FFTW3), kFakeF(FAKE_FFTW3F);
const Fake kIncompleteD(FAKE_FFTW3_INCOMPLETE), kIncompleteF(FAKE_FFTW3F_INCOMPLETE);

uint32_t option(int32_t id) {
  uint32_t v = 99;
  EXPECT_EQ(morvex_m_getopt(id, &v), 0);
  return v;
}

morvex::dft::AbstractDFT* backend(morvex_m_dft_plan* p) { return reinterpret_cast<morvex::dft::AbstractDFT*>(p); }

// Each test starts the library from stopped, with FFTW routed as it says, and
// leaves it stopped.
class FftwLoader : public ::testing::Test {
 protected:
  void start(const std::string& d, const std::string& f) {
    ASSERT_EQ(morvex::frame::init_count(), 0u);
    loader::route(d, f);
    loader::reset_calls();
    morvex_m_init();
  }
  void TearDown() override {
    while (morvex::frame::init_count() > 0) morvex_m_fini();
  }

  // A forward plan and a one-shot forward and inverse transform of n
  // samples: the plan's backend is the one expected, plan and one-shot agree
  // to the bit, and the inverse gives back n times the signal.
  template <class T>
  void expect_transforms(bool on_fftw, uint64_t n) {
    SCOPED_TRACE(::testing::Message() << "n = " << n);
    const std::vector<T> x = random_signal<T>(n, uint32_t(n));
    std::vector<std::complex<T>> X(n / 2 + 1), P(n / 2 + 1);
    std::vector<T> y(n);
    morvex_m_dft_plan* plan = nullptr;
    ASSERT_EQ(Api<T>::create(x.data(), n, c(P.data()), P.size(), &plan), 0);
    EXPECT_EQ(dynamic_cast<lib::eigen::DFTR2C1D<T>*>(backend(plan)) == nullptr, on_fftw);
    ASSERT_EQ(Api<T>::execute(plan, x.data(), n, c(P.data()), P.size()), 0);
    morvex_m_dft_plan_destroy(plan);
    ASSERT_EQ(Api<T>::dft(x.data(), n, c(X.data()), X.size()), 0);
    EXPECT_EQ(X, P);
    ASSERT_EQ(Api<T>::idft(c(X.data()), X.size(), y.data(), n), 0);
    for (size_t j = 0; j < n; ++j) EXPECT_NEAR(double(y[j]), double(n) * double(x[j]), 1e-4 * double(n));
  }
};

TEST_F(FftwLoader, AbsentLibraryLeavesTheOptionOff) {
  start("", "");
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1), -1);
  EXPECT_EQ(option(MORVEX_M_OPT_FFTW3), 0u);
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), -1);
  EXPECT_EQ(option(MORVEX_M_OPT_FFTW3F), 0u);
  // Asked for by name, lazily, and again at the next request.
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1), -1);
  const auto calls = loader::calls();
  ASSERT_EQ(calls.size(), 3u);
  EXPECT_EQ(calls[0].file, "libfftw3.so.3");
  EXPECT_EQ(calls[0].mode, RTLD_LAZY);
  EXPECT_EQ(calls[1].file, "libfftw3f.so.3");
  EXPECT_EQ(calls[2].file, "libfftw3.so.3");
  // The built-in backend does the work.
  expect_transforms<float>(false, 12);
  expect_transforms<double>(false, 7);
}

TEST_F(FftwLoader, IncompleteLibraryIsClosedAgainAndCountsAsAbsent) {
  start(FAKE_FFTW3_INCOMPLETE, FAKE_FFTW3F_INCOMPLETE);
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1), -1);
  EXPECT_EQ(option(MORVEX_M_OPT_FFTW3), 0u);
  EXPECT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), -1);
  EXPECT_EQ(option(MORVEX_M_OPT_FFTW3F), 0u);
  // Opened, found lacking, closed again: nothing of it stays mapped.
  const auto calls = loader::calls();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0].file, "libfftw3.so.3");
  EXPECT_EQ(calls[1].file, "libfftw3.so.3");
  EXPECT_EQ(calls[1].mode, -1);
  EXPECT_EQ(calls[3].file, "libfftw3f.so.3");
  EXPECT_EQ(calls[3].mode, -1);
  EXPECT_FALSE(kIncompleteD.mapped());
  EXPECT_FALSE(kIncompleteF.mapped());
  expect_transforms<double>(false, 12);
  expect_transforms<float>(false, 7);
}

TEST_F(FftwLoader, PresentLibraryDoesTheTransforms) {
  start(FAKE_FFTW3, FAKE_FFTW3F);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1), 0);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  EXPECT_EQ(option(MORVEX_M_OPT_FFTW3), 1u);
  EXPECT_EQ(option(MORVEX_M_OPT_FFTW3F), 1u);
  const FakeStats before = kFakeD.stats();
  for (uint64_t n : {1, 6, 7, 32}) {
    expect_transforms<double>(true, n);
    expect_transforms<float>(true, n);
  }
  // The plan and each one-shot call made, ran once as planned, and destroyed
  // an FFTW plan of their own.
  const FakeStats after = kFakeD.stats();
  EXPECT_EQ(after.planned - before.planned, 12);
  EXPECT_EQ(after.destroyed - before.destroyed, 12);
  EXPECT_EQ(after.executed - before.executed, 12);
  EXPECT_EQ(after.executed_new_arrays, before.executed_new_arrays);
  EXPECT_GT(kFakeF.stats().planned, 0);
}

TEST_F(FftwLoader, PlansAreMadeLazilyOnceAndReused) {
  start(FAKE_FFTW3, FAKE_FFTW3F);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1), 0);
  const uint64_t n = 12;
  std::vector<double> x = random_signal<double>(n, 1), x2 = random_signal<double>(n, 2);
  std::vector<std::complex<double>> X(7), X2(7), raw(7);
  ASSERT_EQ(morvex_m_dft_f64(x2.data(), n, c(raw.data()), 7), 0);
  const FakeStats s0 = kFakeD.stats();
  morvex_m_dft_plan* plan = nullptr;
  ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f64(x.data(), n, c(X.data()), 7, &plan), 0);
  EXPECT_NE(dynamic_cast<lib::fftw3::DFTR2C1DFFTW*>(backend(plan)), nullptr);
  EXPECT_EQ(kFakeD.stats().planned, s0.planned) << "creating a plan plans nothing yet";
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f64(plan, x.data(), n, c(X.data()), 7), 0);
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f64(plan, x2.data(), n, c(X2.data()), 7), 0);
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_divn_f64(plan, x2.data(), n, c(X2.data()), 7, 0), 0);
  const FakeStats s1 = kFakeD.stats();
  EXPECT_EQ(s1.planned - s0.planned, 1);
  EXPECT_EQ(s1.executed - s0.executed, 1);
  EXPECT_EQ(s1.executed_new_arrays - s0.executed_new_arrays, 2);
  EXPECT_EQ(X2[3], raw[3] / 12.0) << "the plan ran on the second signal";
  morvex_m_dft_plan_destroy(plan);
  EXPECT_EQ(kFakeD.stats().destroyed - s0.destroyed, 1);
}

TEST_F(FftwLoader, FailedPlanningIsFailedAndRetried) {
  start(FAKE_FFTW3, FAKE_FFTW3F);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  float x[8] = {1, 0, 0, 0, 0, 0, 0, 0};
  const std::complex<float> sentinel(-9, 9);
  std::complex<float> X[5] = {sentinel, sentinel, sentinel, sentinel, sentinel};
  morvex_m_dft_plan* plan = nullptr;
  ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f32(x, 8, c(X), 5, &plan), 0);
  kFakeF.fail_next_plans(1);
  EXPECT_EQ(morvex_m_dft_plan_execute_r2c_1d_f32(plan, x, 8, c(X), 5), MORVEX_M_FAILED);
  for (const auto& b : X) EXPECT_EQ(b, sentinel);
  EXPECT_EQ(morvex_m_dft_plan_execute_r2c_1d_f32(plan, x, 8, c(X), 5), 0);
  for (const auto& b : X) EXPECT_EQ(b, std::complex<float>(1, 0));
  morvex_m_dft_plan_destroy(plan);

  // A one-shot call whose planning fails: "Failed", and the planless backend
  // is still destroyed (FFTW is handed the null plan, which it accepts).
  const FakeStats s0 = kFakeF.stats();
  kFakeF.fail_next_plans(1);
  EXPECT_EQ(morvex_m_dft_divn_f32(x, 8, c(X), 5, 1), MORVEX_M_FAILED);
  EXPECT_EQ(kFakeF.stats().destroyed_null - s0.destroyed_null, 1);
  float y[8];
  kFakeF.fail_next_plans(1);
  EXPECT_EQ(morvex_m_idft_f32(c(X), 5, y, 8), MORVEX_M_FAILED);
}

TEST_F(FftwLoader, LoadsOnceAndStaysLoadedWhenSwitchedOff) {
  start(FAKE_FFTW3, FAKE_FFTW3F);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 0), 0);
  EXPECT_EQ(option(MORVEX_M_OPT_FFTW3F), 0u);
  EXPECT_TRUE(kFakeF.mapped());
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  EXPECT_EQ(option(MORVEX_M_OPT_FFTW3F), 1u);
  int opens = 0;
  for (const auto& call : loader::calls()) {
    opens += call.mode == RTLD_LAZY;
    EXPECT_EQ(call.file, "libfftw3f.so.3") << "the other precision is loaded only when asked for";
  }
  EXPECT_EQ(opens, 1);
}

TEST_F(FftwLoader, LastShutDownUnloadsSinglePrecisionFirst) {
  start(FAKE_FFTW3, FAKE_FFTW3F);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1), 0);   // double loaded first
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  double x[4] = {1, 1, 1, 1};
  std::complex<double> X[3];
  ASSERT_EQ(morvex_m_dft_f64(x, 4, c(X), 3), 0);
  const int planned = kFakeD.stats().planned;
  morvex_m_init();
  loader::reset_calls();
  morvex_m_fini();
  EXPECT_TRUE(loader::calls().empty()) << "only the last shut-down unloads";
  morvex_m_fini();
  const auto calls = loader::calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].file, "libfftw3f.so.3");
  EXPECT_EQ(calls[0].mode, -1);
  EXPECT_EQ(calls[1].file, "libfftw3.so.3");
  EXPECT_EQ(calls[1].mode, -1);
  // The next start-up does not load FFTW again: the options read off.
  morvex_m_init();
  EXPECT_EQ(option(MORVEX_M_OPT_FFTW3), 0u);
  EXPECT_EQ(option(MORVEX_M_OPT_FFTW3F), 0u);
  // FFTW itself stayed resident with its planner state: loading it again
  // finds the same instance, not a fresh copy.
  EXPECT_TRUE(kFakeD.mapped());
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1), 0);
  ASSERT_EQ(morvex_m_dft_f64(x, 4, c(X), 3), 0);
  EXPECT_EQ(kFakeD.stats().planned, planned + 1);
}

TEST_F(FftwLoader, PlanOutlivesTheLastShutDown) {
  start(FAKE_FFTW3, FAKE_FFTW3F);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1), 0);
  double x[6] = {1, 2, 3, 4, 5, 6};
  std::complex<double> X[4], Y[4];
  double back[6];
  morvex_m_dft_plan *plan = nullptr, *inv = nullptr;
  ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f64(x, 6, c(X), 4, &plan), 0);
  ASSERT_EQ(morvex_m_idft_plan_create_c2r_1d_f64(c(Y), 4, back, 6, &inv), 0);
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f64(plan, x, 6, c(X), 4), 0);
  morvex_m_fini();
  ASSERT_EQ(morvex::frame::init_count(), 0u);
  // Both plans still run (the inverse makes its FFTW plan only now) and are
  // destroyed by the library they were made with.
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f64(plan, x, 6, c(X), 4), 0);
  EXPECT_NEAR(X[0].real(), 21.0, 1e-12);
  std::copy(X, X + 4, Y);
  ASSERT_EQ(morvex_m_idft_plan_execute_c2r_1d_f64(inv, c(Y), 4, back, 6), 0);
  EXPECT_NEAR(back[5], 36.0, 1e-12);
  const int destroyed = kFakeD.stats().destroyed;
  morvex_m_dft_plan_destroy(plan);
  morvex_m_idft_plan_destroy(inv);
  EXPECT_EQ(kFakeD.stats().destroyed, destroyed + 2);
}

// Planning and plan destruction on many threads at once, in both precisions:
// the stand-in lingers in its planner and destroyer and records whether two
// threads were ever inside together.
TEST(FftwLoaderConcurrency, PlanningAndDestructionAreSerialisedPerPrecision) {
  ASSERT_EQ(morvex::frame::init_count(), 0u);
  loader::route(FAKE_FFTW3, FAKE_FFTW3F);
  morvex_m_init();
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1), 0);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  kFakeD.linger(300);
  kFakeF.linger(300);
  constexpr int kThreads = 4;
  std::vector<int> bad(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&bad, t] {
      const uint64_t n = 16 + t;
      const std::vector<double> xd = random_signal<double>(n, t);
      const std::vector<float> xf = random_signal<float>(n, t);
      std::vector<std::complex<double>> Xd(n / 2 + 1);
      std::vector<std::complex<float>> Xf(n / 2 + 1);
      for (int r = 0; r < 10; ++r) {
        morvex_m_dft_plan *pd = nullptr, *pf = nullptr;
        bad[t] += morvex_m_dft_plan_create_r2c_1d_f64(xd.data(), n, c(Xd.data()), Xd.size(), &pd) != 0;
        bad[t] += morvex_m_dft_plan_create_r2c_1d_f32(xf.data(), n, c(Xf.data()), Xf.size(), &pf) != 0;
        bad[t] += morvex_m_dft_plan_execute_r2c_1d_f64(pd, xd.data(), n, c(Xd.data()), Xd.size()) != 0;
        bad[t] += morvex_m_dft_plan_execute_r2c_1d_f32(pf, xf.data(), n, c(Xf.data()), Xf.size()) != 0;
        bad[t] += morvex_m_dft_f64(xd.data(), n, c(Xd.data()), Xd.size()) != 0;
        morvex_m_dft_plan_destroy(pd);
        morvex_m_dft_plan_destroy(pf);
      }
    });
  }
  for (auto& th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(bad[t], 0) << "thread " << t;
  const FakeStats d = kFakeD.stats(), f = kFakeF.stats();
  EXPECT_EQ(d.max_inside, 1);
  EXPECT_EQ(f.max_inside, 1);
  EXPECT_GE(d.planned, 2 * 10 * kThreads);
  EXPECT_GE(f.planned, 10 * kThreads);
  kFakeD.linger(0);
  kFakeF.linger(0);
  morvex_m_fini();
}

}  // namespace
