// Instantiates the streams over files.
#include <nalo/fstream>

namespace nalo {

template class owning_stream<istream, filebuf>;
template class owning_stream<ostream, filebuf>;
template class owning_stream<iostream, filebuf>;

}  // namespace nalo
