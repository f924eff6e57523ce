// SPDX-License-Identifier: MIT
// How libmorvex-m describes its kernel choice to morvex-m-info without a
// single export more: the dynamic symbol table stays exactly the public
// interface, so the description travels as data. One constant Descriptor sits
// in its own allocated ELF section of the shared object; the tool finds the
// library it loaded, reads that file's section headers to learn where the
// section was mapped, checks the magic and the layout version, and calls
// through the function pointers. Allocated sections survive strip, and an
// absent or foreign descriptor is recognised, so the tool can say so instead
// of guessing.
//
// This header is shared by the library and the tool, which is built from the
// same tree; the layout version guards against a tool meeting a library of
// another layout. Fields are only ever appended (and `size` grows with them).
#pragma once

#include <cstdint>

namespace morvex::frame {

inline constexpr char kDescribeSection[] = ".morvex_m_describe";
inline constexpr uint64_t kDescribeMagic = 0x3144584556524f4dull;  // the bytes "MORVEXD1"
inline constexpr uint32_t kDescribeLayout = 1;

struct Descriptor {
  uint64_t magic;               // kDescribeMagic
  uint32_t layout;              // kDescribeLayout
  uint32_t size;                // sizeof(Descriptor) in the library that wrote it
  const char* library_version;  // "major.minor.patch" the library was built as
  // The kernel slots, chosen at start-up and on every option change: name and
  // the variant each holds now ("plain", "sse4.2", "avx", "avx2+fma3",
  // "avx512f+cd"; "unset" before the first morvex_m_init).
  uint32_t (*slot_count)();
  const char* (*slot_name)(uint32_t i);
  const char* (*slot_kernel)(uint32_t i);
  // The call-time families, which choose at every call: the exports each
  // serves and the variant it would pick under the options as they stand.
  uint32_t (*family_count)();
  const char* (*family_name)(uint32_t i);
  const char* (*family_kernel)(uint32_t i);
};

}  // namespace morvex::frame
