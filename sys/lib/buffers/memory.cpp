// Instantiates the buffers over memory.
#include "memorybuf.h"

namespace nalo {

template class impl::memorybuf<char, char_traits<char>>;
template class basic_spanbuf<char>;
template class basic_viewbuf<char>;

}  // namespace nalo
