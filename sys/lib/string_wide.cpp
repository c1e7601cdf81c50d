// Instantiates the strings of wchar_t.
#include <nalo/base/impl/string>

namespace nalo {

template NALO_API void impl::StringRvalueException<false>::doThrow(
    int, const wchar_t*);

template class string_base<wchar_t, char_traits<wchar_t>>;
template class basic_string<wchar_t>;

}  // namespace nalo
