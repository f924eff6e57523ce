// The generator exports of one element type, reachable from typed tests.
#pragma once

#include <cstdint>
#include <vector>

#include "frame/split.h"
#include "morvex-m.h"

namespace morvex::test {

template <class T>
struct Gen;

#define MORVEX_TEST_GEN(T, S)                                                                  \
  template <>                                                                                  \
  struct Gen<T> {                                                                              \
    static constexpr auto cosine = morvex_m_waveform_cosine_##S;                               \
    static constexpr auto triangle = morvex_m_waveform_triangle_##S;                           \
    static constexpr auto square = morvex_m_waveform_square_##S;                               \
    static constexpr auto noise = morvex_m_waveform_noise_##S;                                 \
    static constexpr auto add_noise = morvex_m_add_noise_##S;                                  \
  };
MORVEX_TEST_GEN(int16_t, i16)
MORVEX_TEST_GEN(uint8_t, u8)
MORVEX_TEST_GEN(uint16_t, u16)
MORVEX_TEST_GEN(float, f32)
MORVEX_TEST_GEN(double, f64)
#undef MORVEX_TEST_GEN

using SampleTypes = ::testing::Types<int16_t, uint8_t, uint16_t, float, double>;

// Pins the splitter's thread count for the life of the object.
class PinnedThreads {
 public:
  explicit PinnedThreads(unsigned h) { frame::set_split_thread_count(h); }
  ~PinnedThreads() { frame::set_split_thread_count(0); }
};

inline const std::vector<unsigned>& thread_counts() {
  static const std::vector<unsigned> counts{1, 2, 3, 4, 7, 16};
  return counts;
}

}  // namespace morvex::test
