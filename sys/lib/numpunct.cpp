// Instantiates the punctuation of numbers for char.
#include "classic_facet.h"

#include <nalo/base/impl/numpunct>

namespace nalo {

template class numpunct<char>;

namespace impl {

template <>
constinit immortal<numpunct<char>> classic_facet<numpunct<char>>::object_(
    not_counted);

}  // namespace impl

}  // namespace nalo
