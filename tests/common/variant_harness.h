// The variant harness: runs a row of the kernel table (common/kernel_table.h)
// under every kernel configuration this processor reaches, over every length
// from 0 to the row's dense limit at an aligned and a misaligned start, in
// place and with the output one element above and below the input where the
// row allows, and over a few longer lengths up to the row's far limit (the
// streaming stores). The call must return 0 and leave the whole arena
// (inputs, outputs and the guard bytes around them) exactly as the plain
// reference leaves its copy. Rows without processor variants run once.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/kernel_table.h"

namespace morvex::test {

void check_kernel_row(const KernelRow& row);
std::vector<const KernelRow*> kernel_rows_of(const std::string& subsystem);

}  // namespace morvex::test

// One test per row of the subsystem's table, named after the row.
#define MORVEX_KERNEL_ROW_TESTS(sub)                                                                          \
  class KernelRows : public ::testing::TestWithParam<const ::morvex::test::KernelRow*> {};                   \
  TEST_P(KernelRows, MatchThePlainKernel) { ::morvex::test::check_kernel_row(*GetParam()); }                 \
  INSTANTIATE_TEST_SUITE_P(sub, KernelRows, ::testing::ValuesIn(::morvex::test::kernel_rows_of(#sub)),       \
                           [](const auto& info) { return std::string(info.param->name); })
