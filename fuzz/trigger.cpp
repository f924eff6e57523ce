// SPDX-License-Identifier: MIT
// Triggers: all 70 exports over a fuzzed record, levels in any order, fuzzed
// time conditions, now and then a state block of fuzzed bytes.
//  - A next-hit walk (again from the hit; inside and outside step past it)
//    never reports a sample twice, so it ends; a call that hangs is caught
//    by libFuzzer's -timeout. A start at or past the block changes nothing.
//  - The record cut into fuzzed blocks, kernel options switched between
//    calls, hits where one call hits (all kinds but window inside and exit,
//    which judge the sample a call starts on).
//  - A corrupted state gives "Failed" with position and state untouched, or
//    a walk that moves on all the same.
#include <cmath>
#include <limits>

#include "common/trigger_kinds.h"
#include "fuzz.h"

namespace {

using namespace morvex::fuzz;
using morvex::test::TriggerKind;

// A sample one step below, on or above a level, or (top byte values) an
// extreme of the type, 0 or NaN.
template <class T>
T sample(uint8_t v, const T* l) {
  using L = std::numeric_limits<T>;
  const T special[6] = {L::lowest(), L::max(), T(0), L::quiet_NaN(), L::infinity(), T(-L::infinity())};
  if (v >= 250) return special[v - 250];
  const int step = int(v >> 2) % 3 - 1;
  if constexpr (std::is_floating_point_v<T>) return step ? std::nextafter(l[v & 3], step * L::infinity()) : l[v & 3];
  else return T(l[v & 3] + step);
}

// The hits of a next-hit walk over x in these blocks, kernels switched
// before every call when `switching`. "Failed" ends the walk: accepted from
// a corrupted state (which it leaves as it was, with the position) or from
// NaN levels only.
template <class T>
std::vector<uint64_t> walk(const TriggerKind<T>& k, const T* x, const std::vector<uint64_t>& blocks, void* state,
                           bool corrupted, bool nan_levels, uint32_t switching) {
  std::vector<uint64_t> hits;
  for (uint64_t base = 0; const uint64_t len : blocks) {
    for (uint64_t p = 0;;) {
      if (switching) switch_kernels(switching = switching * 1103515245u + 12345u);
      std::vector<unsigned char> before(k.state_size);
      if (state) std::memcpy(before.data(), state, k.state_size);
      const uint64_t from = p;
      const int32_t status = k.call(x + base, len, &p, &state);
      const bool nan_failure = nan_levels && k.nan_may_fail;
      if (status == MORVEX_M_FAILED && (corrupted || nan_failure)) {
        FUZZ_CHECK(nan_failure ? p < len : p == from && same_bytes(before.data(), state, k.state_size));
        return std::free(state), hits;
      }
      FUZZ_CHECK(status == 0 && p <= len);
      if (p == len) break;
      FUZZ_CHECK(hits.empty() || base + p > hits.back());
      hits.push_back(base + p);
      p += k.steps_past;
    }
    uint64_t past = len + (base & 3);  // outside, a plain search, reports the end
    FUZZ_CHECK(k.call(x + base, len, &past, &state) == 0 && past == (k.state_size ? len + (base & 3) : len));
    base += len;
  }
  return std::free(state), hits;
}

template <class T>
void fuzz(FuzzedDataProvider& in) {
  T l[4];
  bool nan_levels = false;
  for (T& v : l) v = raw<T>(in), nan_levels |= v != v;
  const uint32_t mode = in.ConsumeIntegralInRange<uint32_t>(0, 6);
  const uint32_t t1 = in.ConsumeIntegral<uint8_t>(), t2 = in.ConsumeIntegral<uint8_t>();
  const TriggerKind<T> k = morvex::test::trigger_kinds(l, mode, t1, t2)[in.ConsumeIntegralInRange<size_t>(0, 13)];
  const uint32_t cut = in.ConsumeIntegral<uint32_t>(), switching = in.ConsumeIntegral<uint32_t>() | 1;
  const bool corrupt = k.state_size && in.ConsumeIntegralInRange<int>(0, 7) == 0;
  void* state = nullptr;
  if (corrupt) {  // a fresh block from an empty call, then overwritten
    uint64_t p = 0;
    FUZZ_CHECK(k.call(nullptr, 0, &p, &state) == 0 && state);
    const std::vector<uint8_t> bytes = in.ConsumeBytes<uint8_t>(k.state_size);
    if (!bytes.empty()) std::memcpy(state, bytes.data(), bytes.size());
  }
  std::vector<T> x;
  for (uint8_t v : in.ConsumeBytes<uint8_t>(1024)) x.push_back(sample(v, l));
  const std::vector<uint64_t> whole = walk(k, x.data(), {x.size()}, state, corrupt, nan_levels, 0);
  if (corrupt || !k.split_invariant) return;
  FUZZ_CHECK(walk(k, x.data(), blocks(x.size(), cut), nullptr, false, nan_levels, switching) == whole);
  switch_kernels(0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  void (*const types[])(FuzzedDataProvider&) = {fuzz<int16_t>, fuzz<uint8_t>, fuzz<uint16_t>, fuzz<float>,
                                                fuzz<double>};
  types[in.ConsumeIntegralInRange<int>(0, 4)](in);
  return 0;
}
