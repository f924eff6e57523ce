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
Status checkPlan(AbstractDFT* plan, const void* in, uint64_t inCount, const void* out, uint64_t outCount,
                 Interface*& typed) {
  if (!plan) return MORVEX_M_NULLPTR;
  if (!plan->matchesInputCount(inCount)) return MORVEX_M_INVALID_PLAN;
  if (!plan->matchesOutputCount(outCount)) return MORVEX_M_INVALID_PLAN;
  if (plan->alignmentOf(in) != plan->getInputAlignment()) return MORVEX_M_INVALID_PLAN;
  if (plan->alignmentOf(out) != plan->getOutputAlignment()) return MORVEX_M_INVALID_PLAN;
  typed = dynamic_cast<Interface*>(plan);
  return typed ? MORVEX_M_SUCCESS : MORVEX_M_INVALID_PLAN;
}

template <class Backend>
Status store(std::unique_ptr<Backend> backend, morvex_m_dft_plan** result) {
  if (!result) return MORVEX_M_NULLPTR;
  *result = toHandle(static_cast<AbstractDFT*>(backend.release()));
  return MORVEX_M_SUCCESS;
}

}  // namespace

template <class T>
Status forwardOnce(const T* in, uint64_t n, std::complex<T>* out, uint64_t outCount, const bool* half) noexcept {
  return guarded([&] {
    const auto b = makeForward<T>(currentBackend<T>(), in, n, out, outCount);
    return half ? b->executeDivN(in, n, out, outCount, *half) : b->execute(in, n, out, outCount);
  });
}

template <class T>
Status inverseOnce(std::complex<T>* in, uint64_t inCount, T* out, uint64_t n) noexcept {
  return guarded([&] { return makeInverse<T>(currentBackend<T>(), in, inCount, out, n)->execute(in, inCount, out, n); });
}

template <class T>
Status createForward(const T* in, uint64_t n, std::complex<T>* out, uint64_t outCount,
                     morvex_m_dft_plan** result) noexcept {
  if (result) *result = nullptr;
  return guarded([&] { return store(makeForward<T>(currentBackend<T>(), in, n, out, outCount), result); });
}

template <class T>
Status createInverse(std::complex<T>* in, uint64_t inCount, T* out, uint64_t n, morvex_m_dft_plan** result) noexcept {
  if (result) *result = nullptr;
  return guarded([&] { return store(makeInverse<T>(currentBackend<T>(), in, inCount, out, n), result); });
}

template <class T>
Status executeForward(morvex_m_dft_plan* plan, const T* in, uint64_t n, std::complex<T>* out, uint64_t outCount,
                      const bool* half) noexcept {
  AbstractDFTR2C1D<T>* f = nullptr;
  if (const Status s = checkPlan(fromHandle(plan), in, n, out, outCount, f)) return s;
  return guarded([&] { return half ? f->executeDivN(in, n, out, outCount, *half) : f->execute(in, n, out, outCount); });
}

template <class T>
Status executeInverse(morvex_m_dft_plan* plan, std::complex<T>* in, uint64_t inCount, T* out, uint64_t n) noexcept {
  AbstractIDFTC2R1D<T>* f = nullptr;
  if (const Status s = checkPlan(fromHandle(plan), in, inCount, out, n, f)) return s;
  return guarded([&] { return f->execute(in, inCount, out, n); });
}

void destroy(morvex_m_dft_plan* plan) noexcept { delete fromHandle(plan); }

int32_t alignmentOf(const morvex_m_dft_plan* plan, const void* p) noexcept {
  if (plan) return fromHandle(plan)->alignmentOf(p);
  return int32_t(reinterpret_cast<uintptr_t>(p) & 15);
}

#define MORVEX_DFT_INSTANTIATE(T)                                                                                   \
  template Status forwardOnce<T>(const T*, uint64_t, std::complex<T>*, uint64_t, const bool*) noexcept;             \
  template Status inverseOnce<T>(std::complex<T>*, uint64_t, T*, uint64_t) noexcept;                               \
  template Status createForward<T>(const T*, uint64_t, std::complex<T>*, uint64_t, morvex_m_dft_plan**) noexcept;  \
  template Status createInverse<T>(std::complex<T>*, uint64_t, T*, uint64_t, morvex_m_dft_plan**) noexcept;        \
  template Status executeForward<T>(morvex_m_dft_plan*, const T*, uint64_t, std::complex<T>*, uint64_t,             \
                                    const bool*) noexcept;                                                          \
  template Status executeInverse<T>(morvex_m_dft_plan*, std::complex<T>*, uint64_t, T*, uint64_t) noexcept;
MORVEX_DFT_INSTANTIATE(float)
MORVEX_DFT_INSTANTIATE(double)
#undef MORVEX_DFT_INSTANTIATE

}  // namespace morvex::dft
