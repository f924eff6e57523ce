// SPDX-License-Identifier: MIT
// The descriptor of the kernel choice, for morvex-m-info (see describe.h).
#include "frame/describe.h"

#include "frame/call_time.h"
#include "frame/dispatch.h"
#include "morvex-m/version.h"

namespace morvex::frame {

namespace {

uint32_t slots() { return kSlotCount; }
const char* slot_name_at(uint32_t i) { return i < kSlotCount ? slot_name(Slot(i)) : nullptr; }
const char* slot_kernel_at(uint32_t i) { return i < kSlotCount ? slot_variant(Slot(i)) : nullptr; }

uint32_t families() { return uint32_t(call_time_families().size()); }
const char* family_name_at(uint32_t i) { return i < families() ? call_time_families()[i].name : nullptr; }
const char* family_kernel_at(uint32_t i) { return i < families() ? call_time_families()[i].current() : nullptr; }

constexpr bool same(const char* a, const char* b) { return *a == *b && (*a == 0 || same(a + 1, b + 1)); }

}  // namespace

// The section's name, as a literal for the attribute below.
#define MORVEX_DESCRIBE_SECTION ".morvex_m_describe"
static_assert(same(MORVEX_DESCRIBE_SECTION, kDescribeSection));

// `used` and `retain` keep the object and its section through compiling and
// linking although nothing in the library refers to it. The section holds
// pointers, so the dynamic loader's relocations write it once at load time,
// like any constant table of function pointers in a shared object.
#if defined(__has_attribute)
#if __has_attribute(retain)
#define MORVEX_RETAIN __attribute__((retain))
#endif
#endif
#ifndef MORVEX_RETAIN
#define MORVEX_RETAIN
#endif

namespace {
__attribute__((section(MORVEX_DESCRIBE_SECTION), used)) MORVEX_RETAIN const Descriptor kDescriptor = {
    kDescribeMagic, kDescribeLayout, sizeof(Descriptor), MORVEX_M_VERSION_STRING,
    slots,          slot_name_at,    slot_kernel_at,
    families,       family_name_at,  family_kernel_at,
};
}  // namespace

}  // namespace morvex::frame
