// SPDX-License-Identifier: MIT
// FFTW loading as the library does it, with FFTW present (a stand-in that
// computes the transforms directly), absent, and incomplete (the stand-in
// without its plan destroyer), whatever the machine has installed: the
// options, the files asked for and closed, lazy planning and plan reuse,
// failed planning, unloading at the last shut-down, and the planner lock.
//
// This binary replaces dlopen and dlclose (the library's objects are linked
// into it, so its calls land here): requests for the two FFTW file names go to
// the stand-in a test chooses, or fail as if FFTW were not installed, and are
// recorded. The tests start and stop the library themselves.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "dft/lib/eigen/eigen_dft.h"
#include "dft/lib/fftw3/fftw3_dft.h"
#include "dft_api.h"
#include "frame/lifecycle.h"

namespace {

struct Call {
  std::string file;  // the name asked for (opens) or the library closed (closes)
  int mode;          // dlopen mode; -1 for a close
};
std::string g_route_d, g_route_f;  // where the two names lead; "" for absent
std::mutex g_mutex; std::vector<Call> g_calls;
std::map<void*, std::string> g_names;  // handle -> the FFTW name it was opened as

void* real_dlopen(const char* file, int mode) {
  static const auto f = reinterpret_cast<void* (*)(const char*, int)>(dlsym(RTLD_NEXT, "dlopen"));
  return f(file, mode);
}
int real_dlclose(void* h) {
  static const auto f = reinterpret_cast<int (*)(void*)>(dlsym(RTLD_NEXT, "dlclose"));
  return f(h);
}
std::vector<Call> calls() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_calls;
}

}  // namespace

extern "C" void* dlopen(const char* file, int mode) noexcept {
  const std::string* target = !file ? nullptr : !std::strcmp(file, "libfftw3.so.3") ? &g_route_d
                                              : !std::strcmp(file, "libfftw3f.so.3") ? &g_route_f : nullptr;
  if (!target) return real_dlopen(file, mode);
  void* h = target->empty() ? nullptr : real_dlopen(target->c_str(), mode); std::lock_guard<std::mutex> lock(g_mutex);
  g_calls.push_back({file, mode});
  if (h) g_names[h] = file;
  return h;
}

extern "C" int dlclose(void* handle) noexcept {
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (const auto it = g_names.find(handle); it != g_names.end()) g_calls.push_back({it->second, -1});
  }
  return real_dlclose(handle);
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

namespace {

using namespace morvex::test::dft;
namespace lib = morvex::dft::lib;

struct FakeStats {
  int planned, destroyed, destroyed_null, executed, executed_new_arrays, max_inside;
};

// One stand-in library, opened behind the library's back only for the moment
// of each call, so that the test never keeps it loaded itself.
class Fake {
 public:
  explicit Fake(const char* path) : path_(path) {}
  bool mapped() const {
    void* h = real_dlopen(path_, RTLD_LAZY | RTLD_NOLOAD);
    return h && !real_dlclose(h);
  }
  FakeStats stats() const { return call<FakeStats>("fake_fftw_stats"); }
  void fail_next_plans(int count) const { call<void>("fake_fftw_fail_next_plans", count); }
  void linger(int us) const { call<void>("fake_fftw_linger", us); }

 private:
  template <class R, class... A>
  R call(const char* name, A... args) const {
    void* h = real_dlopen(path_, RTLD_LAZY | RTLD_NOLOAD);
    if (!h) throw std::runtime_error(std::string(path_) + " is not loaded");
    struct Closer {
      void* h;
      ~Closer() { real_dlclose(h); }
    } closer{h};
    return reinterpret_cast<R (*)(A...)>(dlsym(h, name))(args...);
  }
  const char* path_;
};
const Fake kFakeD(FAKE_FFTW3), kFakeF(FAKE_FFTW3F), kIncompleteD(FAKE_FFTW3_INCOMPLETE), kIncompleteF(FAKE_FFTW3F_INCOMPLETE);

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
    g_route_d = d, g_route_f = f; g_calls.clear(); morvex_m_init();
  }
  void TearDown() override {
    while (morvex::frame::init_count() > 0) morvex_m_fini();
  }
  // A forward plan on the backend expected, agreeing to the bit with a
  // one-shot transform; the inverse gives back n times the signal.
  template <class T>
  void expect_transforms(bool on_fftw, uint64_t n) {
    const std::vector<T> x = random_signal<T>(n, uint32_t(n));
    std::vector<std::complex<T>> X(n / 2 + 1), P(n / 2 + 1); std::vector<T> y(n); morvex_m_dft_plan* plan = nullptr;
    ASSERT_EQ(Api<T>::create(x.data(), n, c(P.data()), P.size(), &plan), 0);
    EXPECT_EQ(dynamic_cast<lib::eigen::DFTR2C1D<T>*>(backend(plan)) == nullptr, on_fftw);
    ASSERT_EQ(Api<T>::execute(plan, x.data(), n, c(P.data()), P.size()) | Api<T>::dft(x.data(), n, c(X.data()), X.size()) |
                  Api<T>::idft(c(X.data()), X.size(), y.data(), n), 0);
    morvex_m_dft_plan_destroy(plan);
    EXPECT_EQ(X, P) << "n " << n;
    for (size_t j = 0; j < n; ++j) EXPECT_NEAR(double(y[j]), double(n) * double(x[j]), 1e-4 * double(n)) << "n " << n;
  }
};

TEST_F(FftwLoader, AbsentOrIncompleteLibraryLeavesTheOptionsOff) {
  for (bool incomplete : {false, true}) {
    start(incomplete ? FAKE_FFTW3_INCOMPLETE : "", incomplete ? FAKE_FFTW3F_INCOMPLETE : "");
    for (int32_t id : {MORVEX_M_OPT_FFTW3, MORVEX_M_OPT_FFTW3F, MORVEX_M_OPT_FFTW3}) {
      EXPECT_EQ(morvex_m_setopt(id, 1), -1); EXPECT_EQ(option(id), 0u);
    }
    // Asked for by name, lazily, at every request; an incomplete library is
    // closed again at once, and nothing of it stays mapped.
    const std::vector<Call> c = calls(); std::vector<std::pair<std::string, int>> got, want;
    for (const Call& k : c) got.push_back({k.file, k.mode});
    for (const char* f : {"libfftw3.so.3", "libfftw3f.so.3", "libfftw3.so.3"}) {
      want.push_back({f, RTLD_LAZY});
      if (incomplete) want.push_back({f, -1});
    }
    EXPECT_EQ(got, want); EXPECT_FALSE(kIncompleteD.mapped() || kIncompleteF.mapped());
    expect_transforms<float>(false, 12); expect_transforms<double>(false, 7); TearDown();
  }
}

TEST_F(FftwLoader, PresentLibraryDoesTheTransformsAndPlansLazilyOnce) {
  start(FAKE_FFTW3, FAKE_FFTW3F);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1) | morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  EXPECT_TRUE(option(MORVEX_M_OPT_FFTW3) == 1 && option(MORVEX_M_OPT_FFTW3F) == 1);
  FakeStats s0 = kFakeD.stats();
  for (uint64_t n : {1, 6, 7, 32}) expect_transforms<double>(true, n), expect_transforms<float>(true, n);
  // The plan and each one-shot call made, ran once as planned and destroyed an FFTW plan of their own.
  FakeStats s1 = kFakeD.stats();
  EXPECT_TRUE(s1.planned - s0.planned == 12 && s1.destroyed - s0.destroyed == 12 && s1.executed - s0.executed == 12 &&
              s1.executed_new_arrays == s0.executed_new_arrays && kFakeF.stats().planned > 0);
  // A plan makes its FFTW plan at its first execution, then runs it on other arrays.
  const uint64_t n = 12; std::vector<double> x = random_signal<double>(n, 1), x2 = random_signal<double>(n, 2);
  std::vector<std::complex<double>> X(7), X2(7), raw(7);
  ASSERT_EQ(morvex_m_dft_f64(x2.data(), n, c(raw.data()), 7), 0);
  s0 = kFakeD.stats(); morvex_m_dft_plan* plan = nullptr;
  ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f64(x.data(), n, c(X.data()), 7, &plan), 0);
  EXPECT_EQ(kFakeD.stats().planned, s0.planned) << "creating a plan plans nothing yet";
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f64(plan, x.data(), n, c(X.data()), 7) |
                morvex_m_dft_plan_execute_r2c_1d_f64(plan, x2.data(), n, c(X2.data()), 7) |
                morvex_m_dft_plan_execute_r2c_1d_divn_f64(plan, x2.data(), n, c(X2.data()), 7, 0), 0);
  s1 = kFakeD.stats();
  EXPECT_TRUE(s1.planned - s0.planned == 1 && s1.executed - s0.executed == 1 && s1.executed_new_arrays - s0.executed_new_arrays == 2);
  EXPECT_EQ(X2[3], raw[3] / 12.0) << "the plan ran on the second signal";
  morvex_m_dft_plan_destroy(plan);
  EXPECT_EQ(kFakeD.stats().destroyed - s0.destroyed, 1);
}

TEST_F(FftwLoader, FailedPlanningIsFailedAndRetried) {
  start(FAKE_FFTW3, FAKE_FFTW3F);
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  float x[8] = {1, 0, 0, 0, 0, 0, 0, 0}, y[8];
  const std::complex<float> sentinel(-9, 9); std::vector<std::complex<float>> X(5, sentinel);
  morvex_m_dft_plan* plan = nullptr;
  ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f32(x, 8, c(X.data()), 5, &plan), 0);
  kFakeF.fail_next_plans(1);
  EXPECT_EQ(morvex_m_dft_plan_execute_r2c_1d_f32(plan, x, 8, c(X.data()), 5), MORVEX_M_FAILED);
  EXPECT_EQ(X, std::vector<std::complex<float>>(5, sentinel)) << "nothing written";
  EXPECT_EQ(morvex_m_dft_plan_execute_r2c_1d_f32(plan, x, 8, c(X.data()), 5), 0);
  EXPECT_EQ(X, std::vector<std::complex<float>>(5, 1.0f));
  morvex_m_dft_plan_destroy(plan);
  // A one-shot call whose planning fails: "Failed", and the planless backend
  // is still destroyed (FFTW is handed the null plan, which it accepts).
  const FakeStats s0 = kFakeF.stats(); kFakeF.fail_next_plans(1);
  EXPECT_EQ(morvex_m_dft_divn_f32(x, 8, c(X.data()), 5, 1), MORVEX_M_FAILED);
  EXPECT_EQ(kFakeF.stats().destroyed_null - s0.destroyed_null, 1);
  kFakeF.fail_next_plans(1);
  EXPECT_EQ(morvex_m_idft_f32(c(X.data()), 5, y, 8), MORVEX_M_FAILED);
}

TEST_F(FftwLoader, LoadedOnceKeptWhenSwitchedOffUnloadedAtTheLastShutDown) {
  start(FAKE_FFTW3, FAKE_FFTW3F);
  for (int32_t on : {1, 1, 0}) ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, on), 0);
  EXPECT_TRUE(option(MORVEX_M_OPT_FFTW3F) == 0 && kFakeF.mapped());
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  int opens = 0;
  for (const Call& k : calls()) {
    opens += k.mode == RTLD_LAZY;
    EXPECT_EQ(k.file, "libfftw3f.so.3") << "only the precision asked for";
  }
  EXPECT_EQ(opens, 1); ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1), 0);
  double x[6] = {1, 2, 3, 4, 5, 6}, back[6];
  std::complex<double> X[4], Y[4]; morvex_m_dft_plan *plan = nullptr, *inv = nullptr;
  ASSERT_EQ(morvex_m_dft_plan_create_r2c_1d_f64(x, 6, c(X), 4, &plan) | morvex_m_idft_plan_create_c2r_1d_f64(c(Y), 4, back, 6, &inv) |
                morvex_m_dft_plan_execute_r2c_1d_f64(plan, x, 6, c(X), 4), 0);
  const int planned = kFakeD.stats().planned; morvex_m_init(); g_calls.clear(); morvex_m_fini();
  EXPECT_TRUE(calls().empty()) << "only the last shut-down unloads";
  morvex_m_fini(); const std::vector<Call> c2 = calls();
  ASSERT_EQ(c2.size(), 2u);
  EXPECT_TRUE(c2[0].file == "libfftw3f.so.3" && c2[0].mode == -1 && c2[1].file == "libfftw3.so.3" && c2[1].mode == -1);
  // The plans outlive it: both still run (the inverse makes its FFTW plan only
  // now) and are destroyed by the library they were made with.
  ASSERT_EQ(morvex_m_dft_plan_execute_r2c_1d_f64(plan, x, 6, c(X), 4), 0); EXPECT_NEAR(X[0].real(), 21.0, 1e-12);
  std::copy(X, X + 4, Y);
  ASSERT_EQ(morvex_m_idft_plan_execute_c2r_1d_f64(inv, c(Y), 4, back, 6), 0); EXPECT_NEAR(back[5], 36.0, 1e-12);
  const int destroyed = kFakeD.stats().destroyed; morvex_m_dft_plan_destroy(plan), morvex_m_idft_plan_destroy(inv);
  EXPECT_EQ(kFakeD.stats().destroyed, destroyed + 2);
  // The next start-up loads nothing (the options read off); FFTW stayed
  // resident with its planner state, so loading it again finds the same instance.
  morvex_m_init();
  EXPECT_TRUE(option(MORVEX_M_OPT_FFTW3) == 0 && option(MORVEX_M_OPT_FFTW3F) == 0 && kFakeD.mapped());
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1) | morvex_m_dft_f64(x, 4, c(X), 3), 0);
  EXPECT_EQ(kFakeD.stats().planned, planned + 2);
}

// Planning and plan destruction on many threads at once, in both precisions:
// the stand-in lingers in its planner and destroyer and records whether two
// threads were ever inside together.
TEST(FftwLoaderConcurrency, PlanningAndDestructionAreSerialisedPerPrecision) {
  ASSERT_EQ(morvex::frame::init_count(), 0u);
  g_route_d = FAKE_FFTW3, g_route_f = FAKE_FFTW3F; morvex_m_init();
  ASSERT_EQ(morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1) | morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1), 0);
  kFakeD.linger(300), kFakeF.linger(300); std::vector<int> bad(4, 0); std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&bad, t] {
      const uint64_t n = 16 + t; const std::vector<double> xd = random_signal<double>(n, t);
      const std::vector<float> xf = random_signal<float>(n, t); std::vector<std::complex<double>> Xd(n / 2 + 1);
      std::vector<std::complex<float>> Xf(n / 2 + 1);
      for (int r = 0; r < 10; ++r) {
        morvex_m_dft_plan *pd = nullptr, *pf = nullptr;
        bad[t] += (morvex_m_dft_plan_create_r2c_1d_f64(xd.data(), n, c(Xd.data()), Xd.size(), &pd) |
                   morvex_m_dft_plan_create_r2c_1d_f32(xf.data(), n, c(Xf.data()), Xf.size(), &pf) |
                   morvex_m_dft_plan_execute_r2c_1d_f64(pd, xd.data(), n, c(Xd.data()), Xd.size()) |
                   morvex_m_dft_plan_execute_r2c_1d_f32(pf, xf.data(), n, c(Xf.data()), Xf.size()) |
                   morvex_m_dft_f64(xd.data(), n, c(Xd.data()), Xd.size())) != 0;
        morvex_m_dft_plan_destroy(pd), morvex_m_dft_plan_destroy(pf);
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(bad, std::vector<int>(4, 0));
  const FakeStats d = kFakeD.stats(), f = kFakeF.stats();
  EXPECT_TRUE(d.max_inside == 1 && f.max_inside == 1 && d.planned >= 80 && f.planned >= 40);
  kFakeD.linger(0), kFakeF.linger(0); morvex_m_fini();
}

}  // namespace
