// Fuzzes writing and reading numbers against the compiler's streams.
#include "fuzz.h"
#include "number_model.h"

void run(nalo_test::choices& input) {
  using namespace nalo_test::numbers;
  return input.below(2) == 0 ? compare<char>(input) : compare<wchar_t>(input);
}
