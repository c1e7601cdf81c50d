// Instantiates the output streams and their work functions.
#include <nalo/base/impl/ostream>

namespace nalo {

template struct basic_ostream<char>;
template struct basic_ostream<wchar_t>;

NALO_OSTREAM_WORK(template NALO_API, char);
NALO_OSTREAM_WORK(template NALO_API, wchar_t);

}  // namespace nalo
