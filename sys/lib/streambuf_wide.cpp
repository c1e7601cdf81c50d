// Instantiates the stream buffers for wchar_t.
#include <nalo/base/impl/streambuf>

namespace nalo {

template class basic_streambuf<wchar_t>;

template NALO_API streamsize copy_streambufs_eof(wstreambuf*, wstreambuf*,
                                                 bool&);

}  // namespace nalo
