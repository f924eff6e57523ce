// SPDX-License-Identifier: MIT
// Uniform noise. The generator and the distributions are the standard
// library's (std::mt19937, uniform_int_distribution, uniform_real_distribution,
// generate_canonical), so a seed reproduces the same samples anywhere those
// are the same, and a caller can recreate a sequence without this library.
// A fresh generator per call keeps calls independent of each other and of
// the calling thread; the draws are sequential, so this runs on the caller.
#include <chrono>
#include <cstdint>
#include <limits>
#include <random>
#include <type_traits>

#include "generate/sample.h"
#include "morvex-m/generate.h"

namespace morvex::generate {

namespace {

std::mt19937 make_generator(const uint32_t* seed) {
  const uint32_t value =
      seed ? *seed : static_cast<uint32_t>(std::chrono::system_clock::now().time_since_epoch().count());
  return std::mt19937(value);
}

// A double in [0, 1) from two 32-bit draws, the first in the low half.
inline double canonical(std::mt19937& g) {
  return std::generate_canonical<double, std::numeric_limits<double>::digits>(g);
}

template <class T>
int32_t waveform_noise(T* data, uint64_t count, T low, T high, const uint32_t* seed) {
  if (count == 0) return 0;
  std::mt19937 g = make_generator(seed);
  if constexpr (kIntegerSample<T>) {
    std::uniform_int_distribution<int> d{int(low), int(high)};
    for (uint64_t i = 0; i < count; ++i) data[i] = static_cast<T>(d(g));
  } else {
    std::uniform_real_distribution<double> d{double(low), double(high)};
    for (uint64_t i = 0; i < count; ++i) data[i] = static_cast<T>(d(g));
  }
  return 0;
}

template <class T>
int32_t add_noise(T* data, uint64_t count, T amplitude, T lower, T upper, const uint32_t* seed) {
  if (count == 0) return 0;
  std::mt19937 g = make_generator(seed);
  const double width = 2.0 * double(amplitude), start = -double(amplitude);
  for (uint64_t i = 0; i < count; ++i) {
    const double v = canonical(g) * width + start + double(data[i]);
    data[i] = store_clamped_double(v, lower, upper);
  }
  return 0;
}

}  // namespace

}  // namespace morvex::generate

#define MORVEX_NOISE_DEFINE(T, S)                                                                    \
  int32_t morvex_m_waveform_noise_##S(T* data, uint64_t count, T low, T high, const uint32_t* seed) { \
    return morvex::generate::waveform_noise(data, count, low, high, seed);                           \
  }                                                                                                  \
  int32_t morvex_m_add_noise_##S(T* data, uint64_t count, T amplitude, T lower, T upper,             \
                                 const uint32_t* seed) {                                             \
    return morvex::generate::add_noise(data, count, amplitude, lower, upper, seed);                  \
  }

extern "C" {

MORVEX_NOISE_DEFINE(int16_t, i16)
MORVEX_NOISE_DEFINE(uint8_t, u8)
MORVEX_NOISE_DEFINE(uint16_t, u16)
MORVEX_NOISE_DEFINE(float, f32)
MORVEX_NOISE_DEFINE(double, f64)

}  // extern "C"
