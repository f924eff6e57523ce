// SPDX-License-Identifier: MIT
#include "dft/abstract_dft.h"

#include "frame/status.h"

namespace morvex::dft {

AbstractDFT::AbstractDFT(uint64_t input_count, uint64_t output_count)
    : input_count(input_count), input_alignment_(0), output_count(output_count), output_alignment_(0) {}

AbstractDFT::~AbstractDFT() = default;

bool AbstractDFT::matches_input_count(uint64_t count) const { return input_count == count; }
bool AbstractDFT::matches_output_count(uint64_t count) const { return output_count == count; }
int32_t AbstractDFT::alignment_of(const void*) const { return 0; }

void check_lengths(uint64_t n, uint64_t bins, uint64_t max_n) {
  // n/2+1 cannot overflow: n/2 is at most 2^63 - 1.
  if (bins != n / 2 + 1) throw StatusError(MORVEX_M_ERROR_DATA_LENGTH, "complex count is not n/2+1");
  if (n == 0 || n > max_n) throw StatusError(MORVEX_M_ERROR_DATA_LENGTH, "transform length out of range");
}

template <class T>
AbstractDFTR2C1D<T>::AbstractDFTR2C1D(uint64_t n, uint64_t out_count, uint64_t max_n) : AbstractDFT(n, out_count) {
  check_lengths(n, out_count, max_n);
}

template <class T>
Status AbstractDFTR2C1D<T>::executeDivN(const T* in, uint64_t n, Complex* out, uint64_t out_count, bool half) {
  if (const Status s = execute(in, n, out, out_count)) return s;
  if (!half) {
    const T d = T(n);
    for (uint64_t k = 0; k < out_count; ++k) out[k] /= d;
    return 0;
  }
  // One-sided amplitudes: bin 0 is halved and then every bin divided by n/2,
  // so bin 0 ends up divided by n and every other bin, the last one included,
  // by n/2. The divisor is formed in single precision in both backends so
  // that the two precisions scale by exactly the same number.
  out[0] *= T(0.5);
  const T d = T(float(n) * 0.5f);
  for (uint64_t k = 0; k < out_count; ++k) out[k] /= d;
  return 0;
}

template <class T>
AbstractIDFTC2R1D<T>::AbstractIDFTC2R1D(uint64_t in_count, uint64_t n, uint64_t max_n) : AbstractDFT(in_count, n) {
  check_lengths(n, in_count, max_n);
}

template class AbstractDFTR2C1D<float>;
template class AbstractDFTR2C1D<double>;
template class AbstractIDFTC2R1D<float>;
template class AbstractIDFTC2R1D<double>;

}  // namespace morvex::dft
