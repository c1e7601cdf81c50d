// Instantiates the formatting of numbers for char.
#include "classic_facet.h"

#include <nalo/base/impl/num_put>

namespace nalo {

template class num_put_base<char, ostreambuf_iterator<char>>;
template class num_put<char>;

namespace impl {

const locale::id& getFacetId(const std_num_put<char>*) noexcept {
  return std_num_put<char>::id;
}

namespace {

constinit allocator heap;

}  // namespace

NALO_IMMORTAL immortal<std_num_put<char>> classic_num_put(not_counted, heap);

}  // namespace impl

}  // namespace nalo
