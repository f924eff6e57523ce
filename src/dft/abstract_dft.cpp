#include "dft/abstract_dft.h"

#include "frame/status.h"

namespace morvex::dft {

AbstractDFT::AbstractDFT(uint64_t inputCount_, uint64_t outputCount_)
    : inputCount(inputCount_), inputAlignment(0), outputCount(outputCount_), outputAlignment(0) {}

AbstractDFT::~AbstractDFT() = default;

bool AbstractDFT::matchesInputCount(uint64_t count) const { return inputCount == count; }
bool AbstractDFT::matchesOutputCount(uint64_t count) const { return outputCount == count; }
int32_t AbstractDFT::alignmentOf(const void*) const { return 0; }

void checkLengths(uint64_t n, uint64_t bins, uint64_t maxN) {
  // n/2+1 cannot overflow: n/2 is at most 2^63 - 1.
  if (bins != n / 2 + 1) throw StatusError(MORVEX_M_ERROR_DATA_LENGTH, "complex count is not n/2+1");
  if (n == 0 || n > maxN) throw StatusError(MORVEX_M_ERROR_DATA_LENGTH, "transform length out of range");
}

template <class T>
AbstractDFTR2C1D<T>::AbstractDFTR2C1D(uint64_t n, uint64_t outCount, uint64_t maxN) : AbstractDFT(n, outCount) {
  checkLengths(n, outCount, maxN);
}

template <class T>
Status AbstractDFTR2C1D<T>::executeDivN(const T* in, uint64_t n, Complex* out, uint64_t outCount, bool half) {
  if (const Status s = execute(in, n, out, outCount)) return s;
  if (!half) {
    const T d = T(n);
    for (uint64_t k = 0; k < outCount; ++k) out[k] /= d;
    return 0;
  }
  // One-sided amplitudes: bin 0 is halved and then every bin divided by n/2,
  // so bin 0 ends up divided by n and every other bin, the last one included,
  // by n/2. The divisor is formed in single precision in both backends so
  // that the two precisions scale by exactly the same number.
  out[0] *= T(0.5);
  const T d = T(float(n) * 0.5f);
  for (uint64_t k = 0; k < outCount; ++k) out[k] /= d;
  return 0;
}

template <class T>
AbstractIDFTC2R1D<T>::AbstractIDFTC2R1D(uint64_t inCount, uint64_t n, uint64_t maxN) : AbstractDFT(inCount, n) {
  checkLengths(n, inCount, maxN);
}

template class AbstractDFTR2C1D<float>;
template class AbstractDFTR2C1D<double>;
template class AbstractIDFTC2R1D<float>;
template class AbstractIDFTC2R1D<double>;

}  // namespace morvex::dft
