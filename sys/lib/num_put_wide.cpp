// Instantiates the formatting of numbers for wchar_t.
#include "classic_facet.h"

#include <nalo/base/impl/num_put>

namespace nalo {

template class num_put_base<wchar_t, ostreambuf_iterator<wchar_t>>;
template class num_put<wchar_t>;

namespace impl {

const locale::id& getFacetId(const std_num_put<wchar_t>*) noexcept {
  return std_num_put<wchar_t>::id;
}

namespace {

constinit allocator heap;

}  // namespace

NALO_IMMORTAL immortal<std_num_put<wchar_t>> classic_wide_num_put(not_counted,
                                                                  heap);

}  // namespace impl

}  // namespace nalo
