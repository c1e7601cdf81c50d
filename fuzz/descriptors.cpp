// Sequences of operations of the buffer over a descriptor, with system calls
// that fail, against a model of what each byte has become.
#include "descriptor_model.h"
#include "fuzz.h"

void run(nalo_test::choices& input) {
  nalo_test::descriptor_comparison both(input);
  while (input.more()) both.step();
  both.finish();
}
