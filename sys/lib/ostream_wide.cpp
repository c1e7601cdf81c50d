// Instantiates the output streams and their work functions for wchar_t.
#include <nalo/base/impl/ostream>

namespace nalo {

template struct basic_ostream<wchar_t>;

NALO_OSTREAM_WORK(template NALO_API, wchar_t);

}  // namespace nalo
