// Looks facets up by an id alone. As it refers to all facets of the library, it
// is apart from the rest of locales, which most programs make do with.
#include "locale_set.h"

#include <nalo/base/ctype>
#include <nalo/base/num_get>
#include <nalo/base/num_put>
#include <nalo/base/numpunct>

namespace nalo {

namespace {

template <class... Facets>
locale::facet* find_among(size_t index, locale::facet* entry) noexcept {
  locale::facet* found = nullptr;
  const auto try_class = [&]<class Facet>(const Facet*) {
    if (impl::library_index<Facet> == index) {
      found = impl::find_library_facet<Facet>(entry);
    }
  };
  (try_class(static_cast<const Facets*>(nullptr)), ...);
  return found;
}

constexpr auto find =
    find_among<ctype<char>, ctype<wchar_t>, num_put<char>, num_put<wchar_t>,
               num_get<char>, num_get<wchar_t>, numpunct<char>,
               numpunct<wchar_t>>;

}  // namespace

locale::facet* locale::getFacet_(const id& which) const noexcept {
  const size_t index = which.index_;
  return index != 0 ? find(index, impl_->entry(index)) : impl_->find(which);
}

locale::facet* locale::useFacet_(const id& which) const {
  facet* found = getFacet_(which);
  if (!found) throwMissingFacet_();
  return found;
}

}  // namespace nalo
