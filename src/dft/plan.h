// The C++ side of the transform exports: size rule, backend choice, the
// checks of plan execution, and the translation of every failure into a
// status (no exception leaves an export).
#pragma once

#include <cstdint>
#include <memory>

#include "dft/abstract_dft.h"

struct morvex_m_dft_plan;  // the public opaque handle: an AbstractDFT in disguise

namespace morvex::dft {

inline AbstractDFT* fromHandle(morvex_m_dft_plan* p) { return reinterpret_cast<AbstractDFT*>(p); }
inline const AbstractDFT* fromHandle(const morvex_m_dft_plan* p) { return reinterpret_cast<const AbstractDFT*>(p); }
inline morvex_m_dft_plan* toHandle(AbstractDFT* p) { return reinterpret_cast<morvex_m_dft_plan*>(p); }

// `half` is null for the plain forward transform, else the normalisation.
template <class T>
Status forwardOnce(const T* in, uint64_t n, std::complex<T>* out, uint64_t outCount, const bool* half) noexcept;
template <class T>
Status inverseOnce(std::complex<T>* in, uint64_t inCount, T* out, uint64_t n) noexcept;

template <class T>
Status createForward(const T* in, uint64_t n, std::complex<T>* out, uint64_t outCount,
                     morvex_m_dft_plan** result) noexcept;
template <class T>
Status createInverse(std::complex<T>* in, uint64_t inCount, T* out, uint64_t n, morvex_m_dft_plan** result) noexcept;

template <class T>
Status executeForward(morvex_m_dft_plan* plan, const T* in, uint64_t n, std::complex<T>* out, uint64_t outCount,
                      const bool* half) noexcept;
template <class T>
Status executeInverse(morvex_m_dft_plan* plan, std::complex<T>* in, uint64_t inCount, T* out, uint64_t n) noexcept;

void destroy(morvex_m_dft_plan* plan) noexcept;
int32_t alignmentOf(const morvex_m_dft_plan* plan, const void* p) noexcept;

}  // namespace morvex::dft
