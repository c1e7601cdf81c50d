// How libFuzzer runs a target.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "fuzz.h"

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
