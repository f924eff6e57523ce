// SPDX-License-Identifier: MIT
// The C++ side of the transform exports: size rule, backend choice, the
// checks of plan execution, and the translation of every failure into a
// status (no exception leaves an export).
#pragma once

#include <cstdint>
#include <memory>

#include "dft/abstract_dft.h"

struct morvex_m_dft_plan;  // the public opaque handle: an AbstractDFT in disguise

namespace morvex::dft {

inline AbstractDFT* from_handle(morvex_m_dft_plan* p) { return reinterpret_cast<AbstractDFT*>(p); }
inline const AbstractDFT* from_handle(const morvex_m_dft_plan* p) { return reinterpret_cast<const AbstractDFT*>(p); }
inline morvex_m_dft_plan* to_handle(AbstractDFT* p) { return reinterpret_cast<morvex_m_dft_plan*>(p); }

// `half` is null for the plain forward transform, else the normalisation.
template <class T>
Status forward_once(const T* in, uint64_t n, std::complex<T>* out, uint64_t out_count, const bool* half) noexcept;
template <class T>
Status inverse_once(std::complex<T>* in, uint64_t in_count, T* out, uint64_t n) noexcept;

template <class T>
Status create_forward(const T* in, uint64_t n, std::complex<T>* out, uint64_t out_count,
                     morvex_m_dft_plan** result) noexcept;
template <class T>
Status create_inverse(std::complex<T>* in, uint64_t in_count, T* out, uint64_t n, morvex_m_dft_plan** result) noexcept;

template <class T>
Status execute_forward(morvex_m_dft_plan* plan, const T* in, uint64_t n, std::complex<T>* out, uint64_t out_count,
                      const bool* half) noexcept;
template <class T>
Status execute_inverse(morvex_m_dft_plan* plan, std::complex<T>* in, uint64_t in_count, T* out, uint64_t n) noexcept;

void destroy(morvex_m_dft_plan* plan) noexcept;
int32_t alignment_of(const morvex_m_dft_plan* plan, const void* p) noexcept;

}  // namespace morvex::dft
