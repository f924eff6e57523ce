// SPDX-License-Identifier: MIT
// Kernel slots: process-wide function pointers, one per forwarding export,
// filled by three setters at start-up and after every accepted option change.
// The table of variants and the conditions that pick them are in dispatch.cpp;
// the exports that choose their kernel at every call instead have their table
// in call_time.h.
#pragma once

#include <atomic>
#include <cstdint>

namespace morvex::frame {

// Signatures of the slotted kernels: the export's arguments, no result.
using abs_f32_fn = void(const float*, float*, uint64_t);
using abs_f64_fn = void(const double*, double*, uint64_t);
#define MORVEX_CONVERT_FN(TI, SI)                                                 \
  using convert_##SI##f32_fn = void(const TI*, float*, uint64_t, float, float);   \
  using convert_##SI##f64_fn = void(const TI*, double*, uint64_t, double, double);
MORVEX_CONVERT_FN(int8_t, i8)
MORVEX_CONVERT_FN(int16_t, i16)
MORVEX_CONVERT_FN(int32_t, i32)
MORVEX_CONVERT_FN(int64_t, i64)
MORVEX_CONVERT_FN(uint8_t, u8)
MORVEX_CONVERT_FN(uint16_t, u16)
MORVEX_CONVERT_FN(uint32_t, u32)
MORVEX_CONVERT_FN(uint64_t, u64)
#undef MORVEX_CONVERT_FN
using convert_f32f64_fn = void(const float*, double*, uint64_t, double, double);
using convert_f64f32_fn = void(const double*, float*, uint64_t, float, float);
using shr_clip_u8_fn = void(const uint8_t*, uint8_t*, uint64_t, uint8_t, uint8_t, uint8_t);
using shr_clip_u16_fn = void(const uint16_t*, uint16_t*, uint64_t, uint8_t, uint16_t, uint16_t);

// The 22 slots in their fixed order: group 1 (absolute value), group 2
// (conversion to floating point), group 3 (shift right with clipping).
#define MORVEX_SLOTS(X)                                                                       \
  X(abs_f32) X(abs_f64)                                                                       \
  X(convert_i8f32) X(convert_i16f32) X(convert_i32f32) X(convert_i64f32)                      \
  X(convert_u8f32) X(convert_u16f32) X(convert_u32f32) X(convert_u64f32)                      \
  X(convert_i8f64) X(convert_i16f64) X(convert_i32f64) X(convert_i64f64)                      \
  X(convert_u8f64) X(convert_u16f64) X(convert_u32f64) X(convert_u64f64)                      \
  X(convert_f32f64) X(convert_f64f32)                                                         \
  X(shr_clip_u8) X(shr_clip_u16)

enum class Slot : unsigned {
#define MORVEX_SLOT_ENUM(name) name,
  MORVEX_SLOTS(MORVEX_SLOT_ENUM)
#undef MORVEX_SLOT_ENUM
  count
};
constexpr unsigned kSlotCount = unsigned(Slot::count);

template <Slot S> struct SlotSignature;
#define MORVEX_SLOT_SIG(name) \
  template <> struct SlotSignature<Slot::name> { using type = name##_fn; };
MORVEX_SLOTS(MORVEX_SLOT_SIG)
#undef MORVEX_SLOT_SIG

// The slots themselves, one typed pointer each. They are constant-initialised
// with the plain kernels, so they hold a working kernel from the moment the
// library is loaded: no constructor has to run first, and an export called
// before morvex_m_init computes the plain result instead of jumping to 0.
struct Slots {
#define MORVEX_SLOT_MEMBER(name) std::atomic<name##_fn*> name;
  MORVEX_SLOTS(MORVEX_SLOT_MEMBER)
#undef MORVEX_SLOT_MEMBER
};
extern constinit Slots g_slots;

// slot<S>() is the kernel a forwarding export calls.
template <Slot S>
inline typename SlotSignature<S>::type* slot();
#define MORVEX_SLOT_GET(name) \
  template <> inline name##_fn* slot<Slot::name>() { return g_slots.name.load(std::memory_order_relaxed); }
MORVEX_SLOTS(MORVEX_SLOT_GET)
#undef MORVEX_SLOT_GET

// The table below works on type-erased pointers; each row is built from
// kernels checked against the slot's signature (see dispatch.cpp).
using AnyKernel = void (*)();

// One row of the dispatch table: a slot's plain kernel and its variants (null
// where the slot has none), in the order in which their conditions are tested.
struct Row {
  Slot slot;
  AnyKernel plain, sse42, avx, avx2_fma3, avx512;
};

// The variant conditions as the option flags stand (see flags.h).
struct Conditions {
  bool sse42, avx, avx2_fma3, avx512;
};
Conditions current_conditions();

// The kernel a row gets under the given conditions: the plain kernel,
// overwritten by each variant whose condition holds, weakest set first, so the
// last condition that holds wins.
AnyKernel pick(const Row& row, const Conditions& c);

// The three setters, always called together in this order.
void set_slots_group1();
void set_slots_group2();
void set_slots_group3();
void choose_kernels();

// How many times the kernels were chosen since the process started (for
// tests: every accepted option change re-chooses, a refused one does not).
uint64_t choose_count();

// Introspection for tests and morvex-m-info: a slot's export-style name
// ("convert_u8f32") and the variant it holds now ("plain", "sse4.2", "avx",
// "avx2+fma3", "avx512f+cd"; "plain" before the first start-up).
const char* slot_name(Slot s);
const char* slot_variant(Slot s);

}  // namespace morvex::frame
