// SPDX-License-Identifier: MIT
// Read-only views of the lifecycle globals, for tests and morvex-m-info.
#pragma once

#include <cstdint>

namespace morvex::frame {

uint64_t init_count();
// The pool's worker count recorded at the first start-up (at least 1). Kept
// for diagnostics; no operation consults it.
uint16_t worker_count();

}  // namespace morvex::frame
