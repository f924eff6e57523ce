// Reads the default task pool's status record (libmorvex-tp).
#pragma once

#include <cstdint>
#include <cstring>

#include "morvex-tp.h"

namespace morvex::test {

struct PoolStatus {
  uint16_t workers, sleepers;
  uint32_t queued;
  uint64_t tasks_run;
};

inline PoolStatus pool_status() {
  unsigned char st[16] = {};
  morvex_tp_get_status(st, sizeof st);
  PoolStatus s;
  std::memcpy(&s.workers, st + 0, 2);
  std::memcpy(&s.sleepers, st + 2, 2);
  std::memcpy(&s.queued, st + 4, 4);
  std::memcpy(&s.tasks_run, st + 8, 8);
  return s;
}

}  // namespace morvex::test
