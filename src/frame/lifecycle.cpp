// SPDX-License-Identifier: MIT
// Start-up and shut-down, status texts, version record, state release.
#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <system_error>

#include "dft/fftw_loader.h"
#include "frame/dispatch.h"
#include "frame/flags.h"
#include "frame/lifecycle.h"
#include "morvex-core.h"
#include "morvex-m/base.h"
#include "morvex-m/version.h"
#include "morvex-tp.h"

namespace morvex::frame {

namespace {

pthread_mutex_t g_init_lock = PTHREAD_MUTEX_INITIALIZER;
// Changed only under the init lock, but atomically, so that readers outside
// it (tests, diagnostics) see a whole value.
std::atomic<uint64_t> g_init_count{0};
uint16_t g_worker_count = 0;
// Whether start-up holds a reference to the task pool. When the pool cannot
// start (no memory for its threads) the library still works, every split on
// the calling thread, and shut-down must not drop a reference it never took:
// it could be one the program took on its own since.
bool g_pool_held = false;

class InitLock {
 public:
  InitLock() {
    if (int err = pthread_mutex_lock(&g_init_lock)) throw std::system_error(err, std::generic_category());
  }
  ~InitLock() { pthread_mutex_unlock(&g_init_lock); }
  InitLock(const InitLock&) = delete;
  InitLock& operator=(const InitLock&) = delete;
};

}  // namespace

uint64_t init_count() { return g_init_count.load(); }
uint16_t worker_count() { return g_worker_count; }

}  // namespace morvex::frame

using namespace morvex::frame;

extern "C" {

int32_t morvex_m_init(void) {
  InitLock lock;
  if (g_init_count.fetch_add(1) != 0) return 0;
  morvex_core_init();
  g_pool_held = morvex_tp_init() == 0;
  read_features();
  choose_kernels();
  unsigned char status[16] = {};
  morvex_tp_get_status(status, sizeof status);
  const uint16_t workers = uint16_t(status[0] | (status[1] << 8));
  g_worker_count = workers ? workers : 1;
  return 0;
}

int32_t morvex_m_fini(void) {
  InitLock lock;
  // Deliberately unguarded: an unbalanced fini wraps the count, after which
  // the library never starts again.
  if (g_init_count.fetch_sub(1) != 1) return 0;
  morvex::fftw::unload_fftw3f();  // single precision always first
  morvex::fftw::unload_fftw3();
  if (g_pool_held) morvex_tp_fini();
  g_pool_held = false;
  morvex_core_fini();
  return 0;
}

const char* morvex_m_status_str(int32_t status) {
  // Indexed by status + 5.
  static const char* const texts[6] = {"nullptr", "Invalid plan", "Out of memory", "Error data length",
                                       "Failed", "Success"};
  if (status < -5 || status > 0) return nullptr;
  return texts[status + 5];
}

const morvex_m_version* morvex_m_get_version(void) {
  // The numbers come from the generated version header, so the record, the
  // headers' macros and the package files cannot disagree. Build number 0,
  // no suffix: a release.
  static const morvex_m_version version = {MORVEX_M_VERSION_NUMBER, ""};
  return &version;
}

void morvex_m_state_free(void** state) {
  std::free(*state);
  *state = nullptr;
}

}  // extern "C"
