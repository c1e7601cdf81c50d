// Instantiates the buffers over strings, for wchar_t.
#include "stringbuf.h"

namespace nalo {

template class basic_stringbuf<wchar_t>;

}  // namespace nalo
