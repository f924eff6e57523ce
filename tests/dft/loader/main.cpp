// The loader tests start and stop the library themselves: the last shut-down
// is part of what they test.
#include <gtest/gtest.h>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
