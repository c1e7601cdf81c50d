// Instantiates basic_ios and its guards.
#include <nalo/base/impl/ios>

namespace nalo {

template class basic_ios<char>;
template class basic_ios<wchar_t>;

}  // namespace nalo
