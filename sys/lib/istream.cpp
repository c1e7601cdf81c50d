// Instantiates the input streams and the free extractions for char.
#include <nalo/base/impl/istream>

namespace nalo {

template struct basic_istream<char>;
template struct basic_iostream<char>;

NALO_ISTREAM_WORK(template NALO_API, char);

}  // namespace nalo
