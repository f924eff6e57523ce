// This test binary replaces dlopen and dlclose (the library's objects are
// linked into it, so its calls land here): requests for the two FFTW file
// names go to a stand-in chosen by the test, or fail as if FFTW were not
// installed; every call is recorded.
#pragma once

#include <string>
#include <vector>

namespace morvex::test::loader {

// Where "libfftw3.so.3" / "libfftw3f.so.3" lead: a path, or "" for absent.
void route(const std::string& fftw3, const std::string& fftw3f);

struct Call {
  std::string file;  // the name asked for (opens) or the library closed (closes)
  int mode;          // dlopen mode; -1 for a close
};
// Calls concerning the FFTW names since the last reset, in order.
std::vector<Call> calls();
void reset_calls();

// Opens a library behind the library's back, bypassing the routing.
void* real_dlopen(const char* file, int mode);
int real_dlclose(void* handle);

}  // namespace morvex::test::loader
