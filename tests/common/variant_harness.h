// SPDX-License-Identifier: MIT
// Kernel configurations and the variant harness.
//
// A configuration switches processor features off through the library's own
// options, one more level each: all features; AVX-512DQ off and AVX-512BW
// off (each only for kernels with a variant that needs it); AVX-512 off; AVX2 and FMA3 off; AVX off;
// SSE4.2 off (plain kernels only). for_each_kernel_config runs a body under
// each in turn (with a SCOPED_TRACE naming it) and switches every feature back
// on afterwards; the library must be started.
//
// The harness runs a row of the kernel table (common/kernel_table.h) under
// every configuration this processor reaches, over every length from 0 to the
// row's dense limit at an aligned and a misaligned start, in place and with
// the output one element above and below the input where the row allows, and
// over a few longer lengths up to the row's far limit (the streaming stores).
// The call must return 0 and leave the whole arena (inputs, outputs and the
// guard bytes around them) exactly as the plain reference leaves its copy.
// Rows without processor variants run once.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "common/kernel_table.h"

namespace morvex::test {

struct KernelConfig {
  std::string name;
  std::vector<int32_t> off;  // option ids switched off, on top of the previous configuration
  uint16_t only = 0;         // a KernelFlags variant bit: only for kernels with that variant (0: all)
};
const std::vector<KernelConfig>& kernel_configs();
// variants: the KernelFlags variant bits (kDqVariant, kBwVariant) of the code under test.
void for_each_kernel_config(const std::function<void(const KernelConfig&)>& body, uint16_t variants = 0);
void restore_processor_options();  // every feature back on, as far as the processor has it
bool fused_kernels_enabled();      // AVX2+FMA3 or AVX-512F+CD kernels allowed now

void check_kernel_row(const KernelRow& row);
std::vector<const KernelRow*> kernel_rows_of(const std::string& subsystem);

}  // namespace morvex::test

// The test of a subsystem's rows (in one process: most rows take milliseconds).
#define MORVEX_KERNEL_ROW_TESTS(sub)                                                    \
  TEST(KernelTable, sub) {                                                              \
    for (const ::morvex::test::KernelRow* row : ::morvex::test::kernel_rows_of(#sub)) { \
      SCOPED_TRACE(row->name);                                                          \
      ::morvex::test::check_kernel_row(*row);                                           \
    }                                                                                   \
  }
