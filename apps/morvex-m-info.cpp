// morvex-m-info: what the library sees on this machine. Prints the version,
// the processor features, the options, the kernel in every slot and the kernel each call-time family
// would pick now.
#include <cstdio>

#include "frame/call_time.h"
#include "frame/dispatch.h"
#include "frame/lifecycle.h"
#include "morvex-core.h"
#include "morvex-m.h"

int main() {
  morvex_m_init();
  const morvex_m_version* v = morvex_m_get_version();
  std::printf("libmorvex-m %u.%u.%u.%u%s\n", unsigned(v->version >> 48), unsigned(v->version >> 32) & 0xFFFF,
              unsigned(v->version >> 16) & 0xFFFF, unsigned(v->version) & 0xFFFF, v->extra);

  struct {
    const char* name;
    uint8_t (*query)();
  } const features[] = {
      {"sse", morvex_core_cpu_has_sse},         {"sse2", morvex_core_cpu_has_sse2},
      {"sse3", morvex_core_cpu_has_sse3},       {"ssse3", morvex_core_cpu_has_ssse3},
      {"sse4.1", morvex_core_cpu_has_sse41},    {"sse4.2", morvex_core_cpu_has_sse42},
      {"avx", morvex_core_cpu_has_avx},         {"avx2", morvex_core_cpu_has_avx2},
      {"avx512f", morvex_core_cpu_has_avx512f}, {"avx512cd", morvex_core_cpu_has_avx512cd},
      {"avx512bw", morvex_core_cpu_has_avx512bw}, {"avx512dq", morvex_core_cpu_has_avx512dq},
      {"fma3", morvex_core_cpu_has_fma3},       {"neon", morvex_core_cpu_has_neon},
  };
  std::printf("\nprocessor features:");
  for (const auto& f : features)
    if (f.query()) std::printf(" %s", f.name);
  std::printf("\ntask pool workers: %u\n", unsigned(morvex::frame::worker_count()));

  std::printf("\noptions:\n");
  for (const morvex_m_option_entry* e = morvex_m_getopt_list(); e->name; ++e) {
    uint32_t on = 0;
    morvex_m_getopt(int32_t(e->id), &on);
    std::printf("  %2llu  %-16s %s\n", static_cast<unsigned long long>(e->id), e->name, on ? "on" : "off");
  }

  std::printf("\nkernel slots:\n");
  using morvex::frame::Slot;
  for (unsigned s = 0; s < morvex::frame::kSlotCount; ++s)
    std::printf("  %-16s %s\n", morvex::frame::slot_name(Slot(s)), morvex::frame::slot_variant(Slot(s)));
  std::printf("\nkernels chosen at each call:\n");
  for (const morvex::frame::CallTimeFamily& f : morvex::frame::call_time_families())
    std::printf("  %-64s %s\n", f.name, f.current());
  morvex_m_fini();
  return 0;
}
