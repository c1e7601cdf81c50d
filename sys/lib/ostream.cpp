// Instantiates the stream buffers, and the output streams with their work
// functions, for char. They are in one file so that the compiler can inline the
// default xsputn() where the streams call it, guarded by a comparison.
#include <nalo/base/impl/ostream>
#include <nalo/base/impl/streambuf>

namespace nalo {

template class basic_streambuf<char>;

template NALO_API streamsize copy_streambufs_eof(streambuf*, streambuf*, bool&);

template struct basic_ostream<char>;

NALO_OSTREAM_WORK(template NALO_API, char);

}  // namespace nalo
