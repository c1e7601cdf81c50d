// Instantiates the input streams and the free extractions for wchar_t.
#include <nalo/base/impl/istream>

namespace nalo {

template struct basic_istream<wchar_t>;
template struct basic_iostream<wchar_t>;

NALO_ISTREAM_WORK(template NALO_API, wchar_t);

}  // namespace nalo
