// Instantiates the streams over files, for wchar_t.
#include <nalo/fstream>

namespace nalo {

template class owning_stream<wistream, wfilebuf>;
template class owning_stream<wostream, wfilebuf>;
template class owning_stream<wiostream, wfilebuf>;

}  // namespace nalo
