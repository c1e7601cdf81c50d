// Instantiates the parsing of numbers for char.
#include "classic_facet.h"

#include <nalo/base/impl/num_get>

namespace nalo {

template class num_get<char>;

namespace impl {

const locale::id& getFacetId(const std_num_get<char>*) noexcept {
  return std_num_get<char>::id;
}

NALO_IMMORTAL immortal<std_num_get<char>> classic_num_get(not_counted);

}  // namespace impl

}  // namespace nalo
