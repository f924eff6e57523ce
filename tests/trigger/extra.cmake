# SPDX-License-Identifier: MIT
# The trigger tests make the state allocation fail on purpose: every calloc
# linked into the test binary (the library's objects included) goes through
# __wrap_calloc in state_test.cpp, which can refuse it.
target_link_options(test_trigger PRIVATE -Wl,--wrap=calloc)
