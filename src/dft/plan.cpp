// SPDX-License-Identifier: MIT
#include "dft/plan.h"

#include <new>

#include "dft/backend.h"
#include "frame/status.h"

namespace morvex::dft {

namespace {

// Runs f and turns whatever it raises into a status: the backends' own
// StatusError carries its code, allocation failure is "Out of memory", and
// anything else (a failed lock, a foreign exception) is "Failed".
template <class F>
Status guarded(F&& f) noexcept {
  try {
    return f();
  } catch (const StatusError& e) {
    return e.status();
  } catch (const std::bad_alloc&) {
    return MORVEX_M_OUT_OF_MEMORY;
  } catch (...) {
    return MORVEX_M_FAILED;
  }
}

// The checks every plan execution makes, in order, before it runs: the plan,
// both counts, both alignment classes, then the plan's interface.
template <class Interface>
Status check_plan(AbstractDFT* plan, const void* in, uint64_t in_count, const void* out, uint64_t out_count,
                 Interface*& typed) {
  if (!plan) return MORVEX_M_NULLPTR;
  if (!plan->matches_input_count(in_count)) return MORVEX_M_INVALID_PLAN;
  if (!plan->matches_output_count(out_count)) return MORVEX_M_INVALID_PLAN;
  if (plan->alignment_of(in) != plan->input_alignment()) return MORVEX_M_INVALID_PLAN;
  if (plan->alignment_of(out) != plan->output_alignment()) return MORVEX_M_INVALID_PLAN;
  // The cast costs tens of nanoseconds, a few percent of a short transform;
  // a plan executed again through the same interface reuses its answer.
  if (plan->cast_found() == &typeid(Interface)) {
    typed = static_cast<Interface*>(plan);
    return MORVEX_M_SUCCESS;
  }
  typed = dynamic_cast<Interface*>(plan);
  if (!typed) return MORVEX_M_INVALID_PLAN;
  plan->remember_cast(&typeid(Interface));
  return MORVEX_M_SUCCESS;
}

template <class Backend>
Status store(std::unique_ptr<Backend> backend, morvex_m_dft_plan** result) {
  if (!result) return MORVEX_M_NULLPTR;
  *result = to_handle(static_cast<AbstractDFT*>(backend.release()));
  return MORVEX_M_SUCCESS;
}

}  // namespace

template <class T>
Status forward_once(const T* in, uint64_t n, std::complex<T>* out, uint64_t out_count, const bool* half) noexcept {
  return guarded([&] {
    const auto b = make_forward<T>(current_backend<T>(), in, n, out, out_count);
    return half ? b->executeDivN(in, n, out, out_count, *half) : b->execute(in, n, out, out_count);
  });
}

template <class T>
Status inverse_once(std::complex<T>* in, uint64_t in_count, T* out, uint64_t n) noexcept {
  return guarded([&] { return make_inverse<T>(current_backend<T>(), in, in_count, out, n)->execute(in, in_count, out, n); });
}

template <class T>
Status create_forward(const T* in, uint64_t n, std::complex<T>* out, uint64_t out_count,
                     morvex_m_dft_plan** result) noexcept {
  if (result) *result = nullptr;
  return guarded([&] { return store(make_forward<T>(current_backend<T>(), in, n, out, out_count), result); });
}

template <class T>
Status create_inverse(std::complex<T>* in, uint64_t in_count, T* out, uint64_t n, morvex_m_dft_plan** result) noexcept {
  if (result) *result = nullptr;
  return guarded([&] { return store(make_inverse<T>(current_backend<T>(), in, in_count, out, n), result); });
}

template <class T>
Status execute_forward(morvex_m_dft_plan* plan, const T* in, uint64_t n, std::complex<T>* out, uint64_t out_count,
                      const bool* half) noexcept {
  AbstractDFTR2C1D<T>* f = nullptr;
  if (const Status s = check_plan(from_handle(plan), in, n, out, out_count, f)) return s;
  return guarded([&] { return half ? f->executeDivN(in, n, out, out_count, *half) : f->execute(in, n, out, out_count); });
}

template <class T>
Status execute_inverse(morvex_m_dft_plan* plan, std::complex<T>* in, uint64_t in_count, T* out, uint64_t n) noexcept {
  AbstractIDFTC2R1D<T>* f = nullptr;
  if (const Status s = check_plan(from_handle(plan), in, in_count, out, n, f)) return s;
  return guarded([&] { return f->execute(in, in_count, out, n); });
}

void destroy(morvex_m_dft_plan* plan) noexcept { delete from_handle(plan); }

int32_t alignment_of(const morvex_m_dft_plan* plan, const void* p) noexcept {
  if (plan) return from_handle(plan)->alignment_of(p);
  return int32_t(reinterpret_cast<uintptr_t>(p) & 15);
}

#define MORVEX_DFT_INSTANTIATE(T)                                                                                   \
  template Status forward_once<T>(const T*, uint64_t, std::complex<T>*, uint64_t, const bool*) noexcept;             \
  template Status inverse_once<T>(std::complex<T>*, uint64_t, T*, uint64_t) noexcept;                               \
  template Status create_forward<T>(const T*, uint64_t, std::complex<T>*, uint64_t, morvex_m_dft_plan**) noexcept;  \
  template Status create_inverse<T>(std::complex<T>*, uint64_t, T*, uint64_t, morvex_m_dft_plan**) noexcept;        \
  template Status execute_forward<T>(morvex_m_dft_plan*, const T*, uint64_t, std::complex<T>*, uint64_t,             \
                                    const bool*) noexcept;                                                          \
  template Status execute_inverse<T>(morvex_m_dft_plan*, std::complex<T>*, uint64_t, T*, uint64_t) noexcept;
MORVEX_DFT_INSTANTIATE(float)
MORVEX_DFT_INSTANTIATE(double)
#undef MORVEX_DFT_INSTANTIATE

}  // namespace morvex::dft
