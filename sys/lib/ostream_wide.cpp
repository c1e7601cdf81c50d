// Instantiates the stream buffers, and the output streams with their work
// functions, for wchar_t. They are in one file so that the compiler can inline
// the default xsputn() where the streams call it, guarded by a comparison.
#include <nalo/base/impl/ostream>
#include <nalo/base/impl/streambuf>

namespace nalo {

template class basic_streambuf<wchar_t>;

template NALO_API streamsize copy_streambufs_eof(wstreambuf*, wstreambuf*,
                                                 bool&);

template struct basic_ostream<wchar_t>;

NALO_OSTREAM_WORK(template NALO_API, wchar_t);

}  // namespace nalo
