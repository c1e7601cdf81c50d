// Runs a target under libFuzzer. The target defines run().
#pragma once

#include "common.h"

// Performs the chosen operations. A failed expectation ends the program.
void run(nalo_test::choices& input);

inline size_t operations = 0;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::atexit([] { std::printf("stat::operations: %zu\n", operations); });
  // Exceptions are not caught and end the program.
  GTEST_FLAG_SET(throw_on_failure, true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  nalo_test::choices input({data, size});
  run(input);
  operations += std::max(input.operations(), size_t{1});
  return 0;
}
