// Allocation failure: every allocation a transform export makes is failed in
// turn; each must come back as "Out of memory" with nothing leaked (the
// sanitizer build checks leaks), and the plan must work afterwards.
#include <gtest/gtest.h>

#include <complex>
#include <cstdlib>
#include <new>
#include <vector>

#include "morvex-m.h"
#include "reference.h"

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

// Runs op with the k-th allocation failing, k = 0, 1, ... until op succeeds;
// every earlier run must report -3. Returns how many runs failed. op must
// allocate nothing itself besides the export it calls.
template <class Op>
int fail_each_allocation(Op op) {
  for (long k = 0; k < 10000; ++k) {
    t_fail_in = k;
    const int32_t st = op();
    const bool tripped = t_fail_in < 0;
    t_fail_in = -1;
    if (!tripped) {
      EXPECT_EQ(st, 0) << "with no allocation failing";
      return int(k);
    }
    EXPECT_EQ(st, MORVEX_M_OUT_OF_MEMORY) << "with allocation " << k << " failing";
    if (st != MORVEX_M_OUT_OF_MEMORY) return int(k);
  }
  ADD_FAILURE() << "never succeeded";
  return -1;
}

template <class T>
void expect_out_of_memory_statuses(uint64_t n) {
  SCOPED_TRACE(::testing::Message() << "n = " << n);
  const uint64_t bins = n / 2 + 1;
  const std::vector<T> x = random_signal<T>(n, 9);
  std::vector<std::complex<T>> X(bins), ref(bins);
  std::vector<T> y(n);
  ASSERT_EQ(Api<T>::dft(x.data(), n, c(ref.data()), bins), 0);

  EXPECT_GT(fail_each_allocation([&] { return Api<T>::dft(x.data(), n, c(X.data()), bins); }), 0);
  EXPECT_EQ(X, ref);
  EXPECT_GT(fail_each_allocation([&] { return Api<T>::dft_divn(x.data(), n, c(X.data()), bins, 1); }), 0);
  std::vector<std::complex<T>> in(bins);
  EXPECT_GT(fail_each_allocation([&] {
              std::copy(ref.begin(), ref.end(), in.begin());  // an FFTW inverse overwrites it
              return Api<T>::idft(c(in.data()), bins, y.data(), n);
            }),
            0);

  morvex_m_dft_plan* plan = nullptr;
  int stale = 0;
  EXPECT_GT(fail_each_allocation([&] {
              const int32_t st = Api<T>::create(x.data(), n, c(X.data()), bins, &plan);
              stale += st != 0 && plan != nullptr;
              return st;
            }),
            0);
  EXPECT_EQ(stale, 0) << "a failed create left a plan behind";
  ASSERT_NE(plan, nullptr);
  // The first execution builds the backend's tables. A failure part-way must
  // leave no half-built table behind: the run that finally succeeds, and
  // every later one, gives the right bins.
  fail_each_allocation([&] { return Api<T>::execute(plan, x.data(), n, c(X.data()), bins); });
  EXPECT_EQ(X, ref);
  ASSERT_EQ(Api<T>::execute(plan, x.data(), n, c(X.data()), bins), 0);
  EXPECT_EQ(X, ref);
  morvex_m_dft_plan_destroy(plan);
}

TEST(DftMemory, AllocationFailureIsOutOfMemory) {
  BackendScope eigen(Backend::Eigen);
  // Lengths through each path of the built-in backend: a multiple of 4, an
  // even length that is not, an odd one with a radix above 5.
  for (uint64_t n : {64, 30, 77}) {
    expect_out_of_memory_statuses<float>(n);
    expect_out_of_memory_statuses<double>(n);
  }
}

TEST(DftMemory, AllocationFailureOnFftw) {
  MORVEX_DFT_SELECT_BACKEND(Backend::Fftw);
  // FFTW allocates with its own allocator; the library's own allocations
  // (the backend object) still fail cleanly.
  expect_out_of_memory_statuses<float>(48);
  expect_out_of_memory_statuses<double>(48);
}

}  // namespace
