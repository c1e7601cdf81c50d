// Instantiates basic_ios and its guards for wchar_t.
#include <nalo/base/impl/ios>

namespace nalo {

template class basic_ios<wchar_t>;

}  // namespace nalo
