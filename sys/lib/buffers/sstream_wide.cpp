// Instantiates the streams over strings, for wchar_t.
#include <nalo/sstream>

namespace nalo {

template class owning_stream<wistream, wstringbuf>;
template class owning_stream<wostream, wstringbuf>;
template class owning_stream<wiostream, wstringbuf>;

}  // namespace nalo
