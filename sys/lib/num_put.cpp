// Instantiates the formatting of numbers.
#include <nalo/base/impl/num_put>

namespace nalo {

template class num_put_base<char, ostreambuf_iterator<char>>;
template class num_put_base<wchar_t, ostreambuf_iterator<wchar_t>>;
template class num_put<char>;
template class num_put<wchar_t>;

}  // namespace nalo
