// Instantiates the streams over arrays, for wchar_t.
#include <nalo/spanstream>

namespace nalo {

template class owning_stream<wistream, wspanbuf>;
template class owning_stream<wostream, wspanbuf>;
template class owning_stream<wiostream, wspanbuf>;

}  // namespace nalo
