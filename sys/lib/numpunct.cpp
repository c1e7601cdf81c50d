// Instantiates the punctuation of numbers for char.
#include "classic_facet.h"

#include <nalo/base/impl/numpunct>

namespace nalo {

template class numpunct<char>;

namespace impl {

NALO_IMMORTAL immortal<numpunct<char>> classic_numpunct(not_counted);

}  // namespace impl

}  // namespace nalo
