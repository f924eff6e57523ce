#include "common/variant_harness.h"

MORVEX_KERNEL_ROW_TESTS(ops);
