// Instantiates basic_ios and its guards for char.
#include <nalo/base/impl/ios>

namespace nalo {

template class basic_ios<char>;

}  // namespace nalo
