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

// The test of a subsystem's rows (in one process: most rows take milliseconds).
#define MORVEX_KERNEL_ROW_TESTS(sub)                                          \
  TEST(KernelTable, sub) {                                                    \
    for (const ::morvex::test::KernelRow* row : ::morvex::test::kernel_rows_of(#sub)) { \
      SCOPED_TRACE(row->name);                                                \
      ::morvex::test::check_kernel_row(*row);                                 \
    }                                                                         \
  }
