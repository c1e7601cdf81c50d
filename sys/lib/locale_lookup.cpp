// Looks up facets by id only.
#include "locale_set.h"

namespace nalo {

namespace impl {

// Weak, so that a program is not linked with all facet classes of the library.
// The id of a class is defined with its facet, so a program that asks for a
// facet is linked with it.
extern const immortal<ctype<char>> classic_ctype [[gnu::weak]];
extern const immortal<ctype<wchar_t>> classic_wide_ctype [[gnu::weak]];
extern const immortal<std_num_put<char>> classic_num_put [[gnu::weak]];
extern const immortal<std_num_put<wchar_t>> classic_wide_num_put [[gnu::weak]];
extern const immortal<std_num_get<char>> classic_num_get [[gnu::weak]];
extern const immortal<std_num_get<wchar_t>> classic_wide_num_get [[gnu::weak]];
extern const immortal<numpunct<char>> classic_numpunct [[gnu::weak]];
extern const immortal<numpunct<wchar_t>> classic_wide_numpunct [[gnu::weak]];

namespace {

template <class... Facets>
const void* classic_among(size_t index) noexcept {
  const void* found = nullptr;
  ((library_index<Facets> == index ? void(found = classic_facet<Facets>)
                                   : void()),
   ...);
  return found;
}

constexpr auto classic =
    classic_among<ctype<char>, ctype<wchar_t>, std_num_put<char>,
                  std_num_put<wchar_t>, std_num_get<char>, std_num_get<wchar_t>,
                  numpunct<char>, numpunct<wchar_t>>;

}  // namespace

}  // namespace impl

locale::facet* locale::getFacet_(const id& which) const noexcept {
  const size_t index = which.index_;
  if (index == 0) return impl_->find(which);
  facet* entry = impl_->entry(index);
  if (!entry) {
    return static_cast<facet*>(const_cast<void*>(impl::classic(index)));
  }
  return entry != impl::no_facet() ? entry : nullptr;
}

locale::facet* locale::useFacet_(const id& which) const {
  facet* found = getFacet_(which);
  if (!found) throwMissingFacet_();
  return found;
}

}  // namespace nalo
