// SPDX-License-Identifier: MIT
// morvex-m-info: what the installed libmorvex-m sees on this machine. Prints
// the library's version and file, the processor features, the options, the
// kernel in every slot, the kernel each call-time family would pick now and
// whether each FFTW precision can be loaded.
//
// It links the shared library like any user's program, so it describes the
// library the user actually has. The kernel choice is not reachable through
// exports; the library carries it in a descriptor section (see
// src/frame/describe.h), which this program finds through the library file's
// section headers.
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "frame/describe.h"
#include "morvex-core.h"
#include "morvex-m.h"
#include "morvex-tp.h"

namespace {

using morvex::frame::Descriptor;

const char kUsage[] =
    "Usage: morvex-m-info [--help | --version]\n"
    "\n"
    "Prints what libmorvex-m sees on this machine: the version and file of the\n"
    "library loaded, the processor features, the options, the kernel chosen for\n"
    "every kernel slot, the kernel each call-time family would pick now, and\n"
    "whether each FFTW precision can be loaded.\n"
    "\n"
    "  --help     this text\n"
    "  --version  the version of the library loaded and of this program\n";

// The loaded object that contains `address`: its file name and load bias.
struct LoadedObject {
  const void* address = nullptr;
  std::string path;
  uintptr_t bias = 0;
  std::vector<ElfW(Phdr)> segments;
};

int find_object(dl_phdr_info* info, size_t, void* data) {
  auto* obj = static_cast<LoadedObject*>(data);
  const auto a = reinterpret_cast<uintptr_t>(obj->address);
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)& ph = info->dlpi_phdr[i];
    if (ph.p_type == PT_LOAD && a >= info->dlpi_addr + ph.p_vaddr && a < info->dlpi_addr + ph.p_vaddr + ph.p_memsz) {
      // The name as the loader found it ("/usr/lib/../lib/libmorvex-m.so.0"),
      // resolved to the file itself, whose name carries the full version.
      if (info->dlpi_name && *info->dlpi_name) {
        char* real = realpath(info->dlpi_name, nullptr);
        obj->path = real ? real : info->dlpi_name;
        std::free(real);
      }
      obj->bias = info->dlpi_addr;
      obj->segments.assign(info->dlpi_phdr, info->dlpi_phdr + info->dlpi_phnum);
      return 1;
    }
  }
  return 0;
}

bool read_at(int fd, uint64_t offset, void* buf, size_t len) {
  return pread(fd, buf, len, off_t(offset)) == ssize_t(len);
}

// Finds the descriptor of the loaded library, or says why there is none.
const Descriptor* find_descriptor(const LoadedObject& lib, std::string& why) {
  const int fd = open(lib.path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    why = "cannot open " + lib.path;
    return nullptr;
  }
  const Descriptor* found = nullptr;
  ElfW(Ehdr) eh;
  std::vector<ElfW(Shdr)> sections;
  std::vector<char> names;
  if (!read_at(fd, 0, &eh, sizeof eh) || std::memcmp(eh.e_ident, ELFMAG, SELFMAG) != 0 ||
      eh.e_ident[EI_CLASS] != ELFCLASS64 || eh.e_shentsize != sizeof(ElfW(Shdr))) {
    why = lib.path + " is not a 64-bit ELF file";
  } else if (eh.e_shnum == 0 || eh.e_shstrndx >= eh.e_shnum) {
    why = lib.path + " has no section headers";
  } else {
    sections.resize(eh.e_shnum);
    const ElfW(Shdr)* strtab = nullptr;
    if (read_at(fd, eh.e_shoff, sections.data(), sections.size() * sizeof(ElfW(Shdr)))) {
      strtab = &sections[eh.e_shstrndx];
      names.resize(strtab->sh_size + 1, '\0');
      if (!read_at(fd, strtab->sh_offset, names.data(), strtab->sh_size)) strtab = nullptr;
    }
    why = strtab ? lib.path + " carries no kernel descriptor" : "cannot read the section headers of " + lib.path;
    for (size_t i = 0; strtab && i < sections.size(); ++i) {
      const ElfW(Shdr)& sh = sections[i];
      if (sh.sh_name >= strtab->sh_size || std::strcmp(&names[sh.sh_name], morvex::frame::kDescribeSection) != 0)
        continue;
      // Accept it only where the loader mapped it: allocated, large enough,
      // and inside a readable loaded segment of this very object.
      bool mapped = false;
      for (const ElfW(Phdr)& ph : lib.segments)
        mapped |= ph.p_type == PT_LOAD && (ph.p_flags & PF_R) && sh.sh_addr >= ph.p_vaddr &&
                  sh.sh_addr + sh.sh_size <= ph.p_vaddr + ph.p_memsz;
      if (!(sh.sh_flags & SHF_ALLOC) || !mapped || sh.sh_size < sizeof(Descriptor) ||
          sh.sh_addr % alignof(Descriptor) != 0) {
        why = "the kernel descriptor section of " + lib.path + " is not loaded";
        break;
      }
      const auto* d = reinterpret_cast<const Descriptor*>(lib.bias + sh.sh_addr);
      if (d->magic != morvex::frame::kDescribeMagic || d->layout != morvex::frame::kDescribeLayout ||
          d->size < sizeof(Descriptor)) {
        why = "the kernel descriptor of " + lib.path + " has another layout than this program reads";
        break;
      }
      found = d;
      break;
    }
  }
  close(fd);
  return found;
}

std::string version_text(const morvex_m_version* v) {
  // major.minor.patch, the build number only when there is one, then the suffix.
  const unsigned build = unsigned(v->version) & 0xFFFFu;
  char buf[64];
  std::snprintf(buf, sizeof buf, build ? "%u.%u.%u.%u" : "%u.%u.%u", unsigned(v->version >> 48),
                unsigned(v->version >> 32) & 0xFFFFu, unsigned(v->version >> 16) & 0xFFFFu, build);
  return std::string(buf) + v->extra;
}

void print_features() {
  struct Feature {
    const char* name;
    uint8_t (*query)();
  };
  static const Feature features[] = {
      {"sse", morvex_core_cpu_has_sse},           {"sse2", morvex_core_cpu_has_sse2},
      {"sse3", morvex_core_cpu_has_sse3},         {"ssse3", morvex_core_cpu_has_ssse3},
      {"sse4.1", morvex_core_cpu_has_sse41},      {"sse4.2", morvex_core_cpu_has_sse42},
      {"avx", morvex_core_cpu_has_avx},           {"avx2", morvex_core_cpu_has_avx2},
      {"avx512f", morvex_core_cpu_has_avx512f},   {"avx512cd", morvex_core_cpu_has_avx512cd},
      {"avx512bw", morvex_core_cpu_has_avx512bw}, {"avx512dq", morvex_core_cpu_has_avx512dq},
      {"fma3", morvex_core_cpu_has_fma3},         {"neon", morvex_core_cpu_has_neon},
  };
  std::printf("processor features:");
  for (const Feature& f : features)
    if (f.query()) std::printf(" %s", f.name);
  unsigned char status[16] = {};
  morvex_tp_get_status(status, sizeof status);
  std::printf("\ntask pool workers: %u\n", unsigned(status[0] | (status[1] << 8)));
}

void print_options() {
  std::printf("\noptions:\n");
  for (const morvex_m_option_entry* e = morvex_m_getopt_list(); e->name; ++e) {
    uint32_t on = 0;
    morvex_m_getopt(int32_t(e->id), &on);
    std::printf("  %2llu  %-16s %s\n", static_cast<unsigned long long>(e->id), e->name, on ? "on" : "off");
  }
}

// Whether an FFTW precision can be loaded: switch its option on and put it
// back. A library loaded this way stays loaded until the last morvex_m_fini,
// which this program calls before it ends.
void print_fftw() {
  struct Precision {
    const char* name;
    int32_t option;
    const char* file;
  };
  static const Precision precisions[] = {{"double", MORVEX_M_OPT_FFTW3, "libfftw3.so.3"},
                                         {"single", MORVEX_M_OPT_FFTW3F, "libfftw3f.so.3"}};
  std::printf("\nFFTW (loaded at run time when its option is switched on):\n");
  for (const Precision& p : precisions) {
    uint32_t was = 0;
    morvex_m_getopt(p.option, &was);
    const bool loadable = morvex_m_setopt(p.option, 1) == 0;
    morvex_m_setopt(p.option, int32_t(was));
    std::printf("  %-7s %-15s %s\n", p.name, p.file, loadable ? "can be loaded" : "cannot be loaded");
  }
}

void print_kernels(const Descriptor* d, const std::string& why) {
  if (!d) {
    std::printf("\nkernel slots and call-time families: not available (%s)\n", why.c_str());
    return;
  }
  std::printf("\nkernel slots (chosen at start-up and on every option change):\n");
  for (uint32_t i = 0, n = d->slot_count(); i < n; ++i)
    std::printf("  %-22s %s\n", d->slot_name(i), d->slot_kernel(i));
  std::printf("\ncall-time families (chosen at each call from the options):\n");
  for (uint32_t i = 0, n = d->family_count(); i < n; ++i)
    std::printf("  %-62s %s\n", d->family_name(i), d->family_kernel(i));
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (std::strcmp(argv[i], "--version") == 0) {
      std::printf("morvex-m-info %s, libmorvex-m %s\n", MORVEX_M_VERSION_STRING,
                  version_text(morvex_m_get_version()).c_str());
      return 0;
    }
    std::fprintf(stderr, "morvex-m-info: unknown argument '%s'\n\n%s", argv[i], kUsage);
    return 2;
  }

  morvex_m_init();
  // The version record lives in the library's own data, so its address tells
  // which loaded object is libmorvex-m.
  LoadedObject lib;
  lib.address = morvex_m_get_version();
  dl_iterate_phdr(find_object, &lib);
  std::string why = "libmorvex-m was not found among the loaded objects";
  const Descriptor* d = lib.path.empty() ? nullptr : find_descriptor(lib, why);

  std::printf("libmorvex-m %s (%s), headers %s\n\n", version_text(morvex_m_get_version()).c_str(),
              lib.path.empty() ? "file unknown" : lib.path.c_str(), MORVEX_M_VERSION_STRING);
  print_features();
  print_options();
  print_fftw();
  print_kernels(d, why);
  morvex_m_fini();
  return 0;
}
