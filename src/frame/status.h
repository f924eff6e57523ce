// SPDX-License-Identifier: MIT
// The library's one exception type, and the helpers that keep exceptions from
// crossing the C boundary.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "morvex-m/base.h"

namespace morvex {

// Raised inside object-building code (transform backends) and turned back
// into its status code at the export. Only the code reaches the caller; the
// message is for debugging.
class StatusError : public std::runtime_error {
 public:
  explicit StatusError(int32_t status, const std::string& what = std::string())
      : std::runtime_error(what), status_(status) {}
  int32_t status() const noexcept { return status_; }

 private:
  int32_t status_;
};

}  // namespace morvex
