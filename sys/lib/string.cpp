// Instantiates the strings of char.
#include <nalo/base/impl/string>

namespace nalo {

template class basic_string<char>;

}  // namespace nalo
