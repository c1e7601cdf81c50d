// Instantiates the stream buffers for char.
#include <nalo/base/impl/streambuf>

namespace nalo {

template class basic_streambuf<char>;

template NALO_API streamsize copy_streambufs_eof(streambuf*, streambuf*, bool&);

}  // namespace nalo
