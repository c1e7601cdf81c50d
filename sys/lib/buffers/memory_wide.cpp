// Instantiates the buffers over memory, for wchar_t.
#include "memorybuf.h"

namespace nalo {

template class impl::memorybuf<wchar_t, char_traits<wchar_t>>;
template class basic_spanbuf<wchar_t>;
template class basic_viewbuf<wchar_t>;

}  // namespace nalo
