// Instantiates the streams over strings.
#include <nalo/sstream>

namespace nalo {

template class owning_stream<istream, stringbuf>;
template class owning_stream<ostream, stringbuf>;
template class owning_stream<iostream, stringbuf>;

}  // namespace nalo
