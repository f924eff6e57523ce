// SPDX-License-Identifier: MIT
// Test buffers with a chosen misalignment, and bit-exact comparisons.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>
#include <vector>

#include "common/kernel_table.h"

namespace morvex::test {

// n elements of T starting `offset` elements past a 64-byte boundary.
template <class T>
class Buffer {
 public:
  explicit Buffer(size_t n, size_t offset = 0) : n_(n), raw_((n + offset) * sizeof(T) + 128) {
    data_ = reinterpret_cast<T*>((reinterpret_cast<uintptr_t>(raw_.data()) + 63) & ~uintptr_t(63)) + offset;
  }
  T* data() { return data_; }
  T& operator[](size_t i) { return data_[i]; }
  T* begin() { return data_; }
  T* end() { return data_ + n_; }

 private:
  size_t n_;
  std::vector<unsigned char> raw_;
  T* data_;
};

template <class T>
bool same_bits(const T& a, const T& b) { return std::memcmp(&a, &b, sizeof(T)) == 0; }

// a[i] and b[i] have identical bits for every i (NaNs included); names the first difference.
template <class T>
::testing::AssertionResult all_same_bits(const T* a, const T* b, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (!same_bits(a[i], b[i])) {
      auto r = ::testing::AssertionFailure() << "first difference at index " << i << " of " << n << ": ";
      if constexpr (std::is_floating_point_v<T>) return r << std::hexfloat << a[i] << " vs " << b[i];
      else return r << +a[i] << " vs " << +b[i];
    }
  return ::testing::AssertionSuccess();
}

}  // namespace morvex::test
