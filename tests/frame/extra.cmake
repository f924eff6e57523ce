# SPDX-License-Identifier: MIT
# The fault tests make allocations fail on purpose (common/alloc_fail.h).
target_link_libraries(test_frame PRIVATE morvex-test-alloc-fail)
target_include_directories(test_frame PRIVATE ${PROJECT_SOURCE_DIR}/platform)
