// Instantiates the extractions into the usual standard string of char.
#include "std_string.h"

namespace nalo {

NALO_ISTREAM_STD_WORK(template NALO_API, char);

}  // namespace nalo
