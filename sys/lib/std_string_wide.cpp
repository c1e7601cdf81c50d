// Instantiates the extractions into std::wstring.
#include "std_string.h"

namespace nalo {

NALO_ISTREAM_STD_WORK(template NALO_API, wchar_t);

}  // namespace nalo
