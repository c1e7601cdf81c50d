// What each fuzz target defines.
#ifndef NALO_FUZZ_FUZZ_H
#define NALO_FUZZ_FUZZ_H

#include "choices.h"

// Does with the library what the input chooses. A failed expectation ends the
// program, as a crash does.
void run(nalo_test::choices& input);

#endif
