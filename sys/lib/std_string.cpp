// Instantiates the extractions into std::string.
#include "std_string.h"

namespace nalo {

NALO_ISTREAM_STD_WORK(template NALO_API, char);

}  // namespace nalo
