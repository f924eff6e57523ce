// SPDX-License-Identifier: MIT
// The frame tests control start-up and shut-down themselves: no global init.
#include <gtest/gtest.h>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
