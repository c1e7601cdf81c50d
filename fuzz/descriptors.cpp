// Fuzzes buffers over descriptors, with failing system calls, against a model.
#include "descriptor_model.h"
#include "fuzz.h"

void run(nalo_test::choices& input) {
  nalo_test::descriptor_comparison both(input);
  while (input.more()) both.step();
  both.finish();
}
