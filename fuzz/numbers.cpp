// Fuzzes writing and reading numbers with streams of both character types,
// against a model.
#include "number_model.h"

#include "fuzz.h"

void run(nalo_test::choices& input) {
  using namespace nalo_test::numbers;
  return input.below(2) == 0 ? compare<char>(input) : compare<wchar_t>(input);
}
