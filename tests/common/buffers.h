// Test buffers with chosen misalignment, random contents and bit-exact checks.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

namespace morvex::test {

// n elements of T starting `offset` elements past a 64-byte boundary, so that
// vector kernels see starts at every position within a vector.
template <class T>
class Buffer {
 public:
  explicit Buffer(size_t n, size_t offset = 0) : n_(n), raw_((n + offset) * sizeof(T) + 128) {
    const uintptr_t base = (reinterpret_cast<uintptr_t>(raw_.data()) + 63) & ~uintptr_t(63);
    data_ = reinterpret_cast<T*>(base) + offset;
  }
  T* data() { return data_; }
  const T* data() const { return data_; }
  size_t size() const { return n_; }
  T& operator[](size_t i) { return data_[i]; }
  const T& operator[](size_t i) const { return data_[i]; }
  T* begin() { return data_; }
  T* end() { return data_ + n_; }

 private:
  size_t n_;
  std::vector<unsigned char> raw_;
  T* data_;
};

template <class T>
bool same_bits(const T& a, const T& b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Expects a[i] and b[i] to have identical bits for every i (NaNs included);
// reports the first difference only.
template <class T>
::testing::AssertionResult all_same_bits(const T* a, const T* b, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    if (!same_bits(a[i], b[i])) {
      auto r = ::testing::AssertionFailure() << "first difference at index " << i << " of " << n << ": ";
      if constexpr (std::is_floating_point_v<T>)
        r << std::hexfloat << a[i] << " vs " << b[i];
      else
        r << +a[i] << " vs " << +b[i];
      return r;
    }
  }
  return ::testing::AssertionSuccess();
}

// Random values: integers over their whole range; floats mostly ordinary
// values of varied magnitude and sign, with a sprinkling of zeros of both
// signs, infinities, NaN and subnormals when `specials` is set.
template <class T>
void fill_random(T* p, size_t n, uint32_t seed, bool specials = true) {
  std::mt19937_64 rng(seed);
  if constexpr (std::is_integral_v<T>) {
    std::uniform_int_distribution<int64_t> d(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
    for (size_t i = 0; i < n; ++i) p[i] = T(d(rng));
  } else {
    std::uniform_real_distribution<double> mant(-1.0, 1.0);
    std::uniform_int_distribution<int> expo(-20, 20), pick(0, 49);
    const T special[] = {T(0.0), T(-0.0), std::numeric_limits<T>::infinity(),
                         -std::numeric_limits<T>::infinity(), std::numeric_limits<T>::quiet_NaN(),
                         std::numeric_limits<T>::denorm_min(), -std::numeric_limits<T>::min()};
    for (size_t i = 0; i < n; ++i) {
      const int k = pick(rng);
      if (specials && k < int(std::size(special)))
        p[i] = special[k];
      else
        p[i] = T(std::ldexp(mant(rng), expo(rng)));
    }
  }
}

}  // namespace morvex::test
