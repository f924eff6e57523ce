// SPDX-License-Identifier: MIT
// The filter state: up to three equivalent representations of one filter
// (zeros/poles/gain, transfer function, second-order sections), each derived
// on first demand and then kept, plus the executor that filters samples.
#pragma once

#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

#include "morvex-m/filter.h"

namespace morvex {

namespace FilterState::IIR {

// Zeros, poles and overall gain.
struct ZPK {
  std::vector<std::complex<double>> z;
  std::vector<std::complex<double>> p;
  double k = 1.0;
};

// Numerator and denominator in powers of z^-1, leading coefficient first.
struct TF {
  std::vector<double> b;
  std::vector<double> a;
};

// Second-order sections in cascade order, each b0 b1 b2 a0 a1 a2, and the
// same coefficients as one flat array (what the caller is handed).
struct SOS {
  std::vector<std::vector<double>> sections;
  std::vector<double> flat;
};

}  // namespace FilterState::IIR

namespace Filter {

// Root of the executors. reset re-arms the delay line: true makes the next
// non-empty execute start from the steady state for its first sample, false
// clears the delay line.
class AbstractFilter {
 public:
  virtual ~AbstractFilter() = default;
  virtual void reset(bool steady_start) = 0;
};

namespace IIR {

template <class T>
class AbstractFilterIIR : public AbstractFilter {
 public:
  void reset(bool steady_start) override = 0;
  // Filters count samples; input may equal output. Returns a status.
  virtual int32_t execute(const T* input, T* output, uint64_t count) = 0;
};

template <class T>
class AbstractFilterIIRSOS : public AbstractFilterIIR<T> {
 public:
  void reset(bool steady_start) override = 0;
  int32_t execute(const T* input, T* output, uint64_t count) override = 0;
};

}  // namespace IIR
}  // namespace Filter

namespace def {

// The cascade of second-order sections in transposed direct form II. The
// name is historical and kept as it is.
template <class T>
class FitlerIIRSOS final : public Filter::IIR::AbstractFilterIIRSOS<T> {
 public:
  // Throws std::invalid_argument for a section without exactly six
  // coefficients.
  explicit FitlerIIRSOS(const FilterState::IIR::SOS& sos);

  void reset(bool steady_start) override;
  int32_t execute(const T* input, T* output, uint64_t count) override;

 private:
  uint64_t section_count;
  std::vector<T> delay_line;    // 2 per section
  std::vector<T> coefficients;  // 6 per section, b0 b1 b2 a0 a1 a2
  std::vector<T> steady_state;  // 2 per section, for a unit constant input
  bool start_pending;
};

extern template class FitlerIIRSOS<float>;
extern template class FitlerIIRSOS<double>;

}  // namespace def

namespace filter {

using ZpkPtr = std::shared_ptr<const FilterState::IIR::ZPK>;
using TfPtr = std::shared_ptr<const FilterState::IIR::TF>;
using SosPtr = std::shared_ptr<const FilterState::IIR::SOS>;

// Steady-state delay-line values of a cascade for a unit constant input, two
// per section, in double precision: each section's pair is scaled by the
// zero-frequency gain of the sections before it.
std::vector<double> steady_state(const FilterState::IIR::SOS& sos);

}  // namespace filter
}  // namespace morvex

// The handle the exports pass around. The representation fields are only
// touched through the atomic shared-pointer operations (std::atomic_load,
// std::atomic_compare_exchange_strong_explicit, std::atomic_store), so
// queries may run concurrently; the executor is owned and used by one thread
// at a time. (std::atomic<std::shared_ptr> of GCC 12 would do as well, but
// its load releases its internal lock with a relaxed store, which the thread
// sanitizer rightly cannot order against the next writer.)
struct morvex_m_filter_state {
  morvex::filter::ZpkPtr zpk;
  morvex::filter::TfPtr tf;
  morvex::filter::SosPtr sos;
  morvex::Filter::AbstractFilter* filter = nullptr;
  bool steady_start = false;

  morvex_m_filter_state() = default;
  morvex_m_filter_state(const morvex_m_filter_state&) = delete;
  morvex_m_filter_state& operator=(const morvex_m_filter_state&) = delete;
  // Executor first, then the representations in the order sos, tf, zpk.
  ~morvex_m_filter_state();
};

namespace morvex::filter {

// The representation accessors: the stored record, or one derived from the
// others and published (the first publisher wins; every caller gets the
// record that stands in the state). Empty when nothing can be derived.
// Derivation failures (bad TF, unpairable roots, allocation) throw.
ZpkPtr get_zpk(morvex_m_filter_state& st);
TfPtr get_tf(morvex_m_filter_state& st);
SosPtr get_sos(morvex_m_filter_state& st);

}  // namespace morvex::filter
