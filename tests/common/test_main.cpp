// SPDX-License-Identifier: MIT
// Test main for subsystems that simply need the library started: one
// morvex_m_init around the whole run, as an application would do.
#include <gtest/gtest.h>

#include "morvex-m.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv); morvex_m_init(); const int rc = RUN_ALL_TESTS(); morvex_m_fini();
  return rc;
}
