// SPDX-License-Identifier: MIT
// morvex-bench entry point: the library is started once around all benchmarks.
#include <benchmark/benchmark.h>

#include "morvex-m.h"

int main(int argc, char** argv) {
  morvex_m_init();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  morvex_m_fini();
  return 0;
}
