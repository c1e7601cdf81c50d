// Instantiates the parsing of numbers for wchar_t.
#include "classic_facet.h"

#include <nalo/base/impl/num_get>

namespace nalo {

template class num_get<wchar_t>;

namespace impl {

const locale::id& getFacetId(const std_num_get<wchar_t>*) noexcept {
  return std_num_get<wchar_t>::id;
}

NALO_IMMORTAL immortal<std_num_get<wchar_t>> classic_wide_num_get(not_counted);

}  // namespace impl

}  // namespace nalo
