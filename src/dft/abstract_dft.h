// SPDX-License-Identifier: MIT
// The transform backends' interfaces. A plan handed to callers is one of these
// objects: the plan exports check counts and alignment through AbstractDFT and
// find the direction and precision by a run-time type cast to one of the two
// interfaces below.
#pragma once

#include <complex>
#include <cstdint>
#include <typeinfo>

namespace morvex::dft {

using Status = int32_t;

// Root of every backend: the counts and alignment classes of the two arrays
// a backend was made for. A plan may later run on other arrays only if they
// match these.
class AbstractDFT {
 public:
  virtual ~AbstractDFT();

  virtual bool matches_input_count(uint64_t count) const;
  virtual bool matches_output_count(uint64_t count) const;
  // The alignment class of p as this backend sees it: 0 for backends that
  // accept any address, FFTW's own class for FFTW plans.
  virtual int32_t alignment_of(const void* p) const;

  // The alignment classes recorded at creation.
  int32_t input_alignment() const { return input_alignment_; }
  int32_t output_alignment() const { return output_alignment_; }

  // The interface that the plan exports' run-time type cast last found this
  // plan to have, or null (plan.cpp): a plan's type never changes, so the
  // cast is made once per plan and interface.
  const std::type_info* cast_found() const { return cast_found_; }
  void remember_cast(const std::type_info* interface) { cast_found_ = interface; }

  AbstractDFT(const AbstractDFT&) = delete;
  AbstractDFT& operator=(const AbstractDFT&) = delete;

 protected:
  AbstractDFT(uint64_t input_count, uint64_t output_count);

  uint64_t input_count;      // n real samples (forward) or n/2+1 bins (inverse)
  int32_t input_alignment_;  // recorded at creation; 0 unless a backend sets it
  uint64_t output_count;     // n/2+1 bins (forward) or n real samples (inverse)
  int32_t output_alignment_;

 private:
  const std::type_info* cast_found_ = nullptr;
};

// Checks the lengths of a real transform of n samples with `bins` complex
// bins: bins must be n/2+1, and n between 1 and max_n (the largest length the
// backend computes correctly). Raises StatusError(-2) otherwise.
void check_lengths(uint64_t n, uint64_t bins, uint64_t max_n);

// Forward real-to-complex transform: n samples to n/2+1 bins, unnormalised.
template <class T>
class AbstractDFTR2C1D : public AbstractDFT {
 public:
  using Real = T;
  using Complex = std::complex<T>;

  virtual Status execute(const T* in, uint64_t n, Complex* out, uint64_t out_count) = 0;
  // execute, then divide by n (half false) or scale to one-sided amplitudes
  // (half true: bin 0 divided by n, every other bin by n/2).
  virtual Status executeDivN(const T* in, uint64_t n, Complex* out, uint64_t out_count, bool half);

 protected:
  AbstractDFTR2C1D(uint64_t n, uint64_t out_count, uint64_t max_n);
};

// Inverse complex-to-real transform: n/2+1 bins to n samples, unnormalised
// (a forward then an inverse transform returns n times the signal).
template <class T>
class AbstractIDFTC2R1D : public AbstractDFT {
 public:
  using Real = T;
  using Complex = std::complex<T>;

  virtual Status execute(Complex* in, uint64_t in_count, T* out, uint64_t n) = 0;

 protected:
  AbstractIDFTC2R1D(uint64_t in_count, uint64_t n, uint64_t max_n);
};

extern template class AbstractDFTR2C1D<float>;
extern template class AbstractDFTR2C1D<double>;
extern template class AbstractIDFTC2R1D<float>;
extern template class AbstractIDFTC2R1D<double>;

}  // namespace morvex::dft
