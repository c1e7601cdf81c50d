// Instantiates the parsing of numbers.
#include <nalo/base/impl/num_get>

namespace nalo {

template class num_get<char, istreambuf_iterator<char>>;
template class num_get<wchar_t, istreambuf_iterator<wchar_t>>;

}  // namespace nalo
