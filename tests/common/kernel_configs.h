// Runs a test body under every kernel configuration this processor can reach,
// switching instruction sets off through the library's own options.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace morvex::test {

struct KernelConfig {
  std::string name;
  std::vector<int32_t> off;  // option ids switched off, on top of the previous configuration
};

// Each configuration switches off one more level: all features; AVX-512 off;
// AVX2 and FMA3 off; AVX off; SSE4.2 off (plain kernels only).
const std::vector<KernelConfig>& kernel_configs();

// Runs body under each configuration in turn (with a SCOPED_TRACE naming it)
// and restores every processor option afterwards. The library must be started.
void for_each_kernel_config(const std::function<void(const KernelConfig&)>& body);

// Switches every processor-feature option back on (as far as the processor has it).
void restore_processor_options();

// True when the fused (AVX2+FMA3 or AVX-512F+CD) kernels are allowed right now.
bool fused_kernels_enabled();

}  // namespace morvex::test
