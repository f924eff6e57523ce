// Allocation failure: every allocation a transform export makes is failed in
// turn; each must come back as "Out of memory" with nothing leaked (the
// sanitizer build checks leaks) and nothing half-built left behind.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

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

// Runs op with the k-th allocation failing, k = 0, 1, ... until op succeeds;
// every earlier run must report -3. Returns how many runs failed.
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
  return -1;
}

template <class T>
void expect_out_of_memory(uint64_t n) {
  SCOPED_TRACE(::testing::Message() << "n = " << n);
  const uint64_t bins = n / 2 + 1;
  const std::vector<T> x = random_signal<T>(n, 9);
  std::vector<std::complex<T>> X(bins), ref(bins), in(bins);
  std::vector<T> y(n);
  ASSERT_EQ(Api<T>::dft(x.data(), n, c(ref.data()), bins), 0);
  EXPECT_GT(fail_each_allocation([&] { return Api<T>::dft(x.data(), n, c(X.data()), bins); }), 0);
  EXPECT_EQ(X, ref);
  EXPECT_GT(fail_each_allocation([&] { return Api<T>::dft_divn(x.data(), n, c(X.data()), bins, 1); }), 0);
  EXPECT_GT(fail_each_allocation([&] {
              in = ref;  // an FFTW inverse overwrites its input
              return Api<T>::idft(c(in.data()), bins, y.data(), n);
            }), 0);
  morvex_m_dft_plan* plan = nullptr;
  int stale = 0;
  EXPECT_GT(fail_each_allocation([&] {
              const int32_t st = Api<T>::create(x.data(), n, c(X.data()), bins, &plan);
              stale += st != 0 && plan != nullptr;
              return st;
            }), 0);
  EXPECT_EQ(stale, 0) << "a failed create left a plan behind";
  // The first execution builds the backend's tables: a failure part-way must
  // leave none half-built, so the run that succeeds and every later one agree.
  fail_each_allocation([&] { return Api<T>::execute(plan, x.data(), n, c(X.data()), bins); });
  EXPECT_EQ(X, ref);
  ASSERT_EQ(Api<T>::execute(plan, x.data(), n, c(X.data()), bins), 0);
  EXPECT_EQ(X, ref);
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
  MORVEX_DFT_SELECT_BACKEND(Backend::Fftw);
  expect_out_of_memory<float>(48);
  expect_out_of_memory<double>(48);
}

}  // namespace
