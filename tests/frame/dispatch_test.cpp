// The dispatch rules: plain first, then each condition from the weakest set to
// the strongest overwrites, so the last one that holds wins. Checked on a row
// that has every variant, under every combination of the four conditions, and
// on the real flags through the options.
#include <gtest/gtest.h>

#include "frame/dispatch.h"
#include "frame/flags.h"
#include "morvex-m.h"

namespace {

using morvex::frame::AnyKernel;
using morvex::frame::Conditions;
using morvex::frame::pick;
using morvex::frame::Row;
using morvex::frame::Slot;

void k_plain() {}
void k_sse42() {}
void k_avx() {}
void k_avx2() {}
void k_avx512() {}

TEST(DispatchRule, LastConditionThatHoldsWins) {
  const Row full{Slot::abs_f32, k_plain, k_sse42, k_avx, k_avx2, k_avx512};
  for (int bits = 0; bits < 16; ++bits) {
    const Conditions c{bool(bits & 1), bool(bits & 2), bool(bits & 4), bool(bits & 8)};
    AnyKernel expected = k_plain;
    if (c.avx512) expected = k_avx512;
    else if (c.avx2_fma3) expected = k_avx2;
    else if (c.avx) expected = k_avx;
    else if (c.sse42) expected = k_sse42;
    EXPECT_EQ(pick(full, c), expected) << "conditions " << bits;
  }
}

TEST(DispatchRule, MissingVariantsAreSkipped) {
  // A group-3 style row: SSE4.2 and AVX2 only. With AVX2 switched off it keeps
  // SSE4.2 even though AVX holds; with SSE4.2 off and AVX on it is plain.
  const Row row{Slot::shr_clip_u8, k_plain, k_sse42, nullptr, k_avx2, nullptr};
  EXPECT_EQ(pick(row, {true, true, true, true}), AnyKernel(k_avx2));
  EXPECT_EQ(pick(row, {true, true, false, true}), AnyKernel(k_sse42));
  EXPECT_EQ(pick(row, {false, true, false, false}), AnyKernel(k_plain));
  // A group-1 style row: AVX only.
  const Row abs{Slot::abs_f32, k_plain, nullptr, k_avx, nullptr, nullptr};
  EXPECT_EQ(pick(abs, {true, false, true, true}), AnyKernel(k_plain));
  EXPECT_EQ(pick(abs, {false, true, false, false}), AnyKernel(k_avx));
}

class DispatchFlags : public ::testing::Test {
 protected:
  void SetUp() override { morvex_m_init(); }
  void TearDown() override { morvex_m_fini(); }
};

TEST_F(DispatchFlags, ConditionsPairAvx2WithFma3AndAvx512FWithCd) {
  using morvex::frame::current_conditions;
  uint32_t avx2 = 0, fma = 0, f = 0, cd = 0;
  morvex_m_getopt(MORVEX_M_OPT_AVX2, &avx2);
  morvex_m_getopt(MORVEX_M_OPT_FMA3, &fma);
  morvex_m_getopt(MORVEX_M_OPT_AVX512F, &f);
  morvex_m_getopt(MORVEX_M_OPT_AVX512CD, &cd);
  EXPECT_EQ(current_conditions().avx2_fma3, avx2 && fma);
  EXPECT_EQ(current_conditions().avx512, f && cd);
  // Switching off FMA3 alone retires the AVX2 condition; CD alone the AVX-512 one.
  morvex_m_setopt(MORVEX_M_OPT_FMA3, 0);
  EXPECT_FALSE(current_conditions().avx2_fma3);
  morvex_m_setopt(MORVEX_M_OPT_AVX512CD, 0);
  EXPECT_FALSE(current_conditions().avx512);
  // AVX-512BW and DQ play no part.
  morvex_m_setopt(MORVEX_M_OPT_AVX512CD, 1);
  morvex_m_setopt(MORVEX_M_OPT_AVX512BW, 0);
  morvex_m_setopt(MORVEX_M_OPT_AVX512DQ, 0);
  EXPECT_EQ(current_conditions().avx512, f && cd);
  for (int32_t id : {MORVEX_M_OPT_FMA3, MORVEX_M_OPT_AVX512BW, MORVEX_M_OPT_AVX512DQ}) morvex_m_setopt(id, 1);
}

TEST_F(DispatchFlags, AllOffLeavesPlainKernelsEverywhere) {
  for (int32_t id : {6, 7, 8, 14, 15, 18}) ASSERT_EQ(morvex_m_setopt(id, 0), 0);
  for (unsigned s = 0; s < morvex::frame::kSlotCount; ++s)
    EXPECT_STREQ(morvex::frame::slot_variant(Slot(s)), "plain") << morvex::frame::slot_name(Slot(s));
  for (int32_t id : {6, 7, 8, 14, 15, 18}) morvex_m_setopt(id, 1);
}

TEST_F(DispatchFlags, SlotNamesFollowTheFixedOrder) {
  EXPECT_STREQ(morvex::frame::slot_name(Slot::abs_f32), "abs_f32");
  EXPECT_STREQ(morvex::frame::slot_name(Slot::convert_i8f32), "convert_i8f32");
  EXPECT_STREQ(morvex::frame::slot_name(Slot::convert_f64f32), "convert_f64f32");
  EXPECT_STREQ(morvex::frame::slot_name(Slot::shr_clip_u16), "shr_clip_u16");
  EXPECT_EQ(morvex::frame::kSlotCount, 22u);
}

TEST_F(DispatchFlags, ZeroCountForwardersWriteNothing) {
  // Every forwarding export returns 0 for a count of 0, whatever the pointers.
  EXPECT_EQ(morvex_m_abs_f32(nullptr, nullptr, 0), 0);
  EXPECT_EQ(morvex_m_abs_f64(nullptr, nullptr, 0), 0);
  EXPECT_EQ(morvex_m_convert_u8f32(nullptr, nullptr, 0, 1.0f, 0.0f), 0);
  EXPECT_EQ(morvex_m_convert_u16f64(nullptr, nullptr, 0, 1.0, 0.0), 0);
  EXPECT_EQ(morvex_m_convert_f64f32(nullptr, nullptr, 0, 1.0f, 0.0f), 0);
  EXPECT_EQ(morvex_m_shr_clip_u8(nullptr, nullptr, 0, 1, 0, 255), 0);
  EXPECT_EQ(morvex_m_shr_clip_u16(nullptr, nullptr, 0, 1, 0, 65535), 0);
}

}  // namespace
