// Instantiates the buffers over strings.
#include "stringbuf.h"

namespace nalo {

template class basic_stringbuf<char>;

}  // namespace nalo
