// Instantiates the punctuation of numbers for wchar_t.
#include "classic_facet.h"

#include <nalo/base/impl/numpunct>

namespace nalo {

template class numpunct<wchar_t>;

namespace impl {

NALO_IMMORTAL immortal<numpunct<wchar_t>> classic_wide_numpunct(not_counted);

}  // namespace impl

}  // namespace nalo
