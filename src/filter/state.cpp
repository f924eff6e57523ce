// SPDX-License-Identifier: MIT
// The filter state's representations: derived on first demand, published
// once, shared by every later reader.
#include "filter/state.h"

#include "filter/convert.h"

morvex_m_filter_state::~morvex_m_filter_state() {
  delete filter;
  filter = nullptr;
  std::atomic_store(&sos, morvex::filter::SosPtr());
  std::atomic_store(&tf, morvex::filter::TfPtr());
  std::atomic_store(&zpk, morvex::filter::ZpkPtr());
}

namespace morvex::filter {

namespace {

// Publishes `made` into an empty field. If another thread got there first,
// its record stands and is returned instead, so that every caller of a state
// sees one record for its lifetime (pointers handed out stay valid).
template <class P>
P publish(P& field, P made) {
  P expected;  // empty
  if (std::atomic_compare_exchange_strong_explicit(&field, &expected, made, std::memory_order_seq_cst,
                                                   std::memory_order_seq_cst))
    return made;
  return expected;
}

template <class P>
P load(const P& field) {
  return std::atomic_load_explicit(&field, std::memory_order_seq_cst);
}

}  // namespace

ZpkPtr get_zpk(morvex_m_filter_state& st) {
  if (ZpkPtr z = load(st.zpk)) return z;
  if (TfPtr t = load(st.tf))
    return publish(st.zpk, ZpkPtr(std::make_shared<const FilterState::IIR::ZPK>(tf2zpk(*t))));
  if (SosPtr s = load(st.sos)) {
    // A cascade's zeros and poles are those of its sections; the gain is the
    // first section's leading coefficient (the others have b0 = 1 when they
    // came from a pairing; for any section, b0 scales its numerator).
    FilterState::IIR::ZPK zpk;
    zpk.k = 1.0;
    for (const std::vector<double>& c : s->sections) {
      const FilterState::IIR::ZPK part = tf2zpk(FilterState::IIR::TF{{c[0], c[1], c[2]}, {c[3], c[4], c[5]}});
      zpk.z.insert(zpk.z.end(), part.z.begin(), part.z.end());
      zpk.p.insert(zpk.p.end(), part.p.begin(), part.p.end());
      zpk.k *= part.k;
    }
    return publish(st.zpk, ZpkPtr(std::make_shared<const FilterState::IIR::ZPK>(std::move(zpk))));
  }
  return nullptr;
}

TfPtr get_tf(morvex_m_filter_state& st) {
  if (TfPtr t = load(st.tf)) return t;
  const ZpkPtr z = get_zpk(st);
  if (!z) return nullptr;
  return publish(st.tf, TfPtr(std::make_shared<const FilterState::IIR::TF>(zpk2tf(*z))));
}

SosPtr get_sos(morvex_m_filter_state& st) {
  if (SosPtr s = load(st.sos)) return s;
  // From the ZPK when there is one, else through it from the TF.
  const ZpkPtr z = get_zpk(st);
  if (!z) return nullptr;
  return publish(st.sos, SosPtr(std::make_shared<const FilterState::IIR::SOS>(zpk2sos(*z))));
}

}  // namespace morvex::filter
