#include "interpose.h"

#include <dlfcn.h>

#include <cstring>
#include <map>
#include <mutex>

namespace morvex::test::loader {

namespace {

using OpenFn = void* (*)(const char*, int);
using CloseFn = int (*)(void*);

OpenFn next_open() {
  static const OpenFn f = reinterpret_cast<OpenFn>(dlsym(RTLD_NEXT, "dlopen"));
  return f;
}
CloseFn next_close() {
  static const CloseFn f = reinterpret_cast<CloseFn>(dlsym(RTLD_NEXT, "dlclose"));
  return f;
}

// Routes are set by the test thread while no transform runs; calls may come
// from many threads (every FFTW plan takes a reference to its library).
std::string g_route_d, g_route_f;
std::mutex g_mutex;
std::vector<Call> g_calls;
std::map<void*, std::string> g_names;  // handle -> FFTW name it was opened as

}  // namespace

void route(const std::string& fftw3, const std::string& fftw3f) {
  g_route_d = fftw3;
  g_route_f = fftw3f;
}

std::vector<Call> calls() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_calls;
}

void reset_calls() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_calls.clear();
}

void* real_dlopen(const char* file, int mode) { return next_open()(file, mode); }
int real_dlclose(void* handle) { return next_close()(handle); }

}  // namespace morvex::test::loader

using namespace morvex::test::loader;

extern "C" void* dlopen(const char* file, int mode) noexcept {
  const std::string* target = nullptr;
  if (file && std::strcmp(file, "libfftw3.so.3") == 0) target = &g_route_d;
  if (file && std::strcmp(file, "libfftw3f.so.3") == 0) target = &g_route_f;
  if (!target) return next_open()(file, mode);
  void* h = target->empty() ? nullptr : next_open()(target->c_str(), mode);
  std::lock_guard<std::mutex> lock(g_mutex);
  g_calls.push_back({file, mode});
  if (h) g_names[h] = file;
  return h;
}

extern "C" int dlclose(void* handle) noexcept {
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    const auto it = g_names.find(handle);
    if (it != g_names.end()) g_calls.push_back({it->second, -1});
  }
  return next_close()(handle);
}
