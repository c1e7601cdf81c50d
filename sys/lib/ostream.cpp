// Instantiates the output streams and their work functions for char.
#include <nalo/base/impl/ostream>

namespace nalo {

template struct basic_ostream<char>;

NALO_OSTREAM_WORK(template NALO_API, char);

}  // namespace nalo
