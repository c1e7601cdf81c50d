// Instantiates the streams over arrays.
#include <nalo/spanstream>

namespace nalo {

template class owning_stream<istream, spanbuf>;
template class owning_stream<ostream, spanbuf>;
template class owning_stream<iostream, spanbuf>;

}  // namespace nalo
