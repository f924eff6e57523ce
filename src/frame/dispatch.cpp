// SPDX-License-Identifier: MIT
// The dispatch table. Each setter stores the plain kernel in every slot of its
// group, then tests the variant conditions from the weakest instruction set to
// the strongest; every condition that holds overwrites the slots for which it
// has a kernel. So the last condition that holds wins, and switching off a
// stronger set falls back to the next weaker one that is still on.
//
//   condition            flags tested
//   SSE4.2               SSE4.2
//   AVX                  AVX
//   AVX2+FMA3            AVX2 and FMA3 (AVX2 kernels may fuse)
//   AVX-512F+CD          AVX-512F and AVX-512CD
#include "frame/dispatch.h"

#include <cstring>

#include "frame/call_time.h"
#include "frame/flags.h"
#include "ops/kernels.h"

namespace morvex::frame {

// clang-format off
constinit Slots g_slots = {
#define MORVEX_SLOT_PLAIN(name) {&ops::name##_plain},
    MORVEX_SLOTS(MORVEX_SLOT_PLAIN)
#undef MORVEX_SLOT_PLAIN
};
// clang-format on

namespace {

// Type-erased access to a slot by its number, for the setters and for
// introspection.
void store_slot(Slot s, AnyKernel k) {
  switch (s) {
#define MORVEX_SLOT_STORE(name) \
  case Slot::name: g_slots.name.store(reinterpret_cast<name##_fn*>(k), std::memory_order_relaxed); return;
    MORVEX_SLOTS(MORVEX_SLOT_STORE)
#undef MORVEX_SLOT_STORE
    case Slot::count: return;
  }
}

AnyKernel load_slot(Slot s) {
  switch (s) {
#define MORVEX_SLOT_LOAD(name) \
  case Slot::name: return reinterpret_cast<AnyKernel>(g_slots.name.load(std::memory_order_relaxed));
    MORVEX_SLOTS(MORVEX_SLOT_LOAD)
#undef MORVEX_SLOT_LOAD
    case Slot::count: break;
  }
  return nullptr;
}

// Builds a row whose kernels are checked against the slot's signature.
template <Slot S>
Row row(typename SlotSignature<S>::type* plain, typename SlotSignature<S>::type* sse42,
        typename SlotSignature<S>::type* avx, typename SlotSignature<S>::type* avx2_fma3,
        typename SlotSignature<S>::type* avx512) {
  auto any = [](typename SlotSignature<S>::type* f) { return reinterpret_cast<AnyKernel>(f); };
  return Row{S, any(plain), any(sse42), any(avx), any(avx2_fma3), any(avx512)};
}

using namespace morvex::ops;
constexpr std::nullptr_t none = nullptr;

// clang-format off
// Group 1: absolute value. Tests AVX only.
const Row kGroup1[] = {
    // slot                plain          SSE4.2 AVX          AVX2+FMA3 AVX-512F+CD
    row<Slot::abs_f32>( abs_f32_plain, none,  abs_f32_avx, none,     none),
    row<Slot::abs_f64>( abs_f64_plain, none,  abs_f64_avx, none,     none),
};

// Group 2: conversion to floating point. Tests all four conditions; only the
// raw-sample conversions have variants (the AVX2 and AVX-512 ones fused).
const Row kGroup2[] = {
    // slot                       plain                 SSE4.2                AVX                 AVX2+FMA3            AVX-512F+CD
    row<Slot::convert_i8f32>(  convert_i8f32_plain,  none,                 none,               none,                none),
    row<Slot::convert_i16f32>( convert_i16f32_plain, none,                 none,               none,                none),
    row<Slot::convert_i32f32>( convert_i32f32_plain, none,                 none,               none,                none),
    row<Slot::convert_i64f32>( convert_i64f32_plain, none,                 none,               none,                none),
    row<Slot::convert_u8f32>(  convert_u8f32_plain,  convert_u8f32_sse42,  convert_u8f32_avx,  convert_u8f32_avx2,  convert_u8f32_avx512),
    row<Slot::convert_u16f32>( convert_u16f32_plain, convert_u16f32_sse42, convert_u16f32_avx, convert_u16f32_avx2, convert_u16f32_avx512),
    row<Slot::convert_u32f32>( convert_u32f32_plain, none,                 none,               none,                none),
    row<Slot::convert_u64f32>( convert_u64f32_plain, none,                 none,               none,                none),
    row<Slot::convert_i8f64>(  convert_i8f64_plain,  none,                 none,               none,                none),
    row<Slot::convert_i16f64>( convert_i16f64_plain, none,                 none,               none,                none),
    row<Slot::convert_i32f64>( convert_i32f64_plain, none,                 none,               none,                none),
    row<Slot::convert_i64f64>( convert_i64f64_plain, none,                 none,               none,                none),
    row<Slot::convert_u8f64>(  convert_u8f64_plain,  convert_u8f64_sse42,  convert_u8f64_avx,  convert_u8f64_avx2,  convert_u8f64_avx512),
    row<Slot::convert_u16f64>( convert_u16f64_plain, convert_u16f64_sse42, convert_u16f64_avx, convert_u16f64_avx2, convert_u16f64_avx512),
    row<Slot::convert_u32f64>( convert_u32f64_plain, none,                 none,               none,                none),
    row<Slot::convert_u64f64>( convert_u64f64_plain, none,                 none,               none,                none),
    row<Slot::convert_f32f64>( convert_f32f64_plain, none,                 none,               none,                none),
    row<Slot::convert_f64f32>( convert_f64f32_plain, none,                 none,               none,                none),
};

// Group 3: shift right with clipping. Tests SSE4.2, then AVX2+FMA3.
const Row kGroup3[] = {
    // slot                     plain               SSE4.2              AVX   AVX2+FMA3          AVX-512F+CD
    row<Slot::shr_clip_u8>(  shr_clip_u8_plain,  shr_clip_u8_sse42,  none, shr_clip_u8_avx2,  none),
    row<Slot::shr_clip_u16>( shr_clip_u16_plain, shr_clip_u16_sse42, none, shr_clip_u16_avx2, none),
};
// clang-format on

template <size_t N>
void fill(const Row (&rows)[N]) {
  const Conditions c = current_conditions();
  for (const Row& r : rows) store_slot(r.slot, pick(r, c));
}

const Row* find_row(Slot s) {
  for (const Row& r : kGroup1) if (r.slot == s) return &r;
  for (const Row& r : kGroup2) if (r.slot == s) return &r;
  for (const Row& r : kGroup3) if (r.slot == s) return &r;
  return nullptr;
}

}  // namespace

Conditions current_conditions() { return {use_sse42(), use_avx(), use_avx2_fma3(), use_avx512()}; }

AnyKernel pick(const Row& r, const Conditions& c) {
  AnyKernel k = r.plain;
  if (c.sse42 && r.sse42) k = r.sse42;
  if (c.avx && r.avx) k = r.avx;
  if (c.avx2_fma3 && r.avx2_fma3) k = r.avx2_fma3;
  if (c.avx512 && r.avx512) k = r.avx512;
  return k;
}

void set_slots_group1() { fill(kGroup1); }
void set_slots_group2() { fill(kGroup2); }
void set_slots_group3() { fill(kGroup3); }

namespace {
std::atomic<uint64_t> g_choose_count{0};
}

void choose_kernels() {
  set_slots_group1();
  set_slots_group2();
  set_slots_group3();
  g_choose_count.fetch_add(1, std::memory_order_relaxed);
}

uint64_t choose_count() { return g_choose_count.load(std::memory_order_relaxed); }

const char* slot_name(Slot s) {
  static const char* const names[] = {
#define MORVEX_SLOT_NAME(name) #name,
      MORVEX_SLOTS(MORVEX_SLOT_NAME)
#undef MORVEX_SLOT_NAME
  };
  return unsigned(s) < kSlotCount ? names[unsigned(s)] : "?";
}

const char* slot_variant(Slot s) {
  const Row* r = find_row(s);
  if (!r) return "?";
  const AnyKernel k = load_slot(s);
  if (k == r->avx512) return "avx512f+cd";
  if (k == r->avx2_fma3) return "avx2+fma3";
  if (k == r->avx) return "avx";
  if (k == r->sse42) return "sse4.2";
  if (k == r->plain) return "plain";
  return "?";
}

// The call-time families (call_time.h), in the table's order.
std::span<const CallTimeFamily> call_time_families() {
  static constexpr CallTimeFamily kFamilies[] = {
#define MORVEX_CALL_TIME_ROW(id, exports, ...) {exports, call_time::id::current},
      MORVEX_CALL_TIME_FAMILIES(MORVEX_CALL_TIME_ROW)
#undef MORVEX_CALL_TIME_ROW
  };
  return kFamilies;
}

}  // namespace morvex::frame
