// Instantiates the punctuation of numbers for wchar_t.
#include "classic_facet.h"

#include <nalo/base/impl/numpunct>

namespace nalo {

template class numpunct<wchar_t>;

namespace impl {

template <>
constinit immortal<numpunct<wchar_t>> classic_facet<numpunct<wchar_t>>::object_(
    not_counted);

}  // namespace impl

}  // namespace nalo
