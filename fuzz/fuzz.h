// How libFuzzer runs a target, whose one source includes this and defines
// run().
#ifndef NALO_FUZZ_FUZZ_H
#define NALO_FUZZ_FUZZ_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "choices.h"

// Does with the library what the input chooses. A failed expectation ends the
// program, as a crash does.
void run(nalo_test::choices& input);

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Nobody catches what is thrown, which ends the program.
  GTEST_FLAG_SET(throw_on_failure, true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  nalo_test::choices input({data, size});
  run(input);
  return 0;
}

#endif
